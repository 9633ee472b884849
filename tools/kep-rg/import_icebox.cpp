#include "import_icebox.h"

#include "import_icebox_fold.h"
#include "import_icebox_read.h"
#include "import_icebox_write.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::string read_file(const std::string& path) {
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  std::string text;
  if (in && !fs::is_directory(path)) {
    text.assign(std::istreambuf_iterator<char>(in), {});
    if (!in.bad()) return text;
  }
  throw std::runtime_error(
      fmt::format("{}: can't be read: {}", path, errno != 0 ? std::strerror(errno) : "not a readable file"));
}

/// A file that appears under its name only when it is complete.
class NEW_FILE {
public:
  explicit NEW_FILE(const std::string& path)
      : m_path(path), m_temporary(fmt::format("{}.{}.new", path, ::getpid())) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) fail("not a regular file");
    errno = 0;
    m_out.open(m_temporary, std::ios::binary | std::ios::trunc);
    if (!m_out) fail(std::strerror(errno));
  }
  NEW_FILE(const NEW_FILE&) = delete;
  NEW_FILE& operator=(const NEW_FILE&) = delete;
  ~NEW_FILE() {
    std::error_code ignored; // after rename there is nothing left to remove
    fs::remove(m_temporary, ignored);
  }

  std::ostream& out() { return m_out; }

  void close() {
    errno = 0;
    m_out.close();
    if (!m_out) fail(errno != 0 ? std::strerror(errno) : "the write failed");
  }

  void rename() {
    std::error_code error;
    fs::rename(m_temporary, m_path, error);
    if (error) fail(error.message());
  }

private:
  [[noreturn]] void fail(const std::string& reason) const {
    throw std::runtime_error(fmt::format("{}: can't be written: {}", m_path, reason));
  }

  std::string m_path;
  std::string m_temporary;
  std::ofstream m_out;
};

bool is_same_file(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return fs::weakly_canonical(a, ignored) == fs::weakly_canonical(b, ignored);
}

} // namespace

void import_icebox(const std::string& chipdb, const std::string& model, const std::string& routing) {
  if (is_same_file(model, routing))
    throw std::runtime_error(fmt::format("{}: can't be both model and routing description", model));
  if (is_same_file(chipdb, model) || is_same_file(chipdb, routing))
    throw std::runtime_error(fmt::format("{}: can't be both input and output", chipdb));

  const std::string text = read_file(chipdb);
  const ICEBOX_CHIP chip = read_icebox(chipdb, text);
  NEW_FILE model_file(model);
  NEW_FILE routing_file(routing);
  write_icebox(chip, fold_icebox(chip), model_file.out(), routing_file.out());
  model_file.close();
  routing_file.close();
  model_file.rename();
  routing_file.rename();
}
