#include "atomic_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/// Where the text really goes: a link keeps being a link, and its target is replaced.
fs::path resolve(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::is_symlink(path, error) ? fs::weakly_canonical(path, error) : fs::path(path);
  return error ? fs::path(path) : target;
}

} // namespace

ATOMIC_FILE::ATOMIC_FILE(const std::string& path) : m_path(resolve(path)), m_temporary(m_path) {
  m_temporary += fmt::format(".{}.new", ::getpid());
  std::error_code error;
  const fs::file_status status = fs::status(m_path, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) fail("not a regular file");
  errno = 0;
  m_out.open(m_temporary, std::ios::binary | std::ios::trunc);
  if (!m_out) fail(std::strerror(errno));
}

ATOMIC_FILE::~ATOMIC_FILE() {
  std::error_code ignored; // nothing is left to remove after commit()
  fs::remove(m_temporary, ignored);
}

void ATOMIC_FILE::close() {
  errno = 0;
  m_out.close();
  if (!m_out) fail(errno != 0 ? std::strerror(errno) : "the write failed");
}

void ATOMIC_FILE::commit() {
  std::error_code error;
  fs::rename(m_temporary, m_path, error);
  if (error) fail(error.message());
}

void ATOMIC_FILE::fail(const std::string& reason) const {
  throw std::runtime_error(fmt::format("{}: can't be written: {}", m_path.string(), reason));
}

fs::path get_canonical_path(const std::string& path) {
  std::error_code ignored;
  return fs::weakly_canonical(fs::absolute(path, ignored), ignored);
}

bool is_same_file(const std::string& left, const std::string& right) {
  return get_canonical_path(left) == get_canonical_path(right);
}
