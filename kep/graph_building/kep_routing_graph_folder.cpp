#include "kep/graph_building/kep_routing_graph_folder.h"

#include "kep/common/kep_parts.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph_building/kep_fanin_finder.h"
#include "kep/graph_building/kep_routing_builder_state.h"
#include "kep/kep_db.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <unordered_map>
#include <utility>

namespace {

// Of templates of fanouts and fanins, where no node stands.
constexpr std::uint64_t NO_PAIR = ~std::uint64_t{0};

/// Pages that are kept, by hash.
class KNOWN_PAGES {
public:
  explicit KNOWN_PAGES(const std::vector<std::uint64_t>& pairs) : m_pairs(pairs) {}

  /// Where the same page begins among the pairs, or null.
  const std::uint32_t* find(std::uint64_t hash, const std::vector<std::uint64_t>& page) const {
    const auto [begin, end] = m_pages.equal_range(hash);
    const auto known = std::find_if(begin, end, [&](const auto& each) {
      return each.second.m_size == page.size() &&
             std::equal(page.begin(), page.end(), m_pairs.begin() + each.second.m_first);
    });
    return known == end ? nullptr : &known->second.m_first;
  }
  void add(std::uint64_t hash, std::uint32_t first, std::size_t size) {
    m_pages.emplace(hash, PAGE{first, static_cast<std::uint32_t>(size)});
  }

private:
  struct PAGE {
    std::uint32_t m_first;
    std::uint32_t m_size;
  };
  const std::vector<std::uint64_t>& m_pairs;
  std::unordered_multimap<std::uint64_t, PAGE> m_pages;
};

/// Calls `visit(position, entry)` for the entries of lists that follow each other.
template <class LIST, class VISIT>
void for_entries(const std::vector<LIST>& lists, const KEP_TEMPLATE_LISTS& templates, const VISIT& visit) {
  kep_for_parts(lists.size(), 1 << 12, [&](std::size_t begin, std::size_t end) {
    std::uint32_t position = templates.m_templates[begin + 1].m_first_entry;
    for (std::size_t i = begin; i != end; ++i)
      for (std::uint32_t entry = 0; entry != lists[i].m_num_edges; ++entry)
        visit(position++, lists[i].m_entries[entry]);
  });
}

/// `visit_word(entry, visit)` calls `visit` with the word of an entry and its index.
template <class LIST, class VISIT_WORD>
KEP_FOLDED_WORD_LIST fold_words(const std::vector<LIST>& lists, const KEP_TEMPLATE_LISTS& templates,
                                KEP_WORD_FOLDER& folder, const VISIT_WORD& visit_word) {
  while (folder.wants_words())
    for_entries(lists, templates, [&](std::uint32_t, const auto& entry) {
      visit_word(entry, [&](KEP_SEEN_WORD word, std::uint32_t index) { folder.note(word, index); });
    });
  for_entries(lists, templates, [&](std::uint32_t at, const auto& entry) {
    visit_word(entry, [&](KEP_SEEN_WORD word, std::uint32_t index) { folder.put(at, word, index); });
  });
  return folder.take();
}

} // namespace

std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE>
KEP_ROUTING_GRAPH_FOLDER::fold(std::uint32_t fanins_at_a_time) {
  m_folded = std::make_unique<KEP_ROUTING_GRAPH_STORAGE>();
  m_folded->m_places = m_graph.m_state->m_places;
  take_fanouts();
  find_fanins(fanins_at_a_time);
  fold_pages();
  m_folded->m_fanouts = std::move(m_fanout_words);
  return std::move(m_folded);
}

void KEP_ROUTING_GRAPH_FOLDER::take_fanouts() {
  KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph.m_state;
  m_fanouts.m_of_nodes = std::exchange(state.m_fanouts_of_nodes, {});
  m_fanouts.m_of_nodes.resize(m_graph.get_node_count(),
                              KEP_TEMPLATE_LISTS::NONE); // none was set
  const auto lists = m_fanouts.number(state.m_fanouts);
  m_fanout_words.resize(m_fanouts.get_num_entries());
  for_entries(lists, m_fanouts, [this](std::uint32_t at, const KEP_FANOUT_ENTRY& entry) {
    m_fanout_words[at] = entry.get_node();
  });
  m_folded->m_mux_inputs = fold_mux_inputs(lists);
  state.m_num_templates = state.m_fanouts.size();
  state.m_fanouts.clear();
  count_edges();
  m_folded->m_num_templates = lists.size();
}

void KEP_ROUTING_GRAPH_FOLDER::count_edges() {
  std::atomic<std::uint64_t> num_edges = 0;
  std::atomic<std::uint64_t> num_real_edges = 0;
  kep_for_parts(m_fanouts.m_of_nodes.size(), 1 << 12, [&](std::size_t begin, std::size_t end) {
    std::uint64_t edges = 0;
    std::uint64_t real_edges = 0;
    for (std::size_t node = begin; node != end; ++node) {
      const KEP_EDGE_TEMPLATE& list = m_fanouts.m_templates[m_fanouts.m_of_nodes[node]];
      edges += list.m_num_edges;
      real_edges += list.m_num_real;
    }
    num_edges += edges;
    num_real_edges += real_edges;
  });
  m_folded->m_num_edges = num_edges;
  m_folded->m_num_real_edges = num_real_edges;
}

void KEP_ROUTING_GRAPH_FOLDER::find_fanins(std::uint32_t at_a_time) {
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY> table;
  KEP_FANIN_FINDER finder(*m_folded->m_places, m_fanouts, m_fanout_words,
                          m_graph.m_state->m_num_top_occurrences);
  m_fanins.m_of_nodes = finder.find(table, at_a_time);
  if (finder.get_overfull_node() != KEP_FANIN_FINDER::NONE)
    throw KEP_DB_ERROR(fmt::format("node {} has {} fanins, more than the {} that a node can have",
                                   m_graph.get_node(finder.get_overfull_node())->get_name({}),
                                   finder.get_overfull_count(), std::numeric_limits<unsigned short>::max()));
  const auto lists = m_fanins.number(table);
  m_folded->m_fanins = fold_fanins(lists);
}

/// Small differences are indices.
KEP_FOLDED_WORD_LIST KEP_ROUTING_GRAPH_FOLDER::fold_mux_inputs(const std::vector<FANOUT_LIST>& lists) const {
  constexpr std::uint32_t END = 1 << 12;
  const KEP_MUX_INPUT_NUMBERS& numbers = m_graph.m_state->m_mux_inputs;
  KEP_WORD_FOLDER folder(m_fanouts.get_num_entries(), std::size_t{2} * END, [&numbers](std::uint32_t index) {
    return KEP_SEEN_WORD{numbers.get_word(index - END)};
  });
  return fold_words(lists, m_fanouts, folder, [&numbers](const KEP_FANOUT_ENTRY& entry, const auto& visit) {
    const std::uint32_t index = entry.get_mux_input() + END;
    visit({numbers.get_word(entry.get_mux_input())}, index < 2 * END ? index : KEP_WORD_FOLDER::NO_INDEX);
  });
}

/// Those told absolutely have the numbers of their nodes for indices.
KEP_FOLDED_WORD_LIST KEP_ROUTING_GRAPH_FOLDER::fold_fanins(const std::vector<FANIN_LIST>& lists) const {
  const KEP_NODE_PLACES& places = *m_folded->m_places;
  KEP_WORD_FOLDER folder(m_fanins.get_num_entries(), places.get_num_nodes(),
                         [&places, place = std::uint32_t{0}](std::uint32_t node) mutable {
                           if (node >= places.get_first_nodes()[place + std::size_t{1}])
                             place = places.find_place(node);
                           const std::uint64_t word =
                               KEP_NODE_WORD::make(place, places.get_rank(place, node));
                           return KEP_SEEN_WORD{word | KEP_SEEN_WORD::ABSOLUTE};
                         });
  return fold_words(lists, m_fanins, folder, [&places](const KEP_FANIN_ENTRY& entry, const auto& visit) {
    if (!entry.m_node.is_absolute()) return visit(entry.m_node, KEP_WORD_FOLDER::NO_INDEX);
    const std::uint64_t word = entry.m_node.get_word(0);
    visit(entry.m_node, places.find_node(KEP_NODE_WORD::place(word), KEP_NODE_WORD::rank(word)));
  });
}

/// Places in order; one whose shapes are those of an earlier one takes its page.
void KEP_ROUTING_GRAPH_FOLDER::fold_pages() {
  const KEP_NODE_PLACES& places = *m_folded->m_places;
  std::vector<std::uint32_t> pages(places.get_num_places());
  std::vector<std::uint64_t> pairs; // of templates, page after page, by rank
  KNOWN_PAGES known_pages(pairs);
  std::vector<std::uint64_t> page;
  for (std::uint32_t place = 0; place != places.get_num_places(); ++place) {
    if (places.get_num_nodes(place) == 0) continue;
    const std::uint64_t hash = read_page(place, page);
    std::uint32_t& first = pages[place];
    if (const std::uint32_t* known = known_pages.find(hash, page)) {
      first = *known;
      continue;
    }
    if (pairs.size() + page.size() > std::numeric_limits<std::uint32_t>::max())
      throw KEP_DB_ERROR(
          "the routing graph has more than the 4294967295 nodes in unlike places that it can have");
    first = static_cast<std::uint32_t>(pairs.size());
    known_pages.add(hash, first, page.size());
    pairs.insert(pairs.end(), page.begin(), page.end());
  }
  m_folded->m_pages = std::move(pages);
  fold_shapes(pairs);
}

std::uint64_t KEP_ROUTING_GRAPH_FOLDER::read_page(std::uint32_t place,
                                                  std::vector<std::uint64_t>& page) const {
  const KEP_NODE_PLACES& places = *m_folded->m_places;
  page.assign(places.get_num_ranks(place), NO_PAIR);
  const std::uint32_t first = places.get_first_nodes()[place];
  std::uint64_t hash = page.size();
  for (std::uint32_t node = first; node != first + places.get_num_nodes(place); ++node) {
    const std::uint32_t rank = places.get_rank(place, node);
    page[rank] = std::uint64_t{m_fanouts.m_of_nodes[node]} << 32 | m_fanins.m_of_nodes[node];
    hash = (hash ^ page[rank]) * 0x9e3779b97f4a7c15U + rank;
    hash ^= hash >> 29;
  }
  return hash;
}

/// Numbers by the first rank at which a shape stands. A list that one node alone has tells that no other has
/// the shape.
void KEP_ROUTING_GRAPH_FOLDER::fold_shapes(const std::vector<std::uint64_t>& pairs) {
  std::vector<KEP_NODE_SHAPE> shapes;
  std::unordered_map<std::uint64_t, std::uint32_t> numbers{{NO_PAIR, KEP_EDGE_TABLES::NO_NODE}};
  shapes.push_back({});
  std::vector<std::uint32_t> of_nodes;
  of_nodes.reserve(pairs.size());
  for (const std::uint64_t pair : pairs) {
    auto number = static_cast<std::uint32_t>(shapes.size());
    if (pair == NO_PAIR ||
        (m_fanouts.m_are_shared[pair >> 32] && m_fanins.m_are_shared[static_cast<std::uint32_t>(pair)]))
      number = numbers.try_emplace(pair, number).first->second;
    if (number == shapes.size()) shapes.push_back(make_shape(pair));
    of_nodes.push_back(number);
  }
  shapes.shrink_to_fit();
  m_folded->m_shapes_of_nodes = KEP_PACKED_NUMBER_LIST(of_nodes, static_cast<std::uint32_t>(shapes.size()));
  m_folded->m_shapes = std::move(shapes);
}

KEP_NODE_SHAPE KEP_ROUTING_GRAPH_FOLDER::make_shape(std::uint64_t pair) const {
  const KEP_EDGE_TEMPLATE& out = m_fanouts.m_templates[pair >> 32];
  const KEP_EDGE_TEMPLATE& in = m_fanins.m_templates[static_cast<std::uint32_t>(pair)];
  const auto first = m_fanout_words.begin() + out.m_first_entry;
  const bool has_absolute =
      std::any_of(first, first + out.m_num_edges, [](KEP_SEEN_WORD fanout) { return fanout.is_absolute(); });
  return {out.m_first_entry, in.m_first_entry, out.m_num_real, out.m_num_edges, in.m_num_edges, has_absolute};
}
