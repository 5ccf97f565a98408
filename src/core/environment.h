#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/configuration.h"

namespace zorvel {

namespace model {
class ModelFactory;
class ExpressionFactory;
class ExpressionTypeChecker;
}  // namespace model

/// Warnings of one planning context, in order of arrival; never cleared.
class WarningManager {
 public:
  /// Writes a log line at level WARNING if that level is on, and stores `text` always.
  void warn(const std::string& text);
  /// The same unless it was said before, as it is when one problem is searched several times.
  void warn_once(const std::string& text);
  const std::vector<std::string>& warnings() const { return warnings_; }

  using Rewording = std::function<std::string(const std::string&)>;
  /// Gives every warning from here on in other words; the words before are returned. Empty: as it is.
  Rewording set_rewording(Rewording rewording) { return std::exchange(rewording_, std::move(rewording)); }

 private:
  std::string reworded(const std::string& text) const { return rewording_ ? rewording_(text) : text; }

  std::vector<std::string> warnings_;
  Rewording rewording_;
};

/// One planning context: it owns every expression, the factory of model objects, the type checker, the
/// warnings and the options. Everything made in it refers to it and must not be used after it.
///
/// Only forward declarations here: what it owns is built in model/environment.cpp.
class Environment {
 public:
  Environment();
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  model::ExpressionFactory& expression_factory() { return *expression_factory_; }
  model::ModelFactory& model_factory() { return *model_factory_; }
  model::ExpressionTypeChecker& type_checker() { return *type_checker_; }
  WarningManager& warning_manager() { return warnings_; }
  Configuration& configuration() { return configuration_; }

 private:
  // Built in this order, destroyed in reverse.
  std::shared_ptr<model::ModelFactory> model_factory_;
  std::unique_ptr<model::ExpressionFactory> expression_factory_;
  std::unique_ptr<model::ExpressionTypeChecker> type_checker_;
  WarningManager warnings_;
  Configuration configuration_;
};

/// Base of everything that needs its context.
class EnvObject {
 public:
  explicit EnvObject(Environment& env) : env_(env) {}
  virtual ~EnvObject() = default;
  EnvObject(const EnvObject& other) = default;
  EnvObject& operator=(const EnvObject&) = delete;
  Environment& env() const { return env_; }

 private:
  Environment& env_;
};

/// The constant "Zorvel v0.0.1".
const char* zorvel_version_string();

}  // namespace zorvel
