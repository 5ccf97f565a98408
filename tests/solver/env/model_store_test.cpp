#include "solver/env/model_store.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vesk {
namespace {

TEST(ModelStore, NamesTheFormulaThatAModelDoesNotSatisfy) {
  TermManager terms;
  RewriteStack rewrites;
  const Term x = terms.make_constant(terms.declare("x", terms.types().rational()));
  const Term y = terms.make_constant(terms.declare("y", terms.types().rational()));
  rewrites.push_rewrite(y, terms.make_plus(x, terms.make_number(QNumber(1))));
  ModelStore model(terms, rewrites.steps(), nullptr);
  model.set_constant(x, terms.make_number(QNumber(2)));
  const Term holds = terms.make_leq(terms.make_number(QNumber(3)), y);
  const Term fails = terms.make_leq(y, x);
  EXPECT_NO_THROW(model.require_true(std::vector<Term>{holds, nullptr, terms.make_not(fails)}));
  try {
    model.require_true(std::vector<Term>{holds, fails});
    FAIL() << "a false formula passed";
  } catch (const ModelError& error) {
    EXPECT_NE(error.get_msg().find(fails->to_str()), std::string::npos) << error.get_msg();
  }
}

}  // namespace
}  // namespace vesk
