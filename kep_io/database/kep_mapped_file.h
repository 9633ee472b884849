#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The bytes of a file, mapped; those of a pipe or of standard input, which "-" is, are read. A file that is
/// replaced stays as it was; one that is cut in place by another program ends this one, as any mapped file
/// does.
class KEP_MAPPED_FILE {
public:
  /// KEP_IO_ERROR when it can't be read.
  explicit KEP_MAPPED_FILE(const std::string& path);
  ~KEP_MAPPED_FILE();
  KEP_MAPPED_FILE(const KEP_MAPPED_FILE&) = delete;
  KEP_MAPPED_FILE& operator=(const KEP_MAPPED_FILE&) = delete;

  /// At a place where words of 8 bytes may begin.
  std::span<const std::byte> get_bytes() const { return m_bytes; }
  /// All of them will be needed.
  void read_ahead() const;

private:
  void read(int handle, const std::string& name);

  std::span<const std::byte> m_bytes;
  bool m_is_mapped = false;
  std::vector<std::uint64_t> m_words; // of what can't be mapped
};
