#include "parsers/anml_source.h"

#include <unordered_map>

#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/user_type.h"

namespace zorvel {

using namespace model;

namespace {

class SourceMaker {
 public:
  SourceMaker(const SourceLines& lines, const StatementSources& sources, ProblemSource& source)
      : lines_(lines), sources_(sources), source_(source) {
    lines.for_each_declaration(
        [&](const void* object, const LineRange& range) { declarations_.emplace(object, range); });
    for (const bool is_top_level : {false, true})
      lines.for_each_statement(is_top_level, [&](const void* statement, const LineRange& range) {
        statements_[is_top_level ? 1 : 0].emplace(statement, range);
      });
  }

  template <class Map>
  void add_declarations(const Map& raw, const Map& resolved) {
    for (const auto& [name, object] : resolved)
      if (const auto found = raw.find(name); found != raw.end())
        source_.add_place(object.get(), {0, line_of(found->second.get())});
  }
  void add_scope(const TypeScope& raw, const TypeScope& resolved) {
    add_declarations(raw.actions(), resolved.actions());
    add_declarations(raw.fluents(), resolved.fluents());
    add_declarations(raw.constants(), resolved.constants());
    for (const auto& [name, action] : resolved.actions())
      if (const auto found = raw.actions().find(name); found != raw.actions().end())
        add_statements(*action, action.get(), found->second.get());
  }
  /// What a type declares. Its actions were resolved in place, so each is found by one of its statements.
  void add_members(const TypeScope& type) {
    add_declarations(type.fluents(), type.fluents());
    add_declarations(type.constants(), type.constants());
    for (const auto& [name, action] : type.actions())
      for (const Node* statement : action->expressions()) {
        const auto source = sources_.find(statement);
        if (source == sources_.end() || source->second.owner == nullptr) continue;
        source_.add_place(action.get(), {0, line_of(source->second.owner)});
        add_statements(*action, action.get(), source->second.owner);
        break;
      }
  }
  void add_statements(const ExpressionScope& scope, const void* owner, const void* raw_owner) {
    const auto around = raw_owner == nullptr ? declarations_.end() : declarations_.find(raw_owner);
    for (const Node* statement : scope.expressions()) {
      const auto source = sources_.find(statement);
      if (source == sources_.end()) continue;
      const auto [first, last] = statements_[raw_owner == nullptr ? 1 : 0].equal_range(source->second.raw);
      for (auto range = first; range != last; ++range)
        if (around == declarations_.end() || around->second.contains(range->second))
          source_.add_place(statement, {0, static_cast<std::uint32_t>(range->second.first)}, owner);
    }
  }

 private:
  std::uint32_t line_of(const void* object) const {
    const auto found = declarations_.find(object);
    return found == declarations_.end() ? 0 : static_cast<std::uint32_t>(found->second.first);
  }

  const SourceLines& lines_;
  const StatementSources& sources_;
  ProblemSource& source_;
  std::unordered_map<const void*, LineRange> declarations_;
  // Raw ones, of which each may stand in many places; those of actions, and those of the top level.
  std::unordered_multimap<const void*, LineRange> statements_[2];
};

}  // namespace

std::shared_ptr<const ProblemSource> make_anml_source(const std::string& file, const ProblemInstanceImpl& raw,
                                                      const SourceLines& lines,
                                                      const StatementSources& sources,
                                                      const ProblemInstanceImpl& problem) {
  auto source = std::make_shared<ProblemSource>();
  source->files.push_back(file);
  SourceMaker maker(lines, sources, *source);
  maker.add_declarations(raw.instances(), problem.instances());
  maker.add_scope(raw, problem);
  maker.add_statements(problem, nullptr, nullptr);
  for (const auto& [name, type] : problem.user_types()) {
    source->add_place(type.get(), {0, static_cast<std::uint32_t>(lines.declaration(type.get()).first)});
    maker.add_members(*type);
  }
  return source;
}

}  // namespace zorvel
