#include "kep/kep_routing_graph_storage.h"

#include "kep/kep_db.h"
#include "kep/kep_fanin_finder.h"
#include "kep/kep_routing_builder_state.h"
#include "kep/kep_template_numbering.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_map>

KEP_ROUTING_GRAPH_STORAGE::KEP_ROUTING_GRAPH_STORAGE(const KEP_ROUTING_BUILDER_GRAPH& graph)
    : m_places(graph.m_state->m_places) {
  NUMBERS fanouts_of_nodes;
  take_fanouts(graph, fanouts_of_nodes);
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY> table;
  KEP_FANIN_FINDER finder(*m_places, fanouts_of_nodes, m_fanout_templates, m_fanouts,
                          graph.m_state->m_num_top_occurrences);
  NUMBERS fanins_of_nodes = finder.find(table);
  if (finder.get_overfull_node() != KEP_FANIN_FINDER::NONE)
    throw KEP_DB_ERROR("node " + graph.get_node(finder.get_overfull_node())->get_name(KEP_NAME_STYLE()) +
                       " has " + std::to_string(finder.get_overfull_count()) + " fanins, more than the " +
                       std::to_string(std::numeric_limits<unsigned short>::max()) + " that a node can have");
  KEP_TEMPLATE_NUMBERING<KEP_FANIN_ENTRY>::number(table, fanins_of_nodes, m_fanin_templates, m_fanins);
  fold_pages(fanouts_of_nodes, fanins_of_nodes);
}

void KEP_ROUTING_GRAPH_STORAGE::take_fanouts(const KEP_ROUTING_BUILDER_GRAPH& graph, NUMBERS& of_nodes) {
  of_nodes = graph.m_state->m_fanouts_of_nodes;
  of_nodes.resize(graph.get_node_count(), KEP_ROUTING_BUILDER_GRAPH::STATE::NO_FANOUT); // none was set
  KEP_TEMPLATE_NUMBERING<KEP_FANOUT_ENTRY>::number(graph.m_state->m_fanouts, of_nodes, m_fanout_templates,
                                                   m_fanouts);
  for (const std::uint32_t number : of_nodes) {
    m_total_edges += m_fanout_templates[number].m_num_edges;
    m_total_real += m_fanout_templates[number].m_num_real;
  }
}

/// Places in order; one whose numbers are those of an earlier one takes its page.
void KEP_ROUTING_GRAPH_STORAGE::fold_pages(const NUMBERS& fanouts_of_nodes, const NUMBERS& fanins_of_nodes) {
  struct PAGE {
    std::uint32_t m_first;
    std::uint32_t m_size;
  };
  const std::uint32_t num_places = m_places->get_num_places();
  m_pages.assign(num_places, 0);
  std::unordered_multimap<std::uint64_t, PAGE> pages; // by hash
  std::vector<std::uint32_t> fanouts;
  std::vector<std::uint32_t> fanins;
  for (std::uint32_t place = 0; place != num_places; ++place) {
    if (m_places->get_num_nodes(place) == 0) continue;
    const std::uint32_t size = m_places->get_num_ranks(place);
    fanouts.assign(size, KEP_EDGE_TABLES::NO_NODE);
    fanins.assign(size, KEP_EDGE_TABLES::NO_NODE);
    const std::uint32_t first = m_places->get_first_nodes()[place];
    std::uint64_t hash = size;
    for (std::uint32_t node = first; node != first + m_places->get_num_nodes(place); ++node) {
      const std::uint32_t rank = m_places->get_rank(place, node);
      fanouts[rank] = fanouts_of_nodes[node];
      fanins[rank] = fanins_of_nodes[node];
      hash = (hash ^ (std::uint64_t{fanouts[rank]} << 32 | fanins[rank])) * 0x9e3779b97f4a7c15U + rank;
      hash ^= hash >> 29;
    }
    const auto [begin, end] = pages.equal_range(hash);
    const auto known = std::find_if(begin, end, [&](const auto& page) {
      return page.second.m_size == size &&
             std::equal(fanouts.begin(), fanouts.end(), m_fanouts_of_nodes.begin() + page.second.m_first) &&
             std::equal(fanins.begin(), fanins.end(), m_fanins_of_nodes.begin() + page.second.m_first);
    });
    if (known != end) {
      m_pages[place] = known->second.m_first;
      continue;
    }
    const auto page = static_cast<std::uint32_t>(m_fanouts_of_nodes.size());
    pages.emplace(hash, PAGE{page, size});
    m_pages[place] = page;
    m_fanouts_of_nodes.insert(m_fanouts_of_nodes.end(), fanouts.begin(), fanouts.end());
    m_fanins_of_nodes.insert(m_fanins_of_nodes.end(), fanins.begin(), fanins.end());
  }
  m_fanouts_of_nodes.shrink_to_fit();
  m_fanins_of_nodes.shrink_to_fit();
}

std::uint64_t KEP_ROUTING_GRAPH_STORAGE::get_memory_bytes() const {
  const auto bytes_of = [](const auto& vector) { return vector.capacity() * sizeof(vector[0]); };
  return sizeof(*this) + m_places->get_memory_bytes() + bytes_of(m_fanout_templates) +
         bytes_of(m_fanin_templates) + bytes_of(m_fanouts) + bytes_of(m_fanins) + bytes_of(m_pages) +
         bytes_of(m_fanouts_of_nodes) + bytes_of(m_fanins_of_nodes);
}
