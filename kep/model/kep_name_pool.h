#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

/// Keeps each distinct name once, closed by a NUL, at an address that stays. Real devices repeat the same
/// names in thousands of modules.
class KEP_NAME_POOL {
public:
  /// KEP_DB_ERROR for a name that holds a NUL: it would end there.
  const char* intern(std::string_view name);
  /// Gives up the table by which equal names are found; the names stay.
  void freeze() {
    m_table = std::vector<ENTRY>();
    m_names = std::vector<const char*>();
  }

private:
  struct ENTRY {
    std::uint32_t m_hash = 0;
    std::uint32_t m_number = 0; // of the name, plus one; 0 for a free entry
  };
  static constexpr std::size_t CHUNK_BYTES = 1 << 16;

  /// The entry of the name, or the free one in which it has its place.
  ENTRY& find(std::string_view name, std::uint32_t hash);
  void grow();
  const char* copy(std::string_view name);

  // A hash table in one array, of a power of two entries, never more than two thirds full. Entries are small,
  // since most of those of a large device lie in no cache.
  std::vector<ENTRY> m_table;
  std::vector<const char*> m_names; // by their numbers
  std::vector<std::unique_ptr<char[]>> m_chunks;
  char* m_free = nullptr;
  std::size_t m_num_free = 0;
};
