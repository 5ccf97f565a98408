#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "solver/term/term.h"

namespace vesk {

/// What preprocessing removed, so that models can give it a value again: constants and the terms that stand
/// for them, oldest first. A step's term may hold constants of later steps, never of earlier ones, nor of
/// its own.
///
/// The list is shared with the models made from it and copied when it changes under one.
class RewriteStack {
 public:
  struct Step {
    Term removed;
    Term value;
  };
  using Steps = std::shared_ptr<const std::vector<Step>>;

  void push_rewrite(Term removed, Term value) { own().push_back({removed, value}); }
  void push_backtrack_point() { marks_.push_back(steps_->size()); }
  void pop_backtrack_point() {
    if (steps_->size() != marks_.back()) own().resize(marks_.back());
    marks_.pop_back();
  }
  Steps steps() const { return steps_; }

 private:
  std::vector<Step>& own() {
    if (steps_.use_count() > 1) steps_ = std::make_shared<std::vector<Step>>(*steps_);
    return *steps_;
  }

  std::shared_ptr<std::vector<Step>> steps_ = std::make_shared<std::vector<Step>>();
  std::vector<std::size_t> marks_;
};

}  // namespace vesk
