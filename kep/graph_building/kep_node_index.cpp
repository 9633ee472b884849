#include "kep/graph_building/kep_node_index.h"

#include <algorithm>

bool KEP_NODE_INDEX::TABLE::add(std::uint32_t occurrence, std::uint32_t inst_port, std::uint32_t node) {
  if (m_pages.empty()) {
    m_pages.resize(m_unfolding.size());
    m_ranks.resize(m_unfolding.get_modules().size());
  }
  const KEP_MODULE& module = *m_unfolding.get(occurrence).m_module;
  RANKS& ranks = m_ranks[module.get_number()];
  if (ranks.m_rank_by_inst_port.empty())
    ranks.m_rank_by_inst_port.assign(module.get_num_inst_ports(), NO_RANK);
  std::uint32_t& rank = ranks.m_rank_by_inst_port[inst_port];
  if (rank == NO_RANK) rank = ranks.m_num_ranks++;
  PAGE& page = m_pages[occurrence];
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
