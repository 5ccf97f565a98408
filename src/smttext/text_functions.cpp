#include "smtlib/assertion_reader.h"
#include "smttext/term_printer.h"
#include "solver/capi/frame.h"

using namespace vesk::capi;  // NOLINT: this file is nothing but C functions

extern "C" {

int vesk_read_smtlib(vesk_env env, const char* text) {
  const int status = guard(env, -1, [&](EnvRecord& r) {
    const std::vector<vesk_term> formulas = smtlib::read_assertions(env, std::string(arg(text)));
    for (const vesk_term formula : formulas) r.env->assert_formula(term(formula));
    return 0;
  });
  return note_if_lost(env, status, false);
}

char* vesk_term_to_smtlib(vesk_env env, vesk_term term) {
  return guard(env, static_cast<char*>(nullptr),
               [&](EnvRecord&) { return to_c(smttext::term_text(arg(term))); });
}

char* vesk_assertions_to_smtlib(vesk_env env) {
  return guard(env, static_cast<char*>(nullptr),
               [&](EnvRecord& r) { return to_c(smttext::script_text(r.env->asserted_formulas())); });
}

}  // extern "C"
