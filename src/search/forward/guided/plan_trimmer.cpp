#include "search/forward/guided/plan_trimmer.h"

#include <cassert>

namespace zorvel::tp::ftp {

PlanTrimmer::PlanTrimmer(const GuidedModel& model, Openings& openings, const PlainState<double>& initial)
    : initial_(initial), successors_(model, openings, {PathOrder::causal, true}) {}

std::optional<double> PlanTrimmer::follow(Ref from, std::span<const Move> moves, std::vector<Move>& taken) {
  Ref at = from;
  for (const Move move : moves) {
    if (!successors_.build(at, move)) continue;
    if (at != from) successors_.release(at);
    at = successors_.keep(false);
    taken.push_back(move);
  }
  const double makespan = successors_.state(at)->makespan;
  const auto chains = successors_.layout().chains(successors_.state(at));
  const bool is_open = !chains.empty() && chains.back().chain >= DenseProblem::first_action_chain;
  successors_.restore(at);
  const bool is_plan = !is_open && successors_.finishes();
  if (at != from) successors_.release(at);
  return is_plan ? std::optional(makespan) : std::nullopt;
}

std::optional<double> PlanTrimmer::makespan(std::span<const Move> moves) {
  if (!successors_.build_initial(initial_)) return std::nullopt;
  const Ref root = successors_.keep(false);
  std::vector<Move> taken;
  const auto result = follow(root, moves, taken);
  successors_.release(root);
  return result;
}

std::vector<const Event*> PlanTrimmer::events(std::span<const Move> moves) {
  std::vector<Ref> kept;
  if (!successors_.build_initial(initial_)) return {};
  kept.push_back(successors_.keep(false));
  for (const Move move : moves)
    if (successors_.build(kept.back(), move)) kept.push_back(successors_.keep(false));
  const auto events = successors_.events_to(kept.back());
  for (const Ref state : kept) successors_.release(state);
  return events;
}

std::vector<Move> PlanTrimmer::trim(std::vector<Move> moves, const std::function<bool()>& must_stop) {
  auto best = makespan(moves);
  if (!best || !successors_.build_initial(initial_)) return moves;
  Ref prefix = successors_.keep(false);
  std::vector<Move> rest;
  for (std::size_t at = 0; at < moves.size() && !must_stop();) {
    rest.clear();
    const auto without = follow(prefix, std::span(moves).subspan(at + 1), rest);
    if (without && *without <= *best) {
      assert(at + rest.size() < moves.size());  // so it ends
      best = without;
      moves.resize(at);
      moves.insert(moves.end(), rest.begin(), rest.end());
      continue;
    }
    if (!successors_.build(prefix, moves[at])) break;
    successors_.release(prefix);
    prefix = successors_.keep(false);
    ++at;
  }
  successors_.release(prefix);
  return moves;
}

}  // namespace zorvel::tp::ftp
