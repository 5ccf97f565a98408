#include "solver/term/symbol.h"

#include <cassert>

namespace vesk {

Signature::~Signature() {
  for (const auto& [name, symbol] : by_name_) pool_.destroy(symbol);
}

const Symbol* Signature::add(std::string_view name, const Type* type, Tag tag, const QNumber* number) {
  if (name.empty()) throw SymbolError("Empty name for symbol");
  if (by_name_.contains(name))
    throw SymbolError("A symbol with name `" + std::string(name) + "' already exists");
  Symbol* symbol = pool_.create();
  symbol->id_ = next_id_++;
  symbol->name_ = name;
  symbol->type_ = type;
  symbol->tag_ = tag;
  if (number != nullptr) symbol->number_ = std::make_unique<QNumber>(*number);
  by_name_.emplace(symbol->name_, symbol);
  return symbol;
}

const Symbol* Signature::find(std::string_view name) const {
  const auto known = by_name_.find(name);
  return known == by_name_.end() ? nullptr : known->second;
}

const Symbol* Signature::get(std::string_view name) const {
  const Symbol* symbol = find(name);
  if (symbol == nullptr) throw SymbolError("No symbol with name `" + std::string(name) + "'");
  return symbol;
}

void Signature::remove(const Symbol* symbol) {
  const auto known = by_name_.find(std::string_view(symbol->name()));
  assert(known != by_name_.end() && known->second == symbol);
  Symbol* owned = known->second;
  by_name_.erase(known);
  pool_.destroy(owned);
}

void Signature::check_user_name(std::string_view name) {
  if (name.empty()) throw SymbolError("Empty name for symbol");
  if (name[0] == reserved)
    throw SymbolError(std::string("Symbols can't start with the \"") + reserved + "\" character");
}

std::string Signature::unused_name(const std::string& base) {
  std::uint64_t& suffix = suffixes_[base];
  for (;;) {
    std::string name = base + std::to_string(suffix++);
    if (!by_name_.contains(name)) return name;
  }
}

}  // namespace vesk
