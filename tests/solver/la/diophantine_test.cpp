#include "solver/la/diophantine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <string>

namespace vesk::laz {
namespace {

using Row = std::array<int, 4>;  // three coefficients and the constant

Form form_of(const Row& row) {
  Form form;
  for (int i = 0; i < 3; ++i)
    if (row[i] != 0) form.add(QNumber(row[i]), i);
  form.constant = QNumber(row[3]);
  return form;
}

bool has_solution(const std::vector<Row>& rows, const std::vector<ConstraintId>& of_them) {
  DiophantineSystem system(nullptr);
  for (const ConstraintId i : of_them)
    if (!system.add(form_of(rows[static_cast<std::size_t>(i)]), {i})) return false;
  return true;
}

// A box of numbers finds solutions of systems that have any near zero, and those it finds tell which residues
// are wrong. What it does not find is not proved to be without: there a smaller modulus has the word.
TEST(Diophantine, SolutionsAndResiduesAgreeWithEnumeration) {
  constexpr int box = 12, modulus = 60;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::vector<Row> rows(1 + random() % 3);
    for (Row& row : rows) {
      for (int& number : row) number = static_cast<int>(random() % 13) - 6;
      if (row[0] == 0 && row[1] == 0 && row[2] == 0) row[0] = 4;
    }
    const auto holds = [&](int x, int y, int z, int divisor) {
      return std::all_of(rows.begin(), rows.end(), [&](const Row& row) {
        const int value = row[0] * x + row[1] * y + row[2] * z + row[3];
        return divisor == 0 ? value == 0 : value % divisor == 0;
      });
    };
    DiophantineSystem system(nullptr);
    std::vector<ConstraintId> all;
    bool is_solvable = true;
    for (std::size_t i = 0; i < rows.size() && is_solvable; ++i) {
      all.push_back(static_cast<ConstraintId>(i));
      is_solvable = system.add(form_of(rows[i]), {all.back()});
    }
    ASSERT_FALSE(system.has_given_up());
    bool is_found = false, is_found_modulo = false;
    for (int x = -box; x <= box; ++x)
      for (int y = -box; y <= box; ++y)
        for (int z = -box; z <= box; ++z) {
          if (!holds(x, y, z, 0)) continue;
          is_found = true;
          const std::array<int, 3> point{x, y, z};
          for (int i = 0; i < 3 && is_solvable; ++i) {
            const auto known = system.residue(i);
            if (!known) continue;
            const QNumber distance = QNumber(point[i]) - known->rest;
            EXPECT_TRUE(known->modulus.is_zero() ? distance.is_zero() : (distance / known->modulus).is_int());
          }
        }
    EXPECT_TRUE(is_solvable || !is_found);
    if (!is_solvable) {
      EXPECT_FALSE(has_solution(rows, system.conflict()));
      continue;
    }
    // Integers that solve it do so modulo every number.
    for (int x = 0; x < modulus && !is_found_modulo; ++x)
      for (int y = 0; y < modulus && !is_found_modulo; ++y)
        for (int z = 0; z < modulus && !is_found_modulo; ++z) is_found_modulo = holds(x, y, z, modulus);
    EXPECT_TRUE(is_found_modulo);
  }
}

TEST(Diophantine, NamesWhatAResidueRestsOn) {
  DiophantineSystem system(nullptr);
  ASSERT_TRUE(system.add(form_of({0, 1, -2, 0}), {7}));  // y = 2z
  ASSERT_TRUE(system.add(form_of({1, -3, 0, 1}), {3}));  // x = 3y - 1
  const auto x = system.residue(0), y = system.residue(1);
  ASSERT_TRUE(x && y && !system.residue(2));
  EXPECT_EQ(x->modulus, 6);
  EXPECT_EQ(x->rest, 5);
  EXPECT_EQ(x->reasons, (std::vector<ConstraintId>{3, 7}));
  EXPECT_EQ(y->reasons, (std::vector<ConstraintId>{7}));
}

TEST(Diophantine, LargeCoefficientsWithoutACommonDivisorHaveASolution) {
  QNumber large(1);
  for (int i = 0; i < 300; ++i) large *= QNumber(10);
  DiophantineSystem system(nullptr);
  Form form;
  form.add(large + QNumber(1), 0);
  form.add(large, 1);
  form.constant = QNumber(-17);
  ASSERT_TRUE(system.add(std::move(form), {1}));
  ASSERT_FALSE(system.has_given_up());
  EXPECT_EQ(system.residue(0)->modulus, large);
  EXPECT_EQ(system.residue(0)->rest, 17);
}

}  // namespace
}  // namespace vesk::laz
