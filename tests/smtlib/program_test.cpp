#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path program = fs::path(ZORVEL_BINARY_DIR) / "bin" / "veskor-run";

/// A conversation with the program through pipes.
class Program {
 public:
  explicit Program(const std::string& arguments, const std::string& before = "") {
    int to_child[2], from_child[2];
    if (::pipe(to_child) != 0 || ::pipe(from_child) != 0) std::abort();
    child_ = ::fork();
    if (child_ == 0) {
      ::dup2(to_child[0], 0);
      ::dup2(from_child[1], 1);
      ::dup2(from_child[1], 2);
      for (int end : {to_child[0], to_child[1], from_child[0], from_child[1]}) ::close(end);
      const std::string command = before + "exec '" + program.string() + "' " + arguments;
      ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(to_child[0]);
    ::close(from_child[1]);
    in_ = to_child[1];
    out_ = from_child[0];
    ::fcntl(in_, F_SETFD, FD_CLOEXEC);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() { status(); }

  void say(const std::string& text) {
    ASSERT_EQ(::write(in_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  /// The next line of the answer; what came if the program ends before.
  std::string line() {
    std::string text;
    for (char c; ::read(out_, &c, 1) == 1;) {
      text += c;
      if (c == '\n') break;
    }
    return text;
  }
  void send_signal(int number) const { ::kill(child_, number); }
  std::string rest() {
    close(in_);
    std::string text, next;
    while (!(next = line()).empty()) text += next;
    return text;
  }
  /// Exit status, when it has ended.
  int status() {
    close(in_);
    if (child_ > 0) {
      ::waitpid(child_, &status_, 0);
      ::close(out_);
      child_ = 0;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
  }

 private:
  static void close(int& end) {
    if (end >= 0) ::close(end);
    end = -1;
  }
  pid_t child_ = 0;
  int in_ = -1, out_ = -1, status_ = 0;
};

TEST(VeskorRun, AnswersThroughAPipeBeforeTheNextCommandIsSent) {
  Program talk("");
  talk.say("(declare-const x Real)\n(assert (< x 1))\n(check-sat)");
  EXPECT_EQ(talk.line(), "sat\n");
  talk.say("(push)(assert (> x 2))(check-sat)");
  EXPECT_EQ(talk.line(), "unsat\n");
  talk.say("(pop 2)");
  EXPECT_EQ(talk.line(), "(error \"<stdin>:3:50: levels to pop: 2, levels that are open: 1\")\n");
  talk.say("(exit)");
  EXPECT_EQ(talk.rest(), "");
  EXPECT_EQ(talk.status(), 1);
}

std::string pigeons(int holes) {
  std::ostringstream script;
  script << "(set-logic QF_UF)\n(push 1)\n";
  const auto in = [](int p, int h) { return "p" + std::to_string(p) + "_" + std::to_string(h); };
  for (int p = 0; p <= holes; ++p)
    for (int h = 0; h < holes; ++h) script << "(declare-const " << in(p, h) << " Bool)\n";
  for (int p = 0; p <= holes; ++p) {
    script << "(assert (or";
    for (int h = 0; h < holes; ++h) script << ' ' << in(p, h);
    script << "))\n";
    for (int q = 0; q < p; ++q)
      for (int h = 0; h < holes; ++h)
        script << "(assert (not (and " << in(p, h) << ' ' << in(q, h) << ")))\n";
  }
  return script.str();
}

TEST(VeskorRun, ATimeLimitEndsTheCheckAndLeavesTheRest) {
  Program talk("--time-limit 0.2 --stats");
  talk.say(pigeons(11) + "(check-sat)(get-info :reason-unknown)(pop 1)(check-sat)\n");
  EXPECT_EQ(talk.line(), "unknown\n");
  EXPECT_EQ(talk.line(), "(:reason-unknown timeout)\n");
  EXPECT_EQ(talk.line(), "sat\n");
  EXPECT_NE(talk.rest().find("\nconflicts "), std::string::npos);
  EXPECT_EQ(talk.status(), 0);
}

TEST(VeskorRun, ALimitOfTheRunHoldsFromTheFirstByteOn) {
  {
    Program talk("--total-time-limit 0.3 --stats");
    talk.say(pigeons(11) + "(check-sat)(echo \"not reached\")\n");
    EXPECT_EQ(talk.line(), "unknown\n");
    EXPECT_NE(talk.rest().find("\nrun_milliseconds "), std::string::npos);
    EXPECT_EQ(talk.status(), 3);
  }
  Program waiting("--total-time-limit 0.1");
  waiting.say("(declare-const p");
  EXPECT_EQ(waiting.line(), "unknown\n");
  EXPECT_EQ(waiting.status(), 3);
}

TEST(VeskorRun, ASignalIsAnsweredWhateverItInterrupts) {
  for (const int number : {SIGINT, SIGTERM}) {
    for (const bool is_solving : {true, false}) {
      Program talk("--stats");
      talk.say("(declare-const p Bool)(assert p)(check-sat)");
      EXPECT_EQ(talk.line(), "sat\n");
      talk.say(is_solving ? "(reset)" + pigeons(11) + "(echo \"\")(check-sat)(check-sat)" : "(assert");
      if (is_solving) {
        EXPECT_EQ(talk.line(), "\"\"\n");
      }
      talk.send_signal(number);
      EXPECT_EQ(talk.line(), "unknown\n");
      EXPECT_EQ(talk.line().rfind("checks ", 0), 0u);
      EXPECT_EQ(talk.status(), 128 + number);
    }
  }
}

#ifndef __SANITIZE_ADDRESS__  // it takes terabytes of address space for itself
TEST(VeskorRun, MemoryThatEndsEndsTheRunAndNotTheProcess) {
  const std::string limited = "ulimit -v 60000; ";
  std::string squares = "(declare-const x Real)\n(assert (let ((a 3))";
  for (int i = 0; i < 40; ++i) squares += "(let ((a (* a a)))";
  {
    Program talk("", limited);
    talk.say(squares + "(< x a)" + std::string(42, ')') + "(check-sat)\n");
    EXPECT_NE(talk.line().find("(option theory.max_number_bits)"), std::string::npos);
    EXPECT_EQ(talk.line(), "unknown\n");
    talk.rest();
    EXPECT_EQ(talk.status(), 1);
  }
  // The same with a ceiling that memory does not reach, and with many small things.
  {
    Program talk("-o theory.max_number_bits=2000000000", limited);
    talk.say(squares + "(< x a)" + std::string(42, ')') + "(check-sat)\n");
    EXPECT_NE(talk.rest().find("out of memory"), std::string::npos);
    EXPECT_EQ(talk.status(), 3);
  }
  const fs::path path =
      fs::temp_directory_path() / ("veskor_run_test_" + std::to_string(::getpid()) + ".smt2");
  {
    std::ofstream script(path);
    for (int i = 0; i < 300000; ++i) script << "(declare-const constant_" << i << " Real)\n";
    script << "(check-sat)\n";
  }
  Program talk(path.string(), limited);
  const std::string text = talk.rest();
  EXPECT_NE(text.find("out of memory"), std::string::npos) << text;
  EXPECT_EQ(text.find("sat"), std::string::npos) << text;
  EXPECT_EQ(talk.status(), 3);
  // A command that there is no room to read: the place is how far it was read.
  {
    std::ofstream script(path);
    script << "(declare-const p Bool)\n(assert (and";
    for (int i = 0; i < 300000; ++i) script << "\np p p p p p p";
    script << "))\n(check-sat)\n";
  }
  Program reader(path.string(), limited);
  const std::string fault = reader.rest();
  const std::string place = path.string() + ':';
  ASSERT_NE(fault.find(place), std::string::npos) << fault;
  EXPECT_GT(std::stoi(fault.substr(fault.find(place) + place.size())), 1000) << fault;
  EXPECT_EQ(reader.status(), 3);
  fs::remove(path);
}
#endif

TEST(VeskorRun, DimacsIsReadToo) {
  const struct {
    const char* text;
    int status;
    const char* answer;
  } cases[] = {
      {"c a comment\np cnf 4 3\n1 -2 0 2\n3 0\nc another\n-1 0\n", 10, "s SATISFIABLE\nv -1 -2 3 -4 0\n"},
      {"p cnf 1 2\n1 0 -1 0\n%\n0\n", 20, "s UNSATISFIABLE\n"},
      {"p cnf 1 1\n0\n", 20, "s UNSATISFIABLE\n"},
      {"p cnf 0 0", 10, "s SATISFIABLE\nv 0\n"},
      {"p cnf 2 1\n1 2\n", 1, "<stdin>:2: the last clause does not end with 0"},
      {"p cnf 2 2\n1 2 0\n", 1, "<stdin>:2: there are 1 clauses, and the header says 2"},
      {"p cnf 2 1\n1 3 0\n", 1, "<stdin>:2: the header says 2 variables, and there is a literal 3"},
      {"p cnf 2 1\n1 x 0\n", 1, "<stdin>:2: 'x' is no literal"},
      {"p dnf 2 1\n", 1, "'p cnf', are supported"},
      {"p cnf -2 1\n", 1, "'-2' is no number of variables or clauses"},
      {"c nothing else", 1, "expected a header"},
  };
  for (const auto& c : cases) {
    Program talk("");
    talk.say(c.text);
    const std::string text = talk.rest();
    EXPECT_EQ(talk.status(), c.status) << c.text;
    EXPECT_NE(text.find(c.answer), std::string::npos) << c.text << ": " << text;
  }
}

TEST(VeskorRun, SeveralFilesAreOneRun) {
  const fs::path path =
      fs::temp_directory_path() / ("veskor_run_files_" + std::to_string(::getpid()) + ".smt2");
  std::ofstream(path) << "(set-logic QF_SOMETHING)(declare-const p Bool)(assert p)";
  Program talk("'" + path.string() + "' - '" + path.string() + "'");
  talk.say("(assert (not p))(check-sat)");
  const std::string text = talk.rest();
  EXPECT_NE(text.find("warning: the logic 'QF_SOMETHING' is not known and counts as ALL\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("unsat\n"), std::string::npos) << text;
  EXPECT_NE(text.find(".smt2:1:40: 'p' is declared already"), std::string::npos) << text;
  EXPECT_EQ(talk.status(), 1);
  fs::remove(path);
}

TEST(VeskorRun, TheCommandLineIsChecked) {
  const struct {
    const char* arguments;
    int status;
    const char* text;
  } cases[] = {
      {"-o dpll.restart_strategy=2 -o random_seed=3 -", 0, ""},
      {"-o dpll.restart_strategy=7", 2, "veskor-run: number out of range for option: dpll.restart_strategy"},
      {"-o no.such=1", 2, "veskor-run: unknown option: no.such"},
      {"-o verbosity", 2, "veskor-run: -o takes KEY=VALUE, not 'verbosity'"},
      {"/no/such/file", 2, "veskor-run: cannot read '/no/such/file'"},
      {"/", 2, "veskor-run: cannot read '/'"},
      {"--time-limit -1", 2, "--time-limit"},
      {"--no-such-flag", 2, "--no-such-flag"},
      {"--memory-limit -3", 2, "--memory-limit"},
      {"- /no/such/file", 2, "veskor-run: cannot read '/no/such/file'"},
      {"--version", 0, "Veskor "},
  };
  for (const auto& c : cases) {
    Program talk(c.arguments);
    const std::string text = talk.rest();
    EXPECT_EQ(talk.status(), c.status) << c.arguments;
    EXPECT_NE(text.find(c.text), std::string::npos) << c.arguments << ": " << text;
  }
}

}  // namespace
