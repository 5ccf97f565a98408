#include "solver/term/type.h"

#include <utility>

namespace vesk {

TypeUniverse::TypeUniverse()
    : boolean_(make(Type::Kind::boolean, "Bool", {}, nullptr)),
      rational_(make(Type::Kind::rational, "Real", {}, nullptr)),
      integer_(make(Type::Kind::integer, "Int", {}, nullptr)) {
  for (const Type* type : {boolean_, rational_, integer_}) simple_.emplace(type->name(), type);
}

const Type* TypeUniverse::simple_type(std::string_view name) {
  if (name.empty()) throw TypeError("Empty name for type");
  const auto known = simple_.find(std::string(name));
  if (known != simple_.end()) return known->second;
  for (const char* other : {"Array", "BitVec", "FPRounding"})
    if (name == other) throw TypeError("The type `" + std::string(name) + "' is not supported");
  const Type* type = make(Type::Kind::simple, std::string(name), {}, nullptr);
  simple_.emplace(type->name(), type);
  return type;
}

const Type* TypeUniverse::function_type(const std::vector<const Type*>& params, const Type* result) {
  if (params.empty()) throw TypeError("A function type needs a parameter");
  std::string key;
  std::string name = "(->";
  const auto add = [&](const Type* type) {
    if (type->is_function())
      throw TypeError("The function type " + type->name() + " can be no part of another");
    key += std::to_string(type->id()) + ' ';
    name += ' ' + type->name();
  };
  for (const Type* param : params) add(param);
  add(result);
  const Type*& known = functions_[key];
  if (known == nullptr) known = make(Type::Kind::function, name + ')', params, result);
  return known;
}

const Type* TypeUniverse::make(Type::Kind kind, std::string name, std::vector<const Type*> params,
                               const Type* result) {
  std::unique_ptr<Type> type(new Type());  // why new: the constructor is private
  type->kind_ = kind;
  type->id_ = types_.size();
  type->name_ = std::move(name);
  type->params_ = std::move(params);
  type->result_ = result == nullptr ? type.get() : result;
  types_.push_back(std::move(type));
  return types_.back().get();
}

}  // namespace vesk
