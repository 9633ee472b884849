// Several tracers side by side on one graph, which they only read.

#include "kep_rg/kep_rg_trace_edge.h"
#include "tests/support/build_case.h"
#include "tests/support/fabric_case.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace trace_threads_test {

using OUTCOMES = std::vector<KEP_RG_TRACE_EDGE::OUTCOME>;
using test_model::FABRIC_CASE;
using test_model::SEEDS;

/// The outcomes of all edges, node by node, with one tracer for all of them.
std::vector<OUTCOMES> check_all(const KEP_DB& db, KEP_RG_TRACE_EDGE tracer) {
  std::vector<OUTCOMES> all;
  for (const KEP_ROUTING::NODE& node : db.get_routing_template_graph()->iter_nodes())
    tracer.check_edges(node, all.emplace_back());
  return all;
}

TEST(TraceThreads, TracersSideBySideSeeWhatOneAloneSees) {
  std::size_t num_nodes = 0;
  for (const std::uint64_t seed : SEEDS(1, 30)) {
    FABRIC_CASE c(seed);
    c.build();
    const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(c.db());
    const KEP_RG_TRACE_EDGE tracer(c.db(), cache);
    const std::vector<OUTCOMES> alone = check_all(*c.db(), tracer);
    std::vector<std::vector<OUTCOMES>> seen(4);
    std::vector<std::thread> threads;
    for (std::vector<OUTCOMES>& own : seen)
      threads.emplace_back([&] { own = check_all(*c.db(), tracer); });
    for (std::thread& thread : threads)
      thread.join();
    for (const std::vector<OUTCOMES>& own : seen)
      EXPECT_TRUE(own == alone);
    num_nodes += alone.size();
  }
  EXPECT_GT(num_nodes, 300U);
}

} // namespace trace_threads_test
