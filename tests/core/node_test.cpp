#include "core/node.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>

namespace zorvel {
namespace {

TEST(NodeManager, AgreesWithATableOfStructures) {
  const std::array<Payload, 3> payloads = {Payload(NodeKind::AND), Payload(NodeKind::OR),
                                           Payload(NodeKind::TRUE)};
  NodeManager manager;
  std::map<std::pair<const Payload*, std::vector<std::uint64_t>>, Node*> expected;
  std::vector<Node*> nodes = {manager.make_node(&payloads[2])};
  expected[{&payloads[2], {}}] = nodes[0];
  std::mt19937 random(1);
  for (int round = 0; round < 50000; ++round) {
    const Payload* payload = &payloads[random() % payloads.size()];
    std::vector<Node*> children(random() % 4);
    std::vector<std::uint64_t> ids;
    for (Node*& child : children) {
      child = nodes[random() % std::min<std::size_t>(nodes.size(), 60)];
      ids.push_back(child->id);
    }
    const std::uint64_t size_before = manager.size();
    Node* node = manager.make_node(payload, children);
    const auto [entry, is_new] = expected.try_emplace({payload, ids}, node);
    ASSERT_EQ(entry->second, node);
    ASSERT_EQ(manager.size(), size_before + (is_new ? 1 : 0));
    if (is_new) {
      ASSERT_EQ(node->id, size_before);
      nodes.push_back(node);
    }
    ASSERT_EQ(node->payload, payload);
    ASSERT_EQ(std::vector<Node*>(node->operands().begin(), node->operands().end()), children);
  }
  EXPECT_GT(manager.size(), 10000U);  // the table has grown
}

TEST(NodeManager, TakesNodesLargerThanItsChunks) {
  const Payload payload(NodeKind::AND);
  NodeManager manager;
  Node* leaf = manager.make_node(&payload);
  const std::vector<Node*> many(100000, leaf);
  Node* wide = manager.make_node(&payload, many);
  Node* next = manager.make_node(&payload, {leaf});
  EXPECT_EQ(wide->arity, many.size());
  EXPECT_EQ(wide->operands().back(), leaf);
  EXPECT_EQ(manager.make_node(&payload, many), wide);
  EXPECT_EQ(next->operands().front(), leaf);
}

}  // namespace
}  // namespace zorvel
