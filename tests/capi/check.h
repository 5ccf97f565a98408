/* Checks for tests written in C: a failed one is reported and the test goes on; `check_result` ends main. */
#ifndef ZORVEL_TESTS_CHECK_H
#define ZORVEL_TESTS_CHECK_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zorvel.h"

static int check_failures = 0;

static void check_failed(const char* file, int line, const char* what) {
  const char* error = zorvel_get_last_error_message();
  fprintf(stderr, "%s:%d: %s\n  last error: %s\n", file, line, what, error == NULL ? "none" : error);
  ++check_failures;
}

#define CHECK(condition) ((condition) ? (void)0 : check_failed(__FILE__, __LINE__, #condition))

static void check_text(const char* found, const char* expected, const char* file, int line) {
  if (found != NULL && strcmp(found, expected) == 0) return;
  check_failed(file, line, "texts differ");
  fprintf(stderr, "  found:    %s\n  expected: %s\n", found == NULL ? "(null)" : found, expected);
}
#define CHECK_TEXT(found, expected) check_text(found, expected, __FILE__, __LINE__)

/* The same for text that is the caller's. */
static inline void check_owned_text(char* found, const char* expected, const char* file, int line) {
  check_text(found, expected, file, line);
  free(found);
}
#define CHECK_OWNED_TEXT(found, expected) check_owned_text(found, expected, __FILE__, __LINE__)

/* The call fails, with a last error that begins with `text`. */
#define CHECK_ERROR(call_fails, text)                                                \
  do {                                                                               \
    zorvel_reset_error_message();                                                    \
    CHECK(call_fails);                                                               \
    const char* error_ = zorvel_get_last_error_message();                            \
    if (error_ == NULL || strncmp(error_, text, strlen(text)) != 0)                  \
      check_failed(__FILE__, __LINE__, "the last error does not begin with: " text); \
    zorvel_reset_error_message();                                                    \
  } while (0)

#define NULL_HANDLE_ERROR "InternalError: Error-object passed to deref function"

/* The call gives an error handle and sets no error: there is nothing to give. */
#define CHECK_NOTHING(call_is_empty)                \
  do {                                              \
    zorvel_reset_error_message();                   \
    CHECK(call_is_empty);                           \
    CHECK(zorvel_get_last_error_message() == NULL); \
  } while (0)

static int check_result(void) {
  if (check_failures > 0) fprintf(stderr, "%d checks failed\n", check_failures);
  return check_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

#endif
