#include "capi/frame.h"

#include "core/log.h"

namespace zorvel::capi {

void refuse_error_handle() { throw InternalError("Error-object passed to deref function"); }
void refuse_null(const char* argument) {
  throw InvalidParameterError("The argument '") << argument << "' is null";
}
void refuse_index(std::size_t index, std::size_t size, const char* what) {
  throw std::out_of_range("Index " + std::to_string(index) + " is out of range: number of " + what + " is " +
                          std::to_string(size));
}

std::shared_ptr<model::UserTypeImpl> to_user_type(zorvel_type type) {
  auto result = std::dynamic_pointer_cast<model::UserTypeImpl>(to_cxx(type));
  if (result == nullptr)
    throw InvalidParameterError("The type '") << to_cxx(type)->reference_name() << "' is not a user type";
  return result;
}

std::string to_text(const char* text, const char* argument) {
  if (text == nullptr) refuse_null(argument);
  return text;
}
std::vector<std::string> to_texts(const char* const* texts, int length, const char* argument) {
  std::vector<std::string> result;
  for (const char* text : to_span(texts, length, argument)) result.push_back(to_text(text, argument));
  return result;
}

namespace {
ErrorPlace next_place;  // of the error that is on its way
ErrorPlace last_place;  // of the last one

void take_error_place() { last_place = std::exchange(next_place, {}); }
}  // namespace

void note_error_place(ErrorPlace place) { next_place = std::move(place); }

char* to_c_text(const std::string& text) {
  char* copy = strdup(text.c_str());
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

}  // namespace zorvel::capi

extern "C" {

/// The last error, owned here; null if there is none. Also visible to language bindings by this name.
ZORVEL_API char* last_error_message = nullptr;

const char* zorvel_get_last_error_message(void) { return last_error_message; }

char* zorvel_set_last_error_message(const char* text) {
  char* copy = text == nullptr ? nullptr : strdup(text);  // first: it may be the old text that is passed in
  std::free(last_error_message);
  zorvel::capi::take_error_place();
  return last_error_message = copy;
}

const char* zorvel_get_last_error_file(void) {
  const std::string& file = zorvel::capi::last_place.file;
  return file.empty() ? nullptr : file.c_str();
}
int zorvel_get_last_error_line(void) { return zorvel::capi::last_place.line; }
int zorvel_get_last_error_column(void) { return zorvel::capi::last_place.column; }

void zorvel_reset_error_message(void) { zorvel_set_last_error_message(nullptr); }

const char* zorvel_get_version(void) { return zorvel::zorvel_version_string(); }

int zorvel_set_logging_level(int level) {
  zorvel::set_logging_level(level);
  return 0;
}
}
