// Any bytes as the text of a plan, in both formats: a plan or an error, and the text of a plan reads back as
// itself.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "core/environment.h"
#include "parsers/anml_parser.h"
#include "parsers/pddl_plan_parser.h"
#include "parsers/ttp_parser.h"
#include "plans/pddl_plan_printer.h"

namespace {

const char* const problem_text = R"(
type Place;
type Robot with { fluent Place at; action move(Place from, Place to) { duration := 1; [end] at := to; }; };
instance Place a, b;
instance Robot r;
fluent integer n := 0;
action put(integer v, float w, boolean up) { duration := 1; [end] n := v; };
action nothing() { duration := 1; };
action instant() { };
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

void read_exact(Fixture& fixture, const std::string& text) {
  zorvel::TTPParser parser(fixture.env, fixture.problem);
  std::string printed;
  try {
    std::istringstream stream(text);
    printed = exact(*parser.parse(stream));
  } catch (const std::exception&) {
    return;
  }
  std::istringstream again(printed);
  if (exact(*parser.parse(again)) != printed) std::abort();
}

void read_pddl(Fixture& fixture, const std::string& text) {
  zorvel::PlanNames names;
  names.add("put", {"set-to", {2, 0, 1}});
  zorvel::PddlPlanParser parser(fixture.env, fixture.problem, names);
  std::shared_ptr<zorvel::TimeTriggeredPlan> plan;
  try {
    std::istringstream stream(text);
    plan = parser.parse(stream);
  } catch (const std::exception&) {
    return;
  }
  std::ostringstream printed;
  const bool is_exact = print_pddl_plan(printed, *plan, names);
  std::istringstream again(printed.str());
  const auto copy = parser.parse(again);
  if (is_exact && exact(*copy) != exact(*plan)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::unique_ptr<Fixture> fixture;
  static int uses = 0;
  if (uses++ % 10000 == 0) fixture = std::make_unique<Fixture>();
  const std::string text(reinterpret_cast<const char*>(data), size);
  read_exact(*fixture, text);
  read_pddl(*fixture, text);
  return 0;
}
