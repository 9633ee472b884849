#pragma once

#include "kep_io/database/kep_mapped_file.h"
#include "kep_io/kep_database_file.h"

#include <memory>
#include <span>
#include <string>

/// Reads a database file whose bytes are at hand; `name` stands for it in messages.
class KEP_DATABASE_READER {
public:
  /// KEP_IO_ERROR unless the file begins as a database file of this version, has a sound header, and is as
  /// long as this says.
  KEP_DATABASE_READER(std::shared_ptr<const KEP_MAPPED_FILE> file, std::string name);

  const KEP_DATABASE_INFO& get_info() const { return m_info; }
  /// The bytes stay as long as the database.
  std::unique_ptr<KEP_DB> read(KEP_DATABASE_CHECKSUMS checksums) const;

private:
  void read_header();
  void check_sections() const;
  void check_checksums() const;
  std::span<const std::byte> get_section(std::size_t number) const;
  [[noreturn]] void fail(const std::string& reason) const;

  std::shared_ptr<const KEP_MAPPED_FILE> m_file;
  std::string m_name;
  KEP_DATABASE_INFO m_info;
  std::uint64_t m_first_section = 0;
  std::vector<std::uint64_t> m_begins; // of sections
};
