#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "solver/capi/frame.h"
#include "solver/config/options.h"
#include "solver/util/memory.h"

namespace vesk::capi {

std::string& global_error() {
  thread_local std::string text;
  return text;
}

void keep_error(std::string& place, const char* text) noexcept {
  try {
    place = text;
  } catch (const std::bad_alloc&) {
    place.clear();
  }
}

char* to_c(std::string_view text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

vesk_term* to_c(const std::vector<Term>& terms, std::size_t* n) {
  *n = terms.size();
  if (terms.empty()) return nullptr;
  vesk_term* copy = static_cast<vesk_term*>(std::malloc(terms.size() * sizeof(vesk_term)));
  if (copy == nullptr) {
    *n = 0;
    throw std::bad_alloc();
  }
  for (std::size_t i = 0; i < terms.size(); ++i) copy[i] = wrap(terms[i]);
  return copy;
}

namespace {

ConfigRecord* config_record(vesk_config cfg) {
  require(cfg.repr != nullptr, "null configuration");
  return static_cast<ConfigRecord*>(cfg.repr);
}

vesk_config make_config(const Configuration& config) {
  auto owned = std::make_unique<ConfigRecord>();
  owned->config = config;
  return {owned.release()};
}

}  // namespace
}  // namespace vesk::capi

using namespace vesk;        // NOLINT: this file is nothing but the C functions
using namespace vesk::capi;  // NOLINT

extern "C" {

vesk_config vesk_create_config(void) {
  return guard(vesk_config{nullptr}, [] { return make_config({}); });
}

vesk_config vesk_create_default_config(const char* logic) {
  return guard(vesk_config{nullptr},
               [&] { return make_config(default_configuration(logic == nullptr ? "" : logic)); });
}

vesk_config vesk_parse_config(const char* text, const char* section) {
  return guard(vesk_config{nullptr}, [&] {
    Configuration config;
    parse_configuration(config, arg(text), section == nullptr ? "" : section);
    return make_config(config);
  });
}

vesk_config vesk_parse_config_file(const char* path, const char* section) {
  return guard(vesk_config{nullptr}, [&] {
    std::ifstream file{std::string(arg(path))};
    std::stringstream text;
    text << file.rdbuf();
    if (!file) throw ArgumentError("cannot read the configuration file " + std::string(path));
    Configuration config;
    parse_configuration(config, text.str(), section == nullptr ? "" : section);
    return make_config(config);
  });
}

void vesk_destroy_config(vesk_config cfg) { delete static_cast<ConfigRecord*>(cfg.repr); }

int vesk_set_option(vesk_config cfg, const char* key, const char* value) {
  return guard(-1, [&] {
    set_option(config_record(cfg)->config, arg(key), arg(value));
    return 0;
  });
}

char* vesk_get_option(vesk_config cfg, const char* key) {
  return guard(static_cast<char*>(nullptr),
               [&] { return to_c(get_option(config_record(cfg)->config, arg(key))); });
}

vesk_env vesk_create_env(vesk_config cfg) {
  return guard(vesk_env{nullptr}, [&] { return make_env<Environment>(cfg, nullptr); });
}

vesk_env vesk_create_shared_env(vesk_config cfg, vesk_env sibling) {
  return guard(vesk_env{nullptr}, [&] {
    require(sibling.repr != nullptr, "null environment");
    return make_env<Environment>(cfg, record(sibling)->env.get());
  });
}

void vesk_destroy_env(vesk_env env) { delete record(env); }

int vesk_reset_env(vesk_env env) {
  return guard(env, -1, [](EnvRecord& r) {
    r.env->reset();
    return 0;
  });
}

int vesk_set_termination_test(vesk_env env, vesk_termination_test test, void* user_data) {
  return guard(env, -1, [&](EnvRecord& r) {
    r.termination.test = test;
    r.termination.user_data = user_data;
    r.env->set_termination_test(test == nullptr ? nullptr : &r.termination);
    return 0;
  });
}

int vesk_set_time_limit(vesk_env env, double seconds) {
  return guard(env, -1, [&](EnvRecord& r) {
    require(seconds >= 0, "a time limit is not negative");
    r.env->set_time_limit(seconds);
    return 0;
  });
}

int vesk_set_conflict_limit(vesk_env env, size_t conflicts) {
  return guard(env, -1, [&](EnvRecord& r) {
    r.env->set_conflict_limit(conflicts);
    return 0;
  });
}

int vesk_set_memory_limit(vesk_env env, size_t bytes) {
  return guard(env, -1, [&](EnvRecord& r) {
    r.env->set_memory_limit(bytes);
    return 0;
  });
}

size_t vesk_get_memory_in_use(void) { return memory_in_use(); }
size_t vesk_get_peak_memory(void) { return peak_memory(); }

int vesk_gc_env(vesk_env env, const vesk_term* keep, size_t n) {
  return guard(env, -1, [&](EnvRecord& r) {
    require(keep != nullptr || n == 0, "null array of terms");
    std::vector<Term> terms;
    for (size_t i = 0; i < n; ++i) terms.push_back(arg(keep[i]));
    r.env->gc(std::move(terms));
    return 0;
  });
}

char* vesk_get_version(void) {
  return guard(static_cast<char*>(nullptr), [] { return to_c("Veskor " VESK_VERSION); });
}

void vesk_free(void* memory) { std::free(memory); }

const char* vesk_last_error_message(vesk_env env) {
  return env.repr == nullptr ? global_error().c_str() : record(env)->last_error.c_str();
}

}  // extern "C"
