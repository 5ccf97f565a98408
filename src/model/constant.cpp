#include "model/constant.h"

#include <algorithm>
#include <ostream>

#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/model_factory.h"

namespace zorvel::model {

namespace {

bool same_tables(const ConstantImpl::Values& a, const ConstantImpl::Values& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
    if (x.first != y.first) return false;
    if (x.second == y.second) return true;
    return x.second != nullptr && y.second != nullptr && *x.second == *y.second;
  });
}

/// "(a, b, *)": a star for each place behind a given argument, a single one where none is given.
void print_key(std::ostream& out, const std::vector<Node*>& arguments, std::size_t arity) {
  out << '(';
  const char* separator = "";
  for (Node* argument : arguments) {
    out << separator << to_anml(argument);
    separator = ", ";
  }
  if (arguments.empty()) out << '*';
  for (std::size_t place = arguments.size(); !arguments.empty() && place < arity; ++place) out << ", *";
  out << ')';
}

}  // namespace

ConstantImpl::ConstantImpl(std::weak_ptr<ModelFactory> factory, std::string name,
                           std::vector<std::string> path, const TypePtr& type)
    : factory_(std::move(factory)), name_(std::move(name)), path_(std::move(path)), type_(type) {}

ConstantImpl::~ConstantImpl() {
  if (!shared_) return;
  if (const auto factory = factory_.lock()) factory->remove_constant(this);
}

void ConstantImpl::add_parameter(const std::shared_ptr<ParameterImpl>& parameter) {
  append_parameter(parameters_, parameter, "constant");
}

std::shared_ptr<FunctionValueImpl> ConstantImpl::value(const std::string& path) const {
  const auto found = values_.find(path);
  return found == values_.end() ? nullptr : found->second;
}

std::shared_ptr<FunctionValueImpl> ConstantImpl::value(const InstanceImpl& instance) const {
  return value(instance.name());
}

void ConstantImpl::set_value(const InstanceImpl& instance, const std::shared_ptr<FunctionValueImpl>& value) {
  values_[instance.name()] = value;
}

bool operator==(const ConstantImpl& a, const ConstantImpl& b) {
  return a.name_ == b.name_ && a.path_ == b.path_ && a.parameters_ == b.parameters_ &&
         a.type_.lock() == b.type_.lock() && same_tables(a.values_, b.values_);
}

std::size_t ConstantImpl::hash() const { return hash_signature(name_, path_, parameters_); }

std::ostream& operator<<(std::ostream& out, const ConstantImpl& constant) {
  out << constant.name();
  print_parameters(out, constant.parameters());
  return out;
}

void print_constant_values(std::ostream& out, const ConstantImpl& constant) {
  for (const auto& [path, table] : constant.all_values()) {
    if (table == nullptr) continue;
    const std::string head = path.empty() ? constant.name() : path + "." + constant.name();
    if (constant.has_parameters()) {
      for (const auto& [arguments, value] : table->sorted_assignments()) {
        out << head;
        print_key(out, arguments, constant.arity());
        out << " := " << to_anml(value) << ";\n";
      }
    } else if (Node* value = table->default_value()) {
      out << head << " := " << to_anml(value) << ";\n";
    }
  }
}

}  // namespace zorvel::model
