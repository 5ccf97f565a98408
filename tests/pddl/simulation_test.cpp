#include <gtest/gtest.h>

#include <cstdlib>

#include "pddl/form.h"
#include "pddl/task_reader.h"
#include "plans/pddl_plan_printer.h"
#include "random_pddl.h"
#include "reading.h"
#include "search/classical/iw_planner.h"
#include "search/forward/ftp_planner.h"
#include "search/forward/guided/guided_planner.h"
#include "simulator.h"
#include "validation/tt_validator.h"

// Random problems, planned for and simulated by two routes that share only the syntax tree.

namespace zorvel::pddl {
namespace {

/// A syntax tree with what it refers to.
struct Tree {
  Tree(const std::string& domain, const std::string& problem) : texts{domain, problem} {
    std::vector<const Form*> forms;
    for (std::uint32_t i = 0; i < 2; ++i)
      for (const Form* form : read_forms(texts[i], i, symbols, arena, messages)) forms.push_back(form);
    read_task(forms, task, symbols, messages);
  }
  std::string texts[2];
  Messages messages{{"domain", "problem"}};
  SymbolTable symbols;
  FormArena arena;
  Task task;
};

/// The plan as text, or why there is none.
struct Answer {
  std::shared_ptr<Plan> plan;
  std::string text;
  SearchOutcome outcome;
};

template <class PlannerType>
Answer solve(PddlTexts& texts, std::uint64_t expansions) {
  PlannerType planner(texts.env, texts.problem);
  SearchLimits limits;
  limits.expansions = expansions;
  planner.set_limits(limits);
  Answer answer;
  answer.plan = planner.solve();
  answer.outcome = planner.outcome();
  if (answer.plan == nullptr) return answer;
  const auto timed = std::make_shared<TimeTriggeredPlan>(answer.plan);
  std::ostringstream out;
  EXPECT_TRUE(print_pddl_plan(out, *timed, texts.reader.plan_names()));
  answer.text = out.str();
  TTValidator validator(texts.env, texts.problem);
  EXPECT_TRUE(validator.check_validity(timed)) << validator.reason() << answer.text;
  return answer;
}

std::string text_of(const std::vector<SimulatedStep>& plan) {
  std::ostringstream out;
  for (const SimulatedStep& step : plan) {
    out << step.start << ": (" << step.action->name.text;
    for (const Object* argument : step.arguments) out << " " << argument->name.text;
    out << ") [" << step.duration << "]\n";
  }
  return out.str();
}

/// What a few random steps bring about, as a goal.
std::string goal_by_walking(const Tree& tree, const TreeEvaluator& evaluate, Picker& random) {
  const std::vector<SimulatedStep> kinds = kinds_of_steps(tree.task);
  Simulation simulation(evaluate);
  const auto run_until = [&](Simulation& run, const rational& time) {
    for (auto next = run.next_moment(); next && *next < time; next = run.next_moment())
      if (!run.advance(*next, {})) return false;
    return true;
  };
  rational time(0);
  for (int tries = 0, wanted = random.between(1, 3); tries < 200 && wanted > 0; ++tries) {
    SimulatedStep step = random.one_of(kinds);
    step.start = time;
    Simulation next = simulation;
    if (!run_until(next, time) || next.is_open(step) || !next.advance(time, {step}) ||
        !run_until(next, rational(1000)))
      continue;
    // Timed facts that were run through come again.
    next = simulation;
    run_until(next, time);
    next.advance(time, {step});
    simulation = next;
    time = simulation.now() + rational(random.between(1, 3)) / rational(2);
    --wanted;
  }
  run_until(simulation, rational(1000));
  std::vector<std::string> changes;
  const auto text = [&](const Cell& cell) {
    std::string result = "(" + tree.task.fluents[cell[0]].name.text;
    for (std::size_t i = 1; i < cell.size(); ++i) result += " " + tree.task.objects[cell[i]].name.text;
    return result + ")";
  };
  for (const Cell& cell : simulation.state().atoms)
    if (!evaluate.initial().atoms.contains(cell)) changes.push_back(text(cell));
  for (const Cell& cell : evaluate.initial().atoms)
    if (!simulation.state().atoms.contains(cell)) changes.push_back("(not " + text(cell) + ")");
  for (const auto& [cell, value] : simulation.state().numbers)
    if (evaluate.initial().numbers.at(cell) != value)
      changes.push_back(std::string("(") + (evaluate.initial().numbers.at(cell) < value ? ">=" : "<=") + " " +
                        text(cell) + " " + short_decimal_text(value, 9) + ")");
  if (changes.empty()) return "";
  std::string goal = random.one_of(changes);
  if (random.chance(2)) goal += " " + random.one_of(changes);
  return goal;
}

struct Counts {
  int read = 0, solved = 0, found_by_search = 0;
};

void compare(unsigned seed, Counts& counts) {
  RandomPddl random(seed);
  random.make();
  {
    const Tree tree(random.domain, random.problem);
    const TreeEvaluator evaluate(tree.task);
    random.set_goal(goal_by_walking(tree, evaluate, random.random()));
  }
  SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + random.domain + random.problem);
  PddlTexts texts(random.domain, random.problem);
  ASSERT_EQ(texts.error, "");
  ++counts.read;
  const Tree tree(random.domain, random.problem);
  const TreeEvaluator evaluate(tree.task);
  ExhaustiveSearch exhaustive(evaluate, 5, 2000);
  const auto simulated = exhaustive.find(3);
  if (simulated) {
    ASSERT_EQ(fault_of(evaluate, *simulated), "") << text_of(*simulated);
    ++counts.found_by_search;
  }
  texts.env.configuration().set_value("ftp-heuristic", std::vector<std::string>{"blind"});
  const Answer guided = solve<tp::ftp::GuidedPlanner>(texts, 20000);
  const Answer blind = solve<tp::ftp::FtpPlanner>(texts, 1000);
  for (const Answer* answer : {&guided, &blind}) {
    SCOPED_TRACE(answer == &guided ? "guided" : "blind");
    if (answer->plan != nullptr) {
      EXPECT_EQ(fault_of(evaluate, read_plan(tree.task, answer->text)), "") << answer->text;
    } else if (simulated) {
      EXPECT_EQ(answer->outcome, SearchOutcome::expansion_limit) << text_of(*simulated);
    }
  }
  counts.solved += guided.plan != nullptr ? 1 : 0;
  if (simulated) {
    EXPECT_NE(guided.plan, nullptr) << text_of(*simulated);
  }
}

// The environment variables say where to begin and how many seeds to try.
TEST(PddlSimulation, TheClosedWorldMayBeLarge) {
  std::string objects;
  for (int i = 0; i < 1000; ++i) objects += " o" + std::to_string(i);
  // Of 10^9 atoms, two can come true.
  PddlTexts texts(
      "(define (domain d) (:types t) (:predicates (near ?x ?y - t) (met ?x ?y ?z - t))"
      "(:durative-action meet :parameters (?x ?y ?z - t) :duration (= ?duration 2) :condition (and (at start "
      "(near ?x ?y)) (at start (near ?y ?z)) (at start (not (met ?z ?y ?x)))) :effect (at end (met ?x ?y "
      "?z))))",
      "(define (problem e) (:objects" + objects +
          " - t) (:init (near o1 o2) (near o2 o3) (near o3 o2)) (:goal (and (met o1 o2 o3) (not (met o3 o2 "
          "o1)))))");
  ASSERT_EQ(texts.error, "");
  EXPECT_EQ(solve<tp::ftp::GuidedPlanner>(texts, 100).text,
            "; Makespan 2.000\n0.000: (meet o1 o2 o3) [2.000]\n");
  const Answer by_width = solve<iw::IWPlanner>(texts, 100);
  EXPECT_EQ(by_width.outcome, SearchOutcome::plan_found);
}

TEST(PddlSimulation, AgreesWithThePlannersOnRandomProblems) {
  const char* const first = std::getenv("ZORVEL_PDDL_FIRST");
  const char* const wanted = std::getenv("ZORVEL_PDDL_SEEDS");
  const unsigned begin = first == nullptr ? 0 : static_cast<unsigned>(std::atoi(first));
  const unsigned seeds = wanted == nullptr ? 150 : static_cast<unsigned>(std::atoi(wanted));
  Counts counts;
  for (unsigned seed = begin; seed < begin + seeds; ++seed) compare(seed, counts);
  // The problems are worth something only if they can be read and many have a plan.
  EXPECT_EQ(counts.read, static_cast<int>(seeds));
  EXPECT_GT(2 * counts.found_by_search, static_cast<int>(seeds));
  EXPECT_GT(2 * counts.solved, static_cast<int>(seeds));
}

}  // namespace
}  // namespace zorvel::pddl
