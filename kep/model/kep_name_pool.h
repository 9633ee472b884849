#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

/// Keeps each distinct name once, closed by a NUL, at an address that stays. Real devices repeat the same
/// names in thousands of modules.
class KEP_NAME_POOL {
public:
  const char* intern(std::string_view name);
  /// Gives up the table by which equal names are found; the names stay.
  void freeze() { m_names = {}; }

private:
  static constexpr std::size_t CHUNK_BYTES = 1 << 16;
  std::unordered_set<std::string_view> m_names;
  std::vector<std::unique_ptr<char[]>> m_chunks;
  char* m_free = nullptr;
  std::size_t m_num_free = 0;
};
