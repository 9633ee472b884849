#include "kep/graph_building/kep_node_index.h"

#include "kep/kep_db.h"

#include <algorithm>

KEP_NODE_INDEX::KEP_NODE_INDEX(const KEP_ROUTING_BUILDER_GRAPH& graph)
    : m_graph(graph), m_plain(graph.get_db()->get_unfolding()), m_hipi(graph.get_db()->get_unfolding()) {}

bool KEP_NODE_INDEX::add(const KEP_ROUTING_BUILDER_NODE& node) {
  if (node.is_boundary()) return m_boundary.emplace(node.get_number(), node.get_index()).second;
  return (node.is_hipi() ? m_hipi : m_plain).add(node.get_occurrence(), node.get_number(), node.get_index());
}

void KEP_NODE_INDEX::add_all() {
  const std::lock_guard lock(m_mutex);
  if (!m_lacks_some) return;
  for (std::uint32_t i = 0; i != m_graph.get_node_count(); ++i)
    add(*m_graph.get_node(i));
  m_lacks_some = false;
}

bool KEP_NODE_INDEX::TABLE::add(std::uint32_t occurrence, std::uint32_t inst_port, std::uint32_t node) {
  if (m_blocks.empty()) {
    m_blocks.resize(m_unfolding.size() / BLOCK + std::size_t{1});
    m_ranks.resize(m_unfolding.get_modules().size());
  }
  const KEP_MODULE& module = *m_unfolding.get_module(occurrence);
  RANKS& ranks = m_ranks[module.get_number()];
  if (ranks.m_rank_by_inst_port.empty())
    ranks.m_rank_by_inst_port.assign(module.get_num_inst_ports(), NO_RANK);
  std::uint32_t& rank = ranks.m_rank_by_inst_port[inst_port];
  if (rank == NO_RANK) rank = ranks.m_num_ranks++;
  std::unique_ptr<PAGE[]>& block = m_blocks[occurrence / BLOCK];
  if (!block) block = std::make_unique<PAGE[]>(BLOCK);
  PAGE& page = block[occurrence % BLOCK];
  // A first occurrence grows as its module's ranks do; later ones get the full size at once.
  if (rank >= page.m_size) grow(page, std::max({ranks.m_num_ranks, page.m_size * 2, 4U}));
  if (page.m_nodes[rank] != NO_NODE) return false;
  page.m_nodes[rank] = node;
  return true;
}

void KEP_NODE_INDEX::TABLE::grow(PAGE& page, std::uint32_t size) {
  if (size > m_num_free) {
    m_num_free = std::max<std::size_t>(size, CHUNK);
    m_chunks.push_back(std::make_unique<std::uint32_t[]>(m_num_free));
    m_free = m_chunks.back().get();
  }
  std::uint32_t* nodes = m_free;
  m_free += size;
  m_num_free -= size;
  std::copy_n(page.m_nodes, page.m_size, nodes);
  std::fill(nodes + page.m_size, nodes + size, NO_NODE);
  page = {nodes, size};
}
