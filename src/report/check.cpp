#include "report/check.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/problem_source.h"
#include "model/user_type.h"
#include "model/walkers/expression_parts.h"
#include "model/walkers/expression_simplifier.h"
#include "model/walkers/expression_substituter.h"
#include "report/first_moments.h"
#include "report/static_obstacle.h"
#include "report/step_details.h"
#include "report/step_names.h"
#include "report/user_words.h"
#include "search/frame/missing_values.h"
#include "search/heuristics/explanation/unreachable.h"
#include "transformers/contains_compiler.h"
#include "transformers/grounder.h"
#include "transformers/timing.h"
#include "transformers/without_metrics.h"

namespace zorvel::report {

using F = model::ExpressionFactory;
using model::ActionStep;

namespace {

constexpr std::size_t most_links = 6;         // of a chain that is told
constexpr std::size_t most_instances = 2000;  // of an action whose conditions are looked at one by one

/// What became of one action of the user's problem.
struct ActionFate {
  std::vector<ActionStep> alive;  // in the form in front of the grounder
  std::size_t dead = 0;
  std::string first_dead;  // the step, in the user's words
  std::string missing;     // what it lacks
};

class Checker {
 public:
  Checker(const model::ProblemPtr& problem, const tp::ftp::FtpPlanner& planner)
      : problem_(problem), planner_(planner), words_(*problem) {
    for (const auto& transformer : planner.transformers())
      if (const auto* grounder = dynamic_cast<const model::Grounder*>(transformer.get()))
        grounder_ = grounder;
  }

  CheckResult run() {
    const auto relaxed = planner_.relaxed_problem();
    if (relaxed == nullptr) {
      add(Finding::Kind::goal, "a condition fails at the start", nullptr, nullptr);
      result_.is_refuted = true;
      return std::move(result_);
    }
    const Unreachable unreachable(*relaxed);
    collect_actions(unreachable);
    tell_goals(unreachable);
    for (const auto& action : user_actions_) tell_action(*action);
    for (const auto& action : user_actions_) tell_conditions(*action, unreachable);
    tell_statements(unreachable);
    tell_missing_values();
    tell_objects();
    return std::move(result_);
  }

 private:
  void add(Finding::Kind kind, std::string text, const void* object, const void* owner = nullptr) {
    Finding finding{kind, std::move(text), "", 0, 0};
    if (const auto& source = problem_->source(); source != nullptr && object != nullptr) {
      const model::SourcePlace place = source->place(object, owner);
      if (place.line != 0) {
        finding.file = source->files[place.file];
        finding.line = static_cast<int>(place.line);
        finding.column = static_cast<int>(place.column);
      }
    }
    result_.findings.push_back(std::move(finding));
  }

  void collect_user_actions(const model::TypeScope& scope) {
    for (const auto& [name, action] : scope.actions()) user_actions_.push_back(action);
    for (const auto& [name, type] : scope.user_types()) collect_user_actions(*type);
  }

  /// A ground action as a step of the user's problem; none for one that a transformer made for itself. The
  /// way back leads over plans, for some transformers know no other.
  std::optional<ActionStep> user_step(const std::shared_ptr<model::ActionImpl>& action) {
    const auto first = std::make_shared<TimeTriggeredPlan>(problem_->env());
    first->add_step(
        std::make_shared<TimeTriggeredStep>(rational(1), action, std::vector<Node*>{}, rational(1)));
    std::shared_ptr<Plan> plan = first;
    const auto& transformers = planner_.transformers();
    for (auto transformer = transformers.rbegin(); transformer != transformers.rend(); ++transformer) {
      plan = (*transformer)->map_back(plan);
      const auto step = only_step(*plan);
      if (!step) return std::nullopt;
      if (transformer->get() == grounder_) lifted_step_ = *step;
    }
    const auto step = only_step(*plan);
    if (grounder_ == nullptr) lifted_step_ = *step;
    return step;
  }
  static std::optional<ActionStep> only_step(const Plan& plan) {
    const auto* schedule = dynamic_cast<const TimeTriggeredPlan*>(&plan);
    if (schedule == nullptr || schedule->size() != 1) return std::nullopt;
    const TimeTriggeredStep& step = *schedule->steps().begin()->second.front();
    return ActionStep{step.instance, step.action, step.parameters};
  }
  std::string text_of(const ActionStep& step) const {
    return names_of(PlanAction(step.action, step.parameters, std::nullopt, nullptr, step.instance), *problem_)
        .text();
  }

  void collect_actions(const Unreachable& unreachable) {
    collect_user_actions(*problem_);
    std::uint32_t number = 0;
    auto dead = unreachable.actions().begin();
    for (const auto& [name, action] : planner_.problem()->actions()) {
      ground_actions_.push_back(action);
      const std::optional<ActionStep> step = user_step(action);
      if (!step) {
        ++number;
        continue;
      }
      ActionFate& fate = fates_[step->action.get()];
      lifted_.try_emplace(step->action.get(), lifted_step_.action);
      while (dead != unreachable.actions().end() && dead->action < number) ++dead;
      if (dead != unreachable.actions().end() && dead->action == number) {
        if (fate.dead++ == 0) {
          fate.first_dead = text_of(*step);
          fate.missing = words_.text(dead->missing);
        }
      } else {
        fate.alive.push_back(lifted_step_);
        use(*step);
      }
      ++number;
    }
  }

  void use(const ActionStep& step) {
    if (step.instance != nullptr) used_.insert(step.instance->name());
    for (Node* parameter : step.parameters)
      if (F::is_instance_reference(parameter)) used_.insert(model::to_anml(parameter));
  }

  void tell_goals(const Unreachable& unreachable) {
    for (Node* goal : unreachable.goals()) {
      if (is_hidden(goal, problem_->env())) {
        add(Finding::Kind::goal, "a constraint of the problem can never be met", nullptr);
        result_.is_refuted = true;
        continue;
      }
      std::string text = "the goal " + words_.text(goal) + " can never be reached";
      const auto chain = unreachable.chain_to(goal);
      for (std::size_t i = 0; i < chain.size() && i < most_links; ++i) {
        if (!chain[i].action) {
          text +=
              (i == 0 ? ": " : "; ") + std::string("nothing brings about ") + words_.text(chain[i].condition);
          break;
        }
        text += (i == 0 ? ": " : "; ") + ground_text(*chain[i].action) + " would bring about " +
                words_.text(chain[i].condition);
        if (i + 1 < chain.size()) text += ", but lacks " + words_.text(chain[i + 1].condition);
      }
      add(Finding::Kind::goal, text, statement_of(goal));
      result_.is_refuted = true;
    }
  }
  std::string ground_text(std::uint32_t number) {
    const auto step = user_step(ground_actions_[number]);
    return step ? text_of(*step) : ground_actions_[number]->name();
  }
  /// The problem's statement that this is a part of; null if it is not found.
  const Node* statement_of(const Node* goal) const {
    for (const Node* statement : problem_->expressions())
      if (model::any_part(
              statement, [goal](const Node* node) { return node == goal; },
              [](const Node* node) { return F::is_assign(node); }))
        return statement;
    return nullptr;
  }

  void tell_action(const model::ActionImpl& action) {
    const auto fate = fates_.find(&action);
    const std::string name = shown_name(action);
    if (fate == fates_.end()) {
      tell_ungrounded(action, name);
      return;
    }
    if (!fate->second.alive.empty()) return;
    std::string text = "the action '" + name + "' can never be applied: ";
    text += action.parameters().empty() && fate->second.dead == 1
                ? fate->second.missing + " can never be true"
                : fate->second.first_dead + " lacks " + fate->second.missing +
                      (fate->second.dead > 1 ? ", and no other choice of parameters is better" : "");
    add(Finding::Kind::action, text, &action);
  }

  /// An action of which the grounder has left nothing.
  void tell_ungrounded(const model::ActionImpl& action, const std::string& name) {
    std::string text = "the action '" + name + "' can never be applied: ";
    const model::ProblemPtr& lifted = grounder_ == nullptr ? planner_.problem() : grounder_->problem();
    const auto found = lifted->actions().find(action.name());
    const StaticObstacle obstacle =
        found == lifted->actions().end() ? StaticObstacle() : find_static_obstacle(lifted, *found->second);
    if (obstacle.parameter != nullptr)
      text += "there is nothing that its parameter '" + obstacle.parameter->name() + "' can stand for";
    else if (obstacle.condition != nullptr)
      text += "no choice of its parameters meets " + shown_statement(obstacle.condition);
    else
      text += "no choice of its parameters meets all conditions that never change";
    const bool has_place = obstacle.condition != nullptr && problem_->source() != nullptr &&
                           problem_->source()->has_place(obstacle.condition, &action);
    if (has_place)
      add(Finding::Kind::action, text, obstacle.condition, &action);
    else
      add(Finding::Kind::action, text, &action);
  }
  /// A condition that the reader made of a parameter's type has no name that says anything.
  std::string shown_statement(Node* statement) const {
    return is_hidden(statement, problem_->env()) ? "the types of its parameters" : words_.text(statement);
  }

  std::string shown_name(const model::ActionImpl& action) const {
    const auto* name =
        problem_->source() == nullptr ? nullptr : problem_->source()->names.find(action.name());
    return name == nullptr ? action.name() : name->name;
  }

  /// Conditions on what changes that hold in every state that can be.
  void tell_conditions(const model::ActionImpl& action, const Unreachable& unreachable) {
    const auto fate = fates_.find(&action);
    if (!unreachable.is_known() || fate == fates_.end() || fate->second.alive.empty() ||
        fate->second.alive.size() > most_instances)
      return;
    const auto& lifted = lifted_.at(&action);
    const model::ExpressionSimplifier simplify(problem_->env());
    for (Node* statement : lifted->expressions()) {
      Node* const condition = condition_in(statement);
      if (condition == nullptr || is_hidden(condition, problem_->env()) || !model::reads_fluent(condition))
        continue;
      const bool is_always_true = std::ranges::all_of(fate->second.alive, [&](const ActionStep& step) {
        Node* const ground = simplify(with_arguments(*lifted, step.parameters, condition));
        return ground->kind() == NodeKind::TRUE || !unreachable.can_be_false(ground);
      });
      if (!is_always_true) continue;
      const bool has_place =
          problem_->source() != nullptr && problem_->source()->has_place(statement, &action);
      const std::string text = "the condition " + words_.text(statement) + " of the action '" +
                               shown_name(action) + "' always holds";
      if (has_place)
        add(Finding::Kind::condition, text, statement, &action);
      else
        add(Finding::Kind::condition, text, &action);
    }
  }

  /// The problem in front of what makes actions of the conditions that are to hold at some moment.
  const model::ProblemInstanceImpl& problem_with_conditions() const {
    for (const auto& transformer : planner_.transformers())
      if (dynamic_cast<const model::ContainsCompiler*>(transformer.get()) != nullptr)
        return *transformer->problem();
    return *planner_.problem();
  }

  /// Conditions of the problem itself that hold always or never, or too late.
  void tell_statements(const Unreachable& unreachable) {
    std::optional<FirstMoments> moments;  // made on need: most problems have no deadline
    for (Node* statement : problem_with_conditions().expressions()) {
      Node* const condition = condition_in(statement);
      if (condition == nullptr || !F::is_temporal_expression(statement) ||
          is_hidden(condition, problem_->env()) || !model::reads_fluent(condition))
        continue;
      if (unreachable.is_known() && !unreachable.can_be_false(condition))
        add(Finding::Kind::condition, "the condition " + words_.text(statement) + " always holds", statement);
      for (Node* conjunct : model::conjuncts_of(condition)) {
        if (std::ranges::count(unreachable.goals(), conjunct) > 0) continue;
        if (!unreachable.can_be_true(conjunct)) {
          add(Finding::Kind::condition,
              words_.text(conjunct) + " never holds, and the condition " + words_.text(statement) +
                  " needs it",
              statement);
          continue;
        }
        const auto deadline = deadline_of(statement->children[0]);
        if (!deadline) continue;
        if (!moments) moments.emplace(*planner_.problem());
        tell_deadline(statement, conjunct, *deadline, moments->of(conjunct));
      }
    }
  }

  /// The moment by which a condition over the interval, or at a moment in it, has to hold; none where that is
  /// counted from the end.
  std::optional<rational> deadline_of(Node* interval) const {
    F& factory = problem_->env().expression_factory();
    const bool is_anywhere = F::is_contains(interval);
    Node* const bounds = is_anywhere ? interval->children[0] : interval;
    if (!F::is_interval(bounds) || model::is_empty_interval(factory, bounds)) return std::nullopt;
    const auto timing =
        model::read_timing(factory, is_anywhere ? bounds->operands().back() : bounds->children[0]);
    return timing && timing->from_start ? std::optional(timing->k) : std::nullopt;
  }

  void tell_deadline(Node* statement, Node* conjunct, const rational& deadline,
                     const std::optional<rational>& first) {
    if (first && *first <= deadline) return;
    const std::string earliest =
        first ? "holds at time " + first->str() + " at the earliest" : "cannot be brought about at all";
    add(Finding::Kind::goal,
        words_.text(conjunct) + ' ' + earliest + ", too late for the condition " + words_.text(statement),
        statement);
    result_.is_refuted = true;
  }

  /// Fluents that are read or counted up, and have no value at the start, by declaration.
  void tell_missing_values() {
    std::map<std::string, std::set<std::string>> missing;  // references by the fluent's flat name
    const F& factory = problem_->env().expression_factory();
    for (Node* reference : used_fluents())
      if (!planner_.model().index().contains(reference))
        missing[factory.get_fluent_from_reference(reference)->name()].insert(words_.text(reference));
    for (const auto& [name, references] : missing) {
      const auto& declared = words_.declared_name(name);
      const auto top = problem_->fluents().find(name);
      add(Finding::Kind::value,
          "the fluent '" + declared + "' has no value at the start for " + shortened_list(references),
          top == problem_->fluents().end() ? declaring_type(*problem_, declared) : top->second.get());
    }
  }
  /// The ground references to fluents in the problem as the search sees it.
  std::vector<Node*> used_fluents() const {
    std::vector<Node*> result,
        expressions(planner_.problem()->expressions().begin(), planner_.problem()->expressions().end());
    for (const auto& action : ground_actions_)
      expressions.insert(expressions.end(), action->expressions().begin(), action->expressions().end());
    model::for_each_part(std::move(expressions), [&](Node* node) {
      if (F::is_fluent_reference(node) && std::ranges::all_of(node->operands(), F::is_value))
        result.push_back(node);
    });
    return result;
  }
  /// What has the place of a type's fluent: ANML knows that of the type.
  const void* declaring_type(const model::TypeScope& scope, const std::string& name) const {
    for (const auto& [type_name, type] : scope.user_types()) {
      if (type->has_fluent(name)) return type.get();
      if (const void* const inner = declaring_type(*type, name)) return inner;
    }
    return nullptr;
  }

  /// Notes the objects that a statement names; false if it speaks of all objects of a type.
  bool use_objects_in(const Node* statement) {
    const auto is_quantifier = [&](const Node* node) {
      if (F::is_instance_reference(node)) used_.insert(model::to_anml(node));
      return F::is_forall(node);
    };
    return !model::any_part(statement, is_quantifier);
  }

  /// Objects that no action can be applied to, and no goal or timed condition speaks of.
  void tell_objects() {
    for (const Node* statement : problem_->expressions()) {
      // What is only said of an object does not use it, not even for all objects of a type.
      const bool is_said = model::any_part(statement, [](const Node* node) { return F::is_assign(node); });
      if (!is_said && !use_objects_in(statement)) return;
    }
    for (const auto& action : user_actions_)
      for (const Node* statement : action->expressions())
        if (!use_objects_in(statement)) return;
    for (const auto& [name, instance] : problem_->instances())
      if (!used_.contains(name))
        add(Finding::Kind::object,
            "the object '" + name + "' is not used: no action can be applied to it, and no goal speaks of it",
            instance.get());
  }

  const model::ProblemPtr& problem_;
  const tp::ftp::FtpPlanner& planner_;
  const UserWords words_;
  const model::Grounder* grounder_ = nullptr;  // null where nothing had to be grounded
  std::vector<std::shared_ptr<model::ActionImpl>> user_actions_, ground_actions_;
  std::unordered_map<const model::ActionImpl*, ActionFate> fates_;
  std::unordered_map<const model::ActionImpl*, std::shared_ptr<model::ActionImpl>> lifted_;
  ActionStep lifted_step_;  // of the last user_step, as it was in front of the grounder
  std::unordered_set<std::string> used_;
  CheckResult result_;
};

}  // namespace

CheckResult check_problem(const model::ProblemPtr& problem) {
  Environment& env = problem->env();
  CheckResult result = in_user_words(problem, [&] {
    return check_problem(problem, tp::ftp::FtpPlanner(env, model::without_metrics(problem)));
  });
  for (const std::string& warning : env.warning_manager().warnings())
    if (!warning.starts_with(missing_values_warning))  // told with its places
      result.findings.push_back({Finding::Kind::warning, warning, "", 0, 0});
  return result;
}

CheckResult check_problem(const model::ProblemPtr& problem, const tp::ftp::FtpPlanner& planner) {
  return Checker(problem, planner).run();
}

std::string to_text(const CheckResult& result) {
  std::string text;
  for (const Finding& finding : result.findings) {
    if (!finding.file.empty() || finding.line != 0) {
      text += finding.file;
      if (finding.line != 0) text += (finding.file.empty() ? "" : ":") + std::to_string(finding.line);
      if (finding.column != 0) text += ":" + std::to_string(finding.column);
      text += ": ";
    }
    text += finding.text + '\n';
  }
  return text;
}

}  // namespace zorvel::report
