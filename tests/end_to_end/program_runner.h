#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// Runs the program as a user does. Each file of tests has a fixture of its own.

namespace {

namespace fs = std::filesystem;

const fs::path source_dir = ZORVEL_SOURCE_DIR;
const fs::path program = fs::path(ZORVEL_BINARY_DIR) / "bin" / "zorvel";

/// A folder of its own for each test, removed with it.
class Program : public testing::Test {
 protected:
  void SetUp() override {
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    folder_ = fs::temp_directory_path() /
              ("zorvel-" + std::string(test->name()) + "-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  struct Result {
    int status;
    std::string out, err;
  };
  Result run(const std::string& arguments, const fs::path& input = "/dev/null") const {
    const fs::path out = folder_ / "stdout", err = folder_ / "stderr";
    const std::string command = "'" + program.string() + "' " + arguments + " >'" + out.string() + "' 2>'" +
                                err.string() + "' <'" + input.string() + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), read(out), read(err)};
  }
  static std::string read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  fs::path write(const std::string& name, const std::string& text) const {
    const fs::path path = folder_ / name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  static std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

  /// Solves the problem twice and validates the plan that was written; the status of solving. `problem` is
  /// what both commands are given to read, `options` is for solving alone.
  int solve_and_validate(const std::string& problem, const std::string& options) const {
    const fs::path plan = folder_ / "plan", again = folder_ / "again";
    fs::remove(plan);
    fs::remove(again);
    const Result solved = run("solve " + problem + " " + options + " --output-plan " + quoted(plan));
    if (solved.status != 0) {
      EXPECT_FALSE(fs::exists(plan));
      return solved.status;
    }
    const Result verdict = run("validate --plan " + quoted(plan) + " " + problem);
    EXPECT_EQ(verdict.status, 0) << problem << ' ' << verdict.out << verdict.err << read(plan);
    // Equal input gives equal bytes.
    run("solve " + problem + " " + options + " --output-plan " + quoted(again));
    if (fs::exists(again)) {
      EXPECT_EQ(read(plan), read(again)) << problem;
    }
    return 0;
  }
  int solve_and_validate(const fs::path& problem, const std::string& options) const {
    return solve_and_validate(quoted(problem), options);
  }

  /// The steps of the plan that `solve_and_validate` has written.
  long steps_of_plan() const {
    std::istringstream plan(read(folder_ / "plan"));
    long steps = 0;
    for (std::string line; std::getline(plan, line);) steps += line.starts_with(';') ? 0 : 1;
    return steps;
  }

  fs::path folder_;
};

}  // namespace
