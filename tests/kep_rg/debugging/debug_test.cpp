#include "kep_rg/kep_rg_debug.h"
#include "tests/support/named_model.h"

#include <boost/iterator/iterator_categories.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace debug_test {

const NAMED_MODEL& model() {
  static const NAMED_MODEL made(R"(
    module MUX
      ports >a <o
    module TOP name=device top
      ports >p
      inst m MUX
  )");
  return made;
}

TEST(DebugFanout, IsEmptyByDefault) {
  const KEP_RG_DBG_FANOUT fanout{};
  EXPECT_FALSE(fanout.is_redundant());
  EXPECT_EQ(fanout.get_routing_node(), nullptr);
  EXPECT_FALSE(fanout.get_mux_input());
}

TEST(DebugFanout, HoldsWhatItIsMadeOf) {
  const KEP_ROUTING_BUILDER_NODE node{};
  const KEP_RG_DBG_FANOUT fanout(true, &node, model().uip("m:a"));
  KEP_RG_DBG_FANOUT copy;
  copy = fanout;
  for (const KEP_RG_DBG_FANOUT& each : {fanout, copy, KEP_RG_DBG_FANOUT(std::move(copy))}) {
    EXPECT_TRUE(each.is_redundant());
    EXPECT_EQ(each.get_routing_node(), &node);
    EXPECT_EQ(each.get_mux_input(), model().uip("m:a"));
  }
}

TEST(DebugNode, NamesAUipByItsFullName) {
  const KEP_RG_DBG_NODE node(model().uip("m:o"));
  EXPECT_EQ(node.get_uip(), model().uip("m:o"));
  EXPECT_EQ(node.get_port(), nullptr);
  EXPECT_EQ(node.get_name(KEP_NAME_STYLE()), "m:o");
  KEP_NAME_STYLE style;
  style.m_port_separator = '.';
  EXPECT_EQ(node.get_name(style), "m.o");
}

TEST(DebugNode, NamesAPortByItsModuleASeparatorAndItself) {
  const KEP_RG_DBG_NODE node(model().port("TOP:p"));
  EXPECT_FALSE(node.get_uip());
  EXPECT_EQ(node.get_port(), model().port("TOP:p"));
  EXPECT_EQ(node.get_name(KEP_NAME_STYLE()), "device:p");
  KEP_NAME_STYLE style;
  style.m_port_separator = '.';
  EXPECT_EQ(node.get_name(style), "device.p");
}

TEST(DebugNode, HasNoNameWithoutUipAndPort) {
  EXPECT_EQ(KEP_RG_DBG_NODE(KEP_UNFOLDED_INST_PORT()).get_name(KEP_NAME_STYLE()), "");
  EXPECT_EQ(KEP_RG_DBG_NODE(static_cast<KEP_PORT*>(nullptr)).get_name(KEP_NAME_STYLE()), "");
}

TEST(DebugList, CountsAndKeepsTheOrderInWhichElementsCame) {
  KEP_RG_DBG_FANOUTS fanouts;
  EXPECT_EQ(fanouts.size(), 0U);
  EXPECT_TRUE(fanouts.iter().empty());
  std::vector<KEP_ROUTING_BUILDER_NODE> nodes(3);
  for (const std::size_t i : {2U, 0U, 1U, 0U})
    fanouts.add({i == 0, &nodes[i], {}});
  EXPECT_EQ(fanouts.size(), 4U);
  std::vector<const KEP_ROUTING_BUILDER_NODE*> found;
  for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter())
    found.push_back(fanout->get_routing_node());
  EXPECT_EQ(found,
            (std::vector<const KEP_ROUTING_BUILDER_NODE*>{&nodes[2], &nodes[0], &nodes[1], &nodes[0]}));
}

TEST(DebugList, HoldsNodesOfBothKinds) {
  KEP_RG_DBG_NODES nodes;
  nodes.add(KEP_RG_DBG_NODE(model().port("TOP:p")));
  nodes.add(KEP_RG_DBG_NODE(model().uip("m:o")));
  std::string names;
  for (const KEP_RG_DBG_NODE* node : nodes.iter())
    names += node->get_name(KEP_NAME_STYLE()) + " ";
  EXPECT_EQ(names, "device:p m:o ");
}

TEST(DebugList, IsCopiedAndMoved) {
  KEP_RG_DBG_FANOUTS fanouts;
  fanouts.add({true, nullptr, {}});
  KEP_RG_DBG_FANOUTS copy(fanouts);
  copy.add({});
  EXPECT_EQ(fanouts.size(), 1U);
  EXPECT_EQ(copy.size(), 2U);
  KEP_RG_DBG_FANOUTS moved(std::move(copy));
  EXPECT_EQ(moved.size(), 2U);
  fanouts = moved;
  EXPECT_EQ(fanouts.size(), 2U);
  fanouts = std::move(moved);
  EXPECT_TRUE((*fanouts.iter().begin())->is_redundant());
}

template <class ITER, class ELEMENT>
void check_iterator() {
  static_assert(std::is_same_v<typename std::iterator_traits<ITER>::value_type, ELEMENT*>);
  static_assert(std::is_same_v<typename std::iterator_traits<ITER>::reference, ELEMENT*>);
  static_assert(std::is_same_v<typename std::iterator_traits<ITER>::difference_type, std::int64_t>);
  static_assert(std::is_convertible_v<typename boost::iterators::iterator_traversal<ITER>::type,
                                      boost::iterators::forward_traversal_tag>);
  static_assert(!std::is_convertible_v<typename boost::iterators::iterator_traversal<ITER>::type,
                                       boost::iterators::bidirectional_traversal_tag>);
  static_assert(std::is_default_constructible_v<ITER>);
  static_assert(std::is_constructible_v<ITER, typename std::vector<ELEMENT>::iterator>);
}

TEST(DebugList, HasForwardIteratorsThatYieldPointers) {
  check_iterator<KEP_RG_DBG_NODE_ITER, KEP_RG_DBG_NODE>();
  check_iterator<KEP_RG_DBG_FANOUT_ITER, KEP_RG_DBG_FANOUT>();
  std::vector<KEP_RG_DBG_FANOUT> elements(2);
  KEP_RG_DBG_FANOUT_ITER at(elements.begin());
  EXPECT_EQ(*at, &elements[0]);
  EXPECT_EQ(*++at, &elements[1]);
  EXPECT_TRUE(++at == KEP_RG_DBG_FANOUT_ITER(elements.end()));
}

} // namespace debug_test
