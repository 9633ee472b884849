#pragma once

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/files/kep_interrupts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

class KEP_ATOMIC_FILE_TEST_ACCESS {
public:
  static void set_has_unnamed_files(bool has) { KEP_ATOMIC_FILE::s_has_unnamed_files = has; }
};

/// A file system of this size in the memory, in this folder; none where the system allows no such thing.
class SMALL_DISK {
public:
  SMALL_DISK(std::string folder, const char* size)
      : m_folder(std::move(folder)), m_is_there(std::filesystem::create_directory(m_folder) &&
                                                mount("tmpfs", m_folder.c_str(), "tmpfs", 0, size) == 0) {}
  ~SMALL_DISK() {
    // A process that was just killed may hold it a moment longer.
    if (m_is_there) {
      EXPECT_EQ(umount2(m_folder.c_str(), MNT_DETACH), 0);
    }
  }
  SMALL_DISK(const SMALL_DISK&) = delete;
  SMALL_DISK& operator=(const SMALL_DISK&) = delete;

  bool is_there() const { return m_is_there; }
  /// False where the system doesn't allow it.
  bool make_read_only() const {
    return mount("tmpfs", m_folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

private:
  const std::string m_folder;
  const bool m_is_there;
};

/// Runs a call in a process of its own, which handles signals as the tool does.
template <class CALL>
pid_t start_process(const CALL& call) {
  const pid_t child = fork();
  if (child != 0) return child;
  kep_handle_interrupts();
  call();
  _exit(0);
}

/// What waitpid() tells of its end.
inline int wait_for_process(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}
