#include "core/environment.h"

#include <algorithm>

#include "core/log.h"

namespace zorvel {

void WarningManager::warn(const std::string& text) {
  warnings_.push_back(reworded(text));
  ZORVEL_LOG(WARNING) << warnings_.back();
}

void WarningManager::warn_once(const std::string& text) {
  if (std::ranges::find(warnings_, reworded(text)) == warnings_.end()) warn(text);
}

const char* zorvel_version_string() { return "Zorvel v0.0.1"; }

}  // namespace zorvel
