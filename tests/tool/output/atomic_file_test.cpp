// Files that appear when they are complete: by the way without a name, and by the one with a name of its own.

#include "tests/tool/tool_fixture.h"
#include "tools/kep-rg/output/atomic_file.h"
#include "tools/kep-rg/output/interrupts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class ATOMIC_FILE_TEST_ACCESS {
public:
  static void set_has_unnamed_files(bool has) { ATOMIC_FILE::s_has_unnamed_files = has; }
};

namespace atomic_file_test {

using testing::EndsWith;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class AtomicFile : public Tool, public testing::WithParamInterface<bool> {
protected:
  void SetUp() override { ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(GetParam()); }
  void TearDown() override { ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(true); }

  static void replace(const std::string& path, const std::string& text) {
    ATOMIC_FILE file(path);
    file.out() << text;
    file.close();
    file.commit();
  }
  mode_t permissions(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(stat(path(name).c_str(), &status), 0) << name;
    return status.st_mode & 07777;
  }
  /// What the call throws.
  template <class CALL>
  static std::string failure_of(const CALL& call) {
    try {
      call();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "none";
  }
  std::string refusal(const std::string& name) const {
    const std::string text = failure_of([&] { const ATOMIC_FILE file(path(name)); });
    return text.starts_with(path(name)) ? text.substr(path(name).size()) : text;
  }
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutAName, AtomicFile, testing::Values(true, false),
                         [](const auto& tested) { return tested.param ? "Unnamed" : "Named"; });

TEST_P(AtomicFile, AppearsWhenItIsCommittedAndNotBefore) {
  write("file", "old");
  {
    ATOMIC_FILE file(path("file"));
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
    ATOMIC_FILE file(path(name));
    file.out() << std::string(3 << 20, 'x');
    file.close();
  }
  EXPECT_EQ(read("file"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("file"));
}

TEST_P(AtomicFile, HoldsWhateverWasWritten) {
  std::string text;
  {
    ATOMIC_FILE file(path("file"));
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
    ATOMIC_FILE file(path("a/b/file"), true);
    file.out() << "text";
    file.close();
    EXPECT_FALSE(std::filesystem::exists(path("a")));
    file.commit();
  }
  EXPECT_EQ(read("a/b/file"), "text");
  EXPECT_THAT(files(), UnorderedElementsAre("a", "a/b", "a/b/file"));
}

TEST_P(AtomicFile, TakesAwayFoldersThatItMadeInVain) {
  ATOMIC_FILE file(path("a/b/") + std::string(300, 'n'), true); // which no folder can hold
  file.close();
  EXPECT_THAT(failure_of([&] { file.commit(); }), EndsWith(": can't be written: File name too long"));
  EXPECT_FALSE(std::filesystem::exists(path("a")));
}

TEST_P(AtomicFile, LeavesFoldersThatWereThere) {
  std::filesystem::create_directory(path("a"));
  { const ATOMIC_FILE file(path("a/file"), true); }
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

TEST_P(AtomicFile, TellsAFullDiskWhileItWrites) {
  std::filesystem::create_directory(path("disk"));
  if (mount("tmpfs", path("disk").c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "no small disk can be mounted here";
  write("disk/file", "old");
  {
    ATOMIC_FILE file(path("disk/file"));
    const std::string text(1 << 20, 'x');
    EXPECT_EQ(failure_of([&] {
                for (int i = 0; i != 4; ++i)
                  file.out() << text;
              }),
              path("disk/file") + ": can't be written: No space left on device");
  }
  EXPECT_EQ(read("disk/file"), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("disk", "disk/file"));
  replace(path("disk/file"), "there is room again");
  EXPECT_EQ(umount(path("disk").c_str()), 0);
}

/// Runs a call in a process of its own, and gives what waitpid() tells of its end.
template <class CALL>
pid_t start(const CALL& call) {
  const pid_t child = fork();
  if (child != 0) return child;
  handle_interrupts();
  call();
  _exit(0);
}

int wait_for(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

TEST_P(AtomicFile, ASignalLeavesNothingBehindWheneverItComes) {
  std::mt19937 random(20261122);
  const std::string old_text(100000, 'o');
  const std::string new_text(100000, 'n');
  write("file", old_text);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM})
    std::signal(signal, SIG_DFL); // in the background of a shell SIGINT is ignored, and so it would be here
  for (int i = 0; i != 60; ++i) {
    const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[static_cast<std::size_t>(i) % 3];
    const pid_t child = start([&] {
      for (;;) {
        replace(path("file"), new_text);
        replace(path("other"), new_text);
      }
    });
    usleep(static_cast<useconds_t>(random() % 20000));
    kill(child, signal);
    const int status = wait_for(child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    const std::string text = read("file");
    EXPECT_TRUE(text == old_text || text == new_text) << i;
    std::filesystem::remove(path("other"));
    ASSERT_THAT(files(), UnorderedElementsAre("file")) << i;
  }
}

TEST(Interrupts, WaitForWhatIsNotToBeDoneByHalves) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = start([&] {
    {
      const INTERRUPT_DELAY outer;
      raise(SIGTERM);
      const INTERRUPT_DELAY inner;
      EXPECT_EQ(::write(ends[1], "whole", 5), 5);
    }
    EXPECT_EQ(::write(ends[1], "after", 5), 5);
  });
  const int status = wait_for(child);
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
  const pid_t child = start([] { raise(SIGHUP); });
  std::signal(SIGHUP, before);
  const int status = wait_for(child);
  EXPECT_TRUE(WIFEXITED(status));
}

} // namespace atomic_file_test
