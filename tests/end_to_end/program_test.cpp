#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "end_to_end/program_runner.h"
#include "search/heuristics/heuristic_set.h"
#include "transformers/chain.h"

namespace {

std::vector<fs::path> problems_below(const fs::path& folder) {
  std::vector<fs::path> files;
  if (fs::exists(folder))
    for (const auto& entry : fs::recursive_directory_iterator(folder))
      if (entry.path().extension() == ".anml") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

TEST_F(Program, SolvesOrRefutesEveryExample) {
  const auto examples = problems_below(source_dir / "examples");
  EXPECT_GE(examples.size(), 8U);
  for (const fs::path& example : examples) {
    SCOPED_TRACE(example.filename().string());
    const bool has_plan = example.filename() != "unsolvable.anml";
    EXPECT_EQ(solve_and_validate(example, "--time-limit 60"), has_plan ? 0 : 1);
  }
}

TEST_F(Program, EveryPlanOfABenchmarkThatIsFoundInTimeIsValid) {
  const fs::path benchmarks = source_dir / ".." / "shared" / "benchmarks" / "anml";
  if (!fs::exists(benchmarks))
    GTEST_SKIP() << "the benchmark problems are not here; only the examples are tested";
  int solved = 0;
  for (const fs::path& problem : problems_below(benchmarks)) {
    // The smallest one of each domain, so that the whole takes some minutes at most.
    if (problem.filename() != "p01.anml") continue;
    SCOPED_TRACE(problem.parent_path().filename().string() + "/" + problem.filename().string());
    const int status = solve_and_validate(problem, "--time-limit 4");
    EXPECT_TRUE(status == 0 || status == 3) << status;
    solved += status == 0 ? 1 : 0;
  }
  EXPECT_GE(solved, 4);  // some ten or twelve on a machine that is not slow
}

/// The arguments that name a PDDL problem and its domain.
std::string pddl(const fs::path& domain, const fs::path& problem) {
  return "--pddl '" + domain.string() + "' '" + problem.string() + "'";
}

const fs::path cellar_domain = source_dir / "examples" / "match_cellar_domain.pddl";
const fs::path cellar_problem = source_dir / "examples" / "match_cellar_problem.pddl";

TEST_F(Program, SolvesPddlAndWritesPlansInBothFormats) {
  const std::string cellar = pddl(cellar_domain, cellar_problem);
  for (const char* format : {"anml", "pddl"})
    EXPECT_EQ(solve_and_validate(cellar + " --plan-format " + format, ""), 0) << format;
  EXPECT_EQ(run("solve --plan-format pddl " + cellar).out, read(folder_ / "plan"));
  EXPECT_EQ(read(folder_ / "plan").find("\n0.000: (light-match match"),
            std::string("; Makespan 5.000").size());
  EXPECT_EQ(solve_and_validate(cellar, "-B blind"), 0);
  const long steps = steps_of_plan();
  // An ANML problem has plans in both formats too, with names of its own, and the same length.
  const fs::path anml = source_dir / "examples" / "match_cellar.anml";
  EXPECT_EQ(solve_and_validate("--plan-format pddl " + quoted(anml), "-B blind"), 0);
  EXPECT_EQ(read(folder_ / "plan").find("\n0.000: (light_match match"),
            std::string("; Makespan 5.000").size());
  EXPECT_EQ(steps_of_plan(), steps);

  const Result transformed = run("transform -t action-grounder " + cellar);
  EXPECT_EQ(transformed.status, 0);
  EXPECT_NE(transformed.out.find("action mend_fuse"), std::string::npos);
}

TEST_F(Program, EveryPlanOfAPddlBenchmarkThatIsFoundInTimeIsValid) {
  const fs::path benchmarks = source_dir / ".." / "shared" / "benchmarks";
  if (!fs::exists(benchmarks / "pddl"))
    GTEST_SKIP() << "the benchmark problems are not here; only the example is tested";
  std::vector<fs::path> domains;
  for (const auto& entry : fs::directory_iterator(benchmarks / "pddl")) domains.push_back(entry.path());
  std::sort(domains.begin(), domains.end());
  int solved = 0, compared = 0;
  for (const fs::path& folder : domains) {
    const std::string name = folder.filename().string();
    SCOPED_TRACE(name);
    const fs::path own_domain = folder / "p01-domain.pddl";
    const std::string problem =
        pddl(fs::exists(own_domain) ? own_domain : folder / "domain.pddl", folder / "p01.pddl");
    const int status = solve_and_validate(problem, "--time-limit 4");
    EXPECT_TRUE(status == 0 || status == 3) << status;
    solved += status == 0 ? 1 : 0;
    // The ANML version of the same instance has shortest plans of the same length.
    const bool is_quick = name == "peg-solitaire";
    const std::string blind = std::string("-B blind --time-limit ") + (is_quick ? "300" : "1");
    if (solve_and_validate(problem, blind) != 0) continue;
    const long steps = steps_of_plan();
    if (solve_and_validate(benchmarks / "anml" / name / "p01.anml", blind) != 0) continue;
    EXPECT_EQ(steps, steps_of_plan());
    ++compared;
  }
  EXPECT_GE(solved, 3);
  EXPECT_GE(compared, 1);
  std::cout << solved << " solved, " << compared << " compared with ANML\n";
}

TEST_F(Program, SaysInWhichPddlFileAnErrorIs) {
  const fs::path bad_domain = write("d.pddl", "(define (domain d)\n (:acton a))");
  const fs::path bad_problem = write("p.pddl", "(define (problem p) (:init\n (nothing)))");
  const fs::path bad_plan = write("bad.plan", "; nothing\n0.000: (mend-fuse fuse1 fuse1) [2.000]\nwhat?\n");
  const struct {
    std::string arguments, message;
  } cases[] = {
      {"solve " + pddl(bad_domain, cellar_problem),
       bad_domain.string() + ":2:3: ':acton' is no section of a domain; did you mean ':action'?"},
      {"solve " + pddl(cellar_domain, bad_problem),
       bad_problem.string() + ":2:3: the predicate 'nothing' is not declared"},
      {"solve " + pddl(folder_ / "none", cellar_problem),
       "InvalidParameterError: Input file '" + (folder_ / "none").string() + "' does not exist!"},
      {"solve --pddl " + quoted(cellar_domain),
       "'solve --pddl' takes a domain file and a problem file, not 1 file"},
      {"validate --plan-format pddl --plan " + quoted(bad_plan) + " " + pddl(cellar_domain, cellar_problem),
       bad_plan.string() + ":3: ParserError: at line 3"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.arguments);
    const Result result = run(test.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.find("zorvel: " + test.message), 0U) << result.err;
  }
}

TEST_F(Program, WarnsWhereAPlanLosesExactness) {
  const fs::path domain =
      write("d.pddl",
            "(define (domain d) (:predicates (p)) (:durative-action a :parameters () :duration "
            "(= ?duration (/ 1 3)) :condition (and) :effect (at end (p))))");
  const fs::path problem = write("p.pddl", "(define (problem p) (:init) (:goal (p)))");
  const Result result = run("solve --plan-format pddl " + pddl(domain, problem));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "; Makespan 0.33333\n0.00000: (a) [0.33333]\n");
  EXPECT_NE(result.err.find("warning: some times of the plan"), std::string::npos) << result.err;
  EXPECT_EQ(solve_and_validate(pddl(domain, problem), ""), 0);
}

TEST_F(Program, SaysWhereAFileIsWrong) {
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"fluent boolean a;\n\nfluent boolean b\n", ":4: ParserError: syntax error at line 4"},
      {"fluent boolean a;\n[start] b := true;\n", ":2: "},
      {"fluent boolean a;\n\n\n[start] a := 3;\n", ":4: TypeCheckingError: Found an assign having"},
      {"fluent boolean a;\nfluent integer a;\n",
       ":2: RedefinitionError: Name 'a' already defined in this scope"},
      {"\xff\xfe\x00rubbish", ":1: ParserError: Unknown character"},
  };
  for (const auto& test : cases) {
    const fs::path problem = write("bad.anml", test.text);
    const Result result = run("solve " + quoted(problem));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.find("zorvel: " + problem.string() + test.message), 0U) << result.err;
  }
}

TEST_F(Program, AnswersBadUsageWithStatusTwo) {
  const fs::path problem = source_dir / "examples" / "match_cellar.anml";
  for (const std::string& arguments :
       {std::string(""), std::string("solve"), std::string("solve /does/not/exist.anml"),
        "solve " + quoted(folder_), "dance " + quoted(problem), "solve --no-such-option " + quoted(problem),
        "validate " + quoted(problem), "validate --plan /does/not/exist " + quoted(problem),
        "transform " + quoted(problem), "solve -a smt " + quoted(problem),
        "solve --time-limit -1 " + quoted(problem),
        "solve --output-plan /does/not/exist/plan " + quoted(problem)}) {
    const Result result = run(arguments);
    EXPECT_EQ(result.status, 2) << arguments << '\n' << result.err;
    EXPECT_NE(result.err, "") << arguments;
    EXPECT_EQ(result.out, "") << arguments;
  }
  EXPECT_EQ(run("--version").out, "Zorvel v0.0.1\n");
  EXPECT_EQ(run("--help").status, 0);
}

TEST_F(Program, AnEmptyFileIsAProblemThatNeedsNoStep) {
  const Result result = run("solve " + quoted(write("empty.anml", "")));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
}

TEST_F(Program, WritesPartialOrdersAndTheirSchedules) {
  const fs::path problem = write("lamp.anml",
                                 "fluent boolean lit; fluent boolean seen; fluent boolean warm;\n"
                                 "[start] lit := false; [start] seen := false; [start] warm := false;\n"
                                 "action heat() { duration := 3; [end] warm := true; };\n"
                                 "action light() { duration := 0.125; [end] lit := true; };\n"
                                 "action look() { duration := 2; [start] lit; [end] seen := true; };\n"
                                 "[end] seen; [end] warm;\n");
  const std::string partial_order =
      "Steps to execute:\n 1) heat() with duration 3\n 2) light() with duration 1/8\n"
      " 3) look() with duration 2\nSubject to:\n 3 > 2\n";
  for (const std::string algorithm : {"tsimple -A blind", "tsimple", "tsimple -A hadd", "iw -A blind"}) {
    SCOPED_TRACE(algorithm);
    const Result solved = run("solve -a " + algorithm + " " + quoted(problem));
    EXPECT_EQ(solved.status, 0) << solved.err;
    EXPECT_EQ(solved.out, partial_order);
    EXPECT_EQ(solve_and_validate(problem, "--time-triggered -a " + algorithm), 0);
    EXPECT_EQ(read(folder_ / "plan"), "0: heat() [3]\n0: light() [1/8]\n27/200: look() [2]\n");
  }
  const fs::path plan = folder_ / "partial";
  EXPECT_EQ(run("solve -a tsimple " + quoted(problem) + " --output-plan " + quoted(plan)).out, "");
  EXPECT_EQ(read(plan), partial_order);

  const Result none =
      run("solve -a iw " + quoted(write("none.anml", "fluent boolean p; [start] p := false; [end] p;")));
  EXPECT_EQ(none.status, 1) << none.err;
  EXPECT_EQ(none.err, "zorvel: there is no plan of atomic actions\n");
  // Goals one by one can lead where no plan is, and that says nothing.
  const fs::path trap = write("trap.anml",
                              "fluent boolean a; fluent boolean b; [start] a := false; [start] b := false;\n"
                              "action one() { duration := 1; [start] not b; [end] a := true; };\n"
                              "action two() { duration := 1; [start] not a; [end] b := true; };\n"
                              "action three() { duration := 1; [start] b; [end] a := true; };\n"
                              "[end] a; [end] b;\n");
  EXPECT_EQ(run("solve -a tsimple -A blind " + quoted(trap)).status, 0);
  const Result trapped = run("solve -a tsimple -A blind -S " + quoted(trap));
  EXPECT_EQ(trapped.status, 3);
  EXPECT_EQ(trapped.err, "zorvel: no plan was found: the search left out states that may lead to one\n");
}

TEST_F(Program, NamesTheStatementThatNoPlannerHandlesAndItsLine) {
  const fs::path plain = write("plain.anml", "fluent integer x := 0;\n\n[x] x := 1;\ngoal [end] x == 1;\n");
  const Result refused = run("solve " + quoted(plain));
  EXPECT_EQ(refused.status, 3);
  EXPECT_EQ(refused.err, "zorvel: " + plain.string() +
                             ":3: UnsupportedStatementError: A time is not 'start + k' or 'end - k' with a "
                             "number k, in the statement: [x] (x := 1)\n");
  const fs::path lifted =
      write("lifted.anml",
            "type T; instance T t;\nfluent integer x(T a); fluent boolean p(T a);\n"
            "[start] x(t) := 1; [start] p(t) := false;\naction a(T a) {\n"
            "  duration := 5;\n  [start + x(a)] p(a) := true;\n  [end] x(a) := 2;\n};\ngoal [end] p(t);\n");
  const Result in_action = run("solve " + quoted(lifted));
  EXPECT_EQ(in_action.status, 3);
  EXPECT_EQ(in_action.err.find("zorvel: " + lifted.string() + ":6: UnsupportedStatementError: "), 0U)
      << in_action.err;
}

TEST_F(Program, GoesOnToBetterPlansAndSaysWhatIsKnownOfThem) {
  const std::string actions =
      "fluent boolean p := false;\n"
      "action slow() :: (\"cost\", 2) { duration := 9; [end] p := true; };\n"
      "action fast() :: (\"cost\", 17) { duration := 3; [end] p := true; };\ngoal [end] p;\n";
  const fs::path shortest = write("shortest.anml", actions);
  const fs::path file = shortest.parent_path() / "best.plan";
  const Result any = run("solve --anytime --output-plan " + quoted(file) + " " + quoted(shortest));
  EXPECT_EQ(any.status, 0);
  EXPECT_EQ(read(file), "0: fast() [3]\n");
  EXPECT_EQ(any.err.find("zorvel: plan 1: makespan "), 0U) << any.err;
  EXPECT_NE(any.err.find("\nzorvel: the plan is optimal: makespan 3\n"), std::string::npos) << any.err;

  const fs::path cheapest =
      write("cheapest.anml", actions + ":: (\"metric\", \"minimize-action-cost\", 1);\n");
  const Result cheap = run("solve --anytime " + quoted(cheapest));
  EXPECT_EQ(cheap.status, 0);
  EXPECT_NE(cheap.err.find(", cost 17 after "), std::string::npos) << cheap.err;
  const bool has_slow = cheap.err.find(", cost 2 after ") != std::string::npos;
  EXPECT_EQ(cheap.out, has_slow ? "0: slow() [9]\n" : "0: fast() [3]\n");
  EXPECT_EQ(run("solve " + quoted(cheapest)).err.find("zorvel: the actions of the plan cost "), 0U);

  for (const char* const refused : {"-a auto -B hadd", "-a ftp --anytime", "-A hadd", "-a auto -S"})
    EXPECT_EQ(run("solve " + std::string(refused) + " " + quoted(shortest)).status, 2) << refused;
  const fs::path twice =
      write("twice.anml",
            "fluent boolean p := false; fluent boolean q := false;\n"
            "action a() { duration := 5; [start] p := true; [end] p := false; };\n"
            "action b() { duration := 7; [start, end] p; [end] q := true; };\ngoal [end] q;\n");
  const Result overlapping = run("solve " + quoted(twice));
  EXPECT_EQ(overlapping.status, 1);
  EXPECT_EQ(overlapping.err, "zorvel: there is no plan in which no action overlaps itself\n");
  const fs::path unsure =
      write("unsure.anml",
            "fluent boolean p := false; fluent boolean q := false; fluent boolean r := false;\n"
            "action a() { duration :in [1, 3]; [end] p := true; [end] r := true; };\n"
            "action b() { duration := 1; [start] p == r; [start] p; [end] q := true; };\n"
            "[3] p := false; goal [end] p and q; goal [end] not r;\n");
  const Result cautious = run("solve " + quoted(unsure));
  EXPECT_EQ(cautious.status, 3);
  EXPECT_EQ(
      cautious.err,
      "zorvel: no plan was found: what uncertain durations may do was taken to be worse than it may be\n");
  // A fluent that one effect writes and conditions read by itself is seen as it is.
  const fs::path sure = write("sure.anml",
                              "fluent boolean p := false; fluent boolean q := false;\n"
                              "action a() { duration :in [1, 3]; [end] p := true; };\ngoal [end] p and q;\n");
  const Result refuted = run("solve " + quoted(sure));
  EXPECT_EQ(refuted.status, 1);
  EXPECT_EQ(refuted.err, "zorvel: there is no plan\n");
}

TEST_F(Program, TellsWhyAPlanIsInvalid) {
  const fs::path problem = source_dir / "examples" / "match_cellar.anml";
  const Result result = run("validate --plan " + quoted(write("empty.plan", "")) + " " + quoted(problem));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out.find("The plan is invalid: "), 0U) << result.out;
  const Result unreadable =
      run("validate --plan " + quoted(write("bad.plan", "\nwhat?\n")) + " " + quoted(problem));
  EXPECT_EQ(unreadable.status, 2);
  EXPECT_NE(unreadable.err.find("bad.plan:2: ParserError"), std::string::npos) << unreadable.err;
}

TEST_F(Program, EndsCleanlyAtALimitOrAnInterrupt) {
  const fs::path endless =
      write("endless.anml",
            "fluent integer n; fluent boolean p; [start] n := 0; [start] p := false;\n"
            "action a() { duration := 1; [end] n := n + 1; };\n"
            "action b() { duration := 1; [start] n < 0; [end] p := true; };\n[end] p;\n");
  EXPECT_EQ(run("solve -B blind --time-limit 0.2 " + quoted(endless)).status, 3);
  EXPECT_EQ(run("solve -B blind --memory-limit 1 " + quoted(endless)).status, 3);
  EXPECT_EQ(run("solve --memory-limit 16 " + quoted(source_dir / "examples" / "match_cellar.anml")).status,
            0);
  // The limit also holds before the search: here for some 10^14 ground actions.
  std::string text = "type T; instance T o0";
  for (int i = 1; i < 100; ++i) text += ", o" + std::to_string(i);
  text +=
      "; fluent boolean p(T x); [start] forall (T x) { p(x) := true; };\n"
      "action a(T a, T b, T c, T d, T e, T f, T g) { duration := 1; [start] p(a); [end] p(g) := false; };\n"
      "[end] not p(o1);\n";
  const fs::path plan = write("kept", "as it was");
  const Result setting_up =
      run("solve --time-limit 0.2 " + quoted(write("large.anml", text)) + " --output-plan " + quoted(plan));
  EXPECT_EQ(setting_up.status, 3);
  EXPECT_EQ(setting_up.err, "zorvel: no plan was found: the time limit was reached\n");
  EXPECT_EQ(read(plan), "as it was");
  const Result interrupted =
      run("solve -B blind " + quoted(endless) + " & pid=$!; sleep 1; kill -INT $pid; wait $pid");
  EXPECT_EQ(interrupted.status, 3);
}

TEST_F(Program, TakesEveryNameOfItsTablesAndNoOther) {
  const std::string example = quoted(source_dir / "examples" / "match_cellar.anml");
  std::vector<std::string> lines;
  for (const std::string& name : zorvel::heuristic_names(zorvel::Engine::temporal))
    lines.push_back("solve -a ftp -B " + name + " --time-limit 1 ");
  for (const std::string& name : zorvel::heuristic_names(zorvel::Engine::classical))
    lines.push_back("solve -a tsimple -A " + name + " --time-limit 1 ");
  for (const auto& row : zorvel::model::transformer_table())
    lines.push_back("transform -t " + std::string(row.name) +
                    (row.name == "bounder" ? " --bounding-problem " + example : "") + " --output " +
                    quoted(folder_ / "new") + " ");
  for (const std::string& line : lines) {
    const Result result = run(line + example);
    EXPECT_NE(result.status, 2) << line << result.err;
  }
  const std::string page = read(source_dir / "docs" / "command-line.md");
  const auto describes = [&](std::string_view name) {
    return page.find('`' + std::string(name) + '`') != std::string::npos;
  };
  for (const zorvel::Engine engine : {zorvel::Engine::temporal, zorvel::Engine::classical})
    for (const std::string& name : zorvel::heuristic_names(engine)) EXPECT_TRUE(describes(name)) << name;
  for (const auto& row : zorvel::model::transformer_table()) EXPECT_TRUE(describes(row.name)) << row.name;
  for (const char* line : {"solve -B hadd2 ", "solve -A hsize ", "transform -t grounder "})
    EXPECT_EQ(run(line + example).status, 2) << line;
}

TEST_F(Program, ConvertsAProblemToAnml) {
  const std::string cellar = pddl(cellar_domain, cellar_problem);
  const fs::path converted = folder_ / "cellar.anml";
  const Result result = run("convert-to --target anml " + cellar + " --output " + quoted(converted));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("'mend-fuse' is no name in ANML and is written 'mend_fuse'"), std::string::npos);
  EXPECT_EQ(solve_and_validate(converted, ""), 0);
  const Result again = run("convert-to --target anml " + quoted(converted));
  EXPECT_EQ(again.out, read(converted));
  EXPECT_EQ(again.err, "");
}

TEST_F(Program, ConvertsAProblemToPddl) {
  const std::string example = quoted(source_dir / "examples" / "match_cellar.anml");
  const fs::path domain = folder_ / "domain", problem = folder_ / "problem";
  const std::string files = " --output-domain " + quoted(domain) + " --output-problem " + quoted(problem);
  for (const char* form : {"", " --standard-pddl"}) {
    const Result result = run("convert-to --target pddl " + example + files + form);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(solve_and_validate(pddl(domain, problem), ""), 0);
    EXPECT_EQ(run("convert-to --target pddl " + example + form).out, read(domain) + read(problem));
  }
  // Both files or none.
  const std::string old = read(domain);
  const Result half = run("convert-to --target pddl " + example + " --output-domain " + quoted(domain) +
                          " --output-problem " + quoted(folder_ / "no" / "problem"));
  EXPECT_EQ(half.status, 2);
  EXPECT_EQ(read(domain), old);
  const fs::path contains = source_dir / "examples" / "contains.anml";
  const Result refused = run("convert-to --target pddl " + quoted(contains) + files);
  EXPECT_EQ(refused.status, 3);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(read(domain), old);
}

TEST_F(Program, TransformsAProblemIntoOneThatCanBeSolved) {
  const fs::path problem = source_dir / "examples" / "match_cellar.anml";
  const fs::path ground = folder_ / "ground.anml";
  ASSERT_EQ(run("transform -t free-var-params-compiler action-grounder " + quoted(problem) + " --output " +
                quoted(ground))
                .status,
            0);
  EXPECT_NE(read(ground).find("action "), std::string::npos);
  EXPECT_EQ(solve_and_validate(ground, ""), 0);

  const fs::path sets = source_dir / "examples" / "sets.anml";
  ASSERT_EQ(run("transform -t flattener action-grounder set-compiler " + quoted(sets) + " --output " +
                quoted(ground))
                .status,
            0);
  EXPECT_EQ(read(ground).find("set("), std::string::npos);
  EXPECT_EQ(solve_and_validate(ground, "--time-limit 60"), 0);
  // What is compiled away can be planned for without it.
  const struct {
    const char* transformer;
    const char* example;
    const char* gone;
  } cases[] = {{"temporal-uncertainty-compiler", "uncertain_duration.anml", ":in"},
               {"contains-compiler", "contains.anml", "contains round"}};
  for (const auto& test : cases) {
    const fs::path compiled = folder_ / test.example;
    const std::string example = quoted(source_dir / "examples" / test.example);
    ASSERT_EQ(
        run("transform -t " + std::string(test.transformer) + " " + example + " --output " + quoted(compiled))
            .status,
        0);
    EXPECT_EQ(read(compiled).find(test.gone), std::string::npos);
    EXPECT_EQ(solve_and_validate(compiled, ""), 0) << read(compiled);
  }
}

}  // namespace
