#pragma once

#include <string>

namespace zorvel::report {

/// Something that whoever wrote a problem may want to know of it.
struct Finding {
  enum class Kind {
    goal,       ///< A goal that no plan can reach, or not in time.
    action,     ///< An action that no plan can have.
    condition,  ///< A condition that always or never holds.
    value,      ///< A fluent without a value at the start.
    object,     ///< An object that nothing uses.
    warning     ///< What reading and setting up said.
  };
  Kind kind;
  std::string text;
  std::string file;  ///< Empty where no place is known; line and column are 0 where they are not.
  int line = 0, column = 0;
};

}  // namespace zorvel::report
