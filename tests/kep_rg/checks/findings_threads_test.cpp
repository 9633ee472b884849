// Findings are the same for any number of threads, in the order of the graph, and of each kind the first ones
// are kept.

#include "kep_rg/kep_rg_findings.h"
#include "tests/support/damaged_graph.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>

namespace findings_threads_test {

using test_model::EDITED_GRAPH;
using FIND = KEP_RG_FINDINGS (*)(const KEP_ROUTING::GRAPH&, std::size_t, KEP_REPORT_PROGRESS*);

constexpr std::size_t NUM_ROWS = 250;
constexpr std::size_t NUM_MUXES = 120; // in a row

/// More nodes than two ranges hold, with findings in each.
class FindingsThreads : public testing::Test {
protected:
  FindingsThreads() {
    EDITED_GRAPH graph(*m_db);
    std::vector<EDITED_GRAPH::NODE>& nodes = graph.nodes();
    for (const KEP_UNFOLDED_INSTANCE& row :
         m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances())
      for (const KEP_UNFOLDED_INSTANCE& mux : row.get_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances()) {
        nodes.push_back({mux.get_unfolded_inst_port_by_index(1)});
        if (nodes.size() % 7 == 0) nodes.push_back({nodes.back().m_uip, nullptr, true});
      }
    for (std::size_t i = 0; i != nodes.size(); ++i) { // a ring, of which some is doubled
      const EDITED_GRAPH::EDGE next{(i + 1) % nodes.size(), {}};
      nodes[i].m_real = {next};
      if (i % 5 == 0) nodes[i].m_redundant = {next};
      if (i % 25 == 0) nodes[i].m_real.push_back(next);
    }
    graph.publish();
  }
  static std::string model() {
    std::string text = "module MUX\n ports >a <o\nmodule ROW\n";
    for (std::size_t i = 0; i != NUM_MUXES; ++i)
      text += fmt::format(" inst m{} MUX\n", i);
    text += "module TOP top\n";
    for (std::size_t i = 0; i != NUM_ROWS; ++i)
      text += fmt::format(" inst r{} ROW\n", i);
    return text;
  }
  const KEP_ROUTING::GRAPH& graph() const { return *m_db->get_routing_template_graph(); }

  const std::unique_ptr<KEP_DB> m_db = test_model::make_db(model());
};

TEST_F(FindingsThreads, AreTheSameForAnyNumberOfThreads) {
  const FIND find_hipi_order = [](const KEP_ROUTING::GRAPH& graph, std::size_t max,
                                  KEP_REPORT_PROGRESS* progress) {
    return kep_rg_find_hipi_order(graph, max, progress);
  };
  const FIND find_doubled_edges = [](const KEP_ROUTING::GRAPH& graph, std::size_t max,
                                     KEP_REPORT_PROGRESS* progress) {
    return kep_rg_find_doubled_edges(graph, max, progress);
  };
  for (const FIND find : {find_hipi_order, find_doubled_edges, &kep_rg_find_unreachable_nodes}) {
    const KEP_RG_FINDINGS all =
        tbb::task_arena(1, 1).execute([&] { return find(graph(), 1000000, nullptr); });
    EXPECT_GT(all.m_num, 1000U);
    EXPECT_EQ(all.m_num, all.m_first.size());
    EXPECT_TRUE(std::is_sorted(all.m_first.begin(), all.m_first.end()));
    for (const int threads : {2, 5})
      for (const std::size_t max : {std::size_t{20}, std::size_t{700}, std::size_t{1000000}}) {
        const KEP_RG_FINDINGS some =
            tbb::task_arena(threads, 1).execute([&] { return find(graph(), max, nullptr); });
        EXPECT_EQ(some.m_num, all.m_num);
        ASSERT_EQ(some.m_first.size(), std::min(max, all.m_first.size()));
        EXPECT_TRUE(std::equal(some.m_first.begin(), some.m_first.end(), all.m_first.begin()));
      }
  }
}

TEST_F(FindingsThreads, MayBeLookedForAllAtATime) {
  KEP_RG_FINDINGS hipi;
  KEP_RG_FINDINGS doubled;
  KEP_RG_FINDINGS unreachable;
  std::thread first([&] { hipi = kep_rg_find_hipi_order(graph(), 1); });
  std::thread second([&] { doubled = kep_rg_find_doubled_edges(graph(), 1); });
  unreachable = kep_rg_find_unreachable_nodes(graph(), 1);
  first.join();
  second.join();
  const std::uint64_t num_nodes = graph().get_num_nodes();
  EXPECT_EQ(doubled.m_num, (num_nodes + 24) / 25);
  EXPECT_EQ(unreachable.m_num, num_nodes) << "nothing comes into a ring";
  EXPECT_GT(hipi.m_num, 0U);
}

} // namespace findings_threads_test
