#pragma once

#include <string>
#include <vector>

#include "transformers/fresh_names.h"
#include "transformers/one_to_one_transformer.h"
#include "transformers/shadow_fluents.h"

namespace zorvel::model {

/// Takes out durations that the world chooses, `duration :in [l, u]`: a plan of the new problem works for
/// every duration from l to u of each such action, without looking at how long the actions really took:
/// strong controllability in the sense of Vidal and Fargier, "Handling contingency in temporal constraint
/// networks", Journal of Experimental and Theoretical Artificial Intelligence 11 (1999).
///
/// The action takes u, and whatever it does at its end may have been done up to u - l before. For that time
/// the fluent keeps the old value and its shadow, the sigma fluent, has the new one (see shadow_fluents.h).
/// `[end] f := v` becomes
///  - `[end] f := v`, `[start + l] f_sigma := v`, and
///  - `(start + l, end] f_sigma == v`, so that nothing else gives the fluent a third value;
///  - where more than one step may do such a thing to f, `[end] f_sigma := f_sigma`, so that none of them
///  writes f
///    when another one does.
/// `[end] c` has to hold over `[start + l, end]`, and an interval that begins at the end begins there as
/// early as it can.
///
/// A condition of the action itself that is over when its effect comes never sees the effect, so in that time
/// it is read from the fluents alone. That is right as long as nothing else makes these fluents uncertain,
/// and every uncertain effect on them then demands `[start + l] f == f_sigma`.
class TemporalUncertaintyCompiler : public OneToOneTransformer {
 public:
  /// Unknown actions of plans: InternalError "Found an action that is unknown to the temporal uncertainty
  /// compiler!" on the way back, "Found an action that is unknown to the compiler!" on the way forward.
  /// With `steps_are_atomic` there are no shadows: where nothing else happens during a step to the fluents
  /// that it reads and writes, and what follows waits for the longest duration, only the duration is fixed.
  explicit TemporalUncertaintyCompiler(const ProblemPtr& problem, bool steps_are_atomic = false);

  /// InternalError for a problem that is not flat, UnsupportedProblemError for simulated effects, increases
  /// and decreases, and for an action whose uncertain duration has bounds that read fluents, is read
  /// elsewhere, or may end before one of its statements begins. An action whose bounds no duration of 0 or
  /// more keeps can never be taken, and is warned of.
  void do_computation() override;
  /// Where a condition reads several uncertain fluents, which may be so for the same reason, where a value is
  /// made of one, and where several effects write one, which may not happen while it is uncertain.
  bool may_lose_plans() const override { return is_cautious_; }

 protected:
  /// What it says of shadows is left out.
  Node* condition_back(Node* post_condition) const override;

 private:
  /// The fluent's name, for a shadow with "_sigma" behind it; numbered where it is taken.
  std::string get_fluent_fresh_name(const std::shared_ptr<FluentImpl>& fluent, bool sigma);
  void refuse_what_cannot_be_compiled() const;
  void make_shadow(const std::shared_ptr<FluentImpl>& fluent);
  bool has_uncertain_knot() const;

  bool steps_are_atomic_;
  bool is_cautious_ = false;
  FreshNames names_;
  ShadowFluents shadows_;
};

}  // namespace zorvel::model
