// Differences among places that are folded alike, on chains of like tiles.

#include "tests/kep/comparison/diff_text.h"
#include "tests/support/graph_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace folded_graph_diff_test {

using test_model::expect_naive_difference;
using test_model::GRAPH_BUILD;
using test_model::TEXT_MODEL;
using test_model::uip;

using ABOUT = KEP_GRAPH_DIFF_GROUP::ABOUT;

/// Tiles in a row, each with a mux that drives that of the next one. All but the first and the last are
/// folded alike, so one comparison stands for them.
struct CHAIN {
  explicit CHAIN(unsigned length) {
    for (unsigned i = 0; i != length; ++i)
      m_tiles.push_back({"t" + std::to_string(i)});
  }

  struct TILE {
    std::string m_name;
    std::string m_mux = "m"; ///< or "k", of the other kind of tile
    bool m_has_node = true;  ///< at the mux; all have one at its neighbour
    bool m_drives = true;    ///< the next tile
    std::string mux_port(const char* port) const { return m_name + "/" + m_mux + ":" + port; }
  };

  std::unique_ptr<KEP_DB> build() const {
    std::string text = "module MUX\nports >a >b <o\n";
    for (const std::string mux : {"m", "k"})
      text += "module TILE_" + mux + "\ninst " + mux + " MUX\ninst x MUX\n";
    text += "module TOP top\n";
    for (const TILE& tile : m_tiles)
      text += "inst " + tile.m_name + " TILE_" + tile.m_mux + "\n";
    std::unique_ptr<KEP_DB> db = TEXT_MODEL(text).freeze();
    GRAPH_BUILD build(*db);
    for (const TILE& tile : m_tiles) {
      build.add((tile.m_name + "/x:o").c_str());
      if (tile.m_has_node) build.add(tile.mux_port("o").c_str());
    }
    build.sort();
    for (std::size_t i = 0; i + 1 < m_tiles.size(); ++i)
      if (m_tiles[i].m_has_node && m_tiles[i].m_drives && m_tiles[i + 1].m_has_node)
        build.set(
            build.find(m_tiles[i].mux_port("o").c_str()),
            {{build.find(m_tiles[i + 1].mux_port("o").c_str()), uip(*db, m_tiles[i + 1].mux_port("a"))}});
    build.publish();
    return db;
  }

  std::vector<TILE> m_tiles;
};

TEST(FoldedGraphDiff, TellsPlacesApartThatLeadToOtherNames) {
  const CHAIN first(12);
  CHAIN second(12);
  std::swap(second.m_tiles[6].m_name, second.m_tiles[8].m_name);
  EXPECT_EQ(expect_naive_difference(*first.build(), *second.build()), 8U);
}

TEST(FoldedGraphDiff, TellsPlacesApartThatLeadToOtherModules) {
  const CHAIN first(12);
  CHAIN second(12);
  second.m_tiles[7].m_mux = "k";
  EXPECT_EQ(expect_naive_difference(*first.build(), *second.build()), 2U + 4U);
}

TEST(FoldedGraphDiff, TakesTilesForAlikeThatStandInAnotherOrder) {
  const std::unique_ptr<KEP_DB> first = CHAIN(12).build();
  CHAIN more(12);
  more.m_tiles.insert(more.m_tiles.begin() + 5, {"new", "m", false, false});
  more.m_tiles[4].m_drives = false;
  // All tiles behind the new one have other places; an edge is gone, and a node is new.
  EXPECT_EQ(expect_naive_difference(*first, *more.build()), 1U + 1U);
}

TEST(FoldedGraphDiff, GroupsByWhatStandsAtEachPlace) {
  const std::unique_ptr<KEP_DB> first = CHAIN(14).build();
  CHAIN second(14);
  second.m_tiles[4].m_drives = false;
  second.m_tiles[5].m_has_node = false; // 4 to 5 and 5 to 6
  second.m_tiles[9].m_drives = false;   // 9 to 10
  const std::unique_ptr<KEP_DB> changed = second.build();
  EXPECT_EQ(expect_naive_difference(*first, *changed), 1U + 3U);
  const KEP_GRAPH_DIFF diff(*first, *changed);
  ASSERT_EQ(diff.get_groups().size(), 2U);
  EXPECT_EQ(diff.get_groups()[0].m_about, ABOUT::NODES);
  EXPECT_EQ(diff.get_groups()[0].m_counts[0].m_num_nodes, 1U);
  EXPECT_EQ(diff.get_groups()[0].m_counts[0].m_num_real, 2U);
  EXPECT_EQ(diff.get_groups()[1].m_about, ABOUT::MUX_INPUT);
  EXPECT_EQ(diff.get_groups()[1].m_counts[0].m_num_real, 1U);
}

} // namespace folded_graph_diff_test
