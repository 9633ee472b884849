#include "kep_io/text/kep_io_file.h"

#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report_progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t BYTES_AT_A_TIME = 1 << 26;

class OPEN_FILE {
public:
  explicit OPEN_FILE(const std::string& path)
      : m_name(kep_get_file_name(path)),
        m_handle(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_handle < 0) fail();
  }
  ~OPEN_FILE() {
    if (m_handle > STDIN_FILENO) close(m_handle);
  }
  OPEN_FILE(const OPEN_FILE&) = delete;
  OPEN_FILE& operator=(const OPEN_FILE&) = delete;

  /// 0 when it is not known beforehand, as of a pipe.
  std::size_t get_size() const {
    struct stat status;
    if (fstat(m_handle, &status) != 0) fail();
    if (!S_ISREG(status.st_mode)) return 0;
    const off_t place = lseek(m_handle, 0, SEEK_CUR); // standard input may have been read in part
    return static_cast<std::size_t>(std::max<off_t>(0, status.st_size - std::max<off_t>(0, place)));
  }

  /// How many bytes came: less than `size` only at the end of the file.
  std::size_t read_some(char* to, std::size_t size, KEP_REPORT_PROGRESS& progress) const {
    std::size_t done = 0;
    while (done != size) {
      const ssize_t count = read(m_handle, to + done, std::min(size - done, BYTES_AT_A_TIME));
      if (count == 0) break;
      if (count > 0) {
        done += static_cast<std::size_t>(count);
        progress.add(static_cast<std::uint64_t>(count));
      } else if (errno != EINTR) {
        fail();
      }
    }
    return done;
  }

  [[noreturn]] void fail() const { fail(std::strerror(errno)); }
  [[noreturn]] void fail(const std::string& reason) const {
    throw KEP_IO_ERROR(fmt::format("{}: can't be read: {}", m_name, reason));
  }
  void check_size(std::size_t size, std::size_t max_size) const {
    if (size > max_size)
      throw KEP_IO_ERROR(
          fmt::format("{}: the file is larger than {} bytes, the most that can be read", m_name, max_size));
  }

private:
  const std::string m_name;
  const int m_handle;
};

} // namespace

simdjson::padded_string kep_read_whole_file(const std::string& path, std::size_t max_size) {
  const OPEN_FILE file(path);
  const std::size_t size = file.get_size();
  file.check_size(size, max_size);
  KEP_REPORT_PROGRESS progress("reading", size);
  if (size != 0) {
    simdjson::padded_string text(size);
    if (!text.data()) file.fail("not enough memory");
    if (file.read_some(text.data(), size, progress) == size) return text;
    file.fail("it became shorter meanwhile");
  }
  std::string text;
  for (std::size_t chunk = 1 << 16;; chunk *= 2) {
    const std::size_t before = text.size();
    text.resize(before + chunk);
    text.resize(before + file.read_some(text.data() + before, chunk, progress));
    file.check_size(text.size(), max_size);
    if (text.size() != before + chunk) return simdjson::padded_string(text);
  }
}
