#include "kep_rg/kep_rg_find_routing_node_on_net.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/named_model.h"
#include "tests/support/recorded_walk.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace find_routing_node_test {

using test_model::RECORDED_WALK;
using testing::ElementsAre;
using testing::IsEmpty;

const KEP_VIEW_TYPE_RANK BLC_FIRST(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

/// A model in which nodes stand where a test puts them.
class WIRES : public NAMED_MODEL {
public:
  WIRES(const std::string& text, const std::vector<std::string>& nodes)
      : WIRES(test_model::make_db(text), nodes) {}
  WIRES(std::unique_ptr<KEP_DB> model, const std::vector<std::string>& nodes)
      : NAMED_MODEL(std::move(model)) {
    test_model::EDITED_GRAPH(*db(), nodes).publish();
  }
  /// The node that the search from this one gives, "(none)" for the null node.
  std::string next(const char* from, const KEP_VIEW_TYPE_RANK& rank = BLC_FIRST) {
    RECORDED_WALK walk;
    const KEP_RG_FIND_ROUTING_NODE_ON_NET finder(rank, &walk);
    const KEP_ROUTING::NODE found = finder.find_routing_node(test_model::node_named(*db(), from));
    m_visits = walk.calls();
    return found ? test_model::text_of(found) : "(none)";
  }
  /// What the observer was told in the last search.
  const std::vector<std::string>& visits() const { return m_visits; }

private:
  std::vector<std::string> m_visits;
};

const std::string CELL = R"(
    module CELL
      ports >a >b <o
)";

// s drives k.
const std::string PAIR = CELL + R"(
    module TOP top
      inst s CELL
      inst k CELL
      net n s.o k.a
)";

TEST(FindRoutingNode, GivesTheNodeOnTheFirstNetWithTwoVisits) {
  WIRES w(PAIR, {"s:o", "k:a"});
  EXPECT_EQ(w.next("s:o"), "k:a");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "k:a found"));
  EXPECT_EQ(w.next("k:a"), "s:o") << "directions do not matter";
}

const std::string DOWN = CELL + R"(
    module TILE
      ports >in
      inst k CELL
      net n in k.a
    module TOP top
      inst s CELL
      inst t TILE
      net n s.o t.in
  )";

TEST(FindRoutingNode, GoesDownIntoAModule) {
  WIRES w(DOWN, {"s:o", "t/k:a"});
  EXPECT_EQ(w.next("s:o"), "t/k:a");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "t:in walk", "[t:in] walk", "[t:in] walk", "t/k:a found"))
      << "the port inside is told by the step into it and by the step from it";
}

TEST(FindRoutingNode, GoesUpOutOfAModule) {
  WIRES w(CELL + R"(
    module TILE
      ports <out
      inst s CELL
      net n s.o out
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a
  )",
          {"t/s:o", "k:a"});
  EXPECT_EQ(w.next("t/s:o"), "k:a");
  EXPECT_THAT(w.visits(), ElementsAre("t/s:o walk", "[t:out] walk", "t:out walk", "k:a found"));
}

TEST(FindRoutingNode, FindsANodeOnTheModuleThatItLeaves) {
  WIRES w(CELL + R"(
    module TILE
      ports <out
      inst s CELL
      net n s.o out
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a
  )",
          {"t/s:o", "t:out", "k:a"});
  EXPECT_EQ(w.next("t/s:o"), "t:out");
  EXPECT_THAT(w.visits(), ElementsAre("t/s:o walk", "[t:out] walk", "t:out found"));
  EXPECT_EQ(w.next("t:out"), "k:a") << "the first net is the one outside";
  EXPECT_EQ(w.next("k:a"), "t:out") << "a node is not entered";
}

TEST(FindRoutingNode, GivesTheNullNodeAtOnceForAUipWithoutANet) {
  WIRES w(CELL + R"(
    module TOP top
      inst s CELL
  )",
          {"s:o"});
  EXPECT_EQ(w.next("s:o"), "(none)");
  EXPECT_THAT(w.visits(), IsEmpty());
}

TEST(FindRoutingNode, GivesTheNullNodeForABoundaryNodeAndForTheNullNode) {
  WIRES w(CELL + R"(
    module TOP top
      ports >p
      inst k CELL
      net n p k.a
  )",
          {":p", "k:a"});
  EXPECT_EQ(w.next(":p"), "(none)");
  EXPECT_THAT(w.visits(), IsEmpty());
  EXPECT_EQ(w.next("no such node"), "(none)");
  EXPECT_THAT(w.visits(), IsEmpty());
  EXPECT_EQ(w.next("k:a"), "(none)") << "boundary nodes are not looked for";
  EXPECT_THAT(w.visits(), ElementsAre("k:a walk", "[:p] walk"));
}

TEST(FindRoutingNode, GivesUpWhereANetHasTwoOtherInstPorts) {
  WIRES w(CELL + R"(
    module TILE
      ports <out
      inst s CELL
      net n s.o out
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a k.b
  )",
          {"t/s:o", "k:a", "k:b"});
  EXPECT_EQ(w.next("t/s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("t/s:o walk", "[t:out] walk", "t:out walk"));
  EXPECT_EQ(w.next("k:a"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("k:a walk"));
}

TEST(FindRoutingNode, GivesUpWhereANetHasTwoOtherPorts) {
  WIRES w(CELL + R"(
    module TILE
      ports <out <z
      inst s CELL
      net n s.o out z
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a
      net m t.z
  )",
          {"t/s:o", "k:a"});
  EXPECT_EQ(w.next("t/s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("t/s:o walk"));
  EXPECT_EQ(w.next("k:a"), "t/s:o");
  EXPECT_THAT(w.visits(),
              ElementsAre("k:a walk", "t:out walk", "[t:out] walk", "[t:out] walk", "t/s:o found"))
      << "the inst port is looked at before the ports are counted";
}

TEST(FindRoutingNode, EndsAtAnInstPortWithNothingInside) {
  WIRES w(PAIR, {"s:o"});
  EXPECT_EQ(w.next("s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "k:a walk"));
}

TEST(FindRoutingNode, EndsAtAnInstPortWithoutAViewUnderTheRank) {
  WIRES w(DOWN, {"s:o", "t/k:a"});
  EXPECT_EQ(w.next("s:o", KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::BLC)), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "t:in walk"));
}

TEST(FindRoutingNode, EndsOnANetWithNothingElse) {
  WIRES w(CELL + R"(
    module TOP top
      inst s CELL
      net n s.o
  )",
          {"s:o"});
  EXPECT_EQ(w.next("s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk"));
}

TEST(FindRoutingNode, EndsOutsideAtAPortWithoutANet) {
  WIRES w(CELL + R"(
    module TILE
      ports <out
      inst s CELL
      net n s.o out
    module TOP top
      inst t TILE
  )",
          {"t/s:o"});
  EXPECT_EQ(w.next("t/s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("t/s:o walk", "[t:out] walk"));
}

TEST(FindRoutingNode, GoesOnByThePortWhenTheInstPortHasNothingInside) {
  WIRES w(CELL + R"(
    module TILE
      ports <out
      inst s CELL
      inst dead CELL
      net n s.o dead.a out
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a
  )",
          {"t/s:o", "k:a"});
  EXPECT_EQ(w.next("t/s:o"), "k:a") << "one inst port and one port are no branch";
  EXPECT_THAT(w.visits(),
              ElementsAre("t/s:o walk", "t/dead:a walk", "[t:out] walk", "t:out walk", "k:a found"));
}

TEST(FindRoutingNode, GivesUpThePortOnceItWentIntoTheInstPort) {
  WIRES w(CELL + R"(
    module INNER
      ports >in
      inst dead CELL
      net n in dead.a
    module TILE
      ports <out
      inst s CELL
      inst i INNER
      net n s.o i.in out
    module TOP top
      inst k CELL
      inst t TILE
      net n t.out k.a
  )",
          {"t/s:o", "k:a"});
  EXPECT_EQ(w.next("t/s:o"), "(none)");
  EXPECT_THAT(w.visits(),
              ElementsAre("t/s:o walk", "t/i:in walk", "[t/i:in] walk", "[t/i:in] walk", "t/i/dead:a walk"));
}

const char* const RING = R"(
    module THROUGH
      ports <o >i
      net n o i
    module TOP top
      inst s THROUGH
      inst l THROUGH
      net n s.o l.i
      net m l.o s.i
  )";

TEST(FindRoutingNode, GivesItsStartWhereTheWireIsARing) {
  WIRES w(RING, {"s:o"});
  EXPECT_EQ(w.next("s:o"), "s:o");
  EXPECT_THAT(w.visits(),
              ElementsAre("s:o walk", "l:i walk", "[l:i] walk", "[l:i] walk", "[l:o] walk", "l:o walk",
                          "s:i walk", "[s:i] walk", "[s:i] walk", "[s:o] walk", "s:o found"));
}

TEST(FindRoutingNode, EndsWhenTheWayUpComesBackToANet) {
  WIRES w(RING, {"s:o*"});
  EXPECT_EQ(w.next("s:o*"), "(none)") << "a twin is not looked for";
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "l:i walk", "[l:i] walk", "[l:i] walk", "[l:o] walk",
                                      "l:o walk", "s:i walk", "[s:i] walk", "[s:i] walk", "[s:o] walk"))
      << "the net of s:o is not entered again";
}

TEST(FindRoutingNode, EndsWhenTheWayDownComesBackToANet) {
  WIRES w(CELL + R"(
    module THROUGH
      ports >i <j
      net n i j
    module R
      ports <y >z
      inst s CELL
      inst c THROUGH
      net p s.o c.i z
      net q c.j y
    module TOP top
      inst r R
      net n r.y r.z
  )",
          {"r/s:o"});
  EXPECT_EQ(w.next("r/s:o"), "(none)");
  EXPECT_THAT(w.visits(),
              ElementsAre("r/s:o walk", "r/c:i walk", "[r/c:i] walk", "[r/c:i] walk", "[r/c:j] walk",
                          "r/c:j walk", "[r:y] walk", "r:y walk", "r:z walk", "[r:z] walk"))
      << "the net of r:z is not entered again";
}

TEST(FindRoutingNode, GoesDownIntoTheViewOfTheRank) {
  WIRES w(CELL + R"(
    module TILE group=tile
      ports >in
      inst k CELL
      net n in k.a
    module TILE_BLC group=tile view=BLC
      ports >in
      inst q CELL
      net n in q.b
    module TOP top
      inst s CELL
      inst t TILE
      net n s.o t.in
  )",
          {"s:o", "t/k:a", "t@BLC/q:b"});
  EXPECT_EQ(w.next("s:o", BLC_FIRST), "t/q:b");
  EXPECT_EQ(w.next("s:o", KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL)), "t/k:a");
}

TEST(FindRoutingNode, PassesByATwinWithoutAPlainNode) {
  WIRES w(PAIR, {"s:o", "k:a*"});
  EXPECT_EQ(w.next("s:o"), "(none)");
  EXPECT_THAT(w.visits(), ElementsAre("s:o walk", "k:a walk"));
  EXPECT_EQ(w.next("k:a*"), "s:o") << "a twin is a start like any other";
}

TEST(FindRoutingNode, KeepsNothingBetweenCalls) {
  WIRES w(PAIR, {"s:o", "k:a"});
  KEP_UNFOLD_OBSERVER observer;
  const KEP_RG_FIND_ROUTING_NODE_ON_NET finder(BLC_FIRST, &observer);
  const KEP_ROUTING::NODE start = test_model::node_named(*w.db(), "s:o");
  for (int i = 0; i != 3; ++i)
    EXPECT_EQ(finder.find_routing_node(start), test_model::node_named(*w.db(), "k:a"));
}

/// A wire from s:o to k:a through so many modules.
std::unique_ptr<KEP_DB> make_wire(unsigned length) {
  test_model::TEXT_MODEL text(CELL + R"(
    module THROUGH
      ports >i <o
      net n i o
    module TOP top
  )");
  KEP_DB_BUILDER& builder = text.builder();
  const KEP_MODULE_ID top = text.id("TOP");
  KEP_INSTANCE_ID from = builder.add_instance(top, "s", text.id("CELL"), {});
  unsigned from_port = 2; // CELL's o
  for (unsigned i = 0; i != length; ++i) {
    const KEP_INSTANCE_ID through = builder.add_instance(top, fmt::format("t{}", i), text.id("THROUGH"), {});
    const KEP_NET_ID net = builder.add_net(top, fmt::format("n{}", i));
    builder.connect(top, from, from_port, net);
    builder.connect(top, through, 0, net);
    from = through;
    from_port = 1;
  }
  const KEP_NET_ID last = builder.add_net(top, "last");
  builder.connect(top, from, from_port, last);
  builder.connect(top, builder.add_instance(top, "k", text.id("CELL"), {}), 0, last);
  return text.freeze();
}

TEST(FindRoutingNode, FollowsAWireThatIsLongerThanAStackIsDeep) {
  const unsigned length = 100000;
  WIRES w(make_wire(length), {"s:o", "k:a"});
  EXPECT_EQ(w.next("s:o"), "k:a");
  EXPECT_EQ(w.visits().size(), 2U + 5U * length);
}

} // namespace find_routing_node_test
