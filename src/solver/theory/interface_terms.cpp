#include "solver/theory/interface_terms.h"

#include <algorithm>
#include <cassert>

#include "solver/term/visit.h"

namespace vesk {

void InterfaceTermDetector::collect(Term atom) {
  found_.clear();
  seen_.clear();
  visit_post_order(
      atom, seen_, [](Term term) { return term->has(has_function); },
      [this](Term term) {
        if (term->tag() == Tag::uninterpreted && term->arity() != 0) found_.push_back(term);
      });
}

void InterfaceTermDetector::add_atom(Term atom) {
  if (!atom->has(has_function)) return;
  collect(atom);
  for (const Term application : found_)
    if (users_[application]++ == 0) share(application);
}

void InterfaceTermDetector::remove_atom(Term atom) {
  if (!atom->has(has_function)) return;
  collect(atom);
  for (const Term application : found_) {
    int* users = users_.find(application);
    assert(users != nullptr && *users > 0);
    if (--*users > 0) continue;
    users_.erase(application);
    unshare(application);
  }
}

void InterfaceTermDetector::share(Term application) {
  auto function = std::find_if(functions_.begin(), functions_.end(),
                               [&](const Function& f) { return f.symbol == application->symbol(); });
  if (function == functions_.end()) function = functions_.insert(function, {application->symbol(), {}});
  function->applications.push_back(application);
  if (euf_ != nullptr) euf_->notify_interface_term(application);
  if (arithmetic_ == nullptr) return;
  if (application->type()->is_number()) arithmetic_->notify_interface_term(application);
  for (const Term argument : application->children())
    if (argument->type()->is_number()) arithmetic_->notify_interface_term(argument);
}

void InterfaceTermDetector::unshare(Term application) {
  const auto function = std::find_if(functions_.begin(), functions_.end(),
                                     [&](const Function& f) { return f.symbol == application->symbol(); });
  std::vector<Term>& applications = function->applications;
  const auto at = std::find(applications.rbegin(), applications.rend(), application);
  applications.erase(std::next(at).base());  // from the end: nearly always the last one
  if (applications.empty()) functions_.erase(function);
  if (euf_ != nullptr) euf_->retract_interface_term(application);
  if (arithmetic_ == nullptr) return;
  if (application->type()->is_number()) arithmetic_->retract_interface_term(application);
  for (const Term argument : application->children())
    if (argument->type()->is_number()) arithmetic_->retract_interface_term(argument);
}

Term InterfaceTermDetector::boolean_argument() const {
  for (const Function& function : functions_)
    for (const Term application : function.applications)
      for (const Term argument : application->children())
        if (argument->type()->is_bool() && !argument->is_true() && !argument->is_false()) return application;
  return nullptr;
}

}  // namespace vesk
