// Files that appear when they are complete: by the way without a name, and by the one with a name of its own.

#include "tests/kep_io/files/atomic_file_fixture.h"
#include "tests/support/folder_fixture.h"
#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace atomic_file_test {

using testing::EndsWith;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class AtomicFile : public Folder, public testing::WithParamInterface<bool> {
protected:
  void SetUp() override { KEP_ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(GetParam()); }
  void TearDown() override { KEP_ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(true); }

  static void replace(const std::string& path, const std::string& text) {
    KEP_ATOMIC_FILE file(path);
    file.out() << text;
    file.close();
    file.commit();
  }
  mode_t permissions(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(stat(path(name).c_str(), &status), 0) << name;
    return status.st_mode & 07777;
  }
  std::string refusal(const std::string& name) const {
    const std::string text = refusal_of([&] { const KEP_ATOMIC_FILE file(path(name)); });
    return text.starts_with(path(name)) ? text.substr(path(name).size()) : text;
  }
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutAName, AtomicFile, testing::Values(true, false),
                         [](const auto& tested) { return tested.param ? "Unnamed" : "Named"; });

TEST_P(AtomicFile, AppearsWhenItIsCommittedAndNotBefore) {
  write("file", "old");
  {
    KEP_ATOMIC_FILE file(path("file"));
    file.out() << "new";
    file.close();
    EXPECT_EQ(read("file"), "old");
    EXPECT_EQ(files().size(), GetParam() ? 1U : 2U);
    file.commit();
  }
  EXPECT_EQ(read("file"), "new");
  EXPECT_THAT(files(), UnorderedElementsAre("file"));
}

TEST_P(AtomicFile, LeavesNothingBehindWhenItIsDropped) {
  write("file", "old");
  for (const std::string name : {"file", "other"}) {
    KEP_ATOMIC_FILE file(path(name));
    file.out() << std::string(3 << 20, 'x');
    file.close();
  }
  EXPECT_EQ(read("file"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("file"));
}

TEST_P(AtomicFile, HoldsWhateverWasWritten) {
  std::string text;
  {
    KEP_ATOMIC_FILE file(path("file"));
    for (int i = 0; i != 300000; ++i) {
      const std::string line = std::to_string(i) + (i % 2 == 0 ? "\n" : "");
      text += line;
      file.out() << line << std::flush;
    }
    const std::string large(5 << 20, 'y');
    file.out().write(large.data(), static_cast<std::streamsize>(large.size()));
    text += large;
    file.close();
    file.commit();
  }
  EXPECT_TRUE(read("file") == text);
}

TEST_P(AtomicFile, HoldsWhatWasWrittenInAnyOrderAndZerosBetween) {
  write("file", "old");
  {
    KEP_ATOMIC_FILE file(path("file"));
    file.write_at(10, "later");
    file.set_size(20);
    file.write_at(0, "first");
    file.close();
    EXPECT_EQ(read("file"), "old");
    file.commit();
  }
  EXPECT_EQ(read("file"), std::string("first\0\0\0\0\0later\0\0\0\0\0", 20));
}

TEST_P(AtomicFile, HasThePermissionsOfAPlainFileOrOfTheOneThatItReplaces) {
  const mode_t mask = umask(027);
  replace(path("new"), "");
  EXPECT_EQ(permissions("new"), 0640U);
  umask(077);
  write("old", "");
  ASSERT_EQ(chmod(path("old").c_str(), 0664), 0);
  replace(path("old"), "");
  EXPECT_EQ(permissions("old"), 0664U);
  umask(mask);
}

TEST_P(AtomicFile, KeepsALinkALink) {
  write("file", "old");
  ASSERT_EQ(symlink("file", path("link").c_str()), 0);
  replace(path("link"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(read("file"), "new");
  EXPECT_EQ(files().size(), 2U);
}

TEST_P(AtomicFile, MakesTheFileThatALinkNames) {
  ASSERT_EQ(symlink("next", path("link").c_str()), 0);
  ASSERT_EQ(symlink(path("file").c_str(), path("next").c_str()), 0);
  replace(path("link"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_TRUE(std::filesystem::is_symlink(path("next")));
  EXPECT_EQ(read("file"), "new");
}

TEST_P(AtomicFile, TellsAtOnceWhyItCannotBeWritten) {
  write("file", "");
  std::filesystem::create_directory(path("folder"));
  EXPECT_EQ(refusal("none/file"), ": can't be written: No such file or directory");
  EXPECT_EQ(refusal("file/file"), ": can't be written: Not a directory");
  EXPECT_EQ(refusal("folder"), ": can't be written: Is a directory");
  EXPECT_EQ(refusal("new/"), ": can't be written: Is a directory");
  EXPECT_EQ(refusal(std::string(300, 'n')), ": can't be written: File name too long");
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(refusal("pipe"), ": can't be written: not a regular file");
  EXPECT_THAT(files(), UnorderedElementsAre("file", "folder", "pipe"));
}

TEST_P(AtomicFile, DoesNotReplaceWhatMayNotBeWritten) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write every file";
  write("file", "old");
  ASSERT_EQ(chmod(path("file").c_str(), 0444), 0);
  EXPECT_EQ(refusal("file"), ": can't be written: Permission denied");
  std::filesystem::create_directory(path("folder"));
  ASSERT_EQ(chmod(path("folder").c_str(), 0555), 0);
  EXPECT_EQ(refusal("folder/file"), ": can't be written: Permission denied");
}

TEST_P(AtomicFile, MakesItsFolderWhenItIsCommitted) {
  {
    KEP_ATOMIC_FILE file(path("a/b/file"), true);
    file.out() << "text";
    file.close();
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    file.commit();
  }
  EXPECT_EQ(read("a/b/file"), "text");
  EXPECT_THAT(files(), UnorderedElementsAre("a", "a/b", "a/b/file"));
}

TEST_P(AtomicFile, TakesAwayFoldersThatItMadeInVain) {
  KEP_ATOMIC_FILE file(path("a/b/") + std::string(300, 'n'), true); // which no folder can hold
  file.close();
  EXPECT_THAT(refusal_of([&] { file.commit(); }), EndsWith(": can't be written: File name too long"));
  EXPECT_FALSE(std::filesystem::exists(path("a")));
}

TEST_P(AtomicFile, LeavesFoldersThatWereThere) {
  std::filesystem::create_directory(path("a"));
  { const KEP_ATOMIC_FILE file(path("a/file"), true); }
  EXPECT_THAT(files(), UnorderedElementsAre("a"));
}

TEST_P(AtomicFile, PassesOverNamesThatEarlierRunsLeft) {
  write("file", "old");
  std::vector<std::string> expected{"file"};
  for (int i = 1; i != 200; ++i) {
    expected.push_back(".kep-rg-" + std::to_string(getpid()) + "-" + std::to_string(i));
    write(expected.back(), "litter");
  }
  replace(path("file"), "new");
  EXPECT_EQ(read("file"), "new");
  EXPECT_THAT(files(), testing::UnorderedElementsAreArray(expected));
  for (std::size_t i = 1; i != expected.size(); ++i)
    EXPECT_EQ(read(expected[i]), "litter");
}

TEST_P(AtomicFile, TellsAtOnceThatAFolderIsReadOnly) {
  const SMALL_DISK disk(path("disk"), "size=1m");
  write("disk/file", "old");
  if (!disk.is_there() || !disk.make_read_only()) GTEST_SKIP() << "nothing can be mounted here";
  for (const std::string name : {"disk/file", "disk/new"})
    EXPECT_EQ(refusal(name), ": can't be written: Read-only file system");
  EXPECT_EQ(read("disk/file"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("disk", "disk/file"));
}

TEST_P(AtomicFile, TellsAFullDiskWhileItWrites) {
  const SMALL_DISK disk(path("disk"), "size=1m");
  if (!disk.is_there()) GTEST_SKIP() << "no small disk can be mounted here";
  write("disk/file", "old");
  {
    KEP_ATOMIC_FILE file(path("disk/file"));
    const std::string text(1 << 20, 'x');
    EXPECT_EQ(refusal_of([&] {
                for (int i = 0; i != 4; ++i)
                  file.out() << text;
              }),
              path("disk/file") + ": can't be written: No space left on device");
    EXPECT_EQ(refusal_of([&] { file.write_at(0, text + text); }),
              path("disk/file") + ": can't be written: No space left on device");
  }
  EXPECT_EQ(read("disk/file"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("disk", "disk/file"));
  replace(path("disk/file"), "there is room again");
}

TEST_P(AtomicFile, ASignalLeavesNothingBehindWheneverItComes) {
  std::mt19937 random(20261122);
  const std::string old_text(100000, 'o');
  const std::string new_text(100000, 'n');
  write("file", old_text);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM})
    std::signal(signal, SIG_DFL); // in the background of a shell SIGINT is ignored, and so it would be here
  for (int i = 0; i != 30; ++i) {
    const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[static_cast<std::size_t>(i) % 3];
    const pid_t child = start_process([&] {
      for (;;) {
        replace(path("file"), new_text);
        replace(path("other"), new_text);
      }
    });
    usleep(static_cast<useconds_t>(random() % 20000));
    kill(child, signal);
    const int status = wait_for_process(child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    const std::string text = read("file");
    EXPECT_TRUE(text == old_text || text == new_text) << i;
    std::filesystem::remove(path("other"));
    ASSERT_THAT(files(), UnorderedElementsAre("file")) << i;
  }
}

TEST_P(AtomicFile, AKillLeavesNothingBehindWheneverItComes) {
  if (!GetParam()) GTEST_SKIP() << "a file with a name of its own stays";
  // Where nothing waits for a real disk, a file is between two names for much of the time.
  const SMALL_DISK disk(path("disk"), "size=1m");
  std::mt19937 random(20261123);
  write("disk/file", std::string(1000, 'o'));
  for (int i = 0; i != 60; ++i) {
    const pid_t child = start_process([&] {
      for (;;)
        replace(path("disk/file"), std::string(1000, 'n'));
    });
    usleep(static_cast<useconds_t>(random() % 5000));
    kill(child, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(wait_for_process(child)));
    for (int k = 0; k != 1000 && files().size() != 2; ++k)
      usleep(1000); // what is begun ends by itself
    ASSERT_THAT(files(), UnorderedElementsAre("disk", "disk/file")) << i;
    EXPECT_EQ(read("disk/file").size(), 1000U);
  }
}

TEST(Interrupts, WaitForWhatIsNotToBeDoneByHalves) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = start_process([&] {
    {
      const KEP_INTERRUPT_DELAY outer;
      raise(SIGTERM);
      const KEP_INTERRUPT_DELAY inner;
      EXPECT_EQ(::write(ends[1], "whole", 5), 5);
    }
    EXPECT_EQ(::write(ends[1], "after", 5), 5);
  });
  const int status = wait_for_process(child);
  close(ends[1]);
  char text[16] = {};
  EXPECT_EQ(::read(ends[0], text, sizeof text - 1), 5);
  EXPECT_STREQ(text, "whole");
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
  close(ends[0]);
}

TEST(Interrupts, ThatWereIgnoredStayIgnored) {
  const auto before = std::signal(SIGHUP, SIG_IGN); // as nohup does
  const pid_t child = start_process([] { raise(SIGHUP); });
  std::signal(SIGHUP, before);
  const int status = wait_for_process(child);
  EXPECT_TRUE(WIFEXITED(status));
}

} // namespace atomic_file_test
