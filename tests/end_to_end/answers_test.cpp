// The forms of the program's answers, what it refuses, and what other programs rely on.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "end_to_end/program_runner.h"

namespace {

const fs::path cellar = source_dir / "examples" / "match_cellar.anml";
const std::string pddl_cellar = "--pddl '" + (source_dir / "examples" / "match_cellar_domain.pddl").string() +
                                "' '" + (source_dir / "examples" / "match_cellar_problem.pddl").string() +
                                "'";

class Answers : public Program {};

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST_F(Answers, PrintsLargeTimesToTheSecondDecimal) {
  const fs::path problem = write("late.anml",
                                 "fluent boolean p := false; fluent boolean q := false;\n"
                                 "action a() { duration := 12345.678; [end] p := true; };\n"
                                 "action b() { duration := 2000000; [start] p; [end] q := true; };\n"
                                 "goal [end] q;\n");
  const Result solved = run("solve " + quoted(problem));
  EXPECT_EQ(solved.out, "0: a() [12345.68]\n12345.69: b() [2000000]\n");
  const Result partial = run("solve -a tsimple -T -R " + quoted(problem));
  EXPECT_EQ(partial.out, "0: a() [6172839/500]\n1543211/125: b() [2000000]\n") << partial.err;
  // What was printed can be read: that the rounded duration is another one is the plan's fault.
  const Result rounded = run("validate --plan " + quoted(write("p", solved.out)) + " " + quoted(problem));
  EXPECT_EQ(rounded.status, 1);
  EXPECT_TRUE(has(rounded.out, "The plan is invalid: ")) << rounded.out << rounded.err;
  const Result exact = run("validate --plan " + quoted(write("p", partial.out)) + " " + quoted(problem));
  EXPECT_EQ(exact.out, "The plan is valid.\n") << exact.err;
}

TEST_F(Answers, RefusesOptionsWithoutAnEffectAndNamesThoseThatHaveOne) {
  const struct {
    const char* line;
    const char* message;
  } cases[] = {
      {"solve -a ftp --anytime",
       "the option '--anytime' has no effect with '-a ftp'; it has one with '-a auto'"},
      {"solve --weak-equality --anytime", "the option '--anytime' has no effect with '-a ftp'"},
      {"solve -a auto -w 0.8",
       "the option '--weight' has no effect with '-a auto'; it has one with '-a ftp', '-a iw' or '-a "
       "tsimple'"},
      {"solve -a tsimple -c", "has no effect with '-a tsimple'; it has one with '-a iw'"},
      {"solve -A hadd", "the option '--tsimple-heuristic' needs '-a iw' or '-a tsimple'"},
      {"solve -T", "the option '--time-triggered' needs '-a iw' or '-a tsimple'"},
      {"solve --plan x",
       "the option '--plan' has no effect in 'solve'; it has one in 'validate' or 'report'"},
      {"transform -t flattener -a ftp", "the option '--algorithm' has no effect in 'transform'"},
      {"solve --mission", "the option '--mission' is not available"},
      {"solve --smt-max-horizon 3", "the option '--smt-max-horizon' is not available"},
      {"solve -a smt", "the algorithm 'smt' is not available; there are 'auto', 'ftp', 'iw', 'tsimple'"},
      {"transform -t bounder", "the transformer 'bounder' needs a smaller problem: --bounding-problem FILE"},
      {"transform -t flattener -b smaller.anml", "the option '--bounding-problem' needs '-t bounder'"},
      {"repl", "the command 'repl' is not available"},
      {"convert-to", "'convert-to' needs a target: --target NAME"},
      {"convert-to --target uppaal", "the target 'uppaal' is not available"},
      {"convert-to --target anml --output-domain d", "the option '--output-domain' has no effect with"},
      {"convert-to --target anml --standard-pddl", "the option '--standard-pddl' has no effect with"},
      {"convert-to --target pddl --output x", "the option '--output' has no effect with '--target pddl'"},
      {"convert-to --target anml --output-query q", "the option '--output-query' is not available"},
      {"solve --quiet --verbose", "'--quiet' and '--verbose' do not go together"},
      {"check --plan-format html", "'check' answers in plain text, or with '--plan-format json'"},
  };
  for (const auto& test : cases) {
    const Result result = run(std::string(test.line) + " " + quoted(cellar));
    EXPECT_EQ(result.status, 2) << test.line;
    EXPECT_TRUE(has(result.err, test.message)) << test.line << '\n' << result.err;
    EXPECT_EQ(result.out, "") << test.line;
  }
}

TEST_F(Answers, IsQuietOrTellsWhatTheSearchDid) {
  const fs::path problem = write("costly.anml", "fluent boolean p := true; goal [end] p;\n");
  EXPECT_EQ(run("solve " + quoted(problem)).err,
            "zorvel: the goal holds from the start; the plan has no step\n");
  EXPECT_EQ(run("solve -q " + quoted(problem)).err, "");
  EXPECT_NE(run("solve -q " + quoted(source_dir / "examples" / "unsolvable.anml")).err, "");
  for (const char* algorithm : {"auto", "ftp", "tsimple", "iw"}) {
    const Result verbose = run("solve --verbose -a " + std::string(algorithm) + " " + quoted(cellar));
    const std::size_t at = verbose.err.find("  states expanded ");
    ASSERT_NE(at, std::string::npos) << algorithm << verbose.err;
    EXPECT_GT(std::stoi(verbose.err.substr(at + 18)), 0) << algorithm << verbose.err;
    EXPECT_TRUE(has(verbose.err, "  time of the search"));
  }
}

TEST_F(Answers, ReadsStandardInputInThePlaceOfOneFile) {
  const std::string text = read(cellar);
  const fs::path copy = write("copy", text);
  const Result solved = run("solve -", copy);
  EXPECT_EQ(solved.status, 0) << solved.err;
  EXPECT_EQ(solved.out, run("solve " + quoted(cellar)).out);
  EXPECT_EQ(run("validate --plan - " + quoted(cellar), write("plan", solved.out)).out,
            "The plan is valid.\n");
  const std::string domain = quoted(source_dir / "examples" / "match_cellar_domain.pddl");
  const Result piped = run("solve --pddl --plan-format pddl " + domain + " -",
                           source_dir / "examples" / "match_cellar_problem.pddl");
  EXPECT_EQ(piped.out.find("; Makespan "), 0U) << piped.err;
  // The first step says in which format a plan is.
  EXPECT_EQ(run("validate --plan - " + pddl_cellar, write("plan", piped.out)).out, "The plan is valid.\n");
  const Result twice = run("validate --plan - -", copy);
  EXPECT_EQ(twice.status, 2);
  EXPECT_TRUE(has(twice.err, "standard input, '-', can be one of the files")) << twice.err;
  EXPECT_TRUE(has(run("solve -", write("bad", "fluent x")).err, "zorvel: standard input:1: "));
}

TEST_F(Answers, AnswersInJsonInEveryCase) {
  const fs::path endless =
      write("endless.anml",
            "fluent integer n := 0; fluent boolean p := false;\n"
            "action a() { duration := 1; [end] n := n + 1; };\n"
            "action b() { duration := 1; [start] n < 0; [end] p := true; };\ngoal [end] p;\n");
  const struct {
    std::string line, part;
    int status;
  } cases[] = {
      {"solve " + quoted(cellar), "\"status\": \"solved\"", 0},
      {"solve " + pddl_cellar, "\"light-match\"", 0},
      {"solve -a tsimple " + quoted(source_dir / "examples" / "user_types.anml"), "\"object\": \"torch\"", 0},
      {"solve " + quoted(source_dir / "examples" / "unsolvable.anml"), "\"status\": \"unsolvable\"", 1},
      {"solve --explain " + quoted(write("dead.anml", "fluent boolean p := false; goal [end] p;")),
       "\"kind\": \"goal\"", 1},
      {"solve --time-limit 0.3 " + quoted(endless), "\"status\": \"limit\"", 3},
      {"solve " + quoted(write("bad.anml", "fluent")), "\"status\": \"error\"", 2},
      {"solve -a ftp --anytime " + quoted(cellar), "\"status\": \"error\"", 2},
      {"validate --plan " + quoted(write("none", "")) + " " + quoted(cellar), "\"valid\": false", 1},
      {"validate --plan " + quoted(write("plan", run("solve " + quoted(cellar)).out)) + " " + quoted(cellar),
       "\"valid\": true", 0},
      {"check " + quoted(cellar), "\"findings\": []", 0},
      {"check " + quoted(write("dead.anml", "fluent boolean p := false; goal [end] p;")),
       "\"unsolvable\": true", 1},
  };
  // Debian's own Python is the one that has Debian's modules.
  const std::string python = "/usr/bin/python3";
  const bool has_checker = std::system((python + " -c 'import jsonschema' 2>/dev/null").c_str()) == 0;
  for (const auto& test : cases) {
    const Result result = run(test.line + " --plan-format json");
    EXPECT_EQ(result.status, test.status) << test.line << result.err;
    EXPECT_TRUE(has(result.out, test.part)) << test.line << '\n' << result.out;
    ASSERT_FALSE(result.out.empty()) << test.line;
    EXPECT_EQ(result.out.front(), '{');
    EXPECT_EQ(result.out.substr(result.out.size() - 2), "}\n");
    if (!has_checker) continue;
    const fs::path answer = write("answer.json", result.out);
    const std::string check =
        python +
        " -c 'import json, jsonschema, sys; jsonschema.validate(json.load(open(sys.argv[1])), "
        "json.load(open(sys.argv[2])))' " +
        quoted(answer) + " " + quoted(source_dir / "docs" / "answer.schema.json");
    EXPECT_EQ(std::system(check.c_str()), 0) << test.line << '\n' << result.out;
  }
  if (!has_checker)
    GTEST_SKIP() << "no module jsonschema; the form of the answers was not compared with the schema";
}

TEST_F(Answers, LeavesAnOldAnswerWhereThereIsNoNewOne) {
  const fs::path old = write("old", "as it was");
  const std::string unsolvable = quoted(source_dir / "examples" / "unsolvable.anml");
  for (const char* format : {"anml", "pddl", "json", "html"}) {
    run("solve --plan-format " + std::string(format) + " --output-plan " + quoted(old) + " " + unsolvable);
    EXPECT_EQ(read(old), "as it was") << format;
  }
  EXPECT_EQ(run("report --plan /does/not/exist --output " + quoted(old) + " " + quoted(cellar)).status, 2);
  EXPECT_EQ(read(old), "as it was");
}

TEST_F(Answers, WritesAPageThatABrowserShows) {
  const fs::path plan = folder_ / "plan", page = folder_ / "page.html", picture = folder_ / "page.png";
  ASSERT_EQ(run("solve " + quoted(cellar) + " --output-plan " + quoted(plan)).status, 0);
  const Result written = run("report --plan " + quoted(plan) + " " + quoted(cellar) +
                             " --rows objects --output " + quoted(page));
  EXPECT_EQ(written.status, 0) << written.err;
  EXPECT_TRUE(has(read(page), "<svg ") && has(read(page), "mend_fuse(fuse1, match2)"));
  EXPECT_EQ(
      run("validate --plan-format html --rows objects --plan " + quoted(plan) + " " + quoted(cellar)).out,
      read(page));
  const Result unknown = run("report --fluent none --plan " + quoted(plan) + " " + quoted(cellar));
  EXPECT_EQ(unknown.status, 2);
  EXPECT_TRUE(has(unknown.err, "The problem has no fluent 'none'")) << unknown.err;
  if (std::system("command -v chromium >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "there is no chromium; the page was not looked at in a browser";
  const std::string browser =
      "timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage "
      "--user-data-dir=" +
      quoted(folder_ / "profile") + " ";
  const std::string address = quoted("file://" + page.string());
  ASSERT_EQ(std::system((browser + "--window-size=1300,900 --screenshot=" + quoted(picture) + " " + address +
                         " >/dev/null 2>&1")
                            .c_str()),
            0);
  // A page that shows nothing takes a few kilobytes.
  EXPECT_GT(fs::file_size(picture), 15000U);
  ASSERT_EQ(
      std::system(
          (browser + "--dump-dom " + address + " >" + quoted(folder_ / "dom") + " 2>/dev/null").c_str()),
      0);
  const std::string dom = read(folder_ / "dom");
  EXPECT_TRUE(has(dom, "</svg>") && has(dom, "</table>")) << dom;
}

TEST_F(Answers, ServesExecutivesThroughItsWrapper) {
  const auto call = [&](const std::string& arguments) {
    const fs::path out = folder_ / "out", err = folder_ / "err";
    const int status = std::system(("ZORVEL='" + program.string() + "' '" +
                                    (source_dir / "tools" / "pddl-planner").string() + "' " + arguments +
                                    " >" + quoted(out) + " 2>" + quoted(err))
                                       .c_str());
    return Result{WEXITSTATUS(status), read(out), read(err)};
  };
  const std::string files = pddl_cellar.substr(std::string("--pddl ").size());
  const Result planned = call(files + " 60");
  EXPECT_EQ(planned.status, 0);
  EXPECT_EQ(planned.err, "");
  EXPECT_EQ(planned.out.find("; Makespan "), 0U) << planned.out;
  EXPECT_EQ(
      run("validate --plan-format pddl --plan " + quoted(write("plan", planned.out)) + " " + pddl_cellar)
          .status,
      0);
  const Result wrong = call(quoted(write("d", "(define (domain d) (:predicates (p)")) + " /does/not/exist");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.out, "");
  EXPECT_EQ(call("one").status, 2);
}

}  // namespace
