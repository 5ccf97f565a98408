#include <random>
#include <sstream>

#include "solver_families.h"

namespace solver_bench {
namespace {

std::string numeral(long value) {
  return value < 0 ? "(- " + std::to_string(-value) + ')' : std::to_string(value);
}
std::string var(const char* name, int i) { return name + std::to_string(i); }
std::string times(long factor, const std::string& x) { return "(* " + numeral(factor) + ' ' + x + ')'; }

/// One of `rows` equations between multiples of 3 and a number that is none.
Instance residues(int rows) {
  std::ostringstream out;
  std::string some = "(or";
  for (int i = 0; i < rows; ++i) {
    for (const char* name : {"x", "y", "z"}) out << "(declare-const " << var(name, i) << " Int)\n";
    out << "(declare-const p" << i << " Bool)\n(assert (<= 1 z" << i << " 2))\n(assert (=> p" << i
        << " (= (- " << times(3, var("x", i)) << ' ' << times(3, var("y", i)) << " z" << i << ") 0)))\n";
    if (i > 0) out << "(assert (<= x" << i << " (+ x" << i - 1 << " 5)))\n";
    some += " p" + std::to_string(i);
  }
  out << "(assert " << some << "))\n";
  return {"integers", "residues(" + std::to_string(rows) + ')', "QF_LIA", out.str()};
}

/// A sum of multiples, of 0 to 5 each, that is one number.
Instance knapsack(int items, unsigned seed) {
  std::mt19937 random(seed);
  std::ostringstream out;
  std::string sum = "(+";
  long total = 0;
  for (int i = 0; i < items; ++i) {
    const long weight = 200 + static_cast<long>(random() % 800);
    out << "(declare-const x" << i << " Int)\n(assert (<= 0 x" << i << " 5))\n";
    sum += ' ' + times(weight, var("x", i));
    total += weight * static_cast<long>(random() % 6);
  }
  out << "(assert (= " << sum << ") " << total + static_cast<long>(seed % 2) << "))\n";
  return {"integers", "knapsack(" + std::to_string(items) + ',' + std::to_string(seed) + ')', "QF_LIA",
          out.str()};
}

/// Two jugs of 5 and 3 units that are filled, emptied and poured until the larger one holds 4: after 6 steps.
Instance jugs(int steps) {
  std::ostringstream out;
  for (int i = 0; i <= steps; ++i) {
    out << "(declare-const a" << i << " Int)\n(declare-const b" << i << " Int)\n(assert (<= 0 a" << i
        << " 5))\n(assert (<= 0 b" << i << " 3))\n";
    if (i == 0) continue;
    const std::string a = var("a", i - 1), b = var("b", i - 1), c = var("a", i), d = var("b", i);
    out << "(assert (or (and (= " << c << " 5) (= " << d << ' ' << b << ")) (and (= " << c << ' ' << a
        << ") (= " << d << " 3)) (and (= " << c << " 0) (= " << d << ' ' << b << ")) (and (= " << c << ' '
        << a << ") (= " << d << " 0)) (and (= (+ " << c << ' ' << d << ") (+ " << a << ' ' << b
        << ")) (or (= " << c << " 0) (= " << c << " 5) (= " << d << " 0) (= " << d << " 3)))))\n";
  }
  out << "(assert (and (= a0 0) (= b0 0) (= a" << steps << " 4)))\n";
  return {"integers", "jugs(" + std::to_string(steps) + ')', "QF_LIA", out.str()};
}

/// `rows` inequalities over `columns` integers of -50 to 50, with coefficients up to 9.
Instance random_rows(int rows, int columns, unsigned seed) {
  std::mt19937 random(seed);
  std::ostringstream out;
  for (int i = 0; i < columns; ++i)
    out << "(declare-const x" << i << " Int)\n(assert (<= (- 50) x" << i << " 50))\n";
  for (int row = 0; row < rows; ++row) {
    std::string sum = "(+";
    for (int i = 0; i < columns; ++i) sum += ' ' + times(static_cast<long>(random() % 19) - 9, var("x", i));
    const long bound = static_cast<long>(random() % 40) - 20;
    out << "(assert (<= " << numeral(bound) << ' ' << sum << ") " << numeral(bound + 2) << "))\n";
  }
  return {"integers",
          "rows(" + std::to_string(rows) + ',' + std::to_string(columns) + ',' + std::to_string(seed) + ')',
          "QF_LIA", out.str()};
}

/// Pairs of numbers on strips so thin that few of them hold integers.
Instance strips(int pairs, int width) {
  std::ostringstream out;
  for (int i = 0; i < pairs; ++i) {
    const long slope = 101 + 2 * i;
    out << "(declare-const x" << i << " Int)\n(declare-const y" << i << " Int)\n(assert (<= 1 x" << i
        << " 90))\n(assert (<= 1 (- " << times(slope, var("x", i)) << ' ' << times(slope + 9, var("y", i))
        << ") " << width << "))\n";
    if (i > 0) out << "(assert (or (< x" << i - 1 << " x" << i << ") (< y" << i << " y" << i - 1 << ")))\n";
  }
  return {"integers", "strips(" + std::to_string(pairs) + ',' + std::to_string(width) + ')', "QF_LIA",
          out.str()};
}

}  // namespace

std::vector<Instance> integer_instances(bool quick) {
  std::vector<Instance> list{residues(5), residues(40), jugs(5), jugs(6), strips(2, 3), strips(4, 12)};
  for (unsigned seed : {1, 2}) {
    list.push_back(knapsack(6, seed));
    list.push_back(random_rows(4, 6, seed));
  }
  if (quick) return list;
  for (unsigned seed : {3, 4}) {
    list.push_back(knapsack(10, seed));
    list.push_back(random_rows(8, 10, seed));
    list.push_back(random_rows(10, 10, seed));
  }
  for (const int steps : {8, 12}) list.push_back(jugs(steps));
  list.push_back(strips(8, 20));
  list.push_back(residues(200));
  return list;
}

}  // namespace solver_bench
