#include "kep_io/files/kep_atomic_file.h"

#include "kep_io/files/kep_interrupts.h"
#include "kep_io/kep_io_error.h"

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr mode_t PERMISSIONS = 0666; // less what the user's mask takes away

/// Where the text really goes: a link keeps being a link, and its target is replaced.
fs::path resolve(const std::string& path) {
  constexpr int MAX_LINKS = 40; // as the system has it
  fs::path target = path;
  std::error_code error;
  for (int i = 0; i != MAX_LINKS && fs::is_symlink(target, error); ++i) {
    const fs::path next = fs::read_symlink(target, error);
    if (error) return path;
    target = target.parent_path() / next; // an absolute one stays as it is
  }
  return target;
}

fs::path get_folder(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : ".";
}

bool is_there(const fs::path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 || errno != ENOENT;
}

/// The folder or, where that is still to be made, the one above in which this begins.
fs::path find_folder_that_is_there(fs::path folder) {
  while (!is_there(folder) && folder != ".")
    folder = get_folder(folder);
  return folder;
}

/// A name for a moment. What an earlier run left under such a name is no obstacle: the next number is taken.
std::string make_temporary_name(const std::string& folder) {
  static std::atomic<unsigned> number = 0;
  return fmt::format("{}/.kep-rg-{}-{}", folder, ::getpid(), ++number);
}

/// By this name a file without one is linked.
std::string get_handle_path(int handle) {
  return fmt::format("/proc/self/fd/{}", handle);
}

/// 0 or the reason why not, an errno. No more than system calls: a copy of a process with threads may do
/// that.
int link_and_rename(const char* handle_path, const char* name, const char* target) {
  if (::linkat(AT_FDCWD, handle_path, AT_FDCWD, name, AT_SYMLINK_FOLLOW) != 0) return errno;
  if (::rename(name, target) == 0) return 0;
  const int reason = errno;
  ::unlink(name);
  return reason;
}

/// The same in a process of its own, which whoever kills this one in between does not stop. Nobody else is
/// told of its end, as it sends no signal.
int link_and_rename_whatever_comes(const char* handle_path, const char* name, const char* target) {
  const auto child = static_cast<pid_t>(::syscall(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr));
  if (child == 0) ::_exit(link_and_rename(handle_path, name, target));
  if (child < 0) return link_and_rename(handle_path, name, target);
  int status = 0;
  while (::waitpid(child, &status, __WALL) < 0)
    if (errno != EINTR) return errno;
  return WIFEXITED(status) ? WEXITSTATUS(status) : EINTR;
}

/// A file system that can't do it for folders keeps names in its own way.
void sync_folder(const std::string& folder, const std::string& name) {
  const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return; // one that may be written and not be read
  const int reason = ::fsync(handle) == 0 ? 0 : errno;
  ::close(handle);
  if (reason == EIO || reason == ENOSPC || reason == EDQUOT)
    throw KEP_IO_ERROR(fmt::format("{}: is written, but its folder can't be brought to the disk: {}", name,
                                   std::strerror(reason)));
}

} // namespace

void KEP_ATOMIC_FILE::BUFFER::flush() {
  const char* from = pbase();
  while (from != pptr()) {
    const ssize_t count = ::write(m_file.m_handle, from, static_cast<std::size_t>(pptr() - from));
    if (count > 0)
      from += count;
    else if (errno != EINTR)
      m_file.fail(errno);
  }
  setp(m_text.data(), m_text.data() + m_text.size());
}

KEP_ATOMIC_FILE::BUFFER::int_type KEP_ATOMIC_FILE::BUFFER::overflow(int_type byte) {
  m_text.resize(1 << 20);
  flush();
  if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
  return sputc(traits_type::to_char_type(byte));
}

KEP_ATOMIC_FILE::KEP_ATOMIC_FILE(const std::string& path, bool makes_folder)
    : m_name(path), m_makes_folder(makes_folder) {
  m_out.exceptions(std::ios::badbit); // what the buffer throws goes on to the writer
  if (path == STANDARD_OUTPUT) {
    m_name = "standard output";
    std::fflush(stdout);
    m_handle = STDOUT_FILENO;
    if ((::fcntl(m_handle, F_GETFL) & O_ACCMODE) == O_RDONLY) fail(EBADF); // stands for a closed one
    return;
  }
  m_path = resolve(path);
  check_target();
  fs::path folder = get_folder(m_path);
  if (m_makes_folder) folder = find_folder_that_is_there(folder);
  open_unnamed(folder);
  if (m_handle < 0) open_named(folder);
}

KEP_ATOMIC_FILE::~KEP_ATOMIC_FILE() {
  if (is_standard_output()) return;
  const KEP_INTERRUPT_DELAY delay;
  remove_traces();
  if (m_handle >= 0) ::close(m_handle);
}

/// What could not be written in place is not replaced either.
void KEP_ATOMIC_FILE::check_target() const {
  struct stat status {};
  if (::stat(m_path.c_str(), &status) != 0) {
    if (errno != ENOENT) fail(errno);
    if (!m_path.has_filename()) fail(m_path.empty() ? ENOENT : EISDIR);
    return;
  }
  if (S_ISDIR(status.st_mode)) fail(EISDIR);
  if (!S_ISREG(status.st_mode)) fail("not a regular file");
  const int handle = ::open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
  if (handle < 0) fail(errno);
  ::close(handle);
}

void KEP_ATOMIC_FILE::open_unnamed(const std::string& folder) {
  if (!s_has_unnamed_files) return;
  m_handle = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, PERMISSIONS);
  if (m_handle < 0 || ::access(get_handle_path(m_handle).c_str(), F_OK) == 0) return;
  ::close(std::exchange(m_handle, -1));
}

void KEP_ATOMIC_FILE::open_named(const std::string& folder) {
  const KEP_INTERRUPT_DELAY delay;
  std::string name;
  do {
    name = make_temporary_name(folder);
    m_handle = ::open(name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, PERMISSIONS);
  } while (m_handle < 0 && errno == EEXIST);
  if (m_handle < 0) fail(errno);
  m_temporary = name;
  kep_remove_on_interrupt(m_temporary);
}

void KEP_ATOMIC_FILE::write_at(std::uint64_t position, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::pwrite(m_handle, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      position += static_cast<std::uint64_t>(count);
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
}

void KEP_ATOMIC_FILE::set_size(std::uint64_t num_bytes) {
  while (::ftruncate(m_handle, static_cast<off_t>(num_bytes)) != 0)
    if (errno != EINTR) fail(errno);
}

void KEP_ATOMIC_FILE::close() {
  m_buffer.flush();
  if (is_standard_output()) return;
  if (::fsync(m_handle) != 0 && errno != EINVAL) fail(errno); // where nothing can be synchronized, nothing is
}

void KEP_ATOMIC_FILE::commit() {
  place();
  sync_folders();
}

void KEP_ATOMIC_FILE::place() {
  if (is_standard_output()) return;
  const KEP_INTERRUPT_DELAY delay; // what was made for it goes again if it fails
  try {
    take_place();
  } catch (...) {
    remove_traces();
    throw;
  }
}

void KEP_ATOMIC_FILE::take_place() {
  take_over_permissions();
  if (m_makes_folder) make_folder();
  if (m_temporary.empty()) {
    if (!link_to_free_name()) replace_unnamed();
  } else {
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) fail(errno);
    kep_keep_on_interrupt(m_temporary);
    m_temporary.clear();
  }
}

/// Those of the file that is to be replaced; its owner, too, where that is allowed.
void KEP_ATOMIC_FILE::take_over_permissions() const {
  struct stat status {};
  if (::stat(m_path.c_str(), &status) != 0) return;
  [[maybe_unused]] const int ignored = ::fchown(m_handle, status.st_uid, status.st_gid);
  if (::fchmod(m_handle, status.st_mode & 07777) != 0) fail(errno);
}

void KEP_ATOMIC_FILE::make_folder() {
  std::vector<fs::path> missing;
  for (fs::path folder = get_folder(m_path); !is_there(folder); folder = get_folder(folder))
    missing.push_back(folder);
  for (; !missing.empty(); missing.pop_back())
    if (::mkdir(missing.back().c_str(), 0777) == 0)
      m_made_folders.push_back(missing.back());
    else if (errno != EEXIST)
      fail(errno);
}

/// False where something stands under the name.
bool KEP_ATOMIC_FILE::link_to_free_name() const {
  const std::string handle_path = get_handle_path(m_handle);
  if (::linkat(AT_FDCWD, handle_path.c_str(), AT_FDCWD, m_path.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
  if (errno != EEXIST) fail(errno);
  return false;
}

/// A file without a name can't take the place of another: it gets a name for a moment.
void KEP_ATOMIC_FILE::replace_unnamed() const {
  const std::string handle_path = get_handle_path(m_handle);
  int reason = EEXIST;
  while (reason == EEXIST) {
    std::string name;
    do
      name = make_temporary_name(get_folder(m_path));
    while (::access(name.c_str(), F_OK) == 0);
    reason = link_and_rename_whatever_comes(handle_path.c_str(), name.c_str(), m_path.c_str());
  }
  if (reason != 0) fail(reason);
}

/// Its own name, and the folders that it made unless something stands in them.
void KEP_ATOMIC_FILE::remove_traces() {
  if (!m_temporary.empty()) {
    ::unlink(m_temporary.c_str());
    kep_keep_on_interrupt(m_temporary);
    m_temporary.clear();
  }
  for (; !m_made_folders.empty(); m_made_folders.pop_back())
    ::rmdir(m_made_folders.back().c_str());
}

/// The one in which the file stands, and those in which folders were made for it.
void KEP_ATOMIC_FILE::sync_folders() {
  if (is_standard_output()) return;
  sync_folder(get_folder(m_path), m_name);
  for (const fs::path& folder : m_made_folders)
    sync_folder(get_folder(folder), m_name);
  m_made_folders.clear(); // they stay
}

void KEP_ATOMIC_FILE::fail(int reason) const {
  fail(std::strerror(reason));
}

void KEP_ATOMIC_FILE::fail(const std::string& reason) const {
  throw KEP_IO_ERROR(fmt::format("{}: can't be written: {}", m_name, reason));
}

void kep_commit_together(const std::vector<KEP_ATOMIC_FILE*>& files) {
  for (KEP_ATOMIC_FILE* file : files)
    file->close();
  {
    const KEP_INTERRUPT_DELAY together;
    for (KEP_ATOMIC_FILE* file : files)
      file->place();
  }
  for (KEP_ATOMIC_FILE* file : files)
    file->sync_folders();
}

fs::path kep_get_canonical_path(const std::string& path) {
  std::error_code ignored;
  return fs::weakly_canonical(fs::absolute(path, ignored), ignored);
}
