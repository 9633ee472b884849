#include "kep/graph_building/kep_template_entries.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace mux_input_numbers_test {

using NUMBERS = KEP_MUX_INPUT_NUMBERS;

TEST(MuxInputNumbers, OfDifferencesAreTheDifferences) {
  const NUMBERS numbers;
  constexpr std::int64_t END = std::int64_t{1} << 30;
  for (const std::int64_t difference : {-END, -END + 1, std::int64_t{-1}, std::int64_t{0}, END - 1}) {
    EXPECT_TRUE(NUMBERS::has_own_number(difference));
    const std::uint64_t word = numbers.get_word(static_cast<std::uint32_t>(difference));
    EXPECT_EQ(KEP_MUX_INPUT_WORD::far_occurrence(word), 0U);
    EXPECT_EQ(KEP_MUX_INPUT_WORD::inst_port(word), static_cast<std::uint32_t>(difference));
    EXPECT_NE(word, KEP_MUX_INPUT_WORD::NONE);
  }
  for (const std::int64_t difference : {-END - 1, END, -2 * END, 2 * END, std::int64_t{1} << 32})
    EXPECT_FALSE(NUMBERS::has_own_number(difference));
}

TEST(MuxInputNumbers, OfAllElseAreGivenOnce) {
  NUMBERS numbers;
  EXPECT_EQ(numbers.get_word(NUMBERS::NONE), KEP_MUX_INPUT_WORD::NONE);
  const std::uint32_t first = numbers.number_far(KEP_MUX_INPUT_WORD::make_far(7, 3));
  const std::uint32_t second = numbers.number_far(KEP_MUX_INPUT_WORD::make_far(8, 3));
  EXPECT_NE(first, second);
  EXPECT_EQ(numbers.number_far(KEP_MUX_INPUT_WORD::make_far(7, 3)), first);
  EXPECT_EQ(numbers.get_word(first), KEP_MUX_INPUT_WORD::make_far(7, 3));
  EXPECT_EQ(numbers.get_word(second), KEP_MUX_INPUT_WORD::make_far(8, 3));
}

} // namespace mux_input_numbers_test
