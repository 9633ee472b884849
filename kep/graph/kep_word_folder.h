#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/kep_export.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

/// Numbers below a bound, of as few bytes each as will do.
class KEP_EXPORT KEP_PACKED_NUMBER_LIST {
public:
  KEP_PACKED_NUMBER_LIST() = default;
  KEP_PACKED_NUMBER_LIST(const std::vector<std::uint32_t>& numbers, std::uint32_t bound);
  /// All 0, each to be set once.
  KEP_PACKED_NUMBER_LIST(std::size_t size, std::uint32_t bound);
  void set(std::size_t index, std::uint32_t number);

  KEP_PACKED_NUMBERS get_view() const { return {m_bytes.data(), m_width, m_mask}; }
  std::uint64_t get_memory_bytes() const { return m_bytes.capacity(); }

private:
  std::vector<unsigned char> m_bytes;
  std::uint32_t m_width = 1;
  std::uint32_t m_mask = 0;
};

/// Distinct words while they are found.
class KEP_EXPORT KEP_WORD_NUMBERS {
public:
  /// The number of the word, by the order in which they came.
  std::uint32_t add(KEP_SEEN_WORD word) {
    const auto [known, is_new] =
        m_numbers.try_emplace(word.m_bits, static_cast<std::uint32_t>(m_words.size()));
    if (is_new) m_words.push_back(word);
    return known->second;
  }
  const std::vector<KEP_SEEN_WORD>& get_words() const { return m_words; }
  /// By number: the place among the words in the order of their values, which hangs on the words alone.
  std::vector<std::uint32_t> rank() const;

private:
  std::unordered_map<std::uint64_t, std::uint32_t> m_numbers;
  std::vector<KEP_SEEN_WORD> m_words;
};

/// A long list of words, of which each distinct one is kept once. Words of which few come again are kept as
/// they are.
class KEP_EXPORT KEP_FOLDED_WORD_LIST {
public:
  KEP_FOLDED_WORD_LIST() = default;
  /// Of so many words: `for_each` calls what it is given with each of them, in order, and does so twice. The
  /// words are used up: what the list needs on the way stands in them.
  template <class FOR_EACH>
  KEP_FOLDED_WORD_LIST(std::size_t size, const FOR_EACH& for_each) {
    KEP_WORD_NUMBERS numbers;
    for_each([&](KEP_SEEN_WORD& word) { word.m_bits = numbers.add(word); });
    const std::vector<std::uint32_t> ranks = start(numbers, size);
    std::size_t at = 0;
    for_each([&](const KEP_SEEN_WORD& word) {
      const auto number = static_cast<std::uint32_t>(word.m_bits);
      if (ranks.empty())
        m_words[at++] = numbers.get_words()[number];
      else
        m_numbers.set(at++, ranks[number]);
    });
  }
  /// Of words that stand side by side.
  explicit KEP_FOLDED_WORD_LIST(std::vector<KEP_SEEN_WORD> words);

  KEP_FOLDED_WORDS get_view() const {
    return {m_numbers.get_memory_bytes() != 0 ? m_numbers.get_view() : KEP_PACKED_NUMBERS{}, m_words.data()};
  }
  std::uint64_t get_memory_bytes() const {
    return m_numbers.get_memory_bytes() + m_words.capacity() * sizeof(KEP_SEEN_WORD);
  }

private:
  /// Makes room for the list. Gives the final numbers; none if the words are to stand in it as they are.
  std::vector<std::uint32_t> start(const KEP_WORD_NUMBERS& numbers, std::size_t size);

  KEP_PACKED_NUMBER_LIST m_numbers; // none where the words are kept as they are
  std::vector<KEP_SEEN_WORD> m_words;
};
