#include "core/concat_stream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/errors.h"

namespace zorvel {
namespace {

class ConcatStream : public testing::Test {
 protected:
  ConcatStream() { std::filesystem::create_directories(folder_); }
  ~ConcatStream() override { std::filesystem::remove_all(folder_); }
  std::string file(const std::string& name, const std::string& text) {
    const std::string path = folder_ / name;
    std::ofstream(path) << text;
    return path;
  }
  const std::filesystem::path folder_ =
      std::filesystem::path(testing::TempDir()) /
      (std::string("concat_") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST_F(ConcatStream, FilesReadAsOneTextWithoutSeams) {
  const std::string pattern = "0123456789abcdefghijklmnopqrstuvwxyz\n";
  std::string longer_than_a_buffer;
  while (longer_than_a_buffer.size() < 2500) longer_than_a_buffer += pattern;
  ConcatIfStream input({file("empty", ""), file("a", "al"), file("b", ""), file("c", longer_than_a_buffer),
                        file("d", std::string(1024, 'd')), file("e", "end")});
  const std::string read{std::istreambuf_iterator<char>(input.stream()), {}};
  EXPECT_EQ(read, "al" + longer_than_a_buffer + std::string(1024, 'd') + "end");
  EXPECT_EQ(input.stream().peek(), std::char_traits<char>::eof());
}

TEST_F(ConcatStream, AFileThatCannotBeReadIsNamed) {
  const auto message_of = [](const std::vector<std::string>& names) -> std::string {
    try {
      ConcatIfStream input(names);
    } catch (const InvalidParameterError& error) {
      return error.what();
    }
    return "no error";
  };
  EXPECT_EQ(message_of({file("a", "x"), "no/such.anml"}),
            "InvalidParameterError: Input file 'no/such.anml' does not exist!");
  EXPECT_EQ(message_of({folder_}),
            "InvalidParameterError: Input file '" + folder_.string() + "' is a directory!");
}

}  // namespace
}  // namespace zorvel
