#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/environment.h"
#include "search/forward/event.h"

namespace zorvel::tp::ftp {

/// Statements by interval. Filled by node, read in the order of the intervals' texts.
using ByInterval = std::map<Node*, std::vector<Node*>, NodeIdLess>;

/// Conditions and effects that happen at one time, conditions first.
struct Moment {
  std::vector<Event*> conditions;
  std::vector<Event*> effects;
};
using Timeline = std::map<rational, Moment>;
/// The moment of an anchor, with a shift that is later for either end.
using MomentOf = std::function<Moment&(const Anchor&, const rational& shift)>;

/// All events of a timeline, in order.
void append_events(const Timeline& timeline, std::vector<Event*>& out);

Node* lower_anchor(const Node* interval);
Node* upper_anchor(const Node* interval);

/// Makes the events of statements, numbers them, and puts them into timelines.
class EventMaker {
 public:
  /// New events go to `events`, a deque, since they are compared by address.
  EventMaker(Environment& env, const rational& epsilon, std::deque<Event>& events)
      : env_(env), epsilon_(epsilon), events_(events) {}

  Event* make(EventKind kind, Node* expression, const std::shared_ptr<model::ActionImpl>& action,
              unsigned long pos);
  /// `anchor_node` says when the event happens.
  void set_anchor(Event& event, Node* anchor_node) const;
  /// The event of an effect, at its moment.
  Event* add_effect(EventKind kind, Node* expression, Node* anchor_node,
                    const std::shared_ptr<model::ActionImpl>& action, unsigned long& pos,
                    const MomentOf& moment);
  /// The event of a condition at a point, or the opener and the closer of one over an interval.
  void add_condition(Node* expression, const std::shared_ptr<model::ActionImpl>& action, unsigned long& pos,
                     const MomentOf& moment);
  /// The groups as temporal expressions, by the text of their interval.
  std::vector<Node*> in_text_order(const ByInterval& groups);

 private:
  Environment& env_;
  rational epsilon_;
  std::deque<Event>& events_;
  std::unordered_map<Node*, std::string> interval_texts_;  // those known
};

}  // namespace zorvel::tp::ftp
