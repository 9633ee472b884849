// Each call of the system by which a file is written fails, or is the last before a kill: the old file stays
// whole, or the new one is there, and nothing lies beside it.

#include "kep_io/kep_database_file.h"
#include "tests/kep_io/files/atomic_file_fixture.h"
#include "tests/support/example_device.h"
#include "tests/support/folder_fixture.h"
#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace failing_calls_test {

enum class FAULT { NONE, FAIL, KILL, HALVE };

/// The calls since it was armed, and what becomes of the chosen one. A writer may have helping processes:
/// all share it.
struct CALLS {
  static constexpr std::size_t MAX_NUM = 100;
  std::atomic<bool> m_is_armed;
  std::atomic<std::size_t> m_num;
  FAULT m_fault;
  std::size_t m_chosen;
  pid_t m_writer; // whom a kill meets
  char m_names[MAX_NUM][16];
};

CALLS& get_calls() {
  static auto* const calls = static_cast<CALLS*>(
      mmap(nullptr, sizeof(CALLS), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *calls;
}

void arm(FAULT fault, std::size_t chosen) {
  CALLS& calls = get_calls();
  calls.m_num = 0;
  calls.m_fault = fault;
  calls.m_chosen = chosen;
  calls.m_writer = getpid();
  calls.m_is_armed = true;
}

std::vector<std::string> disarm() {
  CALLS& calls = get_calls();
  calls.m_is_armed = false;
  return {calls.m_names, calls.m_names + std::min<std::size_t>(calls.m_num, CALLS::MAX_NUM)};
}

/// Counts a call; false when it is the one to fail.
bool may_call(const char* name) {
  CALLS& calls = get_calls();
  if (!calls.m_is_armed) return true;
  const std::size_t number = calls.m_num++;
  if (number < CALLS::MAX_NUM) std::strncpy(calls.m_names[number], name, sizeof calls.m_names[0] - 1);
  if (number != calls.m_chosen) return true;
  if (calls.m_fault == FAULT::KILL) kill(calls.m_writer, SIGKILL);
  if (calls.m_fault != FAULT::FAIL) return true;
  errno = EIO;
  return false;
}

bool is_folder(int handle) {
  struct stat status {};
  return fstat(handle, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace failing_calls_test

// In the place of the system's own, for the whole program.

extern "C" ssize_t write(int handle, const void* from, std::size_t size) {
  using namespace failing_calls_test;
  if (!may_call("write")) return -1;
  const CALLS& calls = get_calls();
  if (calls.m_is_armed && calls.m_fault == FAULT::HALVE) {
    if (calls.m_num % 2 == 0) return errno = EINTR, -1;
    size = (size + 1) / 2;
  }
  return syscall(SYS_write, handle, from, size);
}

extern "C" ssize_t pwrite(int handle, const void* from, std::size_t size, off_t at) {
  using namespace failing_calls_test;
  if (!may_call("pwrite")) return -1;
  const CALLS& calls = get_calls();
  if (calls.m_is_armed && calls.m_fault == FAULT::HALVE) {
    if (calls.m_num % 2 == 0) return errno = EINTR, -1;
    size = (size + 1) / 2;
  }
  return syscall(SYS_pwrite64, handle, from, size, at);
}

extern "C" int fsync(int handle) {
  using namespace failing_calls_test;
  return may_call(is_folder(handle) ? "sync folder" : "sync") ? static_cast<int>(syscall(SYS_fsync, handle))
                                                              : -1;
}

extern "C" int fchmod(int handle, mode_t mode) noexcept {
  return failing_calls_test::may_call("fchmod") ? static_cast<int>(syscall(SYS_fchmod, handle, mode)) : -1;
}

extern "C" int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) noexcept {
  return failing_calls_test::may_call("link")
             ? static_cast<int>(syscall(SYS_linkat, from_folder, from, to_folder, to, flags))
             : -1;
}

extern "C" int rename(const char* from, const char* to) noexcept {
  return failing_calls_test::may_call("rename")
             ? static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0))
             : -1;
}

namespace failing_calls_test {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

const std::string OLD(100000, 'o');

enum class CONTENT { TEXT, DATABASE };

class FailingCalls : public Folder, public testing::WithParamInterface<std::tuple<bool, CONTENT>> {
protected:
  void SetUp() override {
    KEP_ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(is_unnamed());
    if (!is_text()) m_device->build();
    replace();
    m_new = read("file");
    ASSERT_GT(m_new.size(), 500U);
  }
  void TearDown() override { KEP_ATOMIC_FILE_TEST_ACCESS::set_has_unnamed_files(true); }
  static bool is_unnamed() { return std::get<0>(GetParam()); }
  static bool is_text() { return std::get<1>(GetParam()) == CONTENT::TEXT; }

  void replace() const {
    if (!is_text()) {
      kep_write_database(*m_device->db(), {}, path("file"));
      return;
    }
    KEP_ATOMIC_FILE file(path("file"));
    file.out() << std::string(1500000, 'n') << std::string(1500000, 'm'); // more than one write
    kep_commit_together({&file});
  }
  /// All calls when nothing fails.
  std::vector<std::string> count() const {
    write("file", OLD);
    arm(FAULT::NONE, 0);
    replace();
    return disarm();
  }
  /// Anything else than this text is told in few words.
  void expect_text(const std::string& expected) const {
    const std::string text = read("file");
    EXPECT_TRUE(text == expected) << text.size() << " bytes of " << (text.empty() ? ' ' : text[0]);
  }

  std::string m_new;
  const std::unique_ptr<BUILD_CASE> m_device = test_model::read_example("redundant_inputs");
};

INSTANTIATE_TEST_SUITE_P(OfAnyFile, FailingCalls,
                         testing::Combine(testing::Bool(), testing::Values(CONTENT::TEXT, CONTENT::DATABASE)),
                         [](const auto& tested) {
                           return std::string(std::get<1>(tested.param) == CONTENT::TEXT ? "Text"
                                                                                         : "Database") +
                                  (std::get<0>(tested.param) ? "WithoutAName" : "WithAName");
                         });

TEST_P(FailingCalls, AreTheseAndInThisOrder) {
  std::vector<std::string> expected(is_text() ? 3 : 1, "write");
  expected.insert(expected.end(), {"sync", "fchmod"});
  if (is_unnamed()) expected.insert(expected.end(), {"link", "link"}); // one that finds the name taken
  expected.insert(expected.end(), {"rename", "sync folder"});
  EXPECT_EQ(count(), expected);
  expect_text(m_new);
}

TEST_P(FailingCalls, LeaveTheOldFileWhole) {
  const std::vector<std::string> calls = count();
  for (std::size_t i = 0; i != calls.size(); ++i) {
    write("file", OLD);
    arm(FAULT::FAIL, i);
    const std::string refusal = refusal_of([this] { replace(); });
    disarm();
    EXPECT_THAT(refusal, HasSubstr("file: ")) << calls[i];
    EXPECT_THAT(refusal, testing::EndsWith(": Input/output error")) << calls[i];
    expect_text(calls[i] == "sync folder" ? m_new : OLD);
    EXPECT_THAT(files(), UnorderedElementsAre("file")) << calls[i];
  }
}

TEST_P(FailingCalls, AKillBeforeAnyOfThemLeavesOneOfTheTwo) {
  const std::vector<std::string> calls = count();
  for (std::size_t i = 0; i != calls.size(); ++i) {
    write("file", OLD);
    const pid_t child = start_process([this, i] {
      arm(FAULT::KILL, i);
      replace();
    });
    EXPECT_TRUE(WIFSIGNALED(wait_for_process(child))) << calls[i];
    // What a helping process has begun ends by itself.
    for (int k = 0; is_unnamed() && k != 1000 && files().size() != 1; ++k)
      usleep(1000);
    disarm();
    if (is_unnamed()) {
      EXPECT_THAT(files(), UnorderedElementsAre("file")) << calls[i];
    }
    const std::string text = read("file");
    EXPECT_TRUE(text == OLD || text == m_new) << calls[i];
    if (calls[i] != "rename" && calls[i] != "link") {
      EXPECT_EQ(text == m_new, calls[i] == "sync folder");
    }
    for (const std::string& name : files())
      if (name != "file") std::filesystem::remove(path(name));
  }
}

TEST_P(FailingCalls, ThatWriteLessThanTheyWereGivenOrAreInterruptedGoOn) {
  write("file", OLD);
  arm(FAULT::HALVE, 0);
  replace();
  EXPECT_GT(disarm().size(), 15U);
  expect_text(m_new);
}

class FailingPlacedWrites : public Folder {
protected:
  void write_placed() const {
    KEP_ATOMIC_FILE file(path("file"));
    file.write_at(1000, m_text);
    kep_commit_together({&file});
  }
  const std::string m_text = std::string(5000, 'n') + std::string(5000, 'm');
};

TEST_F(FailingPlacedWrites, GoOnWhereTheyWroteLessThanTheyWereGivenOrWereInterrupted) {
  arm(FAULT::HALVE, 0);
  write_placed();
  const std::vector<std::string> calls = disarm();
  EXPECT_GT(std::count(calls.begin(), calls.end(), "pwrite"), 10);
  EXPECT_TRUE(read("file") == std::string(1000, '\0') + m_text);
}

TEST_F(FailingPlacedWrites, LeaveTheOldFileWhole) {
  write("file", OLD);
  arm(FAULT::FAIL, 0);
  const std::string refusal = refusal_of([this] { write_placed(); });
  EXPECT_THAT(disarm(), testing::ElementsAre("pwrite"));
  EXPECT_EQ(refusal, path("file") + ": can't be written: Input/output error");
  EXPECT_TRUE(read("file") == OLD);
}

} // namespace failing_calls_test
