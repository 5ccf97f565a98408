#pragma once

#include <string>

#include "model/problem_instance.h"

namespace zorvel::model {

/// The names `<name>_0`, `<name>_1`, ... of what is made of one object, without those that the problem has.
class GroundNames {
 public:
  GroundNames(const ProblemInstanceImpl& problem, const std::string& name)
      : problem_(problem), prefix_(name + "_") {}
  std::string next() {
    std::string name;
    do name = prefix_ + std::to_string(counter_++);
    while (problem_.has_name(name));
    return name;
  }

 private:
  const ProblemInstanceImpl& problem_;
  std::string prefix_;
  unsigned long counter_ = 0;
};

}  // namespace zorvel::model
