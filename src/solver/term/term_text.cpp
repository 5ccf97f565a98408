#include <vector>

#include "solver/term/term.h"

namespace vesk {

bool Term_::append_text(std::string* text, std::size_t limit) const {
  struct Frame {
    Term term;
    std::size_t next;
  };
  std::vector<Frame> stack{{this, 0}};
  while (!stack.empty()) {
    if (text->size() > limit) return false;
    Frame& frame = stack.back();
    const Term term = frame.term;
    if (frame.next == 0) {
      if (term->arity() > 0) *text += '(';
      *text += term->symbol()->name();
    }
    if (frame.next == term->arity()) {
      if (term->arity() > 0) *text += ')';
      stack.pop_back();
      continue;
    }
    *text += ' ';
    const Term child = term->child(frame.next++);
    stack.push_back({child, 0});  // `frame` is void from here on
  }
  return text->size() <= limit;
}

std::string Term_::to_str() const {
  std::string text;
  append_text(&text, static_cast<std::size_t>(-1) - 1);
  return text;
}

std::string Term_::to_short_str() const {
  constexpr std::size_t limit = 200;
  std::string text;
  if (!append_text(&text, limit)) {
    text.resize(limit);
    text += "...";
  }
  return text;
}

}  // namespace vesk
