#pragma once

#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

/// A file that appears under its name only when it is complete: it is written beside its target and renamed
/// over it. Until commit() what stood there before is untouched, and a file that is dropped uncommitted
/// leaves nothing behind.
///
/// Several files that belong together: close() all of them, then commit() one after the other. Every failure
/// is a std::runtime_error with one line that names the target.
class ATOMIC_FILE {
public:
  explicit ATOMIC_FILE(const std::string& path);
  ATOMIC_FILE(const ATOMIC_FILE&) = delete;
  ATOMIC_FILE& operator=(const ATOMIC_FILE&) = delete;
  ~ATOMIC_FILE();

  std::ostream& out() { return m_out; }

  /// Ends the writing; fails if any write failed.
  void close();

  /// Gives the closed file its name.
  void commit();

private:
  [[noreturn]] void fail(const std::string& reason) const;

  std::filesystem::path m_path;
  std::filesystem::path m_temporary;
  std::ofstream m_out;
};

/// The path without links and detours, absolute, whether there is a file or not.
std::filesystem::path get_canonical_path(const std::string& path);
bool is_same_file(const std::string& left, const std::string& right);
