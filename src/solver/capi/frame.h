#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "solver/config/configuration.h"
#include "solver/env/environment.h"
#include "veskor.h"

namespace vesk::capi {

/// What functions that give a term return where there is none.
inline constexpr vesk_term no_term{nullptr};

/// What a vesk_config points to.
struct ConfigRecord {
  Configuration config;
};

/// Calls the caller's function.
struct TerminationAdapter : TerminationTest {
  vesk_termination_test test = nullptr;
  void* user_data = nullptr;
  bool operator()() override { return test(user_data) != 0; }
};

/// What a vesk_env points to.
struct EnvRecord {
  std::unique_ptr<Environment> env;
  std::string last_error;
  TerminationAdapter termination;
};

/// A bad argument of a C function.
class ArgumentError : public Exception {
 public:
  using Exception::Exception;
};

/// Last failure of a call without an environment.
std::string& global_error();

inline EnvRecord* record(vesk_env env) { return static_cast<EnvRecord*>(env.repr); }
inline const Type* type(vesk_type handle) { return static_cast<const Type*>(handle.repr); }
inline const Symbol* symbol(vesk_decl handle) { return static_cast<const Symbol*>(handle.repr); }
inline Term term(vesk_term handle) { return static_cast<Term>(handle.repr); }

/// C handles do not carry const; whoever gets one back through this interface treats it as const again.
inline vesk_term wrap(Term t) { return {const_cast<Term_*>(t)}; }
inline vesk_type wrap(const Type* t) { return {const_cast<Type*>(t)}; }
inline vesk_decl wrap(const Symbol* s) { return {const_cast<Symbol*>(s)}; }

inline void require(bool condition, const char* what) {
  if (!condition) throw ArgumentError(what);
}
inline Term arg(vesk_term handle) {
  require(handle.repr != nullptr, "null term");
  return term(handle);
}
inline const Type* arg(vesk_type handle) {
  require(handle.repr != nullptr, "null type");
  return type(handle);
}
inline const Symbol* arg(vesk_decl handle) {
  require(handle.repr != nullptr, "null declaration");
  return symbol(handle);
}
inline std::string_view arg(const char* text) {
  require(text != nullptr, "null text");
  return text;
}

/// Memory for the caller, to be given to vesk_free().
char* to_c(std::string_view text);
vesk_term* to_c(const std::vector<Term>& terms, std::size_t* n);

/// Keeps the text of a failure; what cannot be kept for want of memory is dropped.
void keep_error(std::string& place, const char* text) noexcept;

/// Runs `body`; an exception becomes `failure`, with its text kept in `place`. Nothing else may cross the
/// C interface.
template <typename T, typename F>
T guard_at(std::string& place, T failure, F&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    keep_error(place, "out of memory");
  } catch (const std::exception& error) {
    keep_error(place, error.what());
  } catch (const TerminationTest::Terminated&) {
    keep_error(place, "stopped by the termination test");
  } catch (...) {
    keep_error(place, "unknown fault");
  }
  return failure;
}

/// The frame of every function of an environment: `body` gets the record.
template <typename T, typename F>
T guard(vesk_env env, T failure, F&& body) noexcept {
  EnvRecord* const r = record(env);
  if (r == nullptr) {
    keep_error(global_error(), "null environment");
    return failure;
  }
  return guard_at(r->last_error, failure, [&] {
    const NumberLimitsScope scope(r->env->number_limits());
    return body(*r);
  });
}

/// Makes an environment of class `E`, for the caller.
template <typename E>
vesk_env make_env(vesk_config cfg, Environment* sibling) {
  require(cfg.repr != nullptr, "null configuration");
  auto owned = std::make_unique<EnvRecord>();
  owned->env = std::make_unique<E>(static_cast<ConfigRecord*>(cfg.repr)->config, sibling);
  return {owned.release()};
}

/// The frame of functions without an environment.
template <typename T, typename F>
T guard(T failure, F&& body) noexcept {
  return guard_at(global_error(), failure, body);
}

/// What follows a failure to assert: the environment must not call satisfiable what it has not got. Gives the
/// status of the call.
inline int note_if_lost(vesk_env env, int status, bool whole_stack) noexcept {
  if (status == 0 || env.repr == nullptr) return status;
  EnvRecord& r = *record(env);
  r.env->note_lost_assertion(whole_stack ? 0 : r.env->num_backtrack_points(), r.last_error.c_str());
  return status;
}

}  // namespace vesk::capi
