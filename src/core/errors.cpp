#include "core/errors.h"

namespace zorvel {

ZorvelError::ZorvelError(std::string_view class_name, std::string_view message) {
  text_.reserve(class_name.size() + 2 + message.size());
  text_.append(class_name).append(": ").append(message);
}

}  // namespace zorvel
