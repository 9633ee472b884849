#pragma once

#include "kep/kep_edge_tables.h"
#include "kep/kep_export.h"

#include <cstdint>
#include <vector>

/// Numbers below a bound, of as few bytes each as will do.
class KEP_EXPORT KEP_PACKED_NUMBER_LIST {
public:
  KEP_PACKED_NUMBER_LIST() = default;
  KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers, std::uint32_t bound);

  KEP_PACKED_NUMBERS get_view() const { return {m_bytes.data(), m_width, m_mask}; }
  std::uint64_t get_memory_bytes() const { return m_bytes.capacity(); }

private:
  std::vector<unsigned char> m_bytes;
  std::uint32_t m_width = 1;
  std::uint32_t m_mask = 0;
};

/// A long list of words, of which each distinct one is kept once.
class KEP_EXPORT KEP_FOLDED_WORD_LIST {
public:
  KEP_FOLDED_WORD_LIST() = default;
  explicit KEP_FOLDED_WORD_LIST(const std::vector<KEP_SEEN_WORD>& words);

  KEP_FOLDED_WORDS get_view() const { return {m_numbers.get_view(), m_words.data()}; }
  std::uint64_t get_memory_bytes() const {
    return m_numbers.get_memory_bytes() + m_words.capacity() * sizeof(KEP_SEEN_WORD);
  }

private:
  KEP_PACKED_NUMBER_LIST m_numbers;
  std::vector<KEP_SEEN_WORD> m_words;
};
