// Database files, with checksums left out or put right, which no random change would get past: whatever opens
// can be walked, checked, traced and built again, and the same file gives the same device.

#include "fuzz/check_device.h"
#include "fuzz/fuzz.h"
#include "fuzz/memory_file.h"
#include "fuzz/walk.h"
#include "kep_io/database/kep_checksum.h"
#include "kep_io/database/kep_database_layout.h"
#include "kep_io/kep_database_file.h"

#include <cstring>
#include <span>

namespace {

/// With the right checksum of the header, which is tested whoever opens a file.
std::vector<std::byte> put_checksum_right(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::byte> given = std::as_bytes(std::span(data, size));
  std::vector<std::byte> bytes(given.begin(), given.end());
  KEP_DATABASE_PREFIX prefix;
  if (size < sizeof(prefix)) return bytes;
  std::memcpy(&prefix, data, sizeof(prefix));
  if (size - sizeof(prefix) < prefix.m_header_bytes) return bytes;
  prefix.m_header_checksum = KEP_CHECKSUM::of(given.subspan(sizeof(prefix), prefix.m_header_bytes));
  std::memcpy(bytes.data(), &prefix, sizeof(prefix));
  return bytes;
}

/// Null for a file that is refused.
std::unique_ptr<KEP_DB> open(const std::string& path, KEP_DATABASE_CHECKSUMS checksums) {
  std::unique_ptr<KEP_DB> db;
  refusal_of(path, [&] { db = kep_open_database(path, checksums); });
  return db;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  const MEMORY_FILE file(put_checksum_right(data, size));
  refusal_of(file.get_path(), [&] { kep_read_database_info(file.get_path()); });
  const bool is_whole = open(file.get_path(), KEP_DATABASE_CHECKSUMS::TEST) != nullptr;
  const std::unique_ptr<KEP_DB> db = open(file.get_path(), KEP_DATABASE_CHECKSUMS::SKIP);
  require(db || !is_whole, "a whole file opens without its checksums, too");
  if (!db) return 0;
  const std::string text = FUZZ::WALK(*db).get_text();
  const std::unique_ptr<KEP_DB> again = open(file.get_path(), KEP_DATABASE_CHECKSUMS::SKIP);
  require_equal(FUZZ::WALK(*again).get_text(), text, "the same device");
  FUZZ::check_device(*db, is_whole);
  return 0;
}
