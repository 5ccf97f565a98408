#include "core/node.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <new>
#include <type_traits>

namespace zorvel {

namespace {

constexpr std::size_t chunk_size = std::size_t{1} << 16;

std::uint64_t hash_of(const Payload* payload, std::span<Node* const> children) {
  std::uint64_t h = reinterpret_cast<std::uintptr_t>(payload);
  for (const Node* child : children) h ^= (h >> 2) + (h << 6) + 0x9e3779b9U + child->id;
  // Addresses and small ids leave the low bits poor, and the table uses the low bits: mix them.
  h ^= h >> 32;
  h *= 0xd6e8feb86659fd93U;
  h ^= h >> 32;
  return h;
}

bool is_same(const Node& node, const Payload* payload, std::span<Node* const> children) {
  return node.payload == payload && node.arity == children.size() &&
         std::equal(children.begin(), children.end(), node.children);
}

}  // namespace

NodeManager::NodeManager() : table_(1024, nullptr) {}
NodeManager::~NodeManager() = default;

Node* NodeManager::make_node(const Payload* payload, std::span<Node* const> children) {
  const std::uint64_t hash = hash_of(payload, children);
  const std::size_t mask = table_.size() - 1;
  std::size_t slot = hash & mask;
  for (; table_[slot] != nullptr; slot = (slot + 1) & mask)
    if (table_[slot]->hash == hash && is_same(*table_[slot], payload, children)) return table_[slot];

  void* memory = allocate(sizeof(Node) + children.size() * sizeof(Node*));
  auto** operands = reinterpret_cast<Node**>(static_cast<std::byte*>(memory) + sizeof(Node));
  std::uninitialized_copy(children.begin(), children.end(), operands);
  Node* node = new (memory) Node{size_, payload, children.size(), hash, operands};
  table_[slot] = node;
  ++size_;
  if (size_ * 2 > table_.size()) grow();
  return node;
}

void* NodeManager::allocate(std::size_t bytes) {
  static_assert(std::is_trivially_destructible_v<Node> && sizeof(Node) % alignof(Node*) == 0);
  if (bytes > free_bytes_) {
    if (bytes >= chunk_size / 4) {  // a chunk of its own; the current one goes on
      chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(bytes));
      return chunks_.back().get();
    }
    chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(chunk_size));
    free_ = chunks_.back().get();
    free_bytes_ = chunk_size;
  }
  void* memory = free_;
  free_ += bytes;
  free_bytes_ -= bytes;
  return memory;
}

void NodeManager::grow() {
  std::vector<Node*> larger(table_.size() * 2, nullptr);
  const std::size_t mask = larger.size() - 1;
  for (Node* node : table_) {
    if (node == nullptr) continue;
    std::size_t slot = node->hash & mask;
    while (larger[slot] != nullptr) slot = (slot + 1) & mask;
    larger[slot] = node;
  }
  table_ = std::move(larger);
}

}  // namespace zorvel
