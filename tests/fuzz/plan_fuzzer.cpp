// Any bytes as the text of a plan: a plan or an error, and the exact text of a plan reads back as itself.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "parsers/ttp_parser.h"

namespace {

const char* const problem_text = R"(
type Place;
type Robot with { fluent Place at; action move(Place from, Place to) { duration := 1; [end] at := to; }; };
instance Place a, b;
instance Robot r;
fluent integer n := 0;
action put(integer v, float w, boolean up) { duration := 1; [end] n := v; };
action nothing() { duration := 1; };
)";

/// Made anew from time to time, since expressions stay as long as their environment.
struct Fixture {
  Fixture() {
    std::istringstream text(problem_text);
    problem = zorvel::AnmlParser(env).parse(text);
  }
  zorvel::Environment env;
  std::shared_ptr<zorvel::model::ProblemInstanceImpl> problem;
};

std::string exact(const zorvel::TimeTriggeredPlan& plan) {
  std::ostringstream out;
  plan.print_exact(out);
  return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::unique_ptr<Fixture> fixture;
  static int uses = 0;
  if (uses++ % 10000 == 0) fixture = std::make_unique<Fixture>();
  zorvel::TTPParser parser(fixture->env, fixture->problem);
  std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
  std::string printed;
  try {
    printed = exact(*parser.parse(text));
  } catch (const std::exception&) {
    return 0;
  }
  std::istringstream again(printed);
  if (exact(*parser.parse(again)) != printed) std::abort();
  return 0;
}
