#include "kep/graph/kep_word_folder.h"

#include "kep/common/kep_parts.h"

#include <algorithm>
#include <bit>

static_assert(std::endian::native == std::endian::little, "a number is read by its lowest bytes");

namespace {

std::uint32_t get_width_below(std::size_t bound) {
  std::uint32_t width = 1;
  while (width != sizeof(std::uint32_t) && bound > std::size_t{1} << 8 * width)
    ++width;
  return width;
}

} // namespace

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(std::size_t size, std::uint32_t bound)
    : m_width(get_width_below(bound)), m_mask(~std::uint32_t{0} >> (32 - 8 * m_width)) {
  m_bytes = std::vector<unsigned char>(size * m_width + NUM_BYTES_BEHIND);
}

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(KEP_TABLE<unsigned char> bytes, std::uint32_t width)
    : m_bytes(std::move(bytes)), m_width(width), m_mask(~std::uint32_t{0} >> (32 - 8 * width)) {}

KEP_PACKED_NUMBER_LIST::KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers, std::uint32_t bound)
    : KEP_PACKED_NUMBER_LIST(numbers.size(), bound) {
  for (std::size_t i = 0; i != numbers.size(); ++i)
    set(i, numbers[i]);
}

KEP_FOLDED_WORD_LIST::KEP_FOLDED_WORD_LIST(const std::vector<KEP_SEEN_WORD>& words) {
  KEP_WORD_FOLDER folder(words.size());
  while (folder.wants_words())
    for (const KEP_SEEN_WORD& word : words)
      folder.note(word);
  for (std::size_t i = 0; i != words.size(); ++i)
    folder.put(i, words[i]);
  *this = folder.take();
}

bool KEP_WORD_FOLDER::wants_words() {
  const std::size_t num_words = m_num_words;
  const std::size_t num_indices = count_indices();
  if (m_step == STEP::NOTHING)
    begin(m_size < MANY_WORDS ? STEP::ALL : STEP::SAMPLE, std::min(m_size, MANY_WORDS / 64));
  else if (m_is_full)
    begin(m_step, num_words * 4);
  else if (m_step == STEP::ALL || !m_has_others)
    finish(num_indices + num_words);
  else if (is_smaller_with_numbers(num_indices + (num_words << SAMPLE_BITS)))
    begin(STEP::ALL, (num_words << SAMPLE_BITS) + MANY_WORDS / 64);
  else
    finish(m_size);
  return m_step != STEP::DONE;
}

/// With room for so many words and somewhat more.
void KEP_WORD_FOLDER::begin(STEP step, std::size_t num_words) {
  m_step = step;
  m_slots.assign(std::bit_ceil(num_words + num_words / 2 + 16), NO_WORD);
  m_mask = m_slots.size() - 1;
  m_num_words = 0;
  m_is_full = false;
}

void KEP_WORD_FOLDER::add(std::uint64_t word, std::uint64_t hash) {
  for (std::size_t slot = hash & m_mask;; slot = (slot + 1) & m_mask) {
    const std::atomic_ref<std::uint64_t> known(m_slots[slot]);
    std::uint64_t found = known.load(std::memory_order_relaxed);
    if (found == NO_WORD) {
      if (m_num_words.load(std::memory_order_relaxed) >= m_slots.size() / 4 * 3) {
        m_is_full.store(true, std::memory_order_relaxed);
        return;
      }
      if (known.compare_exchange_strong(found, word, std::memory_order_relaxed)) {
        m_num_words.fetch_add(1, std::memory_order_relaxed);
        return;
      }
    }
    if (found == word) return;
  }
}

bool KEP_WORD_FOLDER::is_smaller_with_numbers(std::size_t num_words) const {
  return num_words * sizeof(KEP_SEEN_WORD) + m_size * get_width_below(num_words) + sizeof(std::uint32_t) <=
         m_size * sizeof(KEP_SEEN_WORD);
}

std::size_t KEP_WORD_FOLDER::count_indices() const {
  std::size_t count = 0;
  for (const std::uint64_t indices : m_indices)
    count += static_cast<std::size_t>(std::popcount(indices));
  return count;
}

/// With so many distinct words, or more.
void KEP_WORD_FOLDER::finish(std::size_t num_words) {
  m_step = STEP::DONE;
  m_has_numbers = is_smaller_with_numbers(num_words);
  if (!m_has_numbers) {
    m_slots = {};
    m_list_words.resize(m_size);
    return;
  }
  m_numbers = KEP_PACKED_NUMBER_LIST(m_size, static_cast<std::uint32_t>(num_words));
  m_list_words.reserve(num_words);
  number_indices();
  number_words();
}

/// By their order, before all other words.
void KEP_WORD_FOLDER::number_indices() {
  for (std::size_t i = 0; i != m_indices.size(); ++i) {
    m_first_numbers.push_back(static_cast<std::uint32_t>(m_list_words.size()));
    for (std::uint64_t indices = m_indices[i]; indices != 0; indices &= indices - 1)
      m_list_words.push_back(m_get_word(
          static_cast<std::uint32_t>(i * 64 + static_cast<std::size_t>(std::countr_zero(indices)))));
  }
}

/// By the order of their values.
void KEP_WORD_FOLDER::number_words() {
  std::vector<KEP_SEEN_WORD>& words = m_list_words;
  const std::size_t first = words.size();
  for (const std::uint64_t word : m_slots)
    if (word != NO_WORD) words.push_back({word});
  std::sort(words.begin() + static_cast<std::ptrdiff_t>(first), words.end(),
            [](KEP_SEEN_WORD left, KEP_SEEN_WORD right) { return left.m_bits < right.m_bits; });
  m_ranks.resize(m_slots.size());
  kep_for_parts(words.size() - first, 1 << 12, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = first + begin; i != first + end; ++i)
      m_ranks[find(words[i])] = static_cast<std::uint32_t>(i);
  });
}
