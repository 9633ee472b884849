#include "kep/kep_word_folder.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <unordered_map>

static_assert(std::endian::native == std::endian::little, "a number is read by its lowest bytes");

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers,
                                               std::uint32_t bound) {
  while (m_width != sizeof(std::uint32_t) && bound > std::uint32_t{1} << 8 * m_width)
    ++m_width;
  m_mask = ~std::uint32_t{0} >> (32 - 8 * m_width);
  m_bytes.resize(numbers.size() * m_width + sizeof(std::uint32_t));
  unsigned char* to = m_bytes.data();
  for (const std::uint32_t number : numbers)
    for (std::uint32_t i = 0; i != m_width; ++i)
      *to++ = static_cast<unsigned char>(number >> 8 * i);
}

/// In the order of their values, so that the numbers depend on the words alone.
KEP_FOLDED_WORD_LIST::KEP_FOLDED_WORD_LIST(const std::vector<KEP_SEEN_WORD>& words) {
  std::unordered_map<std::uint64_t, std::uint32_t> numbers;
  std::vector<std::uint32_t> list;
  list.reserve(words.size());
  for (const KEP_SEEN_WORD& word : words)
    list.push_back(
        numbers.try_emplace(word.m_bits, static_cast<std::uint32_t>(numbers.size())).first->second);
  m_words.reserve(numbers.size());
  for (const auto& [bits, number] : numbers)
    m_words.push_back({bits});
  std::sort(m_words.begin(), m_words.end(),
            [](const KEP_SEEN_WORD& left, const KEP_SEEN_WORD& right) { return left.m_bits < right.m_bits; });
  std::vector<std::uint32_t> sorted(m_words.size());
  for (std::uint32_t i = 0; i != m_words.size(); ++i)
    sorted[numbers[m_words[i].m_bits]] = i;
  for (std::uint32_t& number : list)
    number = sorted[number];
  m_numbers = KEP_PACKED_NUMBER_LIST(list, static_cast<std::uint32_t>(m_words.size()));
}
