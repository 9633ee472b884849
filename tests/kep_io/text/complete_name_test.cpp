// How the beginning of a node's name can go on.

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_complete_name.h"
#include "tests/support/example_device.h"
#include "tests/support/fabric_case.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace complete_name_test {

using test_model::FABRIC_CASE;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t MANY = 1000000;

/// Goes on with everything that can go on, up to whole names.
void complete_all(const KEP_DB& db, const std::string& text, std::set<std::string>& names) {
  for (const std::string& longer : kep_complete_node_name(db, text, MANY)) {
    ASSERT_TRUE(longer.starts_with(text) && longer.size() > text.size()) << text << ": " << longer;
    if (longer.back() == '/' || longer.back() == ':')
      complete_all(db, longer, names);
    else
      ASSERT_TRUE(names.insert(longer).second) << longer;
  }
}

std::set<std::string> get_names(const KEP_DB& db) {
  std::set<std::string> names;
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    names.insert(node.get_name(KEP_NAME_STYLE()));
  return names;
}

TEST(CompletingNames, LevelByLevelLeadsToTheNamesOfAllNodes) {
  std::size_t num_names = 0;
  const auto compare = [&num_names](const KEP_DB& db) {
    std::set<std::string> names;
    complete_all(db, "", names);
    EXPECT_EQ(names, get_names(db));
    num_names += names.size();
  };
  for (const char* example : {"hipi_twin", "top_ports_routed", "plain_mux_chain", "blc_root"}) {
    const auto c = test_model::read_example(example);
    c->build();
    compare(*c->db());
  }
  for (const std::uint64_t seed : SEEDS(1, 100)) {
    FABRIC_CASE c(seed);
    c.build();
    compare(*c.db());
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(num_names, 1000U);
}

class CompletingAName : public testing::Test {
protected:
  CompletingAName() {
    m_case.arcs("MUX", {"a"}, "o");
    m_case.build();
  }
  std::vector<std::string> complete(const std::string& text, std::size_t max_names = MANY) {
    return kep_complete_node_name(*m_case.db(), text, max_names);
  }
  BUILD_CASE m_case{R"(
    module MUX
      ports >a <o
    module TILE
      inst m MUX header
      net n m.o m.a
    module EMPTY
      ports >a
    module TOP top
      inst t TILE
      inst t1 TILE
      inst t$2 TILE
      inst m MUX header
      inst e EMPTY
      net n m.o m.a e.a
  )"};
};

TEST_F(CompletingAName, TellsInstancesToGoIntoAndThoseWithNodes) {
  EXPECT_THAT(complete(""), ElementsAre("m:", "t$2/", "t/", "t1/"));
  EXPECT_THAT(complete("t"), ElementsAre("t$2/", "t/", "t1/"));
  EXPECT_THAT(complete("t1"), ElementsAre("t1/"));
  EXPECT_THAT(complete("t1/"), ElementsAre("t1/m:"));
  EXPECT_THAT(complete("t1/m:"), ElementsAre("t1/m:o"));
}

TEST_F(CompletingAName, GivesNothingWhereNothingBeginsLikeThat) {
  for (const char* text : {"x", "t1/x", "t2/", "/", "e:", "m:a", "m/", ":", ":o", "t1/m:o:"})
    EXPECT_THAT(complete(text), IsEmpty()) << text;
}

TEST_F(CompletingAName, GivesNothingWhereItIsTooMuch) {
  EXPECT_EQ(complete("", 4).size(), 4U);
  EXPECT_THAT(complete("", 3), IsEmpty());
  EXPECT_THAT(complete("t1", 1), ElementsAre("t1/"));
}

TEST(CompletingNames, TellsNodesAtPortsOfTheTop) {
  const auto c = test_model::read_example("top_ports_routed");
  c->build();
  EXPECT_THAT(kep_complete_node_name(*c->db(), "", MANY), testing::Contains(":"));
  for (const std::string& name : kep_complete_node_name(*c->db(), ":", MANY))
    EXPECT_EQ(name.find(':'), 0U);
}

} // namespace complete_name_test
