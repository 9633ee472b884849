#include "kep/graph/kep_word_folder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace word_folder_test {

/// Numbers below the bound, its largest among them.
std::vector<std::uint32_t> make_numbers(std::uint32_t bound) {
  std::mt19937 random(bound);
  std::vector<std::uint32_t> numbers{bound - 1, 0};
  for (int i = 0; i != 100; ++i)
    numbers.push_back(static_cast<std::uint32_t>(random()) % bound);
  numbers.push_back(bound - 1);
  return numbers;
}

TEST(PackedNumbers, TakeAsFewBytesAsTheirBoundAllows) {
  const std::vector<std::pair<std::uint32_t, std::uint32_t>> cases{
      {1, 1},     {2, 1},        {256, 1},      {257, 2},        {65536, 2},
      {65537, 3}, {16777216, 3}, {16777217, 4}, {0xffffffffU, 4}};
  for (const auto& [bound, width] : cases) {
    const std::vector<std::uint32_t> numbers = make_numbers(bound);
    const KEP_PACKED_NUMBER_LIST list(numbers, bound);
    EXPECT_EQ(list.get_view().m_width, width) << bound;
    EXPECT_EQ(list.get_memory_bytes(), numbers.size() * width + 4) << bound;
    for (std::size_t i = 0; i != numbers.size(); ++i)
      ASSERT_EQ(list.get_view().get(i), numbers[i]) << "number " << i << " of those below " << bound;
  }
}

TEST(PackedNumbers, MayBeNone) {
  const KEP_PACKED_NUMBER_LIST list({}, 0);
  EXPECT_EQ(list.get_view().m_width, 1U);
}

TEST(SeenWords, AreToldFromThePlaceThatSeesThemUnlessTheyAreAbsolute) {
  constexpr std::uint64_t WORD = std::uint64_t{7} << 32 | 5;
  for (const std::uint32_t own : {0U, 6U, 7U, 8U, 0xfffffff0U}) {
    const KEP_SEEN_WORD seen = KEP_SEEN_WORD::see(WORD, own);
    EXPECT_FALSE(seen.is_absolute());
    EXPECT_EQ(seen.get_word(own), WORD) << own;
    EXPECT_EQ(seen.get_word(own + 3), WORD + (std::uint64_t{3} << 32)) << own;
    EXPECT_EQ(KEP_SEEN_WORD{WORD | KEP_SEEN_WORD::ABSOLUTE}.get_word(own), WORD);
  }
  EXPECT_EQ(KEP_SEEN_WORD{}.get_word(9), 0U);
}

TEST(FoldedWords, KeepEachWordOnceAndGiveEveryPositionItsOwn) {
  std::mt19937_64 random(1);
  std::vector<KEP_SEEN_WORD> words;
  for (int i = 0; i != 1000; ++i) {
    const std::uint64_t place = random() % 20;
    const std::uint64_t low = 1 + random() % 10;
    words.push_back(random() % 4 == 0 ? KEP_SEEN_WORD{place << 32 | low | KEP_SEEN_WORD::ABSOLUTE}
                                      : KEP_SEEN_WORD::see(place << 32 | low, 10));
  }
  const KEP_FOLDED_WORD_LIST list(words);
  for (std::uint32_t i = 0; i != words.size(); ++i)
    ASSERT_EQ(list.get_view()[i].m_bits, words[i].m_bits) << i;
  EXPECT_EQ(list.get_view().m_numbers.m_width, 2U); // near all of 20 places, 10 words and two ways of telling
  EXPECT_LE(list.get_memory_bytes(), 2 * words.size() + 3 + 400 * sizeof(KEP_SEEN_WORD));
}

TEST(FoldedWords, AreKeptAsTheyAreWhereFewComeAgain) {
  std::vector<KEP_SEEN_WORD> words;
  for (std::uint64_t i = 0; i != 1000; ++i)
    words.push_back({(i * 7919 % 1000) << 32 | 1});
  const KEP_FOLDED_WORD_LIST list(words);
  EXPECT_EQ(list.get_memory_bytes(), words.size() * sizeof(KEP_SEEN_WORD));
  for (std::uint32_t i = 0; i != words.size(); ++i)
    ASSERT_EQ(list.get_view()[i].m_bits, words[i].m_bits) << i;
}

/// So many words of which so many are distinct.
std::vector<KEP_SEEN_WORD> make_words(std::uint64_t size, std::uint64_t num_distinct) {
  std::vector<KEP_SEEN_WORD> words;
  for (std::uint64_t i = 0; i != size; ++i)
    words.push_back({i * 7919 % num_distinct << 32 | 1});
  return words;
}

TEST(FoldedWords, OfManyAreFoldedOrKeptByASampleOfThem) {
  constexpr std::uint64_t SIZE = 200000;
  for (const std::uint64_t num_distinct : {std::uint64_t{3}, std::uint64_t{5000}, SIZE / 2, SIZE}) {
    const std::vector<KEP_SEEN_WORD> words = make_words(SIZE, num_distinct);
    const KEP_FOLDED_WORD_LIST list(words);
    const std::uint64_t width = num_distinct == 3 ? 1 : num_distinct == 5000 ? 2 : 3;
    EXPECT_EQ(list.get_memory_bytes(),
              num_distinct == SIZE ? SIZE * sizeof(KEP_SEEN_WORD) : SIZE * width + 4 + num_distinct * 8)
        << num_distinct;
    for (std::uint32_t i = 0; i != words.size(); ++i)
      ASSERT_EQ(list.get_view()[i].m_bits, words[i].m_bits) << i << " of " << num_distinct;
  }
}

TEST(FoldedWords, ThatHaveAnIndexHaveTheFirstNumbersInTheOrderOfIndices) {
  constexpr std::uint32_t NUM_INDICES = 1000;
  const auto get_word = [](std::uint32_t index) { return KEP_SEEN_WORD{5000U - index}; };
  for (const std::uint32_t num_others : {0U, 30U}) {
    std::vector<std::uint32_t> indices; // one that is none is another word
    for (std::uint32_t i = 0; i != 100000; ++i)
      indices.push_back(i * 7919 % (NUM_INDICES + num_others) / 2 * 2);
    const auto is_index = [](std::uint32_t index) { return index < NUM_INDICES; };
    const auto word_of = [&](std::uint32_t index) {
      return is_index(index) ? get_word(index) : KEP_SEEN_WORD{index};
    };
    KEP_WORD_FOLDER folder(indices.size(), NUM_INDICES, get_word);
    const auto at = [&](std::uint32_t index) { return is_index(index) ? index : KEP_WORD_FOLDER::NO_INDEX; };
    unsigned num_passes = 0;
    for (; folder.wants_words(); ++num_passes)
      for (const std::uint32_t index : indices)
        folder.note(word_of(index), at(index));
    EXPECT_EQ(num_passes, num_others == 0 ? 1U : 2U) << "a sample, and all others if there are any";
    for (std::size_t i = 0; i != indices.size(); ++i)
      folder.put(i, word_of(indices[i]), at(indices[i]));
    const KEP_FOLDED_WORD_LIST list = folder.take();
    const KEP_FOLDED_WORDS words = list.get_view();
    for (std::uint32_t i = 0; i != indices.size(); ++i) {
      ASSERT_EQ(words[i].m_bits, word_of(indices[i]).m_bits) << i;
      ASSERT_EQ(words.m_numbers.get(i), indices[i] / 2) << "every other index has a word";
    }
  }
}

TEST(FoldedWords, HaveNumbersThatHangOnTheWordsAloneAndNotOnTheirOrder) {
  const std::vector<KEP_SEEN_WORD> words{{30}, {10}, {20}, {10}};
  const std::vector<KEP_SEEN_WORD> turned{{10}, {20}, {10}, {30}};
  const KEP_FOLDED_WORD_LIST list(words);
  const KEP_FOLDED_WORD_LIST other(turned);
  for (std::size_t i = 0; i != words.size(); ++i)
    EXPECT_EQ(list.get_view().m_numbers.get(i), other.get_view().m_numbers.get(words.size() - 1 - i));
}

} // namespace word_folder_test
