#include "kep_io/database/kep_mapped_file.h"

#include "kep_io/kep_io_error.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail_to_read(const std::string& name, const char* reason) {
  throw KEP_IO_ERROR(fmt::format("{}: can't be read: {}", name, reason));
}

/// Closes what it opened.
class HANDLE {
public:
  HANDLE(const std::string& path, const std::string& name)
      : m_is_own(path != "-"),
        m_handle(m_is_own ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {
    if (m_handle < 0) fail_to_read(name, std::strerror(errno));
  }
  ~HANDLE() {
    if (m_is_own) ::close(m_handle);
  }
  HANDLE(const HANDLE&) = delete;
  HANDLE& operator=(const HANDLE&) = delete;
  int get() const { return m_handle; }

private:
  bool m_is_own;
  int m_handle;
};

} // namespace

KEP_MAPPED_FILE::KEP_MAPPED_FILE(const std::string& path) {
  const std::string name = kep_get_file_name(path);
  const HANDLE handle(path, name);
  struct stat status {};
  if (::fstat(handle.get(), &status) != 0) fail_to_read(name, std::strerror(errno));
  if (!S_ISREG(status.st_mode) || status.st_size == 0 || path == "-") {
    read(handle.get(), name);
    return;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  void* bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, handle.get(), 0);
  if (bytes == MAP_FAILED) fail_to_read(name, std::strerror(errno));
  m_bytes = {static_cast<const std::byte*>(bytes), size};
  m_is_mapped = true;
}

KEP_MAPPED_FILE::~KEP_MAPPED_FILE() {
  if (m_is_mapped) ::munmap(const_cast<std::byte*>(m_bytes.data()), m_bytes.size());
}

void KEP_MAPPED_FILE::read_ahead() const {
  // At once, and not page by page as they are touched. A system that can't do it does without.
  if (m_is_mapped) ::madvise(const_cast<std::byte*>(m_bytes.data()), m_bytes.size(), MADV_POPULATE_READ);
}

void KEP_MAPPED_FILE::read(int handle, const std::string& name) {
  std::size_t size = 0;
  for (std::size_t room = 1 << 13;; room *= 2) {
    m_words.resize(room);
    const std::size_t bytes = room * sizeof(std::uint64_t);
    while (size != bytes) {
      const ssize_t count = ::read(handle, reinterpret_cast<char*>(m_words.data()) + size, bytes - size);
      if (count == 0) break;
      if (count > 0)
        size += static_cast<std::size_t>(count);
      else if (errno != EINTR)
        fail_to_read(name, std::strerror(errno));
    }
    if (size != bytes) break;
  }
  m_bytes = {reinterpret_cast<const std::byte*>(m_words.data()), size};
}
