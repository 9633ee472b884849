#include "kep_rg/kep_rg_proof.h"

#include "kep/common/kep_arena.h"
#include "kep/common/kep_loop.h"
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

#include <algorithm>
#include <optional>
#include <unordered_set>

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

  /// False for a node whose connection is to be followed by groups.
  bool compare(const NODE& node) {
    ++m_result.m_num_nodes;
    m_result.m_num_edges += node.get_num_edges();
    if (m_model.should_stand(node)) return compare_edges(node);
    if (++m_result.m_num_surplus_nodes <= m_max_findings)
      m_result.m_node_findings.push_back(
          {false, node.is_hipi(), node.get_unfolded_inst_port(), node.get_port()});
    return true;
  }

private:
  bool compare_edges(const NODE& node) {
    std::vector<EDGE>* found = m_model.find_edges(node);
    if (!found) return false;
    std::vector<EDGE>& expected = *found;
    m_actual.clear();
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_real_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, false));
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_redundant_fanout())
      m_actual.push_back(KEP_RG_PROOF_NODE::make_edge(edge, true));
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
    return true;
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

/// Counts the nodes that should stand and do not, and names the first ones in the order of the model.
class MISSING_NODES {
public:
  MISSING_NODES(const KEP_ROUTING::GRAPH& graph, const KEP_RG_PROOF_NODES& nodes,
                const KEP_RG_PROOF_FACTS& facts, std::size_t max_findings)
      : m_graph(graph), m_nodes(nodes), m_facts(facts), m_max_findings(max_findings) {}

  void find_in(const KEP_RG_PART& part) {
    if (part.is_first())
      m_nodes.visit_boundary([this](const KEP_PORT* port) {
        if (!NODE(port)) add({true, false, {}, port});
      });
    const auto [first, end] = m_nodes.find_occurrences(part);
    for (std::uint32_t occurrence = first; occurrence != end; ++occurrence)
      look_at(occurrence);
  }

  std::uint64_t get_num() const { return m_num; }
  const std::vector<KEP_RG_PROOF::NODE_FINDING>& get_findings() const { return m_findings; }

private:
  /// Where all nodes of a module stand there is nothing to look at once none was missing at a like place.
  void look_at(std::uint32_t occurrence) {
    std::optional<std::uint32_t> likeness;
    if (m_graph.has_all_nodes_at(occurrence)) likeness = m_nodes.find_likeness(occurrence);
    if (likeness && m_complete.contains(*likeness)) return;
    const std::uint64_t num_before = m_num;
    m_nodes.visit_nodes(occurrence, [this](const KEP_UNFOLDED_INST_PORT& uip) {
      if (!NODE(uip, false)) add({true, false, uip, nullptr});
      if (m_facts.is_hipi_tm(uip.m_object->get_port()) && !NODE(uip, true)) add({true, true, uip, nullptr});
    });
    if (likeness && m_num == num_before) m_complete.insert(*likeness);
  }
  void add(const KEP_RG_PROOF::NODE_FINDING& finding) {
    if (m_num++ < m_max_findings) m_findings.push_back(finding);
  }

  const KEP_ROUTING::GRAPH& m_graph;
  const KEP_RG_PROOF_NODES& m_nodes;
  const KEP_RG_PROOF_FACTS& m_facts;
  std::size_t m_max_findings;
  std::unordered_set<std::uint32_t> m_complete; // by likeness
  std::uint64_t m_num = 0;
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
      : m_facts(db), m_redundancy(db), m_nodes(m_facts), m_steps(m_facts, m_nodes) {}
  KEP_RG_PROOF_FACTS m_facts;
  KEP_RG_PROOF_REDUNDANCY m_redundancy;
  KEP_RG_PROOF_NODES m_nodes;
  KEP_RG_PROOF_STEPS m_steps;
};

/// The comparison of all nodes of a part, block by block. A block with a long connection is put off until the
/// nets behind its nodes are joined to groups: where many nodes lead into one long way of nets, this is
/// walked once.
class KEP_RG_PROOF::RUN {
public:
  RUN(const MODEL& model, const KEP_ROUTING::GRAPH& graph, const KEP_RG_PART& part, int num_threads,
      std::size_t max_findings, std::size_t max_nets)
      : m_model(model), m_graph(graph), m_max_findings(max_findings), m_max_nets(max_nets),
        m_num_threads(num_threads) {
    const auto [first, end] = part.get_range(graph.get_num_nodes());
    m_num_nodes = end - first;
    m_blocks.reserve(m_num_nodes / NODES_PER_BLOCK + 1);
    for (std::uint64_t node = first; node < end; node += NODES_PER_BLOCK)
      m_blocks.push_back({static_cast<std::uint32_t>(node),
                          static_cast<std::uint32_t>(std::min<std::uint64_t>(end, node + NODES_PER_BLOCK))});
  }

  RESULT compare() {
    KEP_REPORT_PROGRESS progress("proof", m_num_nodes);
    std::vector<BLOCK*> blocks;
    blocks.reserve(m_blocks.size());
    for (BLOCK& block : m_blocks)
      blocks.push_back(&block);
    compare(blocks, nullptr, progress);
    std::erase_if(blocks, [](const BLOCK* block) { return !block->m_is_put_off; });
    if (!blocks.empty()) {
      const KEP_RG_PROOF_GROUPS groups = join_nets(blocks);
      compare(blocks, &groups, progress);
    }
    RESULT total;
    for (const BLOCK& block : m_blocks)
      add(total, block.m_result, m_max_findings);
    return total;
  }

private:
  struct BLOCK {
    std::uint32_t m_first;
    std::uint32_t m_end;
    bool m_is_put_off = false;
    RESULT m_result = {};
  };

  void compare(const std::vector<BLOCK*>& blocks, const KEP_RG_PROOF_GROUPS* groups,
               KEP_REPORT_PROGRESS& progress) {
    using RANGE = tbb::blocked_range<std::size_t>;
    const auto compare_some = [&](const RANGE& range) {
      KEP_TSAN::begin_body();
      for (std::size_t i = range.begin(); i != range.end(); ++i)
        if (compare_block(*blocks[i], groups)) progress.add(blocks[i]->m_end - blocks[i]->m_first);
      KEP_TSAN::end_body();
    };
    kep_run_in_arena(m_num_threads, [&] {
      kep_run_loop([&](tbb::task_group_context& context) {
        tbb::parallel_for(RANGE(0, blocks.size()), compare_some, context);
      });
    });
  }

  /// False if the block is put off.
  bool compare_block(BLOCK& block, const KEP_RG_PROOF_GROUPS* groups) const {
    KEP_RG_PROOF_NODE model(m_model.m_steps, m_model.m_redundancy, groups, m_max_nets);
    block.m_result = {};
    COMPARISON comparison(model, block.m_result, m_max_findings);
    for (std::uint32_t node = block.m_first; node != block.m_end; ++node)
      if (!comparison.compare(m_graph.get_node(node))) {
        block.m_is_put_off = true;
        return false;
      }
    return true;
  }

  KEP_RG_PROOF_GROUPS join_nets(const std::vector<BLOCK*>& blocks) const {
    KEP_REPORT_PROGRESS progress("proof, nets", blocks.size());
    KEP_RG_PROOF_NODE model(m_model.m_steps, m_model.m_redundancy, nullptr, m_max_nets);
    KEP_RG_PROOF_GROUPS groups(m_model.m_steps);
    groups.join([&](const KEP_RG_PROOF_GROUPS::LOOK& look) {
      for (const BLOCK* block : blocks) {
        for (std::uint32_t node = block->m_first; node != block->m_end; ++node)
          model.visit_beginnings(m_graph.get_node(node), look);
        progress.add(1);
      }
    });
    return groups;
  }

  const MODEL& m_model;
  const KEP_ROUTING::GRAPH& m_graph;
  std::size_t m_max_findings;
  std::size_t m_max_nets;
  int m_num_threads;
  std::uint64_t m_num_nodes;
  std::vector<BLOCK> m_blocks;
};

KEP_RG_PROOF::KEP_RG_PROOF(const KEP_DB* db) : m_db(db), m_model(std::make_unique<const MODEL>(db)) {}
KEP_RG_PROOF::~KEP_RG_PROOF() = default;

KEP_RG_PROOF::RESULT KEP_RG_PROOF::run(int num_threads, std::size_t max_findings,
                                       const KEP_RG_PART& part) const {
  const KEP_ROUTING::GRAPH& graph = *m_db->get_routing_template_graph();
  RESULT result = RUN(*m_model, graph, part, num_threads, max_findings, m_max_nets).compare();
  MISSING_NODES missing(graph, m_model->m_nodes, m_model->m_facts, max_findings);
  missing.find_in(part);
  result.m_num_missing_nodes = missing.get_num();
  result.m_node_findings.insert(result.m_node_findings.begin(), missing.get_findings().begin(),
                                missing.get_findings().end());
  return result;
}

std::string KEP_RG_PROOF::NODE_FINDING::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  KEP_ROUTING::append_node_name(m_port, m_uip, style, name);
  return name;
}
