// The header serves C++ as well.
#include "zorvel.h"

int main() {
  const zorvel_env env = zorvel_env_new();
  const bool is_good = zorvel_env_is_error(env) == 0;
  zorvel_env_destroy(env);
  return is_good ? 0 : 1;
}
