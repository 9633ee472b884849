#pragma once

#include "kep/kep_db.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_io_export.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// @file
/// A device database in a file, by custom `DEVICE.kdb`: model, description, tables of relative paths and the
/// finished graph. docs/file-format.md says how it is made of Cap'n Proto messages, which other languages can
/// read.

/// The version of the format that is written, and the only one that is read.
inline constexpr std::uint32_t KEP_DATABASE_FILE_VERSION = 1;

/// A file that a device was read from.
struct KEP_DATABASE_INPUT {
  std::string m_role;            ///< "model", "routing", "redundancy"
  std::string m_name;            ///< without folders
  std::uint64_t m_num_bytes = 0; ///< both 0 for what can be read but once
  std::uint64_t m_checksum = 0;  ///< XXH3, 64 bits, of all of it
};

/// How a device was made: what a database file keeps of it beside the device itself.
struct KEP_DATABASE_ORIGIN {
  std::string m_made_by;                                         ///< program and version
  std::vector<KEP_DATABASE_INPUT> m_inputs;                      ///< in the order in which they were given
  std::vector<std::pair<std::string, std::string>> m_options;    ///< those that have a say in the result
  std::vector<std::pair<std::string, std::uint64_t>> m_counters; ///< of the build
};

/// What a database file says of itself.
struct KEP_DATABASE_INFO {
  /// A part of the file.
  struct SECTION {
    std::string m_name;            ///< "model", "description", "paths", "positions", "graph"
    std::uint64_t m_num_bytes = 0; ///< of the section
    std::uint64_t m_checksum = 0;  ///< XXH3, 64 bits
  };

  std::uint32_t m_version = 0;     ///< of the format
  std::uint64_t m_num_bytes = 0;   ///< of the file
  std::uint64_t m_checksum = 0;    ///< of all sections: equal for equal devices, so it tells devices apart
  std::vector<SECTION> m_sections; ///< in the order of the file
  std::vector<std::pair<std::string, std::uint64_t>> m_counts; ///< "modules", "nodes", "real_edges", ...
  KEP_DATABASE_ORIGIN m_origin;                                ///< how the device was made
};

/// What of a file is tested when it is opened, beside every index and size that will ever be followed.
enum class KEP_DATABASE_CHECKSUMS : unsigned char { TEST, SKIP };

/// Writes the database with its finished graph. The file appears under its name when it is complete and on
/// the disk; until then, and if anything fails, what stood there before is whole, and nothing is left beside
/// it. Equal databases give equal bytes. No other thread may write to the database meanwhile.
/// KEP_IO_ERROR when the file can't be written.
KEP_IO_EXPORT void kep_write_database(const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin,
                                      const std::string& path);

/// The same bytes into a stream. KEP_IO_ERROR when the database holds more than a file can; failures of the
/// stream are those that it throws.
KEP_IO_EXPORT void kep_write_database(const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin, std::ostream& out);

/// Opens such a file by mapping it: large arrays are read in place, and the mapping goes with the database.
/// Everything that a database can do it can do, a further build too. A file under the same name that takes
/// this one's place changes nothing. But nobody may write into a file that is open, or cut it, as cp onto it
/// does: the system may end the process.
///
/// Any bytes that the file has when it is opened are safe. KEP_IO_ERROR when the file can't be read, is no
/// database file, is one of another version, was cut or damaged, or names anything that is not there; no
/// database is made then. Where checksums are skipped, damage that leads nowhere wrong is not noticed.
/// `info`, unless null, gets what this file says of itself.
KEP_IO_EXPORT std::unique_ptr<KEP_DB>
kep_open_database(const std::string& path, KEP_DATABASE_CHECKSUMS checksums = KEP_DATABASE_CHECKSUMS::TEST,
                  KEP_DATABASE_INFO* info = nullptr);

/// What the file says of itself, without opening the device. KEP_IO_ERROR as above.
KEP_IO_EXPORT KEP_DATABASE_INFO kep_read_database_info(const std::string& path);

/// The file begins as a database file does. False where it can't be read, and for "-".
KEP_IO_EXPORT bool kep_is_database_file(const std::string& path);

/// The entry of a file for KEP_DATABASE_ORIGIN. KEP_IO_ERROR when it can't be read.
KEP_IO_EXPORT KEP_DATABASE_INPUT kep_describe_input(const std::string& role, const std::string& path);
