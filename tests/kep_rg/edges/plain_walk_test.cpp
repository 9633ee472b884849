#include "kep_rg/edges/kep_rg_plain_walk.h"
#include "tests/support/fabric_case.h"
#include "tests/support/random_device.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace plain_walk_test {

using test_model::FABRIC_CASE;
using test_model::RANDOM_DEVICE;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;
constexpr std::uint32_t NO_MUX_INPUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_MUX_INPUT;

/// An edge's occurrence, target and mux input, as a folded fanout tells them.
using EDGE = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;

/// The nets of a device whose graph was built by searching every connection.
class FOLDED_CASE {
public:
  explicit FOLDED_CASE(BUILD_CASE& c) : m_case(c) {
    ACCESS::search_all(c.builder());
    c.build();
    m_nets.emplace(ACCESS::get_plain_device(c.builder()));
    for (std::uint32_t i = 1; i < m_nets->get_unfolding().size(); ++i)
      if (edge_builder().get_num_targets(i) != 0) m_occurrences[edge_builder().get_place(i)] = i;
  }

  const KEP_RG_PLAIN_NETS& nets() const { return *m_nets; }
  const KEP_ROUTING_BUILDER_EDGE_BUILDER& edge_builder() const {
    return ACCESS::edge_builder(m_case.builder());
  }
  bool walk(const KEP_UNFOLDED_INST_PORT& uip) {
    const auto occurrence = static_cast<std::uint32_t>(uip.m_position);
    return m_walk.walk(*m_nets, occurrence,
                       {edge_builder().get_place(occurrence), edge_builder().find_target(*uip.m_object)});
  }
  bool walk(const std::string& name) { return walk(m_case.model().uip(name)); }
  const KEP_RG_PLAIN_WALK& found() const { return m_walk; }
  KEP_UNFOLDED_MODULE top() const {
    const KEP_UNFOLDING& unfolding = m_nets->get_unfolding();
    const KEP_OCCURRENCE& occurrence = unfolding.get(m_walk.get_top());
    return {KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot),
            unfolding.get_module(occurrence)};
  }
  /// For each fanout: its occurrence, target and mux input.
  std::vector<EDGE> edges(const KEP_RG_PLAIN_WALK::RUNS& list) const {
    std::vector<EDGE> edges;
    for (const auto& runs : list)
      for (std::uint32_t i = 0; i != runs.m_num_runs; ++i)
        for (std::uint32_t at = 0; at != runs.m_runs[i].m_num_fanouts; ++at) {
          const auto& fanout = runs.m_runs[i].m_fanouts[at];
          edges.emplace_back(m_occurrences.at(runs.m_place + runs.m_runs[i].m_behind), fanout.m_target,
                             fanout.m_mux_input);
        }
    return edges;
  }
  /// "TARGET" or "TARGET via INPUT", whether a node stands there or not.
  std::vector<std::string> texts(const KEP_RG_PLAIN_WALK::RUNS& runs) const {
    std::vector<std::string> texts;
    for (const auto& [occurrence, target, mux_input] : edges(runs)) {
      const std::uint32_t inst_port = edge_builder().get_inst_port(occurrence, target);
      texts.push_back(name_of(occurrence, inst_port));
      if (mux_input != NO_MUX_INPUT) texts.back() += " via " + name_of(occurrence, inst_port + mux_input);
    }
    return texts;
  }

private:
  std::string name_of(std::uint32_t occurrence, std::uint32_t inst_port) const {
    const KEP_MODULE& module = *m_nets->get_unfolding().get_module(occurrence);
    return KEP_UNFOLDED_INST_PORT(occurrence, module.get_inst_port_by_number(inst_port))
        .get_name(KEP_NAME_STYLE());
  }

  BUILD_CASE& m_case;
  std::map<std::uint32_t, std::uint32_t> m_occurrences; // that have nodes, by place
  std::optional<KEP_RG_PLAIN_NETS> m_nets;
  KEP_RG_PLAIN_WALK m_walk;
};

const char* const MODULES = R"(
  module MUX
    ports >a >b <o
  module SKIP
    ports >i <o
  module BUF bidir_buffer
    ports =x =y
  module TUNNEL
    ports >i <o
)";

// In the tile m drives n and the port p; outside, p leads into the other tile through q.
const char* const TILES = R"(
  module TILE
    ports <p >q
    inst m MUX header
    inst n MUX header
    net w m.o p n.a
    net v q n.b
    net z n.o
  module TOP top
    inst t TILE
    inst u TILE
    net a t.p u.q
    net b u.p t.q
)";

/// A device with the block BLK_BLC; so many of its ports have an index, which makes them nodes.
std::unique_ptr<KEP_DB> block_with_ports(const std::string& text, unsigned num_ports) {
  test_model::TEXT_MODEL model(text);
  for (unsigned port = 0; port != num_ports; ++port)
    model.builder().set_port_blc(model.id("BLK_BLC"), port, static_cast<int>(port), "");
  return model.freeze();
}

class PlainWalk : public testing::Test {
protected:
  static std::string device(const std::string& text) { return MODULES + text; }
  static void describe(BUILD_CASE& c) { c.arcs("MUX", {"a", "b"}, "o"); }
};

TEST_F(PlainWalk, FindsFanoutsInTheOrderOfTheSearch) {
  BUILD_CASE c(device(TILES));
  describe(c);
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("t/m:o"));
  EXPECT_THAT(folded.texts(folded.found().get_fanouts()), ElementsAre("t/n:o via t/n:a", "u/n:o via u/n:b"));
  EXPECT_THAT(folded.found().get_redundant_fanouts(), IsEmpty());
  EXPECT_EQ(folded.found().get_num_leaves(), 2U);
  EXPECT_EQ(folded.found().get_num_nowhere(), 0U);
  EXPECT_STREQ(folded.top().m_object->get_key(), "TOP");
  EXPECT_FALSE(folded.found().is_kept());
}

TEST_F(PlainWalk, StaysBelowTheModuleThatHoldsTheConnection) {
  BUILD_CASE c(device(TILES));
  describe(c);
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("u/n:o"));
  EXPECT_THAT(folded.found().get_fanouts(), IsEmpty());
  EXPECT_STREQ(folded.top().m_object->get_key(), "TILE");
  EXPECT_TRUE(folded.found().is_kept());
}

TEST_F(PlainWalk, FindsRedundantFanoutsApart) {
  BUILD_CASE c(device(std::string(TILES).replace(std::string(TILES).find("TOP top"), 7, "TOP top type=1")));
  describe(c);
  c.mark_redundant("TILE/n:b");
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("t/m:o"));
  EXPECT_THAT(folded.texts(folded.found().get_fanouts()), ElementsAre("t/n:o via t/n:a"));
  EXPECT_THAT(folded.texts(folded.found().get_redundant_fanouts()), ElementsAre("u/n:o via u/n:b"));
}

// Each tile drives the next one by its number, which is not the order of the list, and a mux without a node.
TEST_F(PlainWalk, TellsNothingOfARedundantInputWhereNoNodesStand) {
  BUILD_CASE c(device(R"(
    module BARE
      ports >x
      inst m MUX
      net x x m.a
    module TILE
      ports <p >q
      inst n MUX header
      inst b BARE
      net w n.o p b.x
      net v q n.a
    module TOP top type=1
      inst t3 TILE
      inst t1 TILE
      inst t4 TILE
      inst t0 TILE
      inst t2 TILE
      net w0 t0.p t1.q
      net w1 t1.p t2.q
      net w2 t2.p t3.q
      net w3 t3.p t4.q
  )"));
  describe(c);
  c.mark_redundant("BARE/m:a");
  c.build();
  EXPECT_THAT(c.edges(), ElementsAre("t0/n:o -> t1/n:o via t1/n:a", "t1/n:o -> t2/n:o via t2/n:a",
                                     "t2/n:o -> t3/n:o via t3/n:a", "t3/n:o -> t4/n:o via t4/n:a"));
}

// The wire reaches both pins of the other tile through two ports that lead both ways, and does not turn back.
const char* const TWO_WAYS = R"(
  module CELL
    ports =p
    inst m MUX header
    inst n MUX header
    net w p m.o n.a
    net z n.o
  module TILE
    ports =p
    inst c CELL
    inst k MUX header
    net w p c.p k.b
    net z k.o
  module TOP top
    inst t TILE
    inst u TILE
    net w t.p u.p
)";

TEST_F(PlainWalk, PassesOverTheEndFromWhichItComes) {
  BUILD_CASE c(device(TWO_WAYS));
  describe(c);
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("t/c/m:o"));
  EXPECT_THAT(
      folded.texts(folded.found().get_fanouts()),
      ElementsAre("t/c/n:o via t/c/n:a", "t/k:o via t/k:b", "u/c/n:o via u/c/n:a", "u/k:o via u/k:b"));
  EXPECT_EQ(folded.found().get_num_leaves(), 4U);
}

// A net behind a two-way port may be an end in one module, while in another the wire leads on from it.
TEST_F(PlainWalk, FollowsAWireThatLeadsOnWhereItCameIn) {
  BUILD_CASE c(device(R"(
    module CELL
      ports =p =q
      inst m MUX header
      net w p q m.a
      net z m.o
    module TOP top
      inst d MUX header
      inst c CELL
      inst e CELL
      net w d.o c.p
      net x c.q e.q
      net y e.p
  )"));
  describe(c);
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("d:o"));
  EXPECT_THAT(folded.texts(folded.found().get_fanouts()), ElementsAre("c/m:o via c/m:a", "e/m:o via e/m:a"));
}

// More cells than are told with the net outside.
TEST_F(PlainWalk, FindsAllOfAWideNet) {
  std::string text = "module CELL\n ports >i\n inst m MUX header\n net w i m.a\n net z m.o\n"
                     "module TILE\n ports >i\n";
  std::string net = " net w i";
  for (int cell = 0; cell != 20; ++cell) {
    text += " inst c" + std::to_string(cell) + " CELL\n";
    net += " c" + std::to_string(cell) + ".i";
  }
  text += net + "\nmodule TOP top\n inst d MUX header\n inst t TILE\n net w d.o t.i\n";
  BUILD_CASE c(device(text));
  describe(c);
  FOLDED_CASE folded(c);
  ASSERT_TRUE(folded.walk("d:o"));
  EXPECT_EQ(folded.texts(folded.found().get_fanouts()).size(), 20U);
  EXPECT_EQ(folded.found().get_num_leaves(), 20U);
}

// Each line replaces what m drives in its tile.
TEST_F(PlainWalk, LeavesToTheSearchWhatTheFoldedModelDoesNotTell) {
  struct CASE {
    const char* m_what;
    const char* m_lines;
    void (*m_describe)(BUILD_CASE&);
  };
  const CASE cases[] = {
      {"a skip path", "inst s SKIP header\n net w m.o s.i\n net y s.o",
       [](BUILD_CASE& c) { c.arcs("SKIP", {"i"}, "o", true); }},
      {"a flyover", "inst s SKIP header\n net w m.o s.i\n net y s.o",
       [](BUILD_CASE& c) {
         c.parse().add_routing_flyover(c.model().port("SKIP:i"), c.model().port("SKIP:o"));
       }},
      {"a bidirectional buffer", "inst s BUF header\n net w m.o s.x\n net y s.y", [](BUILD_CASE&) {}},
      {"a tm port", "inst s SKIP header\n net w m.o s.i\n net y s.o",
       [](BUILD_CASE& c) { c.arcs("SKIP", {"i"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M); }},
  };
  for (const CASE& each : cases) {
    BUILD_CASE c(device(std::string("module TILE\n ports <p\n inst m MUX header\n ") + each.m_lines +
                        "\nmodule TOP top\n inst t TILE\n"));
    describe(c);
    each.m_describe(c);
    FOLDED_CASE folded(c);
    EXPECT_FALSE(folded.walk("t/m:o")) << each.m_what;
  }
}

TEST_F(PlainWalk, LeavesTheEndsOfATunnelToTheSearch) {
  for (int type = 1; type != 4; ++type) {
    BUILD_CASE c(
        device("module TOP top\n inst m MUX header\n inst x TUNNEL header\n net w x.o m.a\n net y m.o\n"));
    describe(c);
    c.arcs("TUNNEL", {"i"}, "o");
    c.parse().add_tunnel_type(c.model().module("TUNNEL"), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(type));
    FOLDED_CASE folded(c);
    EXPECT_EQ(folded.walk("x:o"), type == 3) << "tunnel type " << type;
  }
}

// At an unconnected input of a block with arcs the search goes through its own arcs, and where it has none,
// nowhere, not even inside. Here the arc ends at an input, which makes that a node.
TEST_F(PlainWalk, LeavesEveryInputOfABlockWithArcsToTheSearch) {
  BUILD_CASE c(block_with_ports(R"(
    module PIN
      ports >x
    module BLK group=blk ip_root
      ports >i >j
    module BLK_BLC group=blk view=BLC ip_root
      ports >i >j
      inst p PIN
      inst k PIN
      net n i p.x
      net m j k.x
    module TOP top
      inst b BLK header
      net n b.i
  )",
                                2));
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  c.arcs("BLK_BLC", {"i"}, "j");
  FOLDED_CASE folded(c);
  EXPECT_FALSE(folded.walk("b:i"));
  EXPECT_FALSE(folded.walk("b:j"));
  ASSERT_THAT(c.nodes(), ElementsAre("b:i", "b:j", "b/p:x", "b/k:x"));
  EXPECT_THAT(c.edges(), ElementsAre("b:i -> b/p:x"));
  c.drop_builder();
  c.build();
  EXPECT_THAT(c.edges(), ElementsAre("b:i -> b/p:x"));
}

// Spare rows keep only nodes with a wire type: in u the port of the block has one, the pin behind it does
// not.
TEST_F(PlainWalk, LeavesABlockWhoseNodesAreNotAllThereToTheSearch) {
  BUILD_CASE c(block_with_ports(R"(
    module PIN
      ports >x
    module BLK group=blk ip_root
      ports >i
    module BLK_BLC group=blk view=BLC ip_root
      ports >i
      inst p PIN
      net n i p.x
    module TOP top
      inst t BLK header
      inst u BLK header
      net n t.i
      net m u.i
  )",
                                1));
  c.parse().add_routing_root(c.model().module("BLK"), 2);
  for (const char* key : {"BLK", "BLK_BLC"})
    c.store()->add_wire_type(KEP_RELATIVE_PATH::create({}, c.model().port(std::string(key) + ":i")), "w", 2);
  c.db()->get_legacy_api()->set_spare_row(c.model().unfolded_instance("u"), true);
  FOLDED_CASE folded(c);
  ASSERT_THAT(c.nodes(), ElementsAre("t:i", "u:i", "t/p:x"));
  ASSERT_TRUE(folded.walk("t:i"));
  EXPECT_THAT(folded.texts(folded.found().get_fanouts()), ElementsAre("t/p:x"));
  EXPECT_FALSE(folded.walk("u:i"));
}

TEST_F(PlainWalk, LeavesThePortsOfATopThatRoutesThemToTheSearch) {
  for (const int type : {1, 2}) {
    BUILD_CASE c(device("module TOP top type=" + std::to_string(type) +
                        "\n ports <p\n inst m MUX header\n net w m.o p\n"));
    describe(c);
    FOLDED_CASE folded(c);
    EXPECT_EQ(folded.walk("m:o"), c.db()->get_db_type() != KEP_DB_TYPE::TOP_PORTS_ROUTED) << type;
  }
}

/// Where a target of folded fanouts stands: its occurrence and number.
using TARGET = std::tuple<std::uint32_t, std::uint32_t>;

struct SEEN {
  std::uint64_t m_plain = 0, m_searched = 0, m_edges = 0, m_redundant = 0, m_missing = 0, m_blc = 0;
};

TARGET target_of(BUILD_CASE& c, const KEP_UNFOLDED_INST_PORT& uip) {
  return {static_cast<std::uint32_t>(uip.m_position),
          ACCESS::edge_builder(c.builder()).find_target(*uip.m_object)};
}

std::vector<EDGE> edges_of(BUILD_CASE& c, const auto& range) {
  std::vector<EDGE> edges;
  for (const KEP_ROUTING::FWD_EDGE& edge : range) {
    const auto [occurrence, target] = target_of(c, edge.get_fanout().get_unfolded_inst_port());
    const KEP_UNFOLDED_INST_PORT mux_input = edge.get_mux_input();
    EXPECT_TRUE(!mux_input || mux_input.m_position == occurrence);
    edges.emplace_back(occurrence, target,
                       mux_input ? mux_input.m_object->get_number() -
                                       edge.get_fanout().get_unfolded_inst_port().m_object->get_number()
                                 : NO_MUX_INPUT);
  }
  return edges;
}

/// Those at whose targets nodes stand, without the node's own.
std::vector<EDGE> edges_of(const std::vector<EDGE>& found, const TARGET& own, const std::set<TARGET>& nodes,
                           SEEN& seen) {
  std::vector<EDGE> edges;
  for (const EDGE& edge : found) {
    const TARGET target(std::get<0>(edge), std::get<1>(edge));
    if (target == own) continue;
    if (nodes.contains(target))
      edges.push_back(edge);
    else
      ++seen.m_missing;
  }
  return edges;
}

/// What the walk finds from each node is what the search found.
void compare(BUILD_CASE& c, SEEN& seen) {
  FOLDED_CASE folded(c);
  std::set<TARGET> nodes;
  const KEP_ROUTING::GRAPH& graph = *c.db()->get_routing_template_graph();
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes())
    if (!node.is_boundary() && !node.is_hipi()) nodes.insert(target_of(c, node.get_unfolded_inst_port()));
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    if (node.is_boundary() || node.is_hipi()) continue;
    const KEP_UNFOLDED_INST_PORT uip = node.get_unfolded_inst_port();
    if (!folded.walk(uip)) {
      ++seen.m_searched;
      continue;
    }
    ++seen.m_plain;
    const TARGET own = target_of(c, uip);
    EXPECT_EQ(edges_of(folded.edges(folded.found().get_fanouts()), own, nodes, seen),
              edges_of(c, node.iter_real_fanout()))
        << test_model::text_of(node);
    EXPECT_EQ(edges_of(folded.edges(folded.found().get_redundant_fanouts()), own, nodes, seen),
              edges_of(c, node.iter_redundant_fanout()))
        << test_model::text_of(node);
    seen.m_edges += node.get_num_real_edges();
    seen.m_redundant += node.get_num_edges() - node.get_num_real_edges();
    const bool in_blc = uip.m_object->get_inst()->get_parent()->get_view_type() == KEP_VIEW_TYPE::BLC;
    seen.m_blc += in_blc && node.get_num_edges() != 0;
  }
}

TEST(PlainWalkRandom, FindsWhatTheSearchFindsOnAnyDevice) {
  SEEN seen;
  for (const std::uint64_t seed : SEEDS(1, 399)) {
    RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      compare(c, seen);
    } catch (const KEP_EXCEPTION&) { // a device that is refused
    }
    if (HasFailure()) FAIL() << device.text();
  }
  EXPECT_GT(seen.m_plain, 3000U);
  EXPECT_GT(seen.m_searched, 1000U);
  EXPECT_GT(seen.m_edges, 1000U);
  EXPECT_GT(seen.m_redundant, 30U);
  EXPECT_GT(seen.m_missing, 0U);
  EXPECT_GT(seen.m_blc, 30U);
}

TEST(PlainWalkRandom, FindsWhatTheSearchFindsOnFabrics) {
  SEEN seen;
  for (const std::uint64_t seed : SEEDS(1, 199)) {
    FABRIC_CASE c(seed);
    compare(c, seen);
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(seen.m_plain, seen.m_searched);
  EXPECT_GT(seen.m_edges, 1000U);
}

} // namespace plain_walk_test
