#include "kep/graph/kep_word_folder.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

static_assert(std::endian::native == std::endian::little, "a number is read by its lowest bytes");

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(std::size_t size, std::uint32_t bound) {
  while (m_width != sizeof(std::uint32_t) && bound > std::uint32_t{1} << 8 * m_width)
    ++m_width;
  m_mask = ~std::uint32_t{0} >> (32 - 8 * m_width);
  m_bytes.resize(size * m_width + sizeof(std::uint32_t));
}

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers, std::uint32_t bound)
    : KEP_PACKED_NUMBER_LIST(numbers.size(), bound) {
  for (std::size_t i = 0; i != numbers.size(); ++i)
    set(i, numbers[i]);
}

void KEP_PACKED_NUMBER_LIST::set(std::size_t index, std::uint32_t number) {
  for (std::uint32_t i = 0; i != m_width; ++i)
    m_bytes[index * m_width + i] = static_cast<unsigned char>(number >> 8 * i);
}

std::vector<std::uint32_t> KEP_WORD_NUMBERS::rank() const {
  std::vector<std::uint32_t> order(m_words.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [this](std::uint32_t left, std::uint32_t right) {
    return m_words[left].m_bits < m_words[right].m_bits;
  });
  std::vector<std::uint32_t> ranks(order.size());
  for (std::uint32_t i = 0; i != order.size(); ++i)
    ranks[order[i]] = i;
  return ranks;
}

KEP_FOLDED_WORD_LIST::KEP_FOLDED_WORD_LIST(std::vector<KEP_SEEN_WORD> words)
    : KEP_FOLDED_WORD_LIST(words.size(), [&words](const auto& visit) {
        for (KEP_SEEN_WORD& word : words)
          visit(word);
      }) {}

std::vector<std::uint32_t> KEP_FOLDED_WORD_LIST::start(const KEP_WORD_NUMBERS& numbers, std::size_t size) {
  const std::size_t num_words = numbers.get_words().size();
  KEP_PACKED_NUMBER_LIST list(size, static_cast<std::uint32_t>(num_words));
  if (num_words * sizeof(KEP_SEEN_WORD) + list.get_memory_bytes() > size * sizeof(KEP_SEEN_WORD)) {
    m_words.resize(size);
    return {};
  }
  m_numbers = std::move(list);
  m_words.resize(num_words);
  std::vector<std::uint32_t> ranks = numbers.rank();
  for (std::size_t i = 0; i != num_words; ++i)
    m_words[ranks[i]] = numbers.get_words()[i];
  return ranks;
}
