#include "smtlib/objectives.h"

#include <ostream>
#include <utility>

#include "smtlib/command_reader.h"
#include "smtlib/model_printer.h"

namespace smtlib {

void Objectives::add(bool maximizes, TypedTerm term, std::string text) {
  assert_objective(maximizes, term.term, {{}, term.type, std::move(text)});
}

void Objectives::assert_objective(bool maximizes, vesk_term term, Entry entry) {
  const vesk_env env = maker_.env();
  entries_.push_back(std::move(entry));
  vesk_objective& objective = entries_.back().objective;
  objective = maximizes ? vesk_make_maximize(env, term) : vesk_make_minimize(env, term);
  if (vesk_assert_objective(env, objective) == 0) return;
  const TermFault fault(vesk_last_error_message(env));
  shrink(entries_.size() - 1);
  throw fault;
}

void Objectives::add_soft(vesk_term formula, vesk_term weight, std::string_view group) {
  const vesk_env env = maker_.env();
  // No symbol of a script has a bar.
  const std::string name = "|soft|" + std::string(group);
  if (vesk_assert_soft_formula(env, formula, weight, name.c_str()) != 0)
    throw TermFault(vesk_last_error_message(env));
  for (const Entry& entry : entries_)
    if (entry.group == name) return;
  const vesk_term sum = vesk_make_constant(env, vesk_declare_function(env, name.c_str(), maker_.real_type()));
  // Of sort Int: whole sums are written without a point.
  assert_objective(false, sum, {{}, maker_.int_type(), spell_symbol(group), name});
}

void Objectives::shrink(std::size_t size) {
  for (; entries_.size() > size; entries_.pop_back())
    vesk_destroy_objective(maker_.env(), entries_.back().objective);
}

// "" where there is none.
std::string Objectives::value(const Entry& entry, int api_code) const {
  const vesk_env env = maker_.env();
  char* known = vesk_objective_value_repr(env, entry.objective, api_code);
  const std::string text = known == nullptr ? "" : known;
  vesk_free(known);
  if (text.empty()) return "";
  if (text == "-oo") return "(- oo)";
  if (text == "oo") return text;
  const vesk_term number = vesk_objective_value_term(env, entry.objective, api_code);
  const std::string spelled = value_text(maker_, number, entry.type);
  if (vesk_objective_value_is_strict(env, entry.objective, api_code) == 0) return spelled;
  return (text.ends_with("- epsilon") ? "(- " : "(+ ") + spelled + " epsilon)";
}

void Objectives::print(bool was_stopped, std::ostream& out) const {
  out << "(objectives\n";
  for (const Entry& entry : entries_) {
    const std::string upper = value(entry, was_stopped ? VESK_UPPER : VESK_OPTIMUM);
    if (upper.empty()) continue;
    out << " (" << entry.text << ' ';
    if (was_stopped)
      out << "(interval " << value(entry, VESK_LOWER) << ' ' << upper << ')';
    else
      out << upper;
    out << ")\n";
  }
  out << ")\n";
}

}  // namespace smtlib
