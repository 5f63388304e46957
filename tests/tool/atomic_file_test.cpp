// A file that appears whole or not at all.

#include "tool/keeping/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"

namespace {

using audiomatch::AtomicFile;
using audiomatch::FileError;
using testing_support::contents;

class AtomicFileTest : public testing::Test {
 protected:
  AtomicFileTest() { std::ofstream(folder_ / "db") << "old"; }

  /// Writes three megabytes, beyond any buffer.
  static void write(AtomicFile& file) { file.write(std::string(3'000'000, 'x').data(), 3'000'000); }

  void expectOnlyTheOldFile() {
    EXPECT_EQ(contents(folder_ / "db"), "old");
    EXPECT_EQ(folder_.count(), 1);
  }

  testing_support::TemporaryFolder folder_;
};

TEST_F(AtomicFileTest, ReplacesTheOldFileOnCommitAndLinksStayLinks) {
  std::filesystem::create_symlink("db", folder_ / "link");
  AtomicFile file(folder_ / "link");
  write(file);
  EXPECT_EQ(contents(folder_ / "db"), "old");
  file.commit();
  EXPECT_EQ(contents(folder_ / "db"), std::string(3'000'000, 'x'));
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link"));
  EXPECT_EQ(folder_.count(), 2);
}

TEST_F(AtomicFileTest, LeavesTheOldFileAloneWithoutACommit) {
  {
    AtomicFile file(folder_ / "db");
    write(file);
    EXPECT_EQ(folder_.count(), 2);
  }
  expectOnlyTheOldFile();
}

TEST_F(AtomicFileTest, LeavesTheOldFileAloneWhenWritingFails) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{2'000'000, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(
      {
        AtomicFile file(folder_ / "db");
        write(file);
        file.commit();
      },
      FileError);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  expectOnlyTheOldFile();
}

TEST_F(AtomicFileTest, RefusesPlacesWhereNoFileCanAppear) {
  EXPECT_THROW(AtomicFile("/dev/null"), FileError);
  EXPECT_THROW(AtomicFile(folder_ / "missing/db"), FileError);
  std::filesystem::create_directory(folder_ / "sub");
  EXPECT_THROW(AtomicFile(folder_ / "sub"), FileError);
  {
    // One that stops being such a place too late to be refused.
    AtomicFile file(folder_ / "sub/db");
    std::filesystem::create_directory(folder_ / "sub/db");
    EXPECT_THROW(file.commit(), FileError);
  }
  std::filesystem::remove(folder_ / "sub/db");
  EXPECT_TRUE(std::filesystem::remove(folder_ / "sub")) << "empty";
  expectOnlyTheOldFile();
}

}  // namespace
