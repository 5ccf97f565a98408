#include "core/output_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/errors.h"

namespace zorvel {
namespace {

namespace fs = std::filesystem;

class OutputFile : public testing::Test {
 protected:
  OutputFile() { fs::create_directories(folder_); }
  ~OutputFile() override { fs::remove_all(folder_); }
  std::string path(const std::string& name) const { return folder_ / name; }
  static std::string content(const std::string& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::size_t files() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }
  static std::string message_of(const std::string& file, const std::string& text) {
    try {
      write_output_file(file, text);
    } catch (const InvalidParameterError& error) {
      return error.what();
    }
    return "no error";
  }

 private:
  const fs::path folder_ =
      fs::path(testing::TempDir()) /
      (std::string("output_") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(OutputFile, ReplacesTheContentAndKeepsLinksAndPermissions) {
  write_output_file(path("a"), "a long first text");
  fs::permissions(path("a"), fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink(path("a"), path("link"));
  write_output_file(path("link"), "second");
  EXPECT_EQ(content(path("a")), "second");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(files(), 2U);
  write_output_file("/dev/null", "x");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(OutputFile, APlaceThatCannotBeWrittenIsNamed) {
  const std::string missing = path("no/such/file"), folder = path("");
  EXPECT_EQ(message_of(missing, "x"),
            "InvalidParameterError: Unable to open file '" + missing + "' for writing!");
  EXPECT_EQ(message_of(folder, "x"),
            "InvalidParameterError: Unable to open file '" + folder + "' for writing!");
}

TEST_F(OutputFile, AFailedWriteLeavesTheOldFile) {
  write_output_file(path("a"), "old");
  // A limit on the size of files makes the write fail halfway, as a full disk does.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{4096, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string message = message_of(path("a"), std::string(100000, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(message.find("InvalidParameterError: Unable to write file '" + path("a") + "': "), 0U) << message;
  EXPECT_EQ(content(path("a")), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(OutputFile, SeveralFilesAreWrittenTogetherOrNotAtAll) {
  write_output_file(path("a"), "old");
  const struct {
    std::string second;
    std::string error;
  } rows[] = {
      {path("no/such/file"), "Unable to open file '" + path("no/such/file") + "' for writing!"},
      {path(""), "Unable to open file '" + path("") + "' for writing!"},
      {"/dev/full", "Unable to write file '/dev/full': No space left on device"},
      {path("../" + fs::path(path("")).parent_path().filename().string() + "/a"),
       "Two texts are to be written to file '" +
           path("../" + fs::path(path("")).parent_path().filename().string() + "/a") + "'"},
  };
  for (const auto& row : rows) {
    const OutputText outputs[] = {{path("a"), "new"}, {row.second, "more"}};
    try {
      write_output_files(outputs);
      ADD_FAILURE() << row.second;
    } catch (const InvalidParameterError& error) {
      EXPECT_EQ(error.message(), "InvalidParameterError: " + row.error);
    }
    EXPECT_EQ(content(path("a")), "old");
    EXPECT_EQ(files(), 1U);
  }
  const OutputText outputs[] = {{path("a"), "new"}, {path("b"), "more"}};
  write_output_files(outputs);
  EXPECT_EQ(content(path("a")) + content(path("b")), "newmore");
  EXPECT_EQ(files(), 2U);
}

}  // namespace
}  // namespace zorvel
