#include "core/environment.h"

#include "core/log.h"

namespace zorvel {

void WarningManager::warn(const std::string& text) {
  ZORVEL_LOG(WARNING) << text;
  warnings_.push_back(text);
}

const char* zorvel_version_string() { return "Zorvel v0.0.1"; }

}  // namespace zorvel
