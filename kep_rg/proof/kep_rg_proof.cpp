#include "kep_rg/kep_rg_proof.h"

#include "kep/common/kep_tsan.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/proof/kep_rg_proof_facts.h"
#include "kep_rg/proof/kep_rg_proof_groups.h"
#include "kep_rg/proof/kep_rg_proof_node.h"
#include "kep_rg/proof/kep_rg_proof_nodes.h"
#include "kep_rg/proof/kep_rg_proof_redundancy.h"
#include "kep_rg/proof/kep_rg_proof_steps.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <utility>

namespace {

using EDGE = KEP_RG_PROOF_NODE::EDGE;
using RESULT = KEP_RG_PROOF::RESULT;
using KEP_ROUTING::NODE;

constexpr std::uint32_t NODES_PER_BLOCK = 10000;

/// Holds one node after the other, and its edges, against what they should be.
class COMPARISON {
public:
  COMPARISON(KEP_RG_PROOF_NODE& model, RESULT& result, std::size_t max_findings)
      : m_model(model), m_result(result), m_max_findings(max_findings) {}

  void compare(const NODE& node) {
    ++m_result.m_num_nodes;
    m_result.m_num_edges += node.get_num_edges();
    if (m_model.should_stand(node))
      compare_edges(node);
    else if (++m_result.m_num_surplus_nodes <= m_max_findings)
      m_result.m_node_findings.push_back(
          {false, node.is_hipi(), node.get_unfolded_inst_port(), node.get_port()});
  }

private:
  void compare_edges(const NODE& node) {
    m_actual.clear();
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, false));
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, true));
    std::vector<EDGE>& expected = m_model.find_edges(node);
    std::sort(m_actual.begin(), m_actual.end());
    std::sort(expected.begin(), expected.end());
    auto actual = m_actual.begin();
    auto should_be = expected.begin();
    while (actual != m_actual.end() || should_be != expected.end()) {
      if (should_be == expected.end() || (actual != m_actual.end() && *actual < *should_be))
        tell_surplus(node, *actual++);
      else if (actual == m_actual.end() || *should_be < *actual)
        tell_missing(node, *should_be++);
      else
        ++actual, ++should_be;
    }
  }

  void tell_missing(const NODE& node, const EDGE& edge) {
    const NODE target = m_model.get_target(edge);
    if (!target) return; // the node is missing, and the edge with it
    if (++m_result.m_num_missing_edges <= m_max_findings)
      m_result.m_edge_findings.push_back(
          {true, edge.m_is_redundant, node, target, m_model.get_mux_input(edge)});
  }

  void tell_surplus(const NODE& node, const EDGE& edge) {
    const NODE target = m_model.get_target(edge);
    if (target && !m_model.should_stand(target)) return; // the node is surplus, and the edge with it
    if (++m_result.m_num_surplus_edges <= m_max_findings)
      m_result.m_edge_findings.push_back(
          {false, edge.m_is_redundant, node, target, m_model.get_mux_input(edge)});
  }

  KEP_RG_PROOF_NODE& m_model;
  RESULT& m_result;
  std::size_t m_max_findings;
  std::vector<EDGE> m_actual;
};

/// Names the first nodes that should stand and do not, in the order of the model.
class MISSING_NODES {
public:
  MISSING_NODES(std::uint64_t num_missing, std::size_t max_findings)
      : m_num_wanted(std::min<std::uint64_t>(num_missing, max_findings)) {}

  std::vector<KEP_RG_PROOF::NODE_FINDING> find(const KEP_DB& db, const KEP_RG_PROOF_NODES& nodes,
                                               const KEP_RG_PROOF_FACTS& facts) {
    if (m_num_wanted == 0) return {};
    nodes.visit_boundary([this](const KEP_PORT* port) {
      if (!NODE(port)) add({true, false, {}, port});
    });
    for (std::uint32_t place = 1; place < db.get_unfolding().size() && !is_full(); ++place)
      nodes.visit_nodes(place, [&](const KEP_UNFOLDED_INST_PORT& uip) {
        if (!NODE(uip, false)) add({true, false, uip, nullptr});
        if (facts.is_hipi_tm(uip.m_object->get_port()) && !NODE(uip, true)) add({true, true, uip, nullptr});
      });
    return std::move(m_findings);
  }

private:
  bool is_full() const { return m_findings.size() == m_num_wanted; }
  void add(const KEP_RG_PROOF::NODE_FINDING& finding) {
    if (!is_full()) m_findings.push_back(finding);
  }

  std::uint64_t m_num_wanted;
  std::vector<KEP_RG_PROOF::NODE_FINDING> m_findings;
};

/// Adds what was found in a block of nodes; of the findings of each kind the first are kept.
void add(RESULT& total, const RESULT& block, std::size_t max_findings) {
  const auto append = [max_findings](auto& findings, const auto& more, std::uint64_t num_missing,
                                     std::uint64_t num_surplus) {
    for (const auto& finding : more)
      if ((finding.m_is_missing ? num_missing : num_surplus)++ < max_findings) findings.push_back(finding);
  };
  append(total.m_node_findings, block.m_node_findings, total.m_num_missing_nodes, total.m_num_surplus_nodes);
  append(total.m_edge_findings, block.m_edge_findings, total.m_num_missing_edges, total.m_num_surplus_edges);
  total.m_num_nodes += block.m_num_nodes;
  total.m_num_edges += block.m_num_edges;
  total.m_num_surplus_nodes += block.m_num_surplus_nodes;
  total.m_num_missing_edges += block.m_num_missing_edges;
  total.m_num_surplus_edges += block.m_num_surplus_edges;
}

} // namespace

/// All that is worked out before edges are compared.
struct KEP_RG_PROOF::MODEL {
  explicit MODEL(const KEP_DB* db)
      : m_facts(db), m_redundancy(db), m_nodes(m_facts), m_steps(m_facts, m_nodes), m_groups(m_steps) {}
  KEP_RG_PROOF_FACTS m_facts;
  KEP_RG_PROOF_REDUNDANCY m_redundancy;
  KEP_RG_PROOF_NODES m_nodes;
  KEP_RG_PROOF_STEPS m_steps;
  KEP_RG_PROOF_GROUPS m_groups;
};

KEP_RG_PROOF::KEP_RG_PROOF(const KEP_DB* db) : m_db(db), m_model(std::make_unique<const MODEL>(db)) {}
KEP_RG_PROOF::~KEP_RG_PROOF() = default;

KEP_RG_PROOF::RESULT KEP_RG_PROOF::run(int num_threads, std::size_t max_findings) const {
  const KEP_ROUTING::GRAPH& graph = *m_db->get_routing_template_graph();
  const auto num_nodes = static_cast<std::uint32_t>(graph.get_num_nodes());
  const std::uint32_t num_blocks = num_nodes / NODES_PER_BLOCK + 1;
  std::vector<RESULT> results(num_blocks);
  KEP_REPORT_PROGRESS progress("proof", num_nodes);
  const auto compare_block = [&](std::uint32_t block) {
    KEP_RG_PROOF_NODE model(m_model->m_steps, m_model->m_groups, m_model->m_redundancy);
    COMPARISON comparison(model, results[block], max_findings);
    const std::uint32_t end = std::min(num_nodes, (block + 1) * NODES_PER_BLOCK);
    for (std::uint32_t node = block * NODES_PER_BLOCK; node < end; ++node)
      comparison.compare(graph.get_node(node));
    progress.add(end - block * NODES_PER_BLOCK);
  };
  KEP_TSAN::before_loop();
  tbb::task_arena(num_threads, 1).execute([&] {
    tbb::parallel_for(tbb::blocked_range<std::uint32_t>(0, num_blocks),
                      [&](const tbb::blocked_range<std::uint32_t>& blocks) {
                        KEP_TSAN::begin_body();
                        for (std::uint32_t block = blocks.begin(); block != blocks.end(); ++block)
                          compare_block(block);
                        KEP_TSAN::end_body();
                      });
  });
  KEP_TSAN::after_loop();

  RESULT total;
  for (const RESULT& result : results)
    add(total, result, max_findings);
  // A graph holds each node once, so those that it has and should have are told by their number.
  total.m_num_missing_nodes =
      m_model->m_nodes.get_num_nodes() - (total.m_num_nodes - total.m_num_surplus_nodes);
  std::vector<NODE_FINDING> missing =
      MISSING_NODES(total.m_num_missing_nodes, max_findings).find(*m_db, m_model->m_nodes, m_model->m_facts);
  missing.insert(missing.end(), total.m_node_findings.begin(), total.m_node_findings.end());
  total.m_node_findings = std::move(missing);
  return total;
}

std::string KEP_RG_PROOF::NODE_FINDING::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  KEP_ROUTING::append_node_name(m_port, m_uip, style, name);
  return name;
}
