#include "solver/env/model_check.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "solver/env/model_store.h"

namespace vesk {

ModelCheck::NodeId ModelCheck::find(Term term) const {
  return term->id() < node_of_term_.size() ? node_of_term_[term->id()] : none;
}

void ModelCheck::clear() {
  node_of_term_.clear();
  nodes_.clear();
  edges_.clear();
  formulas_.clear();
  steps_.clear();
  definitions_.clear();
  places_.clear();
  free_places_.clear();
  place_of_key_.clear();
  orphans_.clear();
  to_check_.clear();
  moving_.clear();
  is_in_order_ = is_sure_ = true;
}

bool ModelCheck::holds(std::span<const Term> formulas, std::span<const Term> more,
                       const std::vector<RewriteStack::Step>& steps, std::span<const Term> changed,
                       const LeafValue& leaf_value) {
  if (is_empty()) clear();
  is_in_order_ = false;
  is_sure_ = true;
  for (std::size_t i = steps_.size(); i < steps.size(); ++i) {
    steps_.push_back(steps[i].removed);
    definitions_[steps[i].removed] = steps[i].value;
    orphans_.push_back(steps[i].removed);
  }
  take_formulas(formulas, leaf_value);
  const std::vector<Term> orphans = std::exchange(orphans_, {});
  for (const Term term : orphans) {
    if (const NodeId id = find(term); id != none) mark(id);
    refresh(term, leaf_value);
  }
  for (const Term term : changed) refresh(term, leaf_value);
  assert(leaves_are_current(leaf_value));
  bool holds = find_places();
  for (std::size_t i = 0; holds && i < to_check_.size(); ++i)
    holds = node(to_check_[i]).num_formulas == 0 || evaluate(to_check_[i])->is_true();
  for (std::size_t i = 0; holds && i < more.size(); ++i)
    holds = evaluate(add(more[i], leaf_value))->is_true();
  holds = holds && moving_.empty();
  to_check_.clear();
  is_in_order_ = holds && is_sure_;
  return is_in_order_;
}

void ModelCheck::take_formulas(std::span<const Term> formulas, const LeafValue& leaf_value) {
  for (std::size_t i = formulas_.size(); i < formulas.size(); ++i) {
    formulas_.push_back({none, nodes_.size(), edges_.size()});
    if (formulas[i] == nullptr) continue;
    const NodeId id = add(formulas[i], leaf_value);
    formulas_.back().node = id;
    ++node(id).num_formulas;
    // what has a value had it at the last call, and is true or was no formula
    if (node(id).value == nullptr || !node(id).value->is_true()) to_check_.push_back(id);
  }
}

ModelCheck::NodeId ModelCheck::add(Term root, const LeafValue& leaf_value) {
  if (const NodeId known = find(root); known != none) return known;
  std::vector<Term> stack{root};
  while (!stack.empty()) {
    const Term term = stack.back();
    const std::size_t before = stack.size();
    if (find(term) == none) {
      for (const Term child : term->children())
        if (find(child) == none) stack.push_back(child);
      if (const Term* value = term->is_constant() ? definitions_.find(term) : nullptr)
        if (find(*value) == none) stack.push_back(*value);
      if (stack.size() != before) continue;
      add_node(term, leaf_value);
    }
    stack.pop_back();
  }
  return find(root);
}

// Its children, and its definition if it has one, are nodes.
ModelCheck::NodeId ModelCheck::add_node(Term term, const LeafValue& leaf_value) {
  const NodeId id = static_cast<NodeId>(nodes_.size());
  nodes_.push_back({term});
  if (term->id() >= node_of_term_.size()) node_of_term_.resize(term->id() + term->id() / 2 + 16, none);
  node_of_term_[term->id()] = id;
  for (const Term child : term->children()) add_edge(find(child), id);
  if (!term->is_constant() && !is_application(term)) return id;
  node(id).leaf = leaf_value(term);
  if (term->is_constant()) {
    define(id, leaf_value);
  } else if (node(id).leaf != nullptr) {
    move_later(id);
  }
  return id;
}

void ModelCheck::add_edge(NodeId from, NodeId to) {
  edges_.push_back({from, to, node(from).users});
  node(from).users = static_cast<std::int32_t>(edges_.size()) - 1;
}

void ModelCheck::define(NodeId constant, const LeafValue& leaf_value) {
  if (node(constant).definition != none) return;
  const Term* value = definitions_.find(node(constant).term);
  if (value == nullptr) return;
  const NodeId definition = add(*value, leaf_value);
  node(constant).definition = definition;
  add_edge(definition, constant);
}

void ModelCheck::shrink_to(std::size_t num_formulas, std::size_t num_steps) {
  if (is_empty()) return;
  is_in_order_ = false;
  for (; steps_.size() > num_steps; steps_.pop_back()) {
    definitions_.erase(steps_.back());
    if (const NodeId id = find(steps_.back()); id != none) node(id).definition = none;
    orphans_.push_back(steps_.back());
  }
  if (formulas_.size() > num_formulas) {
    const Formula first = formulas_[num_formulas];
    for (; formulas_.size() > num_formulas; formulas_.pop_back())
      if (formulas_.back().node != none) --node(formulas_.back().node).num_formulas;
    for (; edges_.size() > first.num_edges; edges_.pop_back()) {
      const Edge& edge = edges_.back();
      node(edge.from).users = edge.next;
      if (node(edge.to).definition != edge.from) continue;
      node(edge.to).definition = none;
      orphans_.push_back(node(edge.to).term);
    }
    for (; nodes_.size() > first.num_nodes; nodes_.pop_back()) {
      const Node& gone = nodes_.back();
      node_of_term_[gone.term->id()] = none;
      if (gone.leaf != nullptr) orphans_.push_back(gone.term);
      if (const std::int32_t place = gone.place; place != none) {
        leave(static_cast<NodeId>(nodes_.size()) - 1);
        // who read its value may have to take another
        for (NodeId id = places_[static_cast<std::size_t>(place)].first; id != none; id = node(id).next)
          if (!node(id).is_told) orphans_.push_back(node(id).term);
        drop_if_empty(place);
      }
    }
  }
  assert(to_check_.empty() && moving_.empty());
  is_in_order_ = true;
}

// A leaf that may have another value now.
void ModelCheck::refresh(Term term, const LeafValue& leaf_value) {
  NodeId id = find(term);
  if (id == none) {
    // An application that stands in no formula says what the function's value is all the same.
    if (is_application(term) && leaf_value(term) != nullptr) add(term, leaf_value);
    return;
  }
  if (term->is_constant()) define(id, leaf_value);
  const Term leaf = leaf_value(term);
  if (leaf == node(id).leaf) return;
  if (is_application(term)) move_later(id);
  mark(id);
  node(id).leaf = leaf;
}

bool ModelCheck::leaves_are_current(const LeafValue& leaf_value) const {
  return std::all_of(nodes_.begin(), nodes_.end(), [&](const Node& node) {
    const bool is_leaf = node.term->is_constant() || is_application(node.term);
    return !is_leaf || node.leaf == leaf_value(node.term);
  });
}

/// Takes the value from a node and from all that depends on it.
void ModelCheck::mark(NodeId root) {
  marking_.assign(1, root);
  while (!marking_.empty()) {
    const NodeId id = marking_.back();
    marking_.pop_back();
    if (std::exchange(node(id).value, nullptr) == nullptr) continue;
    if (node(id).num_formulas != 0) to_check_.push_back(id);
    for (std::int32_t e = node(id).users; e != none; e = edges_[static_cast<std::size_t>(e)].next) {
      const NodeId user = edges_[static_cast<std::size_t>(e)].to;
      if (is_application(node(user).term) && node(user).leaf != nullptr)
        move_later(user);
      else
        marking_.push_back(user);
    }
  }
}

// Places.

void ModelCheck::move_later(NodeId id) {
  if (std::exchange(node(id).is_moving, true)) return;
  moving_.push_back(id);
}

/// Finds the places of applications whose arguments or leaf values changed. False: a function would have two
/// values at one place, as far as can be told.
bool ModelCheck::find_places() {
  constexpr int max_rounds = 50;
  std::vector<NodeId> moving;
  std::vector<std::pair<std::int32_t, Term>> before;
  const auto value_at = [this](std::int32_t place) {
    const Place& here = places_[static_cast<std::size_t>(place)];
    return here.num_told == 0 ? nullptr : here.value;
  };
  for (int round = 0; !moving_.empty(); ++round) {
    if (round == max_rounds) return false;
    moving.swap(moving_);
    moving_.clear();
    before.clear();
    // All leave before any enters: what they leave may be what others come to.
    for (const NodeId id : moving) {
      node(id).is_moving = false;
      const std::int32_t place = node(id).place;
      if (place == none) continue;
      before.emplace_back(place, value_at(place));
      leave(id);
    }
    bool fits = true;
    for (const NodeId id : moving) {
      if (node(id).leaf == nullptr) continue;  // it reads the place that it is at when it is evaluated
      for (const Term arg : node(id).term->children()) evaluate(find(arg));
      const std::int32_t place = place_of(node(id).term);
      before.emplace_back(place, value_at(place));
      fits = enter_told(id, place) && fits;
    }
    if (!fits) return false;
    for (const auto& [place, value] : before)
      if (value_at(place) != value) mark_readers(place);
    for (const auto& [place, value] : before) drop_if_empty(place);
  }
  return true;
}

/// The place of an application by the values of its arguments, which are there; made if it is new.
std::int32_t ModelCheck::place_of(Term application) {
  args_.clear();
  for (const Term arg : application->children()) args_.push_back(node(find(arg)).value);
  const Term key = terms_.make_uf(application->symbol(), args_);
  if (const std::int32_t* known = place_of_key_.find(key)) return *known;
  std::int32_t place = static_cast<std::int32_t>(places_.size());
  if (free_places_.empty()) {
    places_.push_back({key});
  } else {
    place = free_places_.back();
    free_places_.pop_back();
    places_[static_cast<std::size_t>(place)] = {key};
  }
  place_of_key_[key] = place;
  return place;
}

void ModelCheck::enter(NodeId id, std::int32_t place) {
  Place& here = places_[static_cast<std::size_t>(place)];
  node(id).place = place;
  node(id).previous = none;
  node(id).next = here.first;
  if (here.first != none) node(here.first).previous = id;
  here.first = id;
}

bool ModelCheck::enter_told(NodeId id, std::int32_t place) {
  enter(id, place);
  Place& here = places_[static_cast<std::size_t>(place)];
  node(id).is_told = true;
  if (here.num_told++ == 0) here.value = node(id).leaf;
  return here.value == node(id).leaf;
}

void ModelCheck::leave(NodeId id) {
  Node& leaving = node(id);
  Place& here = places_[static_cast<std::size_t>(leaving.place)];
  if (std::exchange(leaving.is_told, false)) --here.num_told;
  (leaving.previous == none ? here.first : node(leaving.previous).next) = leaving.next;
  if (leaving.next != none) node(leaving.next).previous = leaving.previous;
  leaving.place = none;
}

void ModelCheck::drop_if_empty(std::int32_t place) {
  Place& here = places_[static_cast<std::size_t>(place)];
  if (here.first != none || here.key == nullptr) return;
  place_of_key_.erase(here.key);
  here = Place();
  free_places_.push_back(place);
}

void ModelCheck::mark_readers(std::int32_t place) {
  for (NodeId id = places_[static_cast<std::size_t>(place)].first; id != none; id = node(id).next)
    if (!node(id).is_told) mark(id);
}

// Values.

/// The value of a node. Those of all that it depends on are there afterwards, so that mark() may end where
/// there is none.
Term ModelCheck::evaluate(NodeId root) {
  walk_.assign(1, root);
  while (!walk_.empty()) {
    const NodeId id = walk_.back();
    const std::size_t before = walk_.size();
    if (node(id).value == nullptr) {
      for (const Term child : node(id).term->children())
        if (const NodeId below = find(child); node(below).value == nullptr) walk_.push_back(below);
      if (const NodeId below = node(id).definition; below != none && node(below).value == nullptr)
        walk_.push_back(below);
      if (walk_.size() != before) continue;
      node(id).value = value_of_node(id);
      ++num_evaluations_;
    }
    walk_.pop_back();
  }
  return node(root).value;
}

Term ModelCheck::value_of_node(NodeId id) {
  const Term term = node(id).term;
  if (node(id).leaf != nullptr) return node(id).leaf;
  if (term->is_constant())
    return node(id).definition != none ? node(node(id).definition).value : free_constant_value(terms_, term);
  if (is_application(term)) {
    const std::int32_t place = place_of(term), old = node(id).place;
    if (old != place) {
      if (old != none) {
        leave(id);
        drop_if_empty(old);
      }
      enter(id, place);
    }
    const Place& here = places_[static_cast<std::size_t>(place)];
    return here.num_told == 0 ? default_value(terms_, term->type()) : here.value;
  }
  args_.clear();
  for (const Term child : term->children()) args_.push_back(node(find(child)).value);
  if (const Term value = operator_value(terms_, term, args_)) return value;
  is_sure_ = false;  // a quotient by zero: a function's value that no term here stands for
  return default_value(terms_, term->type());
}

}  // namespace vesk
