// Lists of fanouts, cut where the place changes.

#include "kep/graph_building/kep_fanout_runs.h"
#include "tests/support/fanout_lists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace fanout_runs_test {

using test_model::FANOUT_LISTS;
using testing::ElementsAre;

/// A run as a list: where it leads, then the targets.
std::vector<std::uint64_t> read(const KEP_FANOUT_RUNS& runs, const KEP_FANOUT_RUNS::RUN& run) {
  std::vector<std::uint64_t> all{runs.get_direction(run.m_direction).m_bits};
  for (std::uint32_t i = 0; i != runs.get_num_targets(run.m_targets); ++i)
    all.push_back(runs.get_target(run.m_targets, i));
  return all;
}

TEST(FanoutRuns, CutAListWhereThePlaceOrTheWayToTellItChanges) {
  FANOUT_LISTS lists;
  const std::uint32_t empty = lists.add({});
  const std::uint32_t list =
      lists.add({FANOUT_LISTS::near(2, 7), FANOUT_LISTS::near(2, 5), FANOUT_LISTS::absolute(2, 5),
                 FANOUT_LISTS::near(~0U, 7), FANOUT_LISTS::near(2, 7)});
  const KEP_FANOUT_RUNS runs(lists.m_lists, lists.m_words);
  EXPECT_TRUE(runs.get_runs(0).empty());
  EXPECT_TRUE(runs.get_runs(empty).empty());
  ASSERT_EQ(runs.get_runs(list).size(), 4U);
  EXPECT_THAT(read(runs, runs.get_runs(list)[0]), ElementsAre(std::uint64_t{2} << 32, 7, 5));
  EXPECT_THAT(read(runs, runs.get_runs(list)[1]),
              ElementsAre(std::uint64_t{2} << 32 | KEP_SEEN_WORD::ABSOLUTE, 5));
  EXPECT_THAT(read(runs, runs.get_runs(list)[2]), ElementsAre(std::uint64_t{~0U} << 32, 7));
  EXPECT_THAT(read(runs, runs.get_runs(list)[3]), ElementsAre(std::uint64_t{2} << 32, 7));
  EXPECT_EQ(runs.get_runs(list)[0].m_direction, runs.get_runs(list)[3].m_direction);
}

TEST(FanoutRuns, NumberEqualTargetsAlikeWhereListsComeAgain) {
  for (const bool comes_again : {false, true}) {
    FANOUT_LISTS lists;
    const std::uint32_t one =
        lists.add({FANOUT_LISTS::near(1, 3), FANOUT_LISTS::near(1, 4), FANOUT_LISTS::near(2, 4)});
    const std::uint32_t other = lists.add({FANOUT_LISTS::absolute(9, 3), FANOUT_LISTS::absolute(9, 4),
                                           FANOUT_LISTS::near(1, 4), FANOUT_LISTS::near(3, 3)});
    lists.m_lists.m_of_nodes.assign(comes_again ? 100 : 2, one);
    const KEP_FANOUT_RUNS runs(lists.m_lists, lists.m_words);
    const auto targets = [&](std::uint32_t list, std::size_t run) {
      return runs.get_runs(list)[run].m_targets;
    };
    EXPECT_EQ(targets(one, 0) == targets(other, 0), comes_again) << "wherever they lead";
    EXPECT_EQ(targets(one, 1) == targets(other, 1), comes_again);
    EXPECT_NE(targets(one, 0), targets(one, 1)) << "the beginning of one is another";
    EXPECT_NE(targets(one, 1), targets(other, 2)) << "3 is not 4";
    for (std::size_t run = 0; run != 3; ++run)
      EXPECT_LT(targets(other, run), runs.get_target_limit());
    EXPECT_EQ(read(runs, runs.get_runs(other)[0]).size(), 3U);
  }
}

} // namespace fanout_runs_test
