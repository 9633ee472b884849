#include "kep/graph/kep_routing_graph_storage.h"

#include "kep/graph_building/kep_fanin_finder.h"
#include "kep/graph_building/kep_routing_builder_state.h"
#include "kep/graph_building/kep_template_numbering.h"
#include "kep/kep_db.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_map>
#include <utility>

namespace {

// Of templates of fanouts and fanins, where no node stands.
constexpr std::uint64_t NO_PAIR = ~std::uint64_t{0};

} // namespace

/// The lists of all nodes before they are folded.
struct KEP_ROUTING_GRAPH_STORAGE::LISTS {
  std::vector<std::uint32_t> m_of_nodes;      // template by node
  std::vector<KEP_EDGE_TEMPLATE> m_templates; // by number; number 0 has no edges

  std::size_t get_num_entries() const {
    return std::size_t{m_templates.back().m_first_entry} + m_templates.back().m_num_edges;
  }
};

KEP_ROUTING_GRAPH_STORAGE::KEP_ROUTING_GRAPH_STORAGE(KEP_ROUTING_BUILDER_GRAPH& graph,
                                                     std::uint64_t fanins_at_a_time)
    : m_places(graph.m_state->m_places) {
  LISTS fanouts;
  std::vector<KEP_FANOUT_ENTRY> entries = take_fanouts(graph, fanouts);
  const LISTS fanins = find_fanins(graph, fanouts, entries, fanins_at_a_time);
  fold_pages(fanouts, fanins, entries);
  take_words(std::move(entries));
}

KEP_ROUTING_GRAPH_STORAGE::LISTS
KEP_ROUTING_GRAPH_STORAGE::find_fanins(const KEP_ROUTING_BUILDER_GRAPH& graph, const LISTS& fanouts,
                                       const std::vector<KEP_FANOUT_ENTRY>& entries,
                                       std::uint64_t at_a_time) {
  LISTS fanins;
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY> table;
  KEP_FANIN_FINDER finder(*m_places, fanouts.m_of_nodes, fanouts.m_templates, entries,
                          graph.m_state->m_num_top_occurrences);
  fanins.m_of_nodes = finder.find(table, at_a_time);
  if (finder.get_overfull_node() != KEP_FANIN_FINDER::NONE)
    throw KEP_DB_ERROR("node " + graph.get_node(finder.get_overfull_node())->get_name(KEP_NAME_STYLE()) +
                       " has " + std::to_string(finder.get_overfull_count()) + " fanins, more than the " +
                       std::to_string(std::numeric_limits<unsigned short>::max()) + " that a node can have");
  const std::vector<std::uint32_t> order =
      KEP_TEMPLATE_NUMBERING<KEP_FANIN_ENTRY>::number(table, fanins.m_of_nodes, fanins.m_templates);
  m_fanins = KEP_FOLDED_WORD_LIST(fanins.get_num_entries(), [&](const auto& visit) {
    for (const std::uint32_t number : order)
      for (std::uint32_t i = 0; i != table.get(number).m_num_edges; ++i)
        visit(table.use_entries(number)[i].m_node);
  });
  return fanins;
}

std::vector<KEP_FANOUT_ENTRY> KEP_ROUTING_GRAPH_STORAGE::take_fanouts(KEP_ROUTING_BUILDER_GRAPH& graph,
                                                                      LISTS& fanouts) {
  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *graph.m_state;
  fanouts.m_of_nodes = std::exchange(state.m_fanouts_of_nodes, {});
  fanouts.m_of_nodes.resize(graph.get_node_count(),
                            KEP_ROUTING_BUILDER_GRAPH::STATE::NO_FANOUT); // none was set
  const std::vector<std::uint32_t> order = KEP_TEMPLATE_NUMBERING<KEP_FANOUT_ENTRY>::number(
      state.m_fanouts, fanouts.m_of_nodes, fanouts.m_templates);
  std::vector<KEP_FANOUT_ENTRY> entries;
  entries.reserve(fanouts.get_num_entries());
  for (const std::uint32_t number : order) {
    const auto& list = state.m_fanouts.get(number);
    entries.insert(entries.end(), list.m_entries, list.m_entries + list.m_num_edges);
  }
  state.m_num_templates = state.m_fanouts.size();
  state.m_fanouts.clear();
  for (const std::uint32_t number : fanouts.m_of_nodes) {
    m_total_edges += fanouts.m_templates[number].m_num_edges;
    m_total_real += fanouts.m_templates[number].m_num_real;
  }
  m_num_templates = order.size();
  return entries;
}

/// Places in order; one whose shapes are those of an earlier one takes its page.
void KEP_ROUTING_GRAPH_STORAGE::fold_pages(const LISTS& fanouts, const LISTS& fanins,
                                           const std::vector<KEP_FANOUT_ENTRY>& entries) {
  struct PAGE {
    std::uint32_t m_first;
    std::uint32_t m_size;
  };
  const std::uint32_t num_places = m_places->get_num_places();
  m_pages.assign(num_places, 0);
  std::unordered_multimap<std::uint64_t, PAGE> known_pages; // by hash
  std::vector<std::uint64_t> pairs;                         // of templates, page after page, by rank
  std::vector<std::uint64_t> page;
  for (std::uint32_t place = 0; place != num_places; ++place) {
    if (m_places->get_num_nodes(place) == 0) continue;
    page.assign(m_places->get_num_ranks(place), NO_PAIR);
    const std::uint32_t first = m_places->get_first_nodes()[place];
    std::uint64_t hash = page.size();
    for (std::uint32_t node = first; node != first + m_places->get_num_nodes(place); ++node) {
      const std::uint32_t rank = m_places->get_rank(place, node);
      page[rank] = std::uint64_t{fanouts.m_of_nodes[node]} << 32 | fanins.m_of_nodes[node];
      hash = (hash ^ page[rank]) * 0x9e3779b97f4a7c15U + rank;
      hash ^= hash >> 29;
    }
    const auto [begin, end] = known_pages.equal_range(hash);
    const auto known = std::find_if(begin, end, [&](const auto& each) {
      return each.second.m_size == page.size() &&
             std::equal(page.begin(), page.end(), pairs.begin() + each.second.m_first);
    });
    if (known != end) {
      m_pages[place] = known->second.m_first;
      continue;
    }
    if (pairs.size() + page.size() > std::numeric_limits<std::uint32_t>::max())
      throw KEP_DB_ERROR(
          "the routing graph has more than the 4294967295 nodes in unlike places that it can have");
    m_pages[place] = static_cast<std::uint32_t>(pairs.size());
    known_pages.emplace(hash, PAGE{m_pages[place], static_cast<std::uint32_t>(page.size())});
    pairs.insert(pairs.end(), page.begin(), page.end());
  }
  fold_shapes(pairs, fanouts, fanins, entries);
}

/// Numbers by the first rank at which a shape stands.
void KEP_ROUTING_GRAPH_STORAGE::fold_shapes(const std::vector<std::uint64_t>& pairs, const LISTS& fanouts,
                                            const LISTS& fanins,
                                            const std::vector<KEP_FANOUT_ENTRY>& entries) {
  std::unordered_map<std::uint64_t, std::uint32_t> numbers{{NO_PAIR, KEP_EDGE_TABLES::NO_NODE}};
  m_shapes.push_back({});
  std::vector<std::uint32_t> shapes;
  shapes.reserve(pairs.size());
  for (const std::uint64_t pair : pairs) {
    const auto [known, is_new] = numbers.try_emplace(pair, static_cast<std::uint32_t>(m_shapes.size()));
    if (is_new) {
      const KEP_EDGE_TEMPLATE& out = fanouts.m_templates[pair >> 32];
      const KEP_EDGE_TEMPLATE& in = fanins.m_templates[static_cast<std::uint32_t>(pair)];
      const auto first = entries.begin() + out.m_first_entry;
      const bool has_absolute =
          std::any_of(first, first + out.m_num_edges,
                      [](const KEP_FANOUT_ENTRY& entry) { return entry.m_node.is_absolute(); });
      m_shapes.push_back({out.m_first_entry, in.m_first_entry, out.m_num_real, out.m_num_edges,
                          in.m_num_edges, has_absolute});
    }
    shapes.push_back(known->second);
  }
  m_shapes.shrink_to_fit();
  m_shapes_of_nodes = KEP_PACKED_NUMBER_LIST(shapes, static_cast<std::uint32_t>(m_shapes.size()));
}

void KEP_ROUTING_GRAPH_STORAGE::take_words(std::vector<KEP_FANOUT_ENTRY> entries) {
  m_fanouts.reserve(entries.size());
  for (const KEP_FANOUT_ENTRY& entry : entries)
    m_fanouts.push_back(entry.m_node);
  m_mux_inputs = KEP_FOLDED_WORD_LIST(entries.size(), [&entries](const auto& visit) {
    for (KEP_FANOUT_ENTRY& entry : entries)
      visit(entry.m_mux);
  });
}

std::uint64_t KEP_ROUTING_GRAPH_STORAGE::get_memory_bytes() const {
  return sizeof(*this) + m_places->get_memory_bytes() + m_pages.capacity() * sizeof(std::uint32_t) +
         m_shapes_of_nodes.get_memory_bytes() + m_shapes.capacity() * sizeof(KEP_NODE_SHAPE) +
         m_fanouts.capacity() * sizeof(KEP_SEEN_WORD) + m_mux_inputs.get_memory_bytes() +
         m_fanins.get_memory_bytes();
}
