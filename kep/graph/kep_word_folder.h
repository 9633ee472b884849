#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/detail/kep_table.h"
#include "kep/kep_export.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

/// Numbers below a bound, of as few bytes each as will do.
class KEP_EXPORT KEP_PACKED_NUMBER_LIST {
public:
  KEP_PACKED_NUMBER_LIST() = default;
  KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers, std::uint32_t bound);
  /// All 0, each to be set once; any number of threads may set numbers at a time.
  KEP_PACKED_NUMBER_LIST(std::size_t size, std::uint32_t bound);
  /// Of `width` bytes each, as get_bytes() gives them.
  KEP_PACKED_NUMBER_LIST(KEP_TABLE<unsigned char> bytes, std::uint32_t width);
  void set(std::size_t index, std::uint32_t number) {
    unsigned char* bytes = m_bytes.get_own() + index * m_width;
    for (std::uint32_t i = 0; i != m_width; ++i, number >>= 8)
      bytes[i] = static_cast<unsigned char>(number);
  }

  KEP_PACKED_NUMBERS get_view() const { return {m_bytes.data(), m_width, m_mask}; }
  /// The numbers, lowest bytes first, and so many bytes more that one more could be read.
  const KEP_TABLE<unsigned char>& get_bytes() const { return m_bytes; }
  std::uint32_t get_width() const { return m_width; }
  bool empty() const { return m_bytes.empty(); }
  std::uint64_t get_memory_bytes() const { return m_bytes.get_memory_bytes(); }
  static constexpr std::size_t NUM_BYTES_BEHIND = sizeof(std::uint32_t);

private:
  KEP_TABLE<unsigned char> m_bytes;
  std::uint32_t m_width = 1;
  std::uint32_t m_mask = 0;
};

/// A long list of words, of which each distinct one is kept once. Words of which few come again are kept as
/// they are.
class KEP_EXPORT KEP_FOLDED_WORD_LIST {
public:
  KEP_FOLDED_WORD_LIST() = default;
  /// Of words that stand side by side.
  explicit KEP_FOLDED_WORD_LIST(const std::vector<KEP_SEEN_WORD>& words);
  /// No numbers, or a word's for each.
  KEP_FOLDED_WORD_LIST(KEP_PACKED_NUMBER_LIST numbers, KEP_TABLE<KEP_SEEN_WORD> words)
      : m_numbers(std::move(numbers)), m_words(std::move(words)) {}

  KEP_FOLDED_WORDS get_view() const {
    return {m_numbers.empty() ? KEP_PACKED_NUMBERS{} : m_numbers.get_view(), m_words.data()};
  }
  std::uint64_t get_memory_bytes() const { return m_numbers.get_memory_bytes() + m_words.get_memory_bytes(); }
  const KEP_PACKED_NUMBER_LIST& get_numbers() const { return m_numbers; }
  const KEP_TABLE<KEP_SEEN_WORD>& get_words() const { return m_words; }

private:
  KEP_PACKED_NUMBER_LIST m_numbers; // none where the words are kept as they are
  KEP_TABLE<KEP_SEEN_WORD> m_words;
};

/// Makes such a list in passes over its words: they are noted as long as the folder wants words, and then
/// each is put where it belongs. Any number of threads may note words at a time, or put them. The list hangs
/// on the words alone.
///
/// Of many words a sample comes first, those with certain bits in their hash. It tells how many distinct ones
/// there are, so that nothing is kept of words that hardly come again. Words that the caller can tell by an
/// index need no hash: a bit for each index says whether its word is there.
class KEP_EXPORT KEP_WORD_FOLDER {
public:
  static constexpr std::uint32_t NO_INDEX = ~std::uint32_t{0};

  explicit KEP_WORD_FOLDER(std::size_t size) : m_size(size) {}
  /// Indices are below `num_indices`. `get_word` gives the word of an index, and is asked in their order.
  KEP_WORD_FOLDER(std::size_t size, std::size_t num_indices,
                  std::function<KEP_SEEN_WORD(std::uint32_t)> get_word)
      : m_size(size), m_get_word(std::move(get_word)), m_indices(num_indices / 64 + 1) {}

  /// One more pass over all words is needed to note them.
  bool wants_words();
  void note(KEP_SEEN_WORD word, std::uint32_t index = NO_INDEX) {
    if (index != NO_INDEX) return note_index(index);
    if (!m_has_others.load(std::memory_order_relaxed)) m_has_others.store(true, std::memory_order_relaxed);
    const std::uint64_t hash = make_hash(word);
    if (m_step != STEP::SAMPLE || hash >> (64 - SAMPLE_BITS) == 0) add(word.m_bits, hash);
  }
  void put(std::size_t position, KEP_SEEN_WORD word, std::uint32_t index = NO_INDEX) {
    if (!m_has_numbers)
      m_list_words[position] = word;
    else
      m_numbers.set(position, index != NO_INDEX ? get_number(index) : m_ranks[find(word)]);
  }
  /// Once.
  KEP_FOLDED_WORD_LIST take() { return {std::move(m_numbers), std::move(m_list_words)}; }

private:
  static constexpr std::uint64_t NO_WORD = ~std::uint64_t{0};
  static constexpr unsigned SAMPLE_BITS = 6;
  static constexpr std::size_t MANY_WORDS = 1 << 16; // of which a sample is taken
  enum class STEP { NOTHING, SAMPLE, ALL, DONE };

  void note_index(std::uint32_t index) {
    const std::atomic_ref<std::uint64_t> indices(m_indices[index / 64]);
    const std::uint64_t bit = std::uint64_t{1} << index % 64;
    if ((indices.load(std::memory_order_relaxed) & bit) == 0)
      indices.fetch_or(bit, std::memory_order_relaxed);
  }
  std::uint32_t get_number(std::uint32_t index) const {
    const std::uint64_t before = m_indices[index / 64] & ((std::uint64_t{1} << index % 64) - 1);
    return m_first_numbers[index / 64] + static_cast<std::uint32_t>(std::popcount(before));
  }
  static std::uint64_t make_hash(KEP_SEEN_WORD word) {
    const std::uint64_t hash = word.m_bits * 0x9e3779b97f4a7c15U;
    return hash ^ hash >> 32;
  }
  std::size_t count_indices() const;
  void begin(STEP step, std::size_t num_words);
  void add(std::uint64_t word, std::uint64_t hash);
  std::size_t find(KEP_SEEN_WORD word) const {
    std::size_t slot = make_hash(word) & m_mask;
    while (m_slots[slot] != word.m_bits)
      slot = (slot + 1) & m_mask;
    return slot;
  }
  /// With so many distinct words.
  bool is_smaller_with_numbers(std::size_t num_words) const;
  void finish(std::size_t num_words);
  void number_indices();
  void number_words();

  std::size_t m_size;
  std::function<KEP_SEEN_WORD(std::uint32_t)> m_get_word;
  std::vector<std::uint64_t> m_indices;       // a bit each
  std::vector<std::uint32_t> m_first_numbers; // of each 64 of them
  STEP m_step = STEP::NOTHING;
  std::atomic<bool> m_has_others = false; // words without an index
  std::vector<std::uint64_t> m_slots;     // a word or NO_WORD; found by hash
  std::size_t m_mask = 0;
  std::atomic<std::size_t> m_num_words = 0;
  std::atomic<bool> m_is_full = false;
  std::vector<std::uint32_t> m_ranks; // by slot: the number of its word, once all are known
  bool m_has_numbers = false;
  KEP_PACKED_NUMBER_LIST m_numbers;
  std::vector<KEP_SEEN_WORD> m_list_words;
};
