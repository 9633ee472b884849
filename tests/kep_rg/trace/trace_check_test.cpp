// Checking all edges of a node in one walk gives what tracing each edge by itself and following its trace
// gives: on random devices, as they are built and with edges changed at random.

#include "kep_rg/kep_rg_trace_edge.h"
#include "kep_rg/kep_rg_trace_tally.h"
#include "tests/support/build_case.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/fabric_case.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace trace_check_test {

using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;
using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using SEEN = std::array<unsigned, KEP_RG_TRACE_EDGE::NUM_OUTCOMES>;

OUTCOME check_alone(KEP_RG_TRACE_EDGE& tracer, const NODE& from, const NODE& to, std::size_t& num_hops) {
  num_hops = 0;
  if (!to) return OUTCOME::NULL_NODE;
  if (from.is_boundary()) return OUTCOME::STARTS_AT_BOUNDARY;
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  std::vector<KEP_RG_TRACE_EDGE::HOP> hops;
  if (!tracer.trace_edge(from, to, trace))
    return to.is_boundary() ? OUTCOME::ENDS_AT_BOUNDARY : OUTCOME::NOT_FOUND;
  const OUTCOME outcome = tracer.check_trace(from, trace, hops);
  EXPECT_EQ(hops.size() == trace.size(), outcome == OUTCOME::VERIFIED);
  if (outcome == OUTCOME::VERIFIED) num_hops = hops.size();
  return outcome;
}

/// However many threads share the work, the tally counts the hops of all edges that verify.
void compare_tally(const KEP_DB& db, const std::vector<std::uint64_t>& num_hops) {
  for (const int num_threads : {1, 3})
    ASSERT_EQ(kep_rg_trace_all_edges(db, num_threads, 10).m_num_hops, num_hops);
}

/// Every edge of the graph, in one walk and alone.
void compare(KEP_DB& db, SEEN& seen) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  std::vector<OUTCOME> outcomes;
  std::vector<std::uint32_t> hops;
  std::vector<std::uint64_t> num_hops;
  bool all_verified = true;
  for (const NODE& node : db.get_routing_template_graph()->iter_nodes()) {
    tracer.check_edges(node, outcomes, hops);
    ASSERT_EQ(hops.size(), outcomes.size());
    std::size_t place = 0;
    for (const FWD_EDGE& edge : node.iter_all_fanout()) {
      ASSERT_LT(place, outcomes.size());
      const NODE to = edge.get_fanout();
      std::size_t hops_alone = 0;
      ASSERT_EQ(outcomes[place], check_alone(tracer, node, to, hops_alone))
          << test_model::text_of(node) << " -> " << test_model::text_of(to);
      ASSERT_EQ(hops[place], hops_alone);
      if (outcomes[place] == OUTCOME::VERIFIED) {
        num_hops.resize(std::max(num_hops.size(), hops_alone + 1));
        ++num_hops[hops_alone];
      }
      all_verified = all_verified && outcomes[place] == OUTCOME::VERIFIED;
      ++seen[static_cast<std::size_t>(outcomes[place])];
      ++place;
    }
    ASSERT_EQ(place, outcomes.size());
  }
  compare_tally(db, num_hops);
  KEP_REPORT_CAPTURE capture;
  bool verified = false;
  try {
    verified = tracer.verify_all_edge_traces();
  } catch (const KEP_REPORT_ASSERTION_FAILURE&) {
  }
  EXPECT_EQ(verified, all_verified);
}

/// Another mux input, another target, or an edge that was not there.
void damage(EDITED_GRAPH& graph, RANDOM_SOURCE& random) {
  EDITED_GRAPH::NODE& node = graph.nodes()[random.below(graph.nodes().size())];
  const auto target = random.below(graph.nodes().size());
  if (node.m_real.empty()) {
    node.m_real.push_back({target, graph.nodes()[target].m_uip});
    return;
  }
  EDITED_GRAPH::EDGE& edge = node.m_real[random.below(node.m_real.size())];
  switch (random.below(3)) {
  case 0:
    edge.m_mux_input = random.percent(30) ? KEP_UNFOLDED_INST_PORT() : graph.nodes()[target].m_uip;
    break;
  case 1:
    edge.m_to = target;
    break;
  default:
    node.m_redundant.push_back({target, edge.m_mux_input});
  }
}

TEST(TraceCheck, AgreesWithSingleTracesOnRandomDevices) {
  SEEN seen{};
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    FABRIC_CASE c(seed);
    c.build();
    compare(*c.db(), seen);
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(seen[static_cast<std::size_t>(OUTCOME::VERIFIED)], 10000U);
  EXPECT_GT(seen[static_cast<std::size_t>(OUTCOME::STARTS_AT_BOUNDARY)], 100U);
  EXPECT_GT(seen[static_cast<std::size_t>(OUTCOME::ENDS_AT_BOUNDARY)], 100U);
}

TEST(TraceCheck, AgreesWithSingleTracesOnDamagedGraphs) {
  SEEN seen{};
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    FABRIC_CASE c(seed);
    c.build();
    EDITED_GRAPH graph = EDITED_GRAPH::read(*c.db());
    if (graph.nodes().empty()) continue;
    RANDOM_SOURCE random(seed);
    for (int i = 0; i != 4; ++i)
      damage(graph, random);
    graph.publish();
    compare(*c.db(), seen);
    if (HasFailure()) FAIL() << c.text();
  }
  for (const OUTCOME outcome : {OUTCOME::VERIFIED, OUTCOME::NOT_FOUND, OUTCOME::NO_ARC,
                                OUTCOME::NET_OF_FIRST_HOP, OUTCOME::NET_OF_LATER_HOP})
    EXPECT_GT(seen[static_cast<std::size_t>(outcome)], 10U) << static_cast<int>(outcome);
}

TEST(TraceCheck, CountsEdgesWithoutAFanoutAndIsSilent) {
  unsigned num_null = 0;
  for (const std::uint64_t seed : SEEDS(1, 50)) {
    FABRIC_CASE c(seed);
    c.build();
    const KEP_ROUTING::GRAPH& graph = *c.db()->get_routing_template_graph();
    if (graph.get_num_nodes() == 0) continue;
    test_model::STORAGE_DAMAGE(*c.db()).empty_last_node();
    const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(c.db());
    KEP_RG_TRACE_EDGE tracer(c.db(), cache);
    KEP_REPORT_CAPTURE capture;
    std::vector<OUTCOME> outcomes;
    for (std::uint32_t i = 0; i + 1 < graph.get_num_nodes(); ++i) {
      tracer.check_edges(graph.get_node(i), outcomes);
      num_null += static_cast<unsigned>(std::count(outcomes.begin(), outcomes.end(), OUTCOME::NULL_NODE));
    }
    EXPECT_EQ(capture.text(KEP_REPORT::STREAM::ERR), "");
  }
  EXPECT_GT(num_null, 10U);
}

} // namespace trace_check_test
