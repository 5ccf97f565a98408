#include "parsers/source_lines.h"

#include <unordered_set>

namespace zorvel {
namespace {

std::unordered_set<const Payload*> names_in(const Node* root) {
  std::unordered_set<const Payload*> names;
  std::unordered_set<const Node*> seen{root};
  std::vector<const Node*> open{root};
  while (!open.empty()) {
    const Node* node = open.back();
    open.pop_back();
    if (node->kind() == NodeKind::UNRESOLVED_SYMBOL) names.insert(node->payload);
    for (const Node* child : node->operands())
      if (seen.insert(child).second) open.push_back(child);
  }
  return names;
}

}  // namespace

void SourceLines::clear() { *this = SourceLines(); }

LineRange SourceLines::declaration(const void* object) const {
  for (const Place& place : declarations_)
    if (place.object == object) return place.lines;
  return {};
}

LineRange SourceLines::top_level_statement(const Node* statement) const {
  for (const Place& place : top_level_)
    if (place.object == statement) return place.lines;
  return {};
}

LineRange SourceLines::nested_statement(const Node* statement, LineRange around) const {
  for (const Place& place : nested_)
    if (place.object == statement && around.contains(place.lines)) return place.lines;
  return around;
}

int SourceLines::first_mention(const Node* expression, LineRange around) const {
  const std::unordered_set<const Payload*> names = names_in(expression);
  int first = 0;
  for (const Mention& mention : mentions_)
    if (around.contains({mention.line, mention.line}) && (first == 0 || mention.line < first) &&
        names.contains(mention.name))
      first = mention.line;
  return first;
}

}  // namespace zorvel
