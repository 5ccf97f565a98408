#include "state/value_table.h"

#include <random>

#include "model/vocabulary.h"
#include "model/walkers/expression_simplifier.h"
#include "state/argument_table.h"

namespace zorvel {

class Values : public ::testing::Test, public model::Vocabulary {
 protected:
  Node* big(const std::string& text) { return f.make_integer_constant(integer(text)); }
  ValueTable table{env};
};

TEST_F(Values, OneIdANode) {
  EXPECT_EQ(table.id_of(nullptr), unset_value);
  EXPECT_EQ(table.id_of(no), false_value);
  EXPECT_EQ(table.id_of(yes), true_value);
  EXPECT_NE(table.id_of(number(1)), table.id_of(fraction(1)));
  EXPECT_NE(table.id_of(number(1)), true_value);
  EXPECT_EQ(table.as_integer(table.id_of(fraction(5000))), table.id_of(number(5000)));
  EXPECT_EQ(table.as_integer(table.id_of(fraction(1, 2))), table.id_of(fraction(1, 2)));
  EXPECT_EQ(table.as_integer(table.id_of(home)), table.id_of(home));
  for (Node* node :
       {yes, home, work, number(-1024), number(-1025), number(1023), number(1024), fraction(-7, 3),
        big("9223372036854775807"), big("-9223372036854775808"), big("123456789012345678901234567890")}) {
    const ValueId id = table.id_of(node);
    EXPECT_EQ(table.node_of(id), node);
    EXPECT_EQ(table.id_of(node), id);
  }
  EXPECT_THROW(table.id_of(x), InternalError);
}

/// Numbers of all sizes, with the limits of the machine word and near misses of zero and one among them.
class RandomNumbers {
 public:
  RandomNumbers(model::Vocabulary& vocabulary, unsigned seed) : v_(vocabulary), random_(seed) {}
  Node* next() {
    static const char* const special[] = {"0",
                                          "1",
                                          "-1",
                                          "9223372036854775807",
                                          "-9223372036854775808",
                                          "9223372036854775806",
                                          "4294967296",
                                          "340282366920938463463374607431768211456"};
    const integer numerator =
        one_in(4) ? integer(special[below(8)]) : integer(static_cast<long>(below(41)) - 20);
    if (one_in(2)) return v_.f.make_integer_constant(numerator);
    const integer denominator =
        one_in(8) ? integer(special[3 + below(5)]) : integer(static_cast<long>(below(4)) + 1);
    return v_.f.make_rational_constant(
        rational(numerator, denominator < integer(0) ? -denominator : denominator));
  }
  unsigned long below(unsigned long limit) { return random_() % limit; }
  bool one_in(unsigned long chances) { return below(chances) == 0; }

 private:
  model::Vocabulary& v_;
  std::mt19937 random_;
};

TEST_F(Values, ArithmeticAgreesWithTheSimplifier) {
  const model::ExpressionSimplifier simplify(env);
  for (unsigned seed = 0; seed < 4000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomNumbers random(*this, seed);
    Node* const left = random.next();
    Node* const right = random.one_in(6) ? left : random.next();
    const ValueId a_id = table.id_of(left), b_id = table.id_of(right);
    const auto expect = [&](Node* expression, ValueId id) {
      Node* const value = simplify(expression);
      if (model::is_undefined(f, value))
        EXPECT_EQ(id, no_value) << model::to_anml(expression);
      else
        EXPECT_EQ(model::to_anml(table.node_of(id)), model::to_anml(value)) << model::to_anml(expression);
      if (id != no_value) {
        EXPECT_EQ(table.node_of(id), value);
        EXPECT_EQ(table.id_of(value), id);
      }
    };
    expect(f.make_minus(left, right), table.difference(a_id, b_id));
    expect(f.make_div(left, right), table.quotient(a_id, b_id));
    expect(f.make_lt(left, right), ValueTable::of_boolean(table.is_less(a_id, b_id)));
    expect(f.make_ge(left, right), ValueTable::of_boolean(table.is_less_or_equal(b_id, a_id)));
    expect(f.make_equals(left, right), ValueTable::of_boolean(table.is_same_number(a_id, b_id)));
    expect(f.make_sqrt(left, number(3)), table.square_root(a_id, table.id_of(number(3))));
    std::vector<Node*> nodes;
    std::vector<ValueId> ids;
    for (unsigned long i = random.below(4); i > 0; --i) {
      nodes.push_back(random.next());
      ids.push_back(table.id_of(nodes.back()));
    }
    expect(f.make_plus(nodes), table.sum(ids));
    expect(f.make_times(nodes), table.product(ids));
  }
}

TEST(ArgumentTables, DenseAndSparseFormsAgreeWithALinearSearch) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::size_t arity = 1 + random() % 3;
    // A wide range of few entries is sparse, a narrow one dense.
    const ValueId range = seed % 2 == 0 ? 4 : 5000;
    std::vector<ArgumentTable::Entry> entries;
    for (unsigned i = 0; i < 120; ++i) {
      ArgumentTable::Entry entry{{}, i};
      for (std::size_t k = 0; k < arity; ++k) entry.arguments.push_back(random() % range);
      entries.push_back(entry);
    }
    const ArgumentTable table(arity, entries);
    EXPECT_EQ(table.results().size(), entries.size());
    for (unsigned i = 0; i < 240; ++i) {
      std::vector<ValueId> wanted;
      for (std::size_t k = 0; k < arity; ++k) wanted.push_back(random() % (range + 2));
      if (i < entries.size()) wanted = entries[i].arguments;
      std::uint32_t expected = ArgumentTable::absent;
      for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
        if (entry->arguments == wanted) expected = entry->result;
      EXPECT_EQ(table.find(wanted.data()), expected);
    }
  }
}

}  // namespace zorvel
