// Words are noted and put by many threads at a time.

#include "kep/common/kep_parts.h"
#include "kep/graph/kep_word_folder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace word_folder_threads_test {

TEST(FoldedWordsThreads, GiveTheSameListAsOneThread) {
  for (const std::uint64_t num_distinct : {100U, 9000U, 90000U}) {
    std::vector<KEP_SEEN_WORD> words;
    for (std::uint64_t i = 0; i != 90000; ++i)
      words.push_back({i * 7919 % num_distinct << 32 | 1});
    const KEP_FOLDED_WORD_LIST expected(words);
    KEP_WORD_FOLDER folder(words.size());
    unsigned num_passes = 0;
    for (; folder.wants_words(); ++num_passes)
      kep_for_parts(words.size(), 1 << 12, [&](std::size_t begin, std::size_t end) {
        for (; begin != end; ++begin)
          folder.note(words[begin]);
      });
    EXPECT_EQ(num_passes, num_distinct == 90000 ? 1U : 2U) << "a sample, and then all if numbers pay";
    kep_for_parts(words.size(), 1 << 12, [&](std::size_t begin, std::size_t end) {
      for (; begin != end; ++begin)
        folder.put(begin, words[begin]);
    });
    const KEP_FOLDED_WORD_LIST list = folder.take();
    ASSERT_EQ(list.get_memory_bytes(), expected.get_memory_bytes());
    for (std::uint32_t i = 0; i != words.size(); ++i)
      ASSERT_EQ(list.get_view()[i].m_bits, expected.get_view()[i].m_bits) << i;
  }
}

} // namespace word_folder_threads_test
