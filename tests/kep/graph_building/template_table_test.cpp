#include "kep/graph_building/kep_template_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace template_table_test {

using TABLE = KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>;

TABLE::LIST list_of(const std::vector<KEP_FANIN_ENTRY>& entries, std::uint16_t num_real) {
  return {entries.data(), num_real, static_cast<std::uint16_t>(entries.size())};
}

// Far more lists than a thread keeps at hand, in two tables at a time that both have every list.
TEST(TemplateTable, GivesEqualListsOneNumberAndUnlikeOnesDifferentNumbers) {
  std::mt19937_64 random(1);
  std::vector<std::vector<KEP_FANIN_ENTRY>> lists;
  for (std::uint64_t i = 0; i != 5000; ++i) {
    lists.emplace_back();
    for (std::uint64_t size = 1 + random() % 3; size != 0; --size)
      lists.back().push_back({{random() % 40}});
  }
  TABLE first;
  TABLE second;
  TABLE::RECENT recent;
  std::vector<std::uint32_t> numbers;
  for (int round = 0; round != 3; ++round)
    for (std::size_t i = 0; i != lists.size(); ++i) {
      const std::uint32_t number = first.add(list_of(lists[i], 1), recent);
      second.add(list_of(lists[lists.size() - 1 - i], 1), recent);
      if (round == 0)
        numbers.push_back(number);
      else
        ASSERT_EQ(number, numbers[i]);
      ASSERT_EQ(first.get(number).m_num_edges, lists[i].size());
      for (std::size_t k = 0; k != lists[i].size(); ++k)
        ASSERT_EQ(first.get(number).m_entries[k].m_node.m_bits, lists[i][k].m_node.m_bits);
    }
  EXPECT_EQ(first.size(), second.size());
  EXPECT_GT(first.size(), 1500U);
  EXPECT_LT(first.size(), 5000U);
}

TEST(TemplateTable, TellsListsApartByHowManyOfTheirEdgesAreReal) {
  TABLE table;
  TABLE::RECENT recent;
  const std::vector<KEP_FANIN_ENTRY> entries{{{1}}, {{2}}};
  EXPECT_NE(table.add(list_of(entries, 1), recent), table.add(list_of(entries, 2), recent));
}

} // namespace template_table_test
