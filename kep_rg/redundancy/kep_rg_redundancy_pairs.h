#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

/// Splits the pairs behind the module's name, chunk by chunk, on all threads of the arena. A token belongs to
/// the chunk in which it begins; the number of tokens before a chunk tells which of its tokens are second
/// ones and whose lines they are.
class KEP_RG_REDUNDANCY_PAIRS {
public:
  /// The text must outlive the object.
  explicit KEP_RG_REDUNDANCY_PAIRS(std::string_view text);

  std::size_t get_num_tokens() const { return m_tokens_before.back(); }
  /// Stores the second token of each pair; there is room for all.
  void get_second(std::vector<std::string_view>& seconds) const;

private:
  static constexpr std::size_t CHUNK = 1 << 16; // bytes

  std::size_t get_num_chunks() const { return m_tokens_before.size() - 1; }
  std::size_t get_end(std::size_t chunk) const { return std::min((chunk + 1) * CHUNK, m_text.size()); }

  std::string_view m_text;
  std::vector<std::size_t> m_tokens_before; // one more than chunks
};
