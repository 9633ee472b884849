#pragma once

#include "kep/kep_db.h"

#include <cstdint>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The names of a section while they are listed: each distinct one once, in the order in which they came,
/// closed by a NUL. The empty name stands first.
class KEP_NAME_TABLE {
public:
  KEP_NAME_TABLE() { add(""); }

  /// Where the name begins. It must live as long as this table.
  std::uint32_t add(std::string_view name) {
    const auto [found, is_new] = m_begins.try_emplace(name, static_cast<std::uint32_t>(m_bytes.size()));
    if (!is_new) return found->second;
    if (m_bytes.size() + name.size() + 1 > std::numeric_limits<std::uint32_t>::max())
      throw KEP_DB_ERROR("the names take more than the 4 GB that a file can hold");
    m_bytes.insert(m_bytes.end(), name.begin(), name.end());
    m_bytes.push_back('\0');
    return found->second;
  }
  KEP_TABLE<char> take() { return std::move(m_bytes); }

private:
  std::vector<char> m_bytes;
  std::unordered_map<std::string_view, std::uint32_t> m_begins;
};
