// Runs the solver, and Z3 where its library is installed, on the families of formulas in solver_families.h:
//
//     solver_comparison [--quick] [--only TEXT] [--repeat N] [--limit SECONDS] [-o KEY=VALUE] [--write
//     FOLDER]
//
// Times are processor seconds of the check alone, parsing left out, the best of the repetitions, which take
// turns. The work counts are the same in each, unless the limit ends it. Ends with 1 if a status differs.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "smtlib/interpreter.h"
#include "solver_families.h"

#ifdef ZORVEL_HAS_Z3
#include <z3.h>
#endif

namespace {

using namespace solver_bench;  // NOLINT: a program of one file

struct Settings {
  bool quick = false;
  std::string only, folder;
  int repetitions = 3;
  double limit_seconds = 60;
  std::vector<std::string> options;
};

struct Outcome {
  std::string status = "-";
  double seconds = 0;
  double intake_seconds = 0;  // from assertions to clauses
  std::map<std::string, double> counters;
};

/// Processor time, which other work on the machine disturbs less than the time of the day.
template <typename F>
double seconds_of(F&& action) {
  const std::clock_t begin = std::clock();
  action();
  return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

/// One conversation with the solver. The check takes the assertions in first, so that a check under the
/// assumption `false` measures nothing but that.
Outcome run_veskor(const Instance& instance, const Settings& settings) {
  const auto converse = [&](const std::string& check, double* seconds) {
    std::ostringstream answers;
    smtlib::Interpreter interpreter(answers);
    for (const std::string& option : settings.options) {
      const std::size_t equals = option.find('=');
      const std::string error = interpreter.set_solver_option(
          option.substr(0, equals), equals == std::string::npos ? "" : option.substr(equals + 1));
      if (!error.empty()) throw CLI::ValidationError("-o", error);
    }
    interpreter.set_time_limit(settings.limit_seconds);
    std::istringstream script("(set-logic " + instance.logic + ")" + instance.script), last(check);
    interpreter.run(script, instance.name);
    *seconds = seconds_of([&] { interpreter.run(last, "check"); });
    return std::make_pair(answers.str(), interpreter.statistics());
  };
  Outcome outcome;
  converse("(check-sat-assuming (false))", &outcome.intake_seconds);
  const auto [status, counters] = converse(instance.check, &outcome.seconds);
  outcome.status = status;
  std::istringstream lines(counters);
  std::string name;
  for (double value = 0; lines >> name >> value;) outcome.counters[name] = value;
  return outcome;
}

#ifdef ZORVEL_HAS_Z3
/// Checks and levels as the script has them.
Outcome run_z3_script(const Instance& instance, const Settings& settings) {
  const Z3_config config = Z3_mk_config();
  const Z3_context context = Z3_mk_context(config);
  Z3_del_config(config);
  const std::string limit = std::to_string(static_cast<unsigned>(settings.limit_seconds * 1000));
  const std::string begin = "(set-option :timeout " + limit + ")(set-logic " + instance.logic + ")";
  Z3_eval_smtlib2_string(context, (begin + instance.script).c_str());
  Outcome outcome;
  outcome.seconds =
      seconds_of([&] { outcome.status = Z3_eval_smtlib2_string(context, instance.check.c_str()); });
  Z3_del_context(context);
  return outcome;
}

/// The optimum as this solver would answer it.
/// A context of Z3 with its time limit.
struct Z3Limits {
  explicit Z3Limits(const Settings& settings) {
    const Z3_config config = Z3_mk_config();
    context = Z3_mk_context(config);
    Z3_del_config(config);
    params = Z3_mk_params(context);
    Z3_params_inc_ref(context, params);
    Z3_params_set_uint(context, params, Z3_mk_string_symbol(context, "timeout"),
                       static_cast<unsigned>(settings.limit_seconds * 1000));
  }
  ~Z3Limits() {
    Z3_params_dec_ref(context, params);
    Z3_del_context(context);
  }
  Z3Limits(const Z3Limits&) = delete;
  Z3Limits& operator=(const Z3Limits&) = delete;

  Z3_context context;
  Z3_params params;
};

Outcome run_z3_optimum(const Instance& instance, const Settings& settings) {
  const Z3Limits z3(settings);
  const Z3_optimize optimize = Z3_mk_optimize(z3.context);
  Z3_optimize_inc_ref(z3.context, optimize);
  Z3_optimize_set_params(z3.context, optimize, z3.params);
  Z3_optimize_from_string(z3.context, optimize, instance.script.c_str());
  Outcome outcome;
  Z3_lbool status = Z3_L_UNDEF;
  outcome.seconds = seconds_of([&] { status = Z3_optimize_check(z3.context, optimize, 0, nullptr); });
  outcome.status = status == Z3_L_FALSE ? "unsat\n" : "unknown\n";
  if (status == Z3_L_TRUE) {
    std::string objectives = instance.objectives;
    const Z3_ast optimum = Z3_optimize_get_upper(z3.context, optimize, 0);
    objectives.replace(objectives.find('%'), 1, Z3_get_numeral_string(z3.context, optimum));
    outcome.status = "sat\n" + objectives;
  }
  Z3_optimize_dec_ref(z3.context, optimize);
  return outcome;
}

Outcome run_z3(const Instance& instance, const Settings& settings) {
  if (!instance.objectives.empty()) return run_z3_optimum(instance, settings);
  if (instance.check != Instance().check) return run_z3_script(instance, settings);
  const Z3Limits z3(settings);
  const Z3_solver solver =
      Z3_mk_solver_for_logic(z3.context, Z3_mk_string_symbol(z3.context, instance.logic.c_str()));
  Z3_solver_inc_ref(z3.context, solver);
  Z3_solver_set_params(z3.context, solver, z3.params);
  Z3_solver_from_string(z3.context, solver, instance.script.c_str());
  Outcome outcome;
  Z3_lbool status = Z3_L_UNDEF;
  outcome.seconds = seconds_of([&] { status = Z3_solver_check(z3.context, solver); });
  outcome.status = status == Z3_L_TRUE ? "sat\n" : status == Z3_L_FALSE ? "unsat\n" : "unknown\n";
  Z3_solver_dec_ref(z3.context, solver);
  return outcome;
}
constexpr bool has_z3 = true;
#else
Outcome run_z3(const Instance&, const Settings&) { return {}; }
constexpr bool has_z3 = false;
#endif

/// Nothing is known of what was asked after a limit was reached.
bool is_decided(const Outcome& outcome) {
  return outcome.status != "-" && outcome.status.find("unknown") == std::string::npos;
}

/// The first answer, for the table.
std::string first_line(const std::string& text) { return text.substr(0, text.find('\n')); }

void keep_best(Outcome& best, Outcome next) {
  if (best.status == "-" || next.seconds < best.seconds) {
    const double intake = best.intake_seconds;
    best = std::move(next);
    if (intake > 0) best.intake_seconds = std::min(best.intake_seconds, intake);
  } else {
    best.intake_seconds = std::min(best.intake_seconds, next.intake_seconds);
  }
}

void write(const Instance& instance, const std::string& folder) {
  std::string name = instance.name;
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  std::ofstream out(folder + '/' + name + ".smt2");
  out << "(set-logic " << instance.logic << ")\n" << instance.script << instance.check;
  if (!out.flush()) throw CLI::ValidationError("--write", "cannot write in '" + folder + "'");
}

/// False if the statuses differ.
bool compare(const Instance& instance, const Settings& settings,
             std::map<std::string, std::vector<double>>& ratios) {
  Outcome ours, theirs;
  for (int i = 0; i < settings.repetitions; ++i) {
    keep_best(ours, run_veskor(instance, settings));
    keep_best(theirs, run_z3(instance, settings));
  }
  // Below a millisecond there is nothing but noise.
  const double ratio = std::max(ours.seconds, 1e-3) / std::max(theirs.seconds, 1e-3);
  if (has_z3) ratios[instance.family].push_back(ratio);
  const long assertions = std::count(instance.script.begin(), instance.script.end(), '\n');
  const double propagations = ours.counters["propagations"];
  std::printf("%-18s %7ld  %-7s %9.3f %9.3f %7.2f %9.0f %11.0f %6.2f %9.0f %8.3f\n", instance.name.c_str(),
              assertions, first_line(ours.status).c_str(), ours.seconds, theirs.seconds, has_z3 ? ratio : 0.0,
              ours.counters["conflicts"], propagations, propagations / std::max(ours.seconds, 1e-6) / 1e6,
              ours.counters["pivots"], ours.intake_seconds);
  std::fflush(stdout);
  if (!is_decided(ours) || !is_decided(theirs) || ours.status == theirs.status) return true;
  std::printf("!! Z3 says %s\n", theirs.status.c_str());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  CLI::App app("Compares the solver with Z3 on generated families of formulas.", "solver_comparison");
  app.add_flag("--quick", settings.quick, "The small instances only.");
  app.add_option("--only", settings.only, "Instances whose family or name contains this.");
  app.add_option("--repeat", settings.repetitions, "The best of so many runs.")->check(CLI::PositiveNumber);
  app.add_option("--limit", settings.limit_seconds, "Seconds for one run.")->check(CLI::PositiveNumber);
  app.add_option("-o,--option", settings.options, "An option of the solver, KEY=VALUE.")
      ->allow_extra_args(false);
  app.add_option("--write", settings.folder, "Writes the scripts to this folder and runs nothing.");
  CLI11_PARSE(app, argc, argv);
  try {
    std::map<std::string, std::vector<double>> ratios;
    bool is_right = true;
    if (settings.folder.empty())
      std::printf("%-18s %7s  %-7s %9s %9s %7s %9s %11s %6s %9s %8s\n", "instance", "lines", "status", "s",
                  "z3 s", "ratio", "conflicts", "propag.", "M/s", "pivots", "intake s");
    for (const Instance& instance : all_instances(settings.quick)) {
      if ((instance.family + ' ' + instance.name).find(settings.only) == std::string::npos) continue;
      if (!settings.folder.empty())
        write(instance, settings.folder);
      else
        is_right = compare(instance, settings, ratios) && is_right;
    }
    for (const auto& [family, values] : ratios) {
      double logarithms = 0;
      for (double value : values) logarithms += std::log(value);
      std::printf("%-18s geometric mean %.2f, largest %.2f\n", family.c_str(),
                  std::exp(logarithms / static_cast<double>(values.size())),
                  *std::max_element(values.begin(), values.end()));
    }
    return is_right ? 0 : 1;
  } catch (const CLI::Error& error) {
    return app.exit(error);
  }
}
