#include "kep_rg/edges/kep_rg_process_node.h"
#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace build_process_node_test {

using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;
using PROCESS = KEP_PROCESS_NODE_FOR_ADD_EDGES;

// One finished graph and the body of the parallel loop, to be run on single nodes.
class BuildProcessNode : public testing::Test {
protected:
  void SetUp() override {
    m_case.arcs("MUX", {"a"}, "o", false, KEP_ROUTING_PRIMITIVE_HIPI::M);
    m_case.arcs("MUX", {"b"}, "o");
    m_case.build();
    m_work.m_stats = &m_stats;
    m_work.m_cache = &m_cache;
    m_build_search.emplace(ACCESS::instance_is_primitive(m_case.builder()), &m_observer);
    m_trace_search.emplace(ACCESS::trace_predicate(m_case.builder()), &m_observer);
    m_process.emplace(&m_case.builder(), &*m_build_search, &*m_trace_search, &m_per_thread, &m_mutex);
  }
  std::string text_of(KEP_ROUTING_BUILDER_NODE* node, const KEP_ROUTING::NODE* debug_node) {
    return assertion_text([&] { m_process->process_one_node(node, debug_node, m_work); });
  }
  static std::string fails(const std::string& expression) {
    return "Assertion failed: " + expression + " in kep_rg/kep_rg_build.cpp@LINE";
  }

  BUILD_CASE m_case{R"(
    module MUX
      ports >a >b <o
    module TOP top
      inst m MUX header
      inst k MUX header
      net n m.o k.b
      net q k.o
  )"};
  KEP_RG_EDGE_CREATION_STATS m_stats{1, 1};
  PROCESS::STATS m_per_thread{1U, 1};
  tbb::mutex m_mutex;
  PROCESS::WORK m_work{};
  ACCESS::CDRN_CACHE m_cache;
  KEP_UNFOLD_OBSERVER m_observer;
  std::optional<KEP_LEAF_SEARCH<KEP_RG_INSTANCE_IS_PRIMITIVE>> m_build_search;
  std::optional<KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE>> m_trace_search;
  std::optional<PROCESS> m_process;
};

TEST_F(BuildProcessNode, NeedsANodeToStartFrom) {
  EXPECT_EQ(text_of(nullptr, nullptr), fails("start_node || dbg_start_node"));
}

TEST_F(BuildProcessNode, NeedsOnlyOneNodeToStartFrom) {
  const KEP_ROUTING::NODE node(m_case.model().uip("m:o"), false);
  EXPECT_EQ(text_of(m_case.builder().get_builder_graph()->get_node(0), &node), fails("!start_node"));
}

TEST_F(BuildProcessNode, RefusesATwinForDebugging) {
  ACCESS::disable_edge_allocation(m_case.builder());
  const KEP_ROUTING::NODE twin(m_case.model().uip("m:o"), true);
  ASSERT_TRUE(twin.is_hipi());
  EXPECT_EQ(text_of(nullptr, &twin), fails("!dbg_start_node->is_hipi()"));
}

TEST_F(BuildProcessNode, RefusesToDebugWhileEdgesAreAllocated) {
  const KEP_ROUTING::NODE node(m_case.model().uip("m:o"), false);
  EXPECT_EQ(text_of(nullptr, &node), fails("m_ftd->m_disable_edge_allocation"));
}

TEST_F(BuildProcessNode, LeavesTheFanoutsOfADebuggedNodeInTheLists) {
  ACCESS::disable_edge_allocation(m_case.builder());
  const std::string graph = test_model::whole_graph(*m_case.db());
  const KEP_ROUTING::NODE node(m_case.model().uip("m:o"), false);
  m_process->process_one_node(nullptr, &node, m_work);
  ASSERT_EQ(m_work.m_fanouts.size(), 1U);
  EXPECT_EQ(test_model::name_of(m_work.m_fanouts[0].m_node->get_unfolded_inst_port()), "k:o");
  EXPECT_EQ(test_model::name_of(m_work.m_fanouts[0].m_mux_input), "k:b");
  EXPECT_THAT(m_work.m_redundant_fanouts, IsEmpty());
  EXPECT_EQ(test_model::whole_graph(*m_case.db()), graph);
}

} // namespace build_process_node_test
