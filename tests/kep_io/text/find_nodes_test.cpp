// Nodes by the names that users type.

#include "kep_io/kep_find_nodes.h"
#include "kep_io/kep_io_error.h"
#include "tests/support/example_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace find_nodes_test {

using KEP_ROUTING::NODE;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> kinds_of(const std::vector<NODE>& nodes) {
  std::vector<std::string> kinds;
  for (const NODE& node : nodes)
    kinds.push_back(test_model::cells_of(node));
  return kinds;
}

std::string refusal_of_name(const KEP_DB& db, const std::string& name) {
  try {
    kep_get_nodes(db, name);
  } catch (const KEP_IO_ERROR& error) {
    return error.what();
  }
  return "(found)";
}

TEST(FindingNodes, GivesEveryNodeByTheNameOfTheDump) {
  for (const char* example : {"hipi_twin", "top_ports_routed", "plain_mux_chain", "blc_root"}) {
    const auto c = test_model::read_example(example);
    c->build();
    for (const NODE& node : c->db()->get_routing_template_graph()->iter_nodes())
      EXPECT_THAT(kep_find_nodes(*c->db(), node.get_name(KEP_NAME_STYLE())), testing::Contains(node));
  }
}

TEST(FindingNodes, GivesThePlainNodeBeforeItsHipiTwin) {
  const auto c = test_model::read_example("hipi_twin");
  c->build();
  bool has_twin = false;
  for (const NODE& node : c->db()->get_routing_template_graph()->iter_nodes()) {
    if (!node.is_hipi()) continue;
    has_twin = true;
    const std::string name = node.get_name(KEP_NAME_STYLE());
    EXPECT_THAT(kinds_of(kep_get_nodes(*c->db(), name)), ElementsAre(name + "\tuip", name + "\thipi"));
  }
  EXPECT_TRUE(has_twin);
}

TEST(FindingNodes, GivesNoneForANameThatIsNotThere) {
  const auto c = test_model::read_example("plain_mux_chain");
  c->build();
  for (const char* name : {"", ":", ":nothing", "a", "a/b", "nothing:o", "/:", "a:b:c"}) {
    EXPECT_THAT(kep_find_nodes(*c->db(), name), IsEmpty()) << name;
    EXPECT_THAT(kep_find_unfolded_inst_ports(*c->db(), name), IsEmpty()) << name;
    EXPECT_THAT(refusal_of_name(*c->db(), name),
                testing::StartsWith("no node \"" + std::string(name) + "\"; closest: "));
  }
}

TEST(FindingNodes, SaysSoWhereThereAreNone) {
  const auto c = test_model::read_example("plain_mux_chain"); // not built
  EXPECT_EQ(refusal_of_name(*c->db(), "a:b"), "no node \"a:b\"; the graph has no nodes");
}

std::string name_nets(const KEP_DB& db, const std::string& name) {
  std::string names;
  try {
    for (const KEP_UNFOLDED_NET& net : kep_get_unfolded_nets(db, name))
      names += net.get_name(KEP_NAME_STYLE()) + ' ' + std::to_string(net.m_object->get_index()) + ' ';
  } catch (const KEP_IO_ERROR& error) {
    return error.what();
  }
  return names;
}

TEST(FindingNets, GivesAllThatHaveTheName) {
  const auto db = test_model::make_db(R"(
    module LEAF
      ports >a <b
      net n a b
    module TILE
      ports >in
      inst m LEAF
      net n in m.a
      net n m.b
    module TOP top
      inst t TILE
      net w t.in
  )");
  EXPECT_EQ(name_nets(*db, "w"), "w 0 ");
  EXPECT_EQ(name_nets(*db, "t/n"), "t/n 0 t/n 1 ");
  EXPECT_EQ(name_nets(*db, "t/m/n"), "t/m/n 0 ");
  EXPECT_EQ(name_nets(*db, "v"), "no net \"v\"; closest: w");
  EXPECT_EQ(name_nets(*db, "t/m/k"), "no net \"t/m/k\"; closest: t/m/n");
  EXPECT_EQ(name_nets(*db, "t/k/n"), "no net \"t/k/n\"; closest: t/n");
  EXPECT_EQ(name_nets(*db, ""), "no net \"\"; closest: w");
  EXPECT_EQ(name_nets(*test_model::make_db("module TOP top\n ports >p\n"), "w"), "no net \"w\"");
}

} // namespace find_nodes_test
