#include "kep_io/kep_database_file.h"

#include "kep/kep_cancelled.h"
#include "kep_io/database/kep_checksum.h"
#include "kep_io/database/kep_database_layout.h"
#include "kep_io/database/kep_database_reader.h"
#include "kep_io/database/kep_database_writer.h"
#include "kep_io/database/kep_mapped_file.h"
#include "kep_io/files/kep_atomic_file.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <kj/exception.h>
#include <system_error>

namespace {

/// Failures name the file.
void write(const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin, std::ostream& out, const std::string& name) {
  try {
    kep_write_database_to(out, db, origin);
  } catch (const kj::Exception& error) { // more than messages can hold
    throw KEP_IO_ERROR(fmt::format("{}: can't be written: {}", name, error.getDescription().cStr()));
  } catch (const KEP_DB_ERROR& error) {
    throw KEP_IO_ERROR(fmt::format("{}: can't be written: {}", name, error.what()));
  }
}

} // namespace

void kep_write_database(const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin, std::ostream& out) {
  write(db, origin, out, "device database");
}

void kep_write_database(const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin, const std::string& path) {
  KEP_ATOMIC_FILE file(path);
  write(db, origin, file.out(), path);
  kep_throw_if_cancelled(); // the last moment: what stood there is whole until now
  kep_commit_together({&file});
}

std::unique_ptr<KEP_DB> kep_open_database(const std::string& path, KEP_DATABASE_CHECKSUMS checksums,
                                          KEP_DATABASE_INFO* info) {
  const KEP_DATABASE_READER reader(std::make_shared<const KEP_MAPPED_FILE>(path), kep_get_file_name(path));
  if (info) *info = reader.get_info();
  return reader.read(checksums);
}

KEP_DATABASE_INFO kep_read_database_info(const std::string& path) {
  return KEP_DATABASE_READER(std::make_shared<const KEP_MAPPED_FILE>(path), kep_get_file_name(path))
      .get_info();
}

bool kep_is_database_file(const std::string& path) {
  std::error_code unknown; // of a path that can't be looked at
  if (path == "-" || !std::filesystem::is_regular_file(path, unknown))
    return false; // what can be read but once
  std::ifstream file(path, std::ios::binary);
  std::array<char, KEP_DATABASE_PREFIX::MAGIC.size()> magic{};
  return file.read(magic.data(), magic.size()) && magic == KEP_DATABASE_PREFIX::MAGIC;
}

KEP_DATABASE_INPUT kep_describe_input(const std::string& role, const std::string& path) {
  const KEP_MAPPED_FILE file(path);
  return {role, std::filesystem::path(path).filename().string(), file.get_bytes().size(),
          KEP_CHECKSUM::of(file.get_bytes())};
}
