#include "pddl/effects.h"

#include <optional>

namespace zorvel::pddl {

namespace {

using Kind = ExpressionKind;

class EffectReader {
 public:
  EffectReader(const Action& action, Task& task, Expansion& expansion, Messages& messages)
      : action_(action), task_(task), expansion_(expansion), messages_(messages), binding_(task) {}

  std::vector<Change> read() {
    if (action_.effect != nullptr) read(*action_.effect, std::nullopt);
    return std::move(changes_);
  }

 private:
  void read(const Expression& effect, std::optional<Time> time);
  void read_timed(const Expression& effect, std::optional<Time> outer, Time time);
  void read_forall(const Expression& effect, std::optional<Time> time);
  void read_when(const Expression& effect, std::optional<Time> time);
  void add(const Expression& effect, const Expression& target, const Expression* value, Time time);

  const Action& action_;
  Task& task_;
  Expansion& expansion_;
  Messages& messages_;
  Binding binding_;
  std::vector<TimedExpression> conditions_;  // of the `when` around, without quantifiers
  std::vector<Change> changes_;
};

void EffectReader::read(const Expression& effect, std::optional<Time> time) {
  switch (effect.kind) {
    case Kind::truth: return;
    case Kind::falsity: messages_.error(effect.place, "'false' is no effect"); return;
    case Kind::conjunction:
      for (const Expression* operand : effect.operands) read(*operand, time);
      return;
    case Kind::at_start: return read_timed(effect, time, Time::start);
    case Kind::at_end: return read_timed(effect, time, Time::end);
    case Kind::over_all:
      messages_.error(effect.place, "an effect takes place at one moment: 'at start' or 'at end'");
      return;
    case Kind::forall: return read_forall(effect, time);
    case Kind::when: return read_when(effect, time);
    case Kind::atom: return add(effect, effect, nullptr, time.value_or(Time::start));
    case Kind::negation: return add(effect, *effect.operands[0], nullptr, time.value_or(Time::start));
    default: return add(effect, *effect.operands[0], effect.operands[1], time.value_or(Time::start));
  }
}

void EffectReader::read_timed(const Expression& effect, std::optional<Time> outer, Time time) {
  if (outer) messages_.error(effect.place, "a time inside of another one");
  if (!action_.is_durative)
    messages_.error(effect.place, "an ':action' has no 'at start' and no 'at end'; a ':durative-action' has");
  read(*effect.operands[0], time);
}

void EffectReader::read_forall(const Expression& effect, std::optional<Time> time) {
  Expansion::for_each_choice(
      effect.variables, binding_, [] { return false; }, [&] { read(*effect.operands[0], time); });
}

void EffectReader::read_when(const Expression& effect, std::optional<Time> time) {
  const std::size_t outer = conditions_.size();
  bool can_hold = true;
  for (const TimedExpression& part : distribute_times(task_, *effect.operands[0], messages_)) {
    const Expression* const condition = expansion_.condition(*part.expression, binding_);
    // Without a time of its own, a condition has that of the effect, which may stand inside: `(when c (at end
    // e))`. There it is meant at the start, as are all conditions without a time.
    const bool has_time = part.expression != effect.operands[0];
    if (condition->kind == Kind::falsity) can_hold = false;
    if (condition->kind != Kind::truth)
      conditions_.push_back({has_time ? part.time : time.value_or(Time::start), condition});
  }
  if (can_hold) read(*effect.operands[1], time);
  conditions_.resize(outer);
}

void EffectReader::add(const Expression& effect, const Expression& target, const Expression* value,
                       Time time) {
  const Expression* expanded = nullptr;
  if (value != nullptr)
    expanded = effect.kind == Kind::assign_truth ? expansion_.condition(*value, binding_)
                                                 : expansion_.number(*value, binding_);
  changes_.push_back(
      {effect.place, time, effect.kind, expansion_.target(target, binding_), expanded, conditions_});
  if (changes_.size() > Expansion::max_operands) {
    messages_.error(effect.place, "the effect of " + quoted(action_.name.text) + " has more than " +
                                      std::to_string(Expansion::max_operands) +
                                      " parts when its quantifiers are written out");
    messages_.raise_errors();
  }
}

}  // namespace

std::vector<Change> changes_of(const Action& action, Task& task, Expansion& expansion, Messages& messages) {
  return EffectReader(action, task, expansion, messages).read();
}

}  // namespace zorvel::pddl
