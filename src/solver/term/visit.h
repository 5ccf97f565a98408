#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "solver/term/term.h"
#include "solver/util/polling.h"
#include "solver/util/stamp_set.h"

namespace vesk {

/// Post-order walk over a term DAG without recursion: children before parents, each shared subterm once.
///
/// `enter(term)` says whether to go below a term that was not visited yet; false passes over it and all
/// below it without a visit. `leave(term)` is called after its children. `seen` is the memo: walks that
/// share it visit a term once among all of them.
template <typename Enter, typename Leave>
void visit_post_order(Term root, StampSet& seen, Enter&& enter, Leave&& leave) {
  struct Frame {
    Term term;
    std::size_t next;
  };
  if (seen.contains(root->id()) || !enter(root)) return;
  std::vector<Frame> stack;
  stack.reserve(16);  // most terms are no deeper
  stack.push_back({root, 0});
  while (!stack.empty()) {
    poll_now_and_then();
    Frame& frame = stack.back();
    if (frame.next < frame.term->arity()) {
      const Term child = frame.term->child(frame.next++);
      if (!seen.contains(child->id()) && enter(child)) stack.push_back({child, 0});
      continue;
    }
    const Term term = frame.term;
    stack.pop_back();
    if (seen.insert(term->id())) leave(term);
  }
}

/// Rebuilds a term DAG bottom-up without recursion, each shared subterm once.
///
/// `enter(term)` says whether something below or at `term` may change; false keeps it as it is.
/// `make(term, children)` gives the result for a term whose children have become `children` (their number
/// is that of the term). `memo` keeps results between calls, until the caller clears it.
template <typename Enter, typename Make>
Term rewrite_post_order(Term root, StampMap<Term>& memo, Enter&& enter, Make&& make) {
  struct Frame {
    Term term;
    std::size_t next;
  };
  const auto known = [&](Term term) -> Term {
    const Term* found = memo.find(term->id());
    return found != nullptr ? *found : enter(term) ? nullptr : term;
  };
  if (const Term result = known(root)) return result;
  std::vector<Frame> stack{{root, 0}};
  std::vector<Term> results;  // of the finished children of the terms on the stack
  for (;;) {
    poll_now_and_then();
    Frame& frame = stack.back();
    const Term term = frame.term;
    if (frame.next < term->arity()) {
      const Term child = term->child(frame.next++);
      if (const Term result = known(child))
        results.push_back(result);
      else
        stack.push_back({child, 0});
      continue;
    }
    const std::size_t first = results.size() - term->arity();
    const Term result = make(term, std::span<const Term>(results).subspan(first));
    memo.set(term->id(), result);
    results.resize(first);
    stack.pop_back();
    if (stack.empty()) return result;
    results.push_back(result);
  }
}

}  // namespace vesk
