#include "solver_families.h"

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

namespace solver_bench {
namespace {

std::string cat(const std::vector<std::string>& parts, const char* op, const char* empty) {
  if (parts.empty()) return empty;
  if (parts.size() == 1) return parts.front();
  std::string text = std::string("(") + op;
  for (const std::string& part : parts) text += ' ' + part;
  return text + ')';
}
std::string all_of(const std::vector<std::string>& parts) { return cat(parts, "and", "true"); }
std::string any_of(const std::vector<std::string>& parts) { return cat(parts, "or", "false"); }
std::string op(const std::string& name, const std::string& a, const std::string& b) {
  return '(' + name + ' ' + a + ' ' + b + ')';
}
std::string implies(const std::string& a, const std::string& b) { return op("=>", a, b); }
std::string equal(const std::string& a, const std::string& b) { return op("=", a, b); }
std::string negated(const std::string& a) { return "(not " + a + ')'; }
std::string number(int value) {
  return value < 0 ? "(- " + std::to_string(-value) + ')' : std::to_string(value);
}
std::string numbered(const std::string& name, int i) { return name + '_' + std::to_string(i); }

// Ground planning problems, as far as the families need them.

enum class When { at_start, at_end };

/// A formula, or a value, in state `k` of the plan; `s` is the step where the action starts.
using InState = std::function<std::string(int k, int s)>;

struct Condition {
  bool throughout;  ///< from start to end; else at the start alone
  InState holds;
};

struct Effect {
  When when;
  std::size_t fluent;
  InState value;
};

struct Action {
  std::string name;
  int duration;  ///< 0: free, but for `bounds`
  std::vector<Condition> conditions;
  std::vector<Effect> effects;
  std::function<std::string(const std::string& duration)> bounds;
};

struct Fluent {
  std::string name;
  bool is_real;
  std::string initial;
};

struct Problem {
  std::vector<Fluent> fluents;
  std::vector<Action> actions;
  std::vector<InState> goals;
};

class BoundedEncoding {
 public:
  BoundedEncoding(const Problem& problem, int horizon) : problem_(problem), h_(horizon) {}

  std::string text() {
    declare();
    for (int i = 0; i + 1 < h_; ++i) add(op("<", time(i), time(i + 1)));
    for (std::size_t f = 0; f < problem_.fluents.size(); ++f)
      add(effect_formula("0", 0, [&](int k) { return equal(fluent(f, k), problem_.fluents[f].initial); }));
    for (const InState& goal : problem_.goals)
      add(at_point(time(h_ - 1), 0, [&](int k) { return goal(k, 0); }));
    for (const Action& action : problem_.actions)
      for (int s = 1; s < h_; ++s) add(implies(label(action, s), requirements(action, s)));
    for (std::size_t f = 0; f < problem_.fluents.size(); ++f)
      for (int i = 1; i < h_; ++i) add_frame_axioms(f, i);
    for (const Action& action : problem_.actions)
      for (int s = 1; s < h_; ++s) add(implies(label(action, s), op("<", end(action, s), time(h_ - 1))));
    return out_.str();
  }

  static std::string fluent_name(const Problem& problem, std::size_t f, int k) {
    return numbered(problem.fluents[f].name, k);
  }

 private:
  using At = std::function<std::string(int)>;

  void add(const std::string& formula) { out_ << "(assert " << formula << ")\n"; }
  std::string time(int k) const { return k == 0 ? "0" : numbered("t", k); }
  std::string label(const Action& action, int s) const { return numbered(action.name, s); }
  std::string duration(const Action& action, int s) const {
    return action.duration > 0 ? number(action.duration) : numbered("dur_" + action.name, s);
  }
  std::string end(const Action& action, int s) const { return op("+", time(s), duration(action, s)); }
  std::string fluent(std::size_t f, int k) const { return fluent_name(problem_, f, k); }

  void declare() {
    const auto constant = [&](const std::string& name, const char* sort) {
      out_ << "(declare-const " << name << ' ' << sort << ")\n";
    };
    for (int k = 1; k < h_; ++k) constant(time(k), "Real");
    for (std::size_t f = 0; f < problem_.fluents.size(); ++f)
      for (int k = 0; k < h_; ++k) constant(fluent(f, k), problem_.fluents[f].is_real ? "Real" : "Bool");
    for (const Action& action : problem_.actions)
      for (int s = 1; s < h_; ++s) {
        constant(label(action, s), "Bool");
        if (action.duration == 0) constant(duration(action, s), "Real");
      }
  }

  /// Some time point from `s` on is `when`, and there the effect takes place.
  std::string effect_formula(const std::string& when, int s, const At& happens) const {
    std::vector<std::string> cases;
    for (int k = s; k < h_; ++k) cases.push_back(all_of({equal(time(k), when), happens(k)}));
    return any_of(cases);
  }

  /// The state in force at `when` satisfies `holds`.
  std::string state_before(const std::string& when, int s, const At& holds) const {
    std::vector<std::string> cases;
    for (int k = std::max(s, 1); k < h_; ++k)
      cases.push_back(implies(all_of({op("<", time(k - 1), when), op(">=", time(k), when)}), holds(k - 1)));
    return all_of(cases);
  }

  std::string at_point(const std::string& when, int s, const At& holds) const {
    return all_of(
        {op(">=", time(h_ - 1), when), state_before(when, s, holds), implies(equal(when, "0"), holds(0))});
  }

  std::string throughout(const std::string& from, const std::string& to, int s, const At& holds) const {
    std::vector<std::string> states;
    for (int k = s; k < h_; ++k)
      states.push_back(implies(all_of({op(">=", time(k), from), op("<", time(k), to)}), holds(k)));
    return all_of({op(">=", time(h_ - 1), to), all_of(states), state_before(from, s, holds),
                   implies(equal(from, "0"), holds(0))});
  }

  std::string requirements(const Action& action, int s) const {
    std::vector<std::string> parts;
    for (const Condition& condition : action.conditions) {
      const At holds = [&](int k) { return condition.holds(k, s); };
      parts.push_back(condition.throughout ? throughout(time(s), end(action, s), s, holds)
                                           : at_point(time(s), s, holds));
    }
    for (const Effect& effect : action.effects)
      parts.push_back(effect_formula(effect_time(action, effect, s), s, [&](int k) {
        return equal(fluent(effect.fluent, k), effect.value(std::max(k - 1, 0), s));
      }));
    if (action.bounds) parts.push_back(action.bounds(duration(action, s)));
    return all_of(parts);
  }

  std::string effect_time(const Action& action, const Effect& effect, int s) const {
    return effect.when == When::at_start ? time(s) : end(action, s);
  }

  void add_frame_axioms(std::size_t f, int i) {
    std::vector<std::string> causes{equal(time(i), "0")};  // the initial value
    for (const Action& action : problem_.actions)
      for (const Effect& effect : action.effects) {
        if (effect.fluent != f) continue;
        for (int s = effect.when == When::at_start ? i : 1; s <= i; ++s)
          causes.push_back(all_of({equal(time(i), effect_time(action, effect, s)), label(action, s)}));
      }
    add(implies(negated(equal(fluent(f, i), fluent(f, i - 1))), any_of(causes)));
    for (std::size_t y = 1; y < causes.size(); ++y)
      for (std::size_t x = 0; x < y; ++x) add(negated(all_of({causes[x], causes[y]})));
  }

  const Problem& problem_;
  int h_;
  std::ostringstream out_;
};

InState always(std::string text) {
  return [text = std::move(text)](int, int) { return text; };
}

/// `fluent == value` in a state.
InState has_value(const Problem& problem, std::size_t f, std::string value) {
  return [&problem, f, value = std::move(value)](int k, int) {
    return equal(BoundedEncoding::fluent_name(problem, f, k), value);
  };
}

}  // namespace

Instance match_cellar(int fuses, int matches, int horizon) {
  Problem problem;
  const std::size_t light = 0, hand_free = 1;
  problem.fluents = {{"light", false, "false"}, {"hand_free", false, "true"}};
  for (int m = 0; m < matches; ++m) {
    const std::size_t used = problem.fluents.size();
    problem.fluents.push_back({numbered("used", m), false, "false"});
    problem.actions.push_back({numbered("light_match", m),
                               5,
                               {{false, has_value(problem, used, "false")}},
                               {{When::at_start, used, always("true")},
                                {When::at_start, light, always("true")},
                                {When::at_end, light, always("false")}},
                               {}});
  }
  for (int f = 0; f < fuses; ++f) {
    const std::size_t mended = problem.fluents.size();
    problem.fluents.push_back({numbered("mended", f), false, "false"});
    problem.actions.push_back(
        {numbered("mend", f),
         2,
         {{false, has_value(problem, hand_free, "true")}, {true, has_value(problem, light, "true")}},
         {{When::at_start, hand_free, always("false")},
          {When::at_end, hand_free, always("true")},
          {When::at_end, mended, always("true")}},
         {}});
    problem.goals.push_back(has_value(problem, mended, "true"));
  }
  std::ostringstream name;
  name << "mc(" << fuses << ',' << matches << ") h=" << horizon;
  return {"match cellar", name.str(), "QF_LRA", BoundedEncoding(problem, horizon).text()};
}

Instance logistics(int trucks, int packages, int locations, int horizon) {
  Problem problem;
  const std::string nowhere = number(-1);
  const auto inside = [&](int truck) { return number(locations + truck); };
  const auto truck_position = [](int t) { return static_cast<std::size_t>(t); };
  const auto package_position = [&](int p) { return static_cast<std::size_t>(trucks + p); };
  for (int t = 0; t < trucks; ++t) problem.fluents.push_back({numbered("truck", t), true, number(t)});
  for (int p = 0; p < packages; ++p)
    problem.fluents.push_back({numbered("package", p), true, number((p + 2) % locations)});
  for (int t = 0; t < trucks; ++t)
    for (int from = 0; from < locations; ++from)
      for (int step : {1, locations - 1}) {
        const int to = (from + step) % locations;
        problem.actions.push_back({numbered(numbered(numbered("drive", t), from), to),
                                   3,
                                   {{false, has_value(problem, truck_position(t), number(from))}},
                                   {{When::at_start, truck_position(t), always(nowhere)},
                                    {When::at_end, truck_position(t), always(number(to))}},
                                   {}});
      }
  for (int p = 0; p < packages; ++p)
    for (int t = 0; t < trucks; ++t)
      for (int l = 0; l < locations; ++l)
        for (bool is_load : {true, false})
          problem.actions.push_back(
              {numbered(numbered(numbered(is_load ? "load" : "unload", p), t), l),
               1,
               {{true, has_value(problem, truck_position(t), number(l))},
                {false, has_value(problem, package_position(p), is_load ? number(l) : inside(t))}},
               {{When::at_end, package_position(p), always(is_load ? inside(t) : number(l))}},
               {}});
  for (int p = 0; p < packages; ++p)
    problem.goals.push_back(
        has_value(problem, package_position(p), number((2 * p + locations - 1) % locations)));
  std::ostringstream name;
  name << "log(" << trucks << ',' << packages << ',' << locations << ") h=" << horizon;
  return {"logistics", name.str(), "QF_LRA", BoundedEncoding(problem, horizon).text()};
}

Instance battery(int jobs, int horizon) {
  Problem problem;
  const std::size_t charge = 0;
  const int capacity = 10;
  problem.fluents = {{"charge", true, number(4)}};
  const auto level = [&problem](int k) { return BoundedEncoding::fluent_name(problem, charge, k); };
  for (int j = 0; j < jobs; ++j) {
    const std::size_t done = problem.fluents.size();
    problem.fluents.push_back({numbered("done", j), false, "false"});
    const int cost = 2 + j % 3;
    problem.actions.push_back(
        {numbered("job", j),
         1 + j % 2,
         {{false, [level, cost](int k, int) { return op(">=", level(k), number(cost)); }}},
         {{When::at_start, charge, [level, cost](int k, int) { return op("-", level(k), number(cost)); }},
          {When::at_end, done, always("true")}},
         {}});
    problem.goals.push_back(has_value(problem, done, "true"));
  }
  const auto charged = [level](int k, int s) { return op("+", level(k), numbered("dur_fill", s)); };
  problem.actions.push_back(
      {"fill",
       0,
       {{true, [charged](int k, int s) { return op("<=", charged(k, s), number(capacity)); }}},
       {{When::at_end, charge, charged}},
       [](const std::string& d) {
         return all_of({op(">=", d, "1"), op("<=", d, "4")});
       }});
  std::ostringstream name;
  name << "bat(" << jobs << ") h=" << horizon;
  return {"battery", name.str(), "QF_LRA", BoundedEncoding(problem, horizon).text()};
}

namespace {

/// The operations are done by `end`, a number or a constant.
std::string job_shop_until(int jobs, int machines, unsigned seed, const std::string& until) {
  std::mt19937 engine(seed);
  std::ostringstream out;
  const auto start = [](int j, int m) { return numbered(numbered("s", j), m); };
  std::vector<std::vector<int>> length(static_cast<std::size_t>(jobs));
  for (int j = 0; j < jobs; ++j) {
    std::vector<int> order;
    for (int m = 0; m < machines; ++m) {
      order.push_back(m);
      length[static_cast<std::size_t>(j)].push_back(static_cast<int>(1 + engine() % 9));
      out << "(declare-const " << start(j, m) << " Real)\n";
    }
    // why not std::shuffle: it differs between libraries.
    for (std::size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[engine() % i]);
    const auto end = [&](int m) {
      return op("+", start(j, m), number(length[static_cast<std::size_t>(j)][static_cast<std::size_t>(m)]));
    };
    out << "(assert (<= 0 " << start(j, order.front()) << "))\n";
    for (std::size_t i = 1; i < order.size(); ++i)
      out << "(assert (<= " << end(order[i - 1]) << ' ' << start(j, order[i]) << "))\n";
    out << "(assert (<= " << end(order.back()) << ' ' << until << "))\n";
  }
  for (int m = 0; m < machines; ++m)
    for (int j = 0; j < jobs; ++j)
      for (int i = 0; i < j; ++i) {
        const auto before = [&](int a, int b) {
          const int d = length[static_cast<std::size_t>(a)][static_cast<std::size_t>(m)];
          return op("<=", op("+", start(a, m), number(d)), start(b, m));
        };
        out << "(assert " << op("or", before(i, j), before(j, i)) << ")\n";
      }
  return out.str();
}

std::string job_shop_name(int jobs, int machines, unsigned seed) {
  return "js(" + std::to_string(jobs) + ',' + std::to_string(machines) + ',' + std::to_string(seed) + ')';
}

}  // namespace

Instance job_shop(int jobs, int machines, unsigned seed, int makespan) {
  const std::string until = std::to_string(makespan);
  return {"job shop", job_shop_name(jobs, machines, seed) + " <= " + until, "QF_LRA",
          job_shop_until(jobs, machines, seed, until)};
}

Instance least_makespan(int jobs, int machines, unsigned seed) {
  const std::string script =
      "(declare-const end Real)\n" + job_shop_until(jobs, machines, seed, "end") + "(minimize end)\n";
  return {"optimal shop",
          "least " + job_shop_name(jobs, machines, seed),
          "QF_LRA",
          script,
          "(check-sat)\n(get-objectives)\n",
          "(objectives\n (end %.0)\n)\n"};
}

Instance diamonds(int length) {
  std::ostringstream out;
  out << "(declare-sort U 0)\n";
  for (int i = 0; i <= length; ++i)
    for (const char* name : {"a", "b", "c"}) out << "(declare-const " << numbered(name, i) << " U)\n";
  for (int i = 0; i < length; ++i) {
    const auto way = [&](const char* over) {
      return op("and", equal(numbered("a", i), numbered(over, i)),
                equal(numbered(over, i), numbered("a", i + 1)));
    };
    out << "(assert " << op("or", way("b"), way("c")) << ")\n";
  }
  out << "(assert " << negated(equal("a_0", numbered("a", length))) << ")\n";
  return {"diamonds", "uf(" + std::to_string(length) + ")", "QF_UF", out.str()};
}

Instance number_diamonds(int length) {
  std::ostringstream out;
  out << "(declare-fun f (Real) Real)\n";
  for (int i = 0; i <= length; ++i)
    for (const char* name : {"a", "b", "c", "e"}) out << "(declare-const " << numbered(name, i) << " Real)\n";
  out << "(assert (= a_0 e_0))\n";
  for (int i = 0; i < length; ++i) {
    const auto way = [&](const char* over) {
      const std::string middle = numbered(over, i);
      return all_of({equal(middle, "(f " + numbered("a", i) + ')'),
                     op("<=", numbered("a", i + 1), op("+", middle, "1")),
                     op(">=", numbered("a", i + 1), op("+", middle, "1"))});
    };
    out << "(assert " << op("or", way("b"), way("c")) << ")\n";
    out << "(assert " << equal(numbered("e", i + 1), op("+", "(f " + numbered("e", i) + ')', "1")) << ")\n";
  }
  out << "(assert " << op("<", numbered("a", length), numbered("e", length)) << ")\n";
  return {"diamonds", "uflra(" + std::to_string(length) + ")", "QF_UFLRA", out.str()};
}

Instance number_chains(int length) {
  std::ostringstream out;
  out << "(declare-fun f (Real) Real)\n";
  const auto equal_by_bounds = [&out](const std::string& a, const std::string& b) {
    out << "(assert " << op("<=", a, b) << ")\n(assert " << op("<=", b, a) << ")\n";
  };
  for (int i = 0; i <= length; ++i)
    for (const char* name : {"x", "y"}) out << "(declare-const " << numbered(name, i) << " Real)\n";
  equal_by_bounds("x_0", "y_0");
  for (int i = 0; i < length; ++i)
    for (const char* name : {"x", "y"})
      equal_by_bounds(numbered(name, i + 1), op("+", "(f " + numbered(name, i) + ')', "1"));
  out << "(assert " << op("<", numbered("x", length), numbered("y", length)) << ")\n";
  return {"chains", "uflrachain(" + std::to_string(length) + ")", "QF_UFLRA", out.str()};
}

Instance pigeonhole(int holes) {
  std::ostringstream out;
  const auto in = [](int p, int h) { return numbered(numbered("p", p), h); };
  for (int p = 0; p <= holes; ++p)
    for (int h = 0; h < holes; ++h) out << "(declare-const " << in(p, h) << " Bool)\n";
  for (int p = 0; p <= holes; ++p) {
    std::vector<std::string> somewhere;
    for (int h = 0; h < holes; ++h) somewhere.push_back(in(p, h));
    out << "(assert " << any_of(somewhere) << ")\n";
    for (int q = 0; q < p; ++q)
      for (int h = 0; h < holes; ++h)
        out << "(assert " << op("or", negated(in(p, h)), negated(in(q, h))) << ")\n";
  }
  return {"pigeonhole", "php(" + std::to_string(holes) + ")", "QF_UF", out.str()};
}

Instance random_3sat(int variables, unsigned seed) {
  std::mt19937 engine(seed);
  std::ostringstream out;
  const auto count = static_cast<unsigned>(variables);
  for (int v = 0; v < variables; ++v) out << "(declare-const " << numbered("v", v) << " Bool)\n";
  for (int c = 0; c < variables * 426 / 100; ++c) {
    std::vector<int> chosen;
    while (chosen.size() < 3) {
      const int v = static_cast<int>(engine() % count);
      if (std::find(chosen.begin(), chosen.end(), v) == chosen.end()) chosen.push_back(v);
    }
    std::vector<std::string> literals;
    for (int v : chosen) literals.push_back(engine() % 2 == 0 ? numbered("v", v) : negated(numbered("v", v)));
    out << "(assert " << any_of(literals) << ")\n";
  }
  std::ostringstream name;
  name << "3sat(" << variables << ',' << seed << ')';
  return {"random 3-SAT", name.str(), "QF_UF", out.str()};
}

Instance ite_sum(int summands) {
  std::ostringstream out;
  int most = 0;
  std::vector<std::string> sum;
  for (int i = 1; i <= summands; ++i) {
    out << "(declare-const " << numbered("p", i) << " Bool)\n";
    sum.push_back("(ite " + numbered("p", i) + ' ' + std::to_string(i) + " 0)");
    most += i;
  }
  out << "(assert " << op("<", number(most), cat(sum, "+", "0")) << ")\n";
  return {"sums of choices", "itesum(" + std::to_string(summands) + ")", "QF_LRA", out.str()};
}

Instance accidental_equalities(int terms) {
  std::ostringstream out;
  out << "(declare-fun f (Real) Real)\n";
  for (int i = 0; i < terms; ++i) out << "(declare-const " << numbered("x", i) << " Real)\n";
  const auto value = [](int i) { return "(f " + numbered("x", i) + ')'; };
  for (int i = 1; i < terms; ++i) out << "(assert " << op("<", value(i - 1), value(i)) << ")\n";
  return {"accidental", "accident(" + std::to_string(terms) + ")", "QF_UFLRA", out.str()};
}

Instance distinct_numbers(int count) {
  std::ostringstream out, all;
  for (int i = 0; i < count; ++i) {
    out << "(declare-const " << numbered("x", i) << " Real)\n";
    all << ' ' << numbered("x", i);
  }
  out << "(assert (distinct" << all.str() << "))\n";
  return {"distinct", "distinct(" + std::to_string(count) + ")", "QF_LRA", out.str()};
}

Instance levels(LevelKind kind, int count) {
  std::ostringstream out, check;
  const bool has_sort = kind == LevelKind::functions;
  const std::string sort = has_sort ? "U" : "Real";
  if (has_sort) out << "(declare-sort U 0)\n";
  out << "(declare-fun f (" << sort << ") " << sort << ")\n";
  for (int i = 0; i <= count; ++i) out << "(declare-const " << numbered("x", i) << ' ' << sort << ")\n";
  for (int i = 1; i <= count; ++i) {
    const std::string x = numbered("x", i), last = numbered("x", i - 1),
                      early = numbered("x", std::max(i - 3, 0));
    check << "(push 1)\n(assert ";
    if (kind == LevelKind::bounds)
      check << op("or", op("<=", op("+", last, number(1 + i % 7)), x),
                  op("<=", op("+", x, number(1 + i % 5)), last))
            << ")\n(assert " << op("<=", op("+", x, early), number(10 * count));
    else
      check << op("or", equal(x, "(f " + last + ')'),
                  has_sort ? equal("(f " + x + ')', last) : op("<=", "(+ 1 (f " + x + "))", last))
            << ")\n(assert " << negated(equal(x, early));
    check << ")\n(check-sat)\n";
  }
  for (int i = 0; i < count; ++i) check << "(pop 1)\n(check-sat)\n";
  const char* name = has_sort ? "uf" : kind == LevelKind::bounds ? "lra" : "uflra";
  return {"levels", std::string("levels(") + name + ',' + std::to_string(count) + ')',
          has_sort                    ? "QF_UF"
          : kind == LevelKind::bounds ? "QF_LRA"
                                      : "QF_UFLRA",
          out.str(), check.str()};
}

Instance multiplier_miter(int bits) {
  std::ostringstream out;
  const auto define = [&](const std::string& name, const std::string& value) {
    out << "(define-fun " << name << " () Bool " << value << ")\n";
    return name;
  };
  for (const char* name : {"a", "b"})
    for (int i = 0; i < bits; ++i) out << "(declare-const " << numbered(name, i) << " Bool)\n";
  // Row by row: the shifted first factor is added where the second one has a bit.
  const auto multiply = [&](const char* product, const char* a, const char* b) {
    std::vector<std::string> sum(static_cast<std::size_t>(2 * bits), "false");
    for (int row = 0; row < bits; ++row) {
      std::string carry = "false";
      for (int i = 0; row + i < 2 * bits; ++i) {
        const std::string here = numbered(numbered(product, row), i);
        std::string& place = sum[static_cast<std::size_t>(row + i)];
        const std::string bit = i < bits ? op("and", numbered(a, i), numbered(b, row)) : "false";
        const std::string in = define("i" + here, bit);
        const std::string half = define("h" + here, op("xor", place, in));
        const std::string next = define("c" + here, op("or", op("and", place, in), op("and", half, carry)));
        place = define("s" + here, op("xor", half, carry));
        carry = next;
      }
    }
    return sum;
  };
  const std::vector<std::string> left = multiply("l", "a", "b"), right = multiply("r", "b", "a");
  std::vector<std::string> differ;
  for (std::size_t i = 0; i < left.size(); ++i) differ.push_back(op("xor", left[i], right[i]));
  out << "(assert " << any_of(differ) << ")\n";
  return {"miters", "miter(" + std::to_string(bits) + ")", "QF_UF", out.str()};
}

Instance quasigroup(int order, bool is_strict) {
  std::ostringstream out;
  const auto is = [](int x, int y, int z) { return numbered(numbered(numbered("m", x), y), z); };
  for (int x = 0; x < order; ++x)
    for (int y = 0; y < order; ++y)
      for (int z = 0; z < order; ++z) out << "(declare-const " << is(x, y, z) << " Bool)\n";
  const auto exactly_one = [&](const std::function<std::string(int)>& literal) {
    std::vector<std::string> some;
    for (int i = 0; i < order; ++i) {
      some.push_back(literal(i));
      for (int j = 0; j < i; ++j)
        out << "(assert " << op("or", negated(literal(i)), negated(literal(j))) << ")\n";
    }
    out << "(assert " << any_of(some) << ")\n";
  };
  for (int x = 0; x < order; ++x) {
    out << "(assert " << is(x, x, x) << ")\n";
    for (int y = 0; y < order; ++y) {
      exactly_one([&](int z) { return is(x, y, z); });
      exactly_one([&](int z) { return is(x, z, y); });
      exactly_one([&](int z) { return is(z, x, y); });
      for (int z = 0; z < order && is_strict; ++z)
        out << "(assert " << op("or", negated(is(x, y, z)), is(z, y, x)) << ")\n";
    }
  }
  return {"quasigroups", std::string(is_strict ? "qgs(" : "qg(") + std::to_string(order) + ")", "QF_UF",
          out.str()};
}

std::vector<Instance> all_instances(bool quick) {
  std::vector<Instance> list{match_cellar(4, 2, 12), match_cellar(6, 3, 13), battery(5, 9),
                             battery(5, 11),         battery(8, 10),         diamonds(20),
                             diamonds(60),           number_diamonds(8),     number_diamonds(12),
                             number_chains(21),      pigeonhole(7),          random_3sat(150, 1),
                             random_3sat(150, 2)};
  struct Shop {
    int jobs, machines;
    unsigned seed;
    int best;
  };
  // The least makespans, and what is just too little.
  for (const Shop& shop : {Shop{3, 3, 1, 17},
                           {4, 4, 1, 34},
                           {5, 5, 1, 47},
                           {5, 5, 2, 37},
                           {6, 6, 1, 49},
                           {6, 6, 2, 42},
                           {8, 6, 1, 57},
                           {8, 6, 2, 50},
                           {10, 8, 1, 67},
                           {10, 8, 2, 66},
                           {10, 10, 1, 82},
                           {10, 10, 2, 72}}) {
    if (quick && shop.jobs > 5) continue;
    for (int makespan : {shop.best, shop.best - 1})
      list.push_back(job_shop(shop.jobs, shop.machines, shop.seed, makespan));
  }
  for (const LevelKind kind : {LevelKind::bounds, LevelKind::functions, LevelKind::functions_of_numbers})
    for (const int count : {50, 100}) list.push_back(levels(kind, count));
  for (const int summands : {20, 200}) list.push_back(ite_sum(summands));
  for (const int terms : {20, 60}) list.push_back(accidental_equalities(terms));
  for (const Instance& instance :
       {distinct_numbers(50), multiplier_miter(4), quasigroup(6, false), quasigroup(6, true)})
    list.push_back(instance);
  for (const Instance& instance : integer_instances(quick)) list.push_back(instance);
  for (const Instance& instance : optimisation_instances(quick)) list.push_back(instance);
  if (quick) return list;
  for (const LevelKind kind : {LevelKind::bounds, LevelKind::functions, LevelKind::functions_of_numbers})
    for (const int count : {250, 500, 1000}) list.push_back(levels(kind, count));
  for (const int count : {375, 750, 3000}) list.push_back(distinct_numbers(count));
  list.push_back(accidental_equalities(200));
  for (const int bits : {5, 6, 7}) list.push_back(multiplier_miter(bits));
  for (const int order : {9, 10, 11, 12}) list.push_back(quasigroup(order, true));
  list.push_back(quasigroup(14, false));
  for (const Shop& shop : {Shop{15, 5, 1, 95}, {20, 5, 1, 130}})
    list.push_back(job_shop(shop.jobs, shop.machines, shop.seed, shop.best));
  for (int horizon : {16, 17}) list.push_back(match_cellar(6, 3, horizon));
  for (int horizon : {14, 16}) list.push_back(match_cellar(10, 5, horizon));
  list.push_back(logistics(2, 2, 4, 10));
  list.push_back(logistics(2, 3, 5, 8));
  list.push_back(battery(8, 12));
  list.push_back(pigeonhole(8));
  for (unsigned seed : {3, 4, 5, 6, 7, 8}) list.push_back(random_3sat(200, seed));
  list.push_back(number_diamonds(16));
  list.push_back(number_chains(84));
  return list;
}

}  // namespace solver_bench
