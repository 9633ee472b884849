#include "kep/kep_routing_graph_storage.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_builder_state.h"

#include <limits>
#include <string>

KEP_ROUTING_GRAPH_STORAGE::KEP_ROUTING_GRAPH_STORAGE(const KEP_ROUTING_BUILDER_GRAPH& graph)
    : m_index(graph.m_state->m_index) {
  m_words.reserve(graph.get_node_count());
  for (std::uint32_t node = 0; node != graph.get_node_count(); ++node)
    m_words.push_back(graph.get_node(node)->get_word());
  take_edges(graph);
  add_fanins(graph);
}

void KEP_ROUTING_GRAPH_STORAGE::take_edges(const KEP_ROUTING_BUILDER_GRAPH& graph) {
  const auto& lists = graph.m_state->m_fanouts;
  const std::uint32_t num_nodes = get_num_nodes();
  m_first_edge.assign(num_nodes + std::size_t{1}, 0);
  m_num_real.assign(num_nodes, 0);
  for (std::uint32_t node = 0; node != num_nodes; ++node) {
    m_first_edge[node + std::size_t{1}] = m_first_edge[node];
    if (lists.empty()) continue;
    m_first_edge[node + std::size_t{1}] += lists[node].size();
    m_num_real[node] = lists[node].m_num_real;
    m_total_real += lists[node].m_num_real;
    if (lists[node].size() != 0) ++m_num_templates;
  }
  m_edges.reserve(m_first_edge.back());
  if (lists.empty()) return;
  for (const auto& list : lists)
    for (std::uint32_t i = 0; i != list.size(); ++i) {
      KEP_EDGE edge = list.m_edges[i];
      if (edge.m_mux & KEP_EDGE::ELSEWHERE) { // numbered anew, by the order of nodes and not of threads
        const std::uint64_t word = graph.m_state->m_mux_words[edge.m_mux & ~KEP_EDGE::ELSEWHERE];
        edge.m_mux = KEP_EDGE::ELSEWHERE | static_cast<std::uint32_t>(m_mux_words.size());
        m_mux_words.push_back(word);
      }
      m_edges.push_back(edge);
    }
}

/// Counts, then fills by source: hipi sources first, so that a hipi fanin stands in first place.
void KEP_ROUTING_GRAPH_STORAGE::add_fanins(const KEP_ROUTING_BUILDER_GRAPH& graph) {
  const std::uint32_t num_nodes = get_num_nodes();
  m_first_fanin.assign(num_nodes + std::size_t{1}, 0);
  for (const KEP_EDGE& edge : m_edges)
    ++m_first_fanin[edge.m_target + std::size_t{1}];
  for (std::uint32_t node = 0; node != num_nodes; ++node) {
    constexpr std::uint64_t MAX_FANINS = std::numeric_limits<unsigned short>::max();
    if (m_first_fanin[node + std::size_t{1}] > MAX_FANINS)
      throw KEP_DB_ERROR("node " + graph.get_node(node)->get_name(KEP_NAME_STYLE()) + " has " +
                         std::to_string(m_first_fanin[node + std::size_t{1}]) + " fanins, more than the " +
                         std::to_string(MAX_FANINS) + " that a node can have");
    m_first_fanin[node + std::size_t{1}] += m_first_fanin[node];
  }
  std::vector<std::uint64_t> next(m_first_fanin.begin(), m_first_fanin.end() - 1);
  m_fanins.resize(m_edges.size());
  const auto fill = [&](bool hipi_sources) {
    for (std::uint32_t node = 0; node != num_nodes; ++node) {
      const bool is_hipi =
          !KEP_NODE_WORD::is_boundary(m_words[node]) && KEP_NODE_WORD::is_hipi(m_words[node]);
      if (is_hipi != hipi_sources) continue;
      for (std::uint64_t edge = m_first_edge[node]; edge != m_first_edge[node + 1]; ++edge)
        m_fanins[next[m_edges[edge].m_target]++] = node;
    }
  };
  fill(true);
  fill(false);
}

std::uint64_t KEP_ROUTING_GRAPH_STORAGE::get_mux_word(std::uint64_t source_word, std::uint64_t edge) const {
  const std::uint32_t mux = m_edges[edge].m_mux;
  if (mux == KEP_EDGE::NO_MUX) return 0;
  if (mux == KEP_EDGE::SOURCE_IS_MUX) return source_word & ~std::uint64_t{1};
  if (mux & KEP_EDGE::ELSEWHERE) return m_mux_words[mux & ~KEP_EDGE::ELSEWHERE];
  return KEP_NODE_WORD::make(KEP_NODE_WORD::occurrence(get_target_word(edge)), mux - KEP_EDGE::BESIDE_TARGET,
                             false);
}

std::uint64_t KEP_ROUTING_GRAPH_STORAGE::get_memory_bytes() const {
  const auto bytes_of = [](const auto& vector) { return vector.capacity() * sizeof(vector[0]); };
  return sizeof(*this) + m_index->get_memory_bytes() + bytes_of(m_words) + bytes_of(m_first_edge) +
         bytes_of(m_num_real) + bytes_of(m_edges) + bytes_of(m_mux_words) + bytes_of(m_first_fanin) +
         bytes_of(m_fanins);
}
