#include "kep_rg/kep_rg_proof.h"

#include "kep/kep_db_cache.h"
#include "kep_rg/kep_rg_proof_groups.h"
#include "kep_rg/kep_rg_proof_node.h"
#include "kep_rg/kep_rg_proof_steps.h"
#include "kep_rg/kep_rg_tsan.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <utility>

namespace {

using EDGE = KEP_RG_PROOF_NODE::EDGE;
using RESULT = KEP_RG_PROOF::RESULT;

constexpr std::uint32_t NODES_PER_BLOCK = 10000;

KEP_RG_REDUNDANCY_MARKS::UIPS find_redundant_inputs(KEP_DB* db) {
  if (db->get_db_type() == KEP_DB_TYPE::NO_REDUNDANCY) return {};
  KEP_DB_PARENTS_CACHE parents;
  parents.initialize(db);
  KEP_DB_REDUNDANCY_CACHE redundancy(true);
  redundancy.initialize(db, &parents);
  KEP_UNFOLDED_INST_PORT_USET marked;
  redundancy.add_redundant_ports(&marked, db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
  return {marked.iter().begin(), marked.iter().end()};
}

/// Holds the edges of one node after the other against what they should be.
class COMPARISON {
public:
  COMPARISON(KEP_RG_PROOF_NODE& model, RESULT& result, std::size_t max_findings)
      : m_model(model), m_result(result), m_max_findings(max_findings) {}

  void compare(const KEP_ROUTING::NODE& node) {
    m_actual.clear();
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, false));
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, true));
    std::vector<EDGE>& expected = m_model.find_edges(node);
    ++m_result.m_num_nodes;
    m_result.m_num_edges += m_actual.size();
    std::sort(m_actual.begin(), m_actual.end());
    std::sort(expected.begin(), expected.end());
    auto actual = m_actual.begin();
    auto should_be = expected.begin();
    while (actual != m_actual.end() || should_be != expected.end()) {
      if (should_be == expected.end() || (actual != m_actual.end() && *actual < *should_be))
        tell(node, *actual++, false);
      else if (actual == m_actual.end() || *should_be < *actual)
        tell(node, *should_be++, true);
      else
        ++actual, ++should_be;
    }
  }

private:
  void tell(const KEP_ROUTING::NODE& node, const EDGE& edge, bool is_missing) {
    const KEP_ROUTING::NODE target = m_model.get_target(edge);
    if (is_missing && !target) return; // a place without a node
    ++(is_missing ? m_result.m_num_missing_edges : m_result.m_num_surplus_edges);
    if (m_result.m_edge_findings.size() == m_max_findings) return;
    m_result.m_edge_findings.push_back(
        {is_missing, edge.m_is_redundant, node, target, m_model.get_mux_input(edge)});
  }

  KEP_RG_PROOF_NODE& m_model;
  RESULT& m_result;
  std::size_t m_max_findings;
  std::vector<EDGE> m_actual;
};

} // namespace

KEP_RG_PROOF::KEP_RG_PROOF(KEP_DB* db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& routing_cache)
    : m_db(db), m_steps(std::make_unique<const KEP_RG_PROOF_STEPS>(db, routing_cache)),
      m_groups(std::make_unique<const KEP_RG_PROOF_GROUPS>(*m_steps)) {}
KEP_RG_PROOF::~KEP_RG_PROOF() = default;

KEP_RG_PROOF::RESULT KEP_RG_PROOF::run(int num_threads, std::size_t max_findings) const {
  const KEP_ROUTING::GRAPH& graph = *m_db->get_routing_template_graph();
  const KEP_RG_REDUNDANCY_MARKS::UIPS redundant_uips = find_redundant_inputs(m_db);
  const KEP_RG_REDUNDANCY_MARKS redundant_inputs(*m_db, redundant_uips);
  const auto num_nodes = static_cast<std::uint32_t>(graph.get_num_nodes());
  const std::uint32_t num_blocks = num_nodes / NODES_PER_BLOCK + 1;
  std::vector<RESULT> results(num_blocks);
  const auto compare_block = [&](std::uint32_t block) {
    KEP_RG_PROOF_NODE model(*m_steps, *m_groups, redundant_inputs);
    COMPARISON comparison(model, results[block], max_findings);
    const std::uint32_t end = std::min(num_nodes, (block + 1) * NODES_PER_BLOCK);
    for (std::uint32_t node = block * NODES_PER_BLOCK; node < end; ++node)
      comparison.compare(graph.get_node(node));
  };
  KEP_RG_TSAN::before_loop();
  tbb::task_arena(num_threads, 1).execute([&] {
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, num_blocks),
                      [&](const tbb::blocked_range<std::uint32_t>& blocks) {
                        KEP_RG_TSAN::begin_body();
                        for (std::uint32_t block = blocks.begin(); block != blocks.end(); ++block)
                          compare_block(block);
                        KEP_RG_TSAN::end_body();
                      });
  });
  KEP_RG_TSAN::after_loop();

  RESULT total;
  for (const RESULT& result : results) {
    total.m_num_nodes += result.m_num_nodes;
    total.m_num_edges += result.m_num_edges;
    total.m_num_missing_edges += result.m_num_missing_edges;
    total.m_num_surplus_edges += result.m_num_surplus_edges;
    const std::size_t room = max_findings - total.m_edge_findings.size();
    total.m_edge_findings.insert(total.m_edge_findings.end(), result.m_edge_findings.begin(),
                                 result.m_edge_findings.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                                      room, result.m_edge_findings.size())));
  }
  return total;
}

std::string KEP_RG_PROOF::NODE_FINDING::get_name(const KEP_NAME_STYLE& style) const {
  return m_port ? style.m_port_separator + std::string(m_port->get_plain_name()) : m_uip.get_name(style);
}
