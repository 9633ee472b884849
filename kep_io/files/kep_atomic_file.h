#pragma once

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

/// A file that appears under its name only when it is complete. Until commit() what stood there before is
/// untouched, and a file that is dropped uncommitted leaves nothing behind: while it is written it has no
/// name at all, so that no kill leaves one; or, where the system has no such files, one of its own that the
/// signals of kep_interrupts.h remove, too.
///
/// A new file gets the permissions that a plain open would give, one that is replaced keeps its own; a link
/// keeps being a link. "-" is standard output, to which the text goes as it is written.
///
/// Every failure is a KEP_IO_ERROR with one line that names the target and the reason.
class KEP_ATOMIC_FILE {
public:
  /// Whatever is known to stand in the way of writing is told here. With `makes_folder` the folder of the
  /// file may be missing: commit() makes it.
  explicit KEP_ATOMIC_FILE(const std::string& path, bool makes_folder = false);
  KEP_ATOMIC_FILE(const KEP_ATOMIC_FILE&) = delete;
  KEP_ATOMIC_FILE& operator=(const KEP_ATOMIC_FILE&) = delete;
  ~KEP_ATOMIC_FILE();

  /// A write that fails throws at once.
  std::ostream& out() { return m_out; }

  ///@{
  /// Instead of out(), for a file of which one knows where its parts stand: writes them in any order, by any
  /// thread; and sets the size. What nobody wrote is zero, and takes no room on most disks.
  void write_at(std::uint64_t position, std::string_view bytes);
  void set_size(std::uint64_t num_bytes);
  ///@}

  /// Ends the writing; all of it is on the disk then.
  void close();

  /// Gives the closed file its name; that is on the disk then, too, where the file system can do it.
  void commit();

  static constexpr const char* STANDARD_OUTPUT = "-";

private:
  friend class KEP_ATOMIC_FILE_TEST_ACCESS;
  friend void kep_commit_together(const std::vector<KEP_ATOMIC_FILE*>& files);

  class BUFFER : public std::streambuf {
  public:
    explicit BUFFER(KEP_ATOMIC_FILE& file) : m_file(file) {} // takes its memory when something comes
    void flush();

  protected:
    int_type overflow(int_type byte) override;

  private:
    KEP_ATOMIC_FILE& m_file;
    std::vector<char> m_text;
  };

  void check_target() const;
  void open_unnamed(const std::string& folder);
  void open_named(const std::string& folder);
  void place();
  void take_place();
  void take_over_permissions() const;
  void make_folder();
  bool link_to_free_name() const;
  void replace_unnamed() const;
  void remove_traces();
  void sync_folders();
  bool is_standard_output() const { return m_path.empty(); }
  [[noreturn]] void fail(int reason) const;
  [[noreturn]] void fail(const std::string& reason) const;

  std::string m_name;           // as messages have it
  std::filesystem::path m_path; // empty for standard output
  bool m_makes_folder;
  std::vector<std::filesystem::path> m_made_folders; // the outermost first
  std::string m_temporary;                           // empty while the file has no name
  int m_handle = -1;
  BUFFER m_buffer{*this};
  std::ostream m_out{&m_buffer};

  inline static bool s_has_unnamed_files = true; // nothing clears it but a test
};

/// Closes files that belong together, and gives them their names when all are complete. No signal comes in
/// between.
void kep_commit_together(const std::vector<KEP_ATOMIC_FILE*>& files);

/// The path without links and detours, absolute, whether there is a file or not.
std::filesystem::path kep_get_canonical_path(const std::string& path);
