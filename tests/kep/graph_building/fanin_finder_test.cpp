// Fanins of finished graphs, where sources are told in several ways or are many.

#include "tests/support/two_tiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fanin_finder_test {

using FaninFinder = test_model::TwoTiles;
using test_model::FANOUTS;
using test_model::GRAPH_BUILD;
using test_model::uip;

std::vector<std::string> fanins(const KEP_ROUTING::NODE& node) {
  std::vector<std::string> names;
  for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
    names.push_back(edge.get_fanin().get_name({}));
  return names;
}

TEST_F(FaninFinder, KeepsTheOrderOfSourcesOfOnePlaceThatAreToldInTwoWays) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:a", "t/m:z", "t/k:z", "u/k:z"})
    build.add(name);
  build.sort();
  constexpr std::size_t MANY = 300; // such a source is told absolutely
  const FANOUTS one{{build.find("u/k:z"), {}}};
  build.set(build.find("t/m:a"), one);
  build.set(build.find("t/m:z"), FANOUTS(MANY, one.front()));
  build.set(build.find("t/k:z"), one);
  build.publish();
  std::vector<std::string> expected{"t/m:a"};
  expected.insert(expected.end(), MANY, "t/m:z");
  expected.emplace_back("t/k:z");
  EXPECT_EQ(fanins({uip(*m_db, "u/k:z"), false}), expected);
}

TEST_F(FaninFinder, TellsTheFirstOfSeveralNodesWithTooManyFanins) {
  GRAPH_BUILD build(*m_db);
  for (const char* name : {"t/m:z", "t/k:z", "u/m:z", "u/k:z"})
    build.add(name);
  build.sort();
  FANOUTS many(30000, {build.find("u/k:z"), {}}); // and u/m:z, which comes before it
  many.insert(many.end(), 35000, {build.find("u/m:z"), {}});
  for (const char* name : {"t/m:z", "t/k:z", "u/k:z"})
    build.set(build.find(name), many);
  try {
    build.publish();
    FAIL() << "105000 fanins were taken";
  } catch (const KEP_DB_ERROR& error) {
    EXPECT_STREQ(error.what(), "node u/m:z has 105000 fanins, more than the 65535 that a node can have");
  }
}

TEST_F(FaninFinder, GivesLikePlacesTheirOwnFanins) {
  GRAPH_BUILD build(*m_db);
  const std::vector<std::string> tiles{"t", "u"};
  for (const std::string& tile : tiles)
    for (const char* name : {"/m:a", "/m:z", "/k:z"})
      build.add((tile + name).c_str());
  build.add("u/k:b"); // but for one node they are alike
  build.add(m_p);
  build.sort();
  for (const std::string& tile : tiles) {
    const FANOUTS fanouts{{build.find((tile + "/k:z").c_str()), {}}};
    build.set(build.find((tile + "/m:a").c_str()), fanouts);
    build.set(build.find((tile + "/m:z").c_str()), fanouts);
  }
  build.set(build.find(m_p), {{build.find("t/m:a"), {}}, {build.find("u/m:a"), {}}});
  build.publish();
  for (const std::string& tile : tiles) {
    const auto node = [&](const char* name) {
      return KEP_ROUTING::NODE(uip(*m_db, (tile + name).c_str()), false);
    };
    EXPECT_EQ(fanins(node("/k:z")), (std::vector{tile + "/m:a", tile + "/m:z"}));
    EXPECT_EQ(fanins(node("/m:a")), std::vector<std::string>{":p"});
    EXPECT_TRUE(fanins(node("/m:z")).empty());
  }
  EXPECT_TRUE(fanins({uip(*m_db, "u/k:b"), false}).empty());
}

} // namespace fanin_finder_test
