#pragma once

#include <string>
#include <vector>

#include "core/node.h"

namespace zorvel {

/// First and last line of a piece of text, counted from 1; 0 where nothing is known.
struct LineRange {
  int first = 0;
  int last = 0;
  bool contains(const LineRange& inner) const { return first <= inner.first && inner.last <= last; }
};

/// Where the declarations, statements and names of a text stand, for error messages.
///
/// Expressions are interned, so one node can stand at many places; a place is found by the statement and the
/// declaration around it. The reader only appends, and the searches are linear: they run once, after a
/// failure.
class SourceLines {
 public:
  /// Where a raw model object (fluent, constant, parameter, instance, type or action) is declared.
  void add_declaration(const void* object, LineRange lines) { declarations_.push_back({object, lines}); }
  /// A statement; `is_top_level` if it stands outside of every action.
  void add_statement(const Node* statement, LineRange lines, bool is_top_level) {
    (is_top_level ? top_level_ : nested_).push_back({statement, lines});
  }
  /// One mention of a name; symbols of one name share their payload, whatever their arguments.
  void add_mention(const Node* symbol, int line) { mentions_.push_back({symbol->payload, line}); }
  void clear();

  template <class Function>
  void for_each_declaration(Function function) const {
    for (const Place& place : declarations_) function(place.object, place.lines);
  }
  template <class Function>
  void for_each_statement(bool is_top_level, Function function) const {
    for (const Place& place : is_top_level ? top_level_ : nested_) function(place.object, place.lines);
  }

  LineRange declaration(const void* object) const;
  LineRange top_level_statement(const Node* statement) const;
  /// The statement where it stands inside of `around`.
  LineRange nested_statement(const Node* statement, LineRange around) const;
  /// The first line in `around` that mentions a symbol of `expression`; 0 if there is none.
  int first_mention(const Node* expression, LineRange around) const;

 private:
  struct Place {
    const void* object;
    LineRange lines;
  };
  struct Mention {
    const Payload* name;
    int line;
  };
  std::vector<Place> declarations_;
  std::vector<Place> top_level_;
  std::vector<Place> nested_;
  std::vector<Mention> mentions_;
};

}  // namespace zorvel
