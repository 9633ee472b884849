// Bundles of edges, turned round: beside the edges one by one.

#include "kep/graph_building/kep_bundle_turner.h"
#include "tests/support/fanout_lists.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

namespace bundle_turner_test {

using test_model::FANOUT_LISTS;
using FANINS = std::map<std::uint32_t, std::vector<std::uint32_t>>; // sources by target

/// A bundle by hand; sources are numbered from 1 in the order in which they come.
class BUNDLE {
public:
  /// Gives the number of the targets.
  std::uint32_t add_targets(const std::vector<std::uint32_t>& targets) {
    std::vector<KEP_SEEN_WORD> words;
    for (const std::uint32_t target : targets)
      words.push_back(FANOUT_LISTS::near(1, target));
    m_lists.add(words);
    m_targets.push_back(targets);
    return static_cast<std::uint32_t>(m_targets.size() - 1);
  }
  void add_source(std::uint32_t targets) {
    m_entries.push_back({static_cast<std::uint32_t>(m_entries.size() + 1), targets});
    for (const std::uint32_t target : m_targets[targets])
      m_expected[target].push_back(m_entries.back().m_source);
  }
  const FANINS& expected() const { return m_expected; }

  /// By one turner, which turns another bundle before.
  KEP_TURNED_BUNDLE turn() const {
    const KEP_FANOUT_RUNS runs(m_lists.m_lists, m_lists.m_words); // a run a list, by the same number
    KEP_BUNDLE_TURNER turner(runs);
    turner.turn({m_entries.data(), 1, 1});
    const auto count = static_cast<std::uint16_t>(m_entries.size());
    return turner.turn({m_entries.data(), count, count});
  }

private:
  FANOUT_LISTS m_lists;
  std::vector<std::vector<std::uint32_t>> m_targets;
  std::vector<KEP_BUNDLE_ENTRY> m_entries;
  FANINS m_expected;
};

FANINS read(const KEP_TURNED_BUNDLE& turned) {
  FANINS fanins;
  std::uint32_t last = 0;
  for (const KEP_TURNED_BUNDLE::TARGET& target : turned.m_targets) {
    EXPECT_LT(last, target.m_target) << "each once, in order";
    last = target.m_target;
    const auto first = turned.m_lists.begin() + target.m_list;
    fanins[target.m_target].assign(first + 1, first + 1 + *first);
  }
  return fanins;
}

TEST(BundleTurner, GivesEachTargetItsSourcesInOrder) {
  std::size_t edges = 0, doubles = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 300)) {
    test_model::RANDOM_SOURCE random(seed);
    BUNDLE bundle;
    const unsigned range = seed % 3 == 0 ? 1000000 : 12; // of targets that lie far apart or near
    const unsigned num_lists = 1 + random.below(5);
    for (unsigned i = 0; i != num_lists; ++i) {
      std::vector<std::uint32_t> targets;
      for (unsigned j = 1 + random.below(6); j != 0; --j)
        targets.push_back(1 + random.below(range));
      doubles += std::count(targets.begin(), targets.end(), targets.front()) > 1;
      bundle.add_targets(targets);
    }
    for (unsigned i = 1 + random.below(seed % 7 == 0 ? 300 : 9); i != 0; --i)
      bundle.add_source(random.below(num_lists));
    EXPECT_EQ(read(bundle.turn()), bundle.expected());
    for (const auto& [target, sources] : bundle.expected())
      edges += sources.size();
  }
  EXPECT_GT(edges, 10000U);
  EXPECT_GT(doubles, 50U) << "a source may drive a target twice";
}

TEST(BundleTurner, KeepsTheDriversOfANetOnceForAllOfItsReaders) {
  constexpr std::uint32_t NUM = 1000;
  for (const std::uint32_t num_nets : {1, 2}) {
    BUNDLE bundle;
    std::vector<std::uint32_t> readers; // of both nets, and some of the second alone
    for (std::uint32_t reader = 1; reader <= NUM; ++reader)
      readers.push_back(reader);
    bundle.add_targets(readers);
    for (std::uint32_t reader = NUM + 1; reader <= NUM + 10; ++reader)
      readers.push_back(reader);
    bundle.add_targets(readers);
    for (std::uint32_t source = 0; source != NUM; ++source)
      bundle.add_source(source % num_nets);
    const KEP_TURNED_BUNDLE turned = bundle.turn();
    EXPECT_EQ(read(turned), bundle.expected());
    EXPECT_LE(turned.m_lists.size(), 2 * (NUM + 1)) << num_nets;
    EXPECT_EQ(turned.m_targets[0].m_list, turned.m_targets[NUM - 1].m_list);
  }
}

} // namespace bundle_turner_test
