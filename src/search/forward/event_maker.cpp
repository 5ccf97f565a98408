#include "search/forward/event_maker.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "model/expression_factory.h"
#include "transformers/timing.h"

namespace zorvel::tp::ftp {

using model::ActionImpl;
using model::ExpressionFactory;

void append_events(const Timeline& timeline, std::vector<Event*>& out) {
  for (const auto& [time, moment] : timeline) {
    assert(!moment.conditions.empty() || !moment.effects.empty());
    out.insert(out.end(), moment.conditions.begin(), moment.conditions.end());
    out.insert(out.end(), moment.effects.begin(), moment.effects.end());
  }
}

Node* lower_anchor(const Node* interval) { return interval->children[0]; }
Node* upper_anchor(const Node* interval) { return interval->children[interval->arity - 1]; }

Event* EventMaker::make(EventKind kind, Node* expression, const std::shared_ptr<ActionImpl>& action,
                        unsigned long pos) {
  assert(expression == nullptr || ExpressionFactory::is_temporal_expression(expression));
  Event& event = events_.emplace_back();
  event.kind = kind;
  event.expression = expression;
  event.action = action;
  event.pos = pos;
  event.index = static_cast<std::uint32_t>(events_.size() - 1);
  return &event;
}

void EventMaker::set_anchor(Event& event, Node* anchor_node) const {
  const auto [is_from_start, offset] = model::timing(env_.expression_factory(), anchor_node);
  event.anchor_node = anchor_node;
  event.anchor = Anchor{is_from_start, offset};
}

Event* EventMaker::add_effect(EventKind kind, Node* expression, Node* anchor_node,
                              const std::shared_ptr<ActionImpl>& action, unsigned long& pos,
                              const MomentOf& moment) {
  Event* const event = make(kind, expression, action, pos++);
  set_anchor(*event, anchor_node);
  moment(event->anchor, 0).effects.push_back(event);
  return event;
}

void EventMaker::add_condition(Node* expression, const std::shared_ptr<ActionImpl>& action,
                               unsigned long& pos, const MomentOf& moment) {
  const ExpressionFactory& factory = env_.expression_factory();
  Node* const interval = expression->children[0];
  Event* const event = make(EventKind::CONDITION, expression, action, pos++);
  set_anchor(*event, lower_anchor(interval));
  if (factory.is_point_interval(interval)) {
    moment(event->anchor, 0).conditions.push_back(event);
    return;
  }
  event->is_start_durative = true;
  event->is_left_open = !factory.is_left_closed(interval);
  // why the shift: what happens exactly at an excluded bound comes before the interval.
  moment(event->anchor, event->is_left_open ? epsilon_ : rational(0)).conditions.push_back(event);
  Event* const closer = make(EventKind::CONDITION, expression, action, pos++);
  closer->start_time_point = event;
  closer->is_left_open = event->is_left_open;
  set_anchor(*closer, upper_anchor(interval));
  moment(closer->anchor, 0).conditions.push_back(closer);
}

std::vector<Node*> EventMaker::in_text_order(const ByInterval& groups) {
  ExpressionFactory& factory = env_.expression_factory();
  std::vector<std::pair<const std::string*, Node*>> ordered;
  for (const auto& [interval, bodies] : groups) {
    assert(!bodies.empty());
    std::string& text = interval_texts_[interval];
    if (text.empty()) text = model::to_anml(interval);
    ordered.emplace_back(&text, factory.make_temporal_expression(interval, factory.make_and(bodies)));
  }
  std::ranges::stable_sort(ordered, [](const auto& a, const auto& b) { return *a.first < *b.first; });
  std::vector<Node*> result;
  for (const auto& [text, expression] : ordered) result.push_back(expression);
  return result;
}

}  // namespace zorvel::tp::ftp
