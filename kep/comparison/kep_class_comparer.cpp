#include "kep/comparison/kep_class_comparer.h"

#include "kep/graph/kep_mux_input_word.h"
#include "kep/graph/kep_node_word.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <utility>

namespace {

/// Keys are forgotten when they hold more words than these; then a few places are compared once more.
constexpr std::size_t MAX_KEY_WORDS = std::size_t{1} << 20;

} // namespace

std::size_t KEP_CLASS_COMPARER::HASH::operator()(const std::vector<std::uint32_t>& words) const {
  std::uint64_t hash = words.size();
  for (const std::uint32_t word : words) {
    hash = (hash ^ word) * 0x9e3779b97f4a7c15U;
    hash ^= hash >> 32;
  }
  return hash;
}

void KEP_CLASS_COMPARER::compare(std::uint32_t path_class) {
  for (const unsigned side : {0U, 1U})
    list_members(side, path_class);
  if (m_members[0].empty() && m_members[1].empty()) return;
  if (!m_classes.get_type_of(path_class).is_paired()) {
    for (const unsigned side : {0U, 1U})
      add_whole_places(side, path_class);
    return;
  }
  m_class = path_class;
  make_key(path_class);
  const auto [found, is_new] = m_found.try_emplace(m_key, ALIKE);
  std::uint32_t pattern = found->second;
  if (is_new) {
    pattern = found->second = compare_members(path_class);
    m_num_key_words += m_key.size();
    if (m_num_key_words > MAX_KEY_WORDS) {
      m_found.clear();
      m_num_key_words = 0;
    }
  }
  if (pattern == ALIKE) return;
  ++m_patterns[pattern].m_num_classes;
  for (const unsigned side : {0U, 1U})
    for (const MEMBER& member : m_members[side])
      m_places[side].push_back({member.m_place, pattern, member.m_member});
}

/// Those with nodes.
void KEP_CLASS_COMPARER::list_members(unsigned side, std::uint32_t path_class) {
  m_members[side].clear();
  const KEP_COMPARED_GRAPH& graph = *m_graphs[side];
  std::uint32_t member = 0;
  for (const std::uint32_t occurrence : m_classes.get_members(side, path_class)) {
    if (const std::uint32_t place = graph.find_place(occurrence); place != KEP_COMPARED_GRAPH::NONE)
      m_members[side].push_back({member, place, graph.get_module_at(occurrence), &graph.get_page_at(place)});
    ++member;
  }
}

void KEP_CLASS_COMPARER::add_whole_places(unsigned side, std::uint32_t path_class) {
  for (const MEMBER& member : m_members[side]) {
    m_places[side].push_back({member.m_place, KEP_PLACE_DIFFERENCE::ALL, member.m_member});
    m_groups[kep_make_instances_key(m_classes, m_graphs, side, path_class)].m_sides[side].add(
        member.m_page->m_counts);
  }
}

/// All that the result hangs on: what stands at the places, and which of the classes that their edges lead to
/// are the same, with what stands there. A class is told by where in the key it comes first.
void KEP_CLASS_COMPARER::make_key(std::uint32_t path_class) {
  m_key.clear();
  m_directed.clear();
  m_key.push_back(m_classes.get_type_number(path_class));
  for (const unsigned side : {0U, 1U}) {
    m_key.push_back(static_cast<std::uint32_t>(m_members[side].size()));
    for (const MEMBER& member : m_members[side]) {
      m_key.push_back(member.m_member);
      m_key.push_back(m_graphs[side]->get_page_number(member.m_place));
    }
    add_directions(side);
  }
  std::sort(m_directed.begin(), m_directed.end());
  std::uint32_t first = 0;
  for (std::size_t i = 0; i != m_directed.size(); ++i) {
    const auto position = static_cast<std::uint32_t>(m_directed[i]);
    if (i == 0 || m_directed[i] >> 32 != m_directed[i - 1] >> 32) first = position;
    m_key[position] = first;
  }
}

void KEP_CLASS_COMPARER::add_directions(unsigned side) {
  for (const MEMBER& member : m_members[side])
    for (const KEP_EDGE_DIRECTION& direction : m_graphs[side]->get_directions(*member.m_page)) {
      const std::uint32_t path_class = find_class(side, direction, member.m_place);
      m_directed.push_back(std::uint64_t{path_class} << 32 | m_key.size());
      m_key.push_back(0);
      add_class_words(side, path_class);
    }
}

/// The type of a class; where one side alone has it, its group; else what stands there on the other side.
void KEP_CLASS_COMPARER::add_class_words(unsigned side, std::uint32_t path_class) {
  const std::uint32_t type = m_classes.get_type_number(path_class);
  m_key.push_back(type);
  if (!m_classes.get_type(type).is_paired()) {
    const KEP_DIFF_GROUP_KEY group = kep_make_instances_key(m_classes, m_graphs, side, path_class);
    m_key.insert(m_key.end(), {group.m_type, static_cast<std::uint32_t>(group.m_name)});
    return;
  }
  constexpr std::uint32_t NO_NODES = 0;
  constexpr std::uint32_t ALL_NODES = 1;
  constexpr std::uint32_t FIRST_PAGE = 2;
  const KEP_COMPARED_GRAPH& other = *m_graphs[1 - side];
  for (const std::uint32_t occurrence : m_classes.get_members(1 - side, path_class)) {
    const std::uint32_t place = other.find_place(occurrence);
    if (place == KEP_COMPARED_GRAPH::NONE)
      m_key.push_back(NO_NODES);
    else
      m_key.push_back(other.get_page_at(place).m_has_all_nodes ? ALL_NODES
                                                               : FIRST_PAGE + other.get_page_number(place));
  }
}

std::uint32_t KEP_CLASS_COMPARER::find_class(unsigned side, const KEP_EDGE_DIRECTION& direction,
                                             std::uint32_t place) const {
  switch (direction.m_kind) {
  case KEP_EDGE_DIRECTION::RELATIVE:
    return find_class_of_place(side, place + direction.m_number);
  case KEP_EDGE_DIRECTION::PLACE:
    return find_class_of_place(side, direction.m_number);
  case KEP_EDGE_DIRECTION::OCCURRENCE:
    break;
  }
  return m_classes.find_class(side, direction.m_number);
}

bool KEP_CLASS_COMPARER::has_node(unsigned side, std::uint32_t path_class, std::uint64_t name) const {
  const KEP_COMPARED_GRAPH& graph = *m_graphs[side];
  for (const std::uint32_t occurrence : m_classes.get_members(side, path_class))
    if (const std::uint32_t place = graph.find_place(occurrence);
        place != KEP_COMPARED_GRAPH::NONE && graph.has_node(place, name))
      return true;
  return false;
}

std::uint32_t KEP_CLASS_COMPARER::compare_members(std::uint32_t path_class) {
  m_pattern = {};
  for (const unsigned side : {0U, 1U})
    list_sources(side);
  m_are_edges_like = find_whether_edges_are_like(path_class);
  std::size_t first[2] = {};
  while (first[0] != m_sources[0].size() || first[1] != m_sources[1].size()) {
    std::uint64_t name = ~std::uint64_t{0};
    for (const unsigned side : {0U, 1U})
      if (first[side] != m_sources[side].size()) name = std::min(name, m_sources[side][first[side]].m_name);
    std::size_t end[2] = {first[0], first[1]};
    for (const unsigned side : {0U, 1U})
      while (end[side] != m_sources[side].size() && m_sources[side][end[side]].m_name == name)
        ++end[side];
    compare_sources(first, end);
    std::copy(end, end + 2, first);
  }
  if (m_pattern.m_groups.empty()) return ALIKE;
  for (const unsigned side : {0U, 1U}) {
    std::sort(m_pattern.m_nodes[side].begin(), m_pattern.m_nodes[side].end());
    std::sort(m_pattern.m_edges[side].begin(), m_pattern.m_edges[side].end());
  }
  m_patterns.push_back(std::move(m_pattern));
  return static_cast<std::uint32_t>(m_patterns.size() - 1);
}

/// One member each, all names by the same numbers, and in each direction the same class.
bool KEP_CLASS_COMPARER::find_whether_edges_are_like(std::uint32_t path_class) const {
  if (m_members[0].size() != 1 || m_members[1].size() != 1) return false;
  if (!m_classes.get_type_of(path_class).m_has_like_numbers) return false;
  const MEMBER& first = m_members[0].front();
  const MEMBER& second = m_members[1].front();
  const std::vector<KEP_EDGE_DIRECTION>& directions = m_graphs[0]->get_directions(*first.m_page);
  if (directions != m_graphs[1]->get_directions(*second.m_page)) return false;
  return std::all_of(directions.begin(), directions.end(), [&](const KEP_EDGE_DIRECTION& direction) {
    const std::uint32_t to = find_class(0, direction, first.m_place);
    return to == find_class(1, direction, second.m_place) && m_classes.get_type_of(to).m_has_like_numbers;
  });
}

/// Sorted by name.
void KEP_CLASS_COMPARER::list_sources(unsigned side) {
  m_sources[side].clear();
  for (std::uint32_t i = 0; i != m_members[side].size(); ++i) {
    const MEMBER& member = m_members[side][i];
    const std::uint64_t* names = m_graphs[side]->get_node_names(member.m_module);
    for (std::uint32_t rank = 0; rank != member.m_page->m_num_ranks; ++rank)
      if (const std::uint32_t shape = m_graphs[side]->get_shape_number(*member.m_page, rank);
          shape != KEP_EDGE_TABLES::NO_NODE)
        m_sources[side].push_back({names[rank], i, rank, shape});
  }
  std::sort(m_sources[side].begin(), m_sources[side].end(), [](const SOURCE& left, const SOURCE& right) {
    return std::tie(left.m_name, left.m_member, left.m_rank) <
           std::tie(right.m_name, right.m_member, right.m_rank);
  });
}

bool KEP_CLASS_COMPARER::is_like_list(const KEP_NODE_SHAPE& first, const KEP_NODE_SHAPE& second) const {
  if (first.m_num_real != second.m_num_real || first.m_num_fanouts != second.m_num_fanouts) return false;
  if (first.m_num_fanouts == 0) return true; // there may be no table
  const KEP_EDGE_TABLES& first_tables = m_graphs[0]->get_tables();
  const KEP_EDGE_TABLES& second_tables = m_graphs[1]->get_tables();
  if (std::memcmp(first_tables.m_fanouts + first.m_first_fanout,
                  second_tables.m_fanouts + second.m_first_fanout,
                  first.m_num_fanouts * sizeof(KEP_SEEN_WORD)) != 0)
    return false;
  for (std::uint32_t i = 0; i != first.m_num_fanouts; ++i)
    if (first_tables.m_mux_inputs[first.m_first_fanout + i].m_bits !=
        second_tables.m_mux_inputs[second.m_first_fanout + i].m_bits)
      return false;
  return true;
}

/// Those of one name.
void KEP_CLASS_COMPARER::compare_sources(std::size_t first[2], std::size_t end[2]) {
  const std::size_t num_common = std::min(end[0] - first[0], end[1] - first[1]);
  if (m_are_edges_like && num_common == 1 && end[0] - first[0] == end[1] - first[1] &&
      is_like_list(m_graphs[0]->get_tables().m_shapes[m_sources[0][first[0]].m_shape],
                   m_graphs[1]->get_tables().m_shapes[m_sources[1][first[1]].m_shape]))
    return;
  for (const unsigned side : {0U, 1U}) {
    for (std::size_t i = first[side] + num_common; i != end[side]; ++i)
      add_node(side, m_sources[side][i]);
    list_edges(side, first[side], end[side]);
  }
  auto left = m_edges[0].begin();
  auto right = m_edges[1].begin();
  while (left != m_edges[0].end() || right != m_edges[1].end()) {
    if (right == m_edges[1].end() || (left != m_edges[0].end() && left->get_text() < right->get_text()))
      add_edge(0, *left++);
    else if (left == m_edges[0].end() || right->get_text() < left->get_text())
      add_edge(1, *right++);
    else
      ++left, ++right;
  }
}

/// By what their texts say.
void KEP_CLASS_COMPARER::list_edges(unsigned side, std::size_t first, std::size_t end) {
  const KEP_COMPARED_GRAPH& graph = *m_graphs[side];
  const KEP_EDGE_TABLES& tables = graph.get_tables();
  m_edges[side].clear();
  for (std::size_t i = first; i != end; ++i) {
    const SOURCE& source = m_sources[side][i];
    const KEP_NODE_SHAPE& shape = tables.m_shapes[source.m_shape];
    const std::uint32_t own_place = m_members[side][source.m_member].m_place;
    for (std::uint32_t index = 0; index != shape.m_num_fanouts; ++index) {
      const std::uint64_t word = tables.m_fanouts[shape.m_first_fanout + index].get_word(own_place);
      const std::uint32_t rank = KEP_NODE_WORD::rank(word);
      std::uint32_t occurrence = graph.get_occurrence(KEP_NODE_WORD::place(word));
      const std::uint32_t module = graph.get_module_at(occurrence);
      NAMED_EDGE edge{};
      edge.m_class = m_classes.find_class(side, occurrence);
      edge.m_name = graph.get_node_names(module)[rank];
      edge.m_is_redundant = index >= shape.m_num_real;
      edge.m_source = static_cast<std::uint32_t>(i);
      edge.m_index = index;
      const std::uint64_t mux_input = tables.m_mux_inputs[shape.m_first_fanout + index].m_bits;
      if (mux_input != KEP_MUX_INPUT_WORD::NONE) {
        std::uint32_t inst_port = KEP_MUX_INPUT_WORD::inst_port(mux_input);
        if (KEP_MUX_INPUT_WORD::far_occurrence(mux_input) != 0)
          occurrence = KEP_MUX_INPUT_WORD::far_occurrence(mux_input);
        else
          inst_port += KEP_NODE_WORD::inst_port(graph.get_keys(module)[rank]);
        edge.m_mux_class = m_classes.find_class(side, occurrence);
        edge.m_mux_name =
            graph.get_name(*graph.get_unfolding().get_module(occurrence)->get_inst_port_by_number(inst_port));
      }
      m_edges[side].push_back(edge);
    }
  }
  std::sort(m_edges[side].begin(), m_edges[side].end(), [](const NAMED_EDGE& left, const NAMED_EDGE& right) {
    return std::tuple_cat(left.get_text(), std::tie(left.m_source, left.m_index)) <
           std::tuple_cat(right.get_text(), std::tie(right.m_source, right.m_index));
  });
}

void KEP_CLASS_COMPARER::add_node(unsigned side, const SOURCE& source) {
  m_pattern.m_nodes[side].push_back({m_members[side][source.m_member].m_member, source.m_rank});
  const KEP_DIFF_GROUP_KEY key{KEP_DIFF_GROUP_KEY::ABOUT::NODES, m_classes.get_type_number(m_class),
                               KEP_PORT_NAME::without_kind(source.m_name)};
  ++m_pattern.m_groups[key].m_sides[side].m_num_nodes;
}

void KEP_CLASS_COMPARER::add_edge(unsigned side, const NAMED_EDGE& edge) {
  const SOURCE& source = m_sources[side][edge.m_source];
  m_pattern.m_edges[side].push_back({m_members[side][source.m_member].m_member, source.m_rank, edge.m_index});
  KEP_GRAPH_DIFF_COUNTS& counts = m_pattern.m_groups[get_group(side, edge)].m_sides[side];
  ++(edge.m_is_redundant ? counts.m_num_redundant : counts.m_num_real);
}

/// What the edge shares with most others that differ for the same reason.
KEP_DIFF_GROUP_KEY KEP_CLASS_COMPARER::get_group(unsigned side, const NAMED_EDGE& edge) const {
  using ABOUT = KEP_DIFF_GROUP_KEY::ABOUT;
  const auto make = [this](ABOUT about, std::uint32_t path_class, std::uint64_t name) {
    return KEP_DIFF_GROUP_KEY{about, m_classes.get_type_number(path_class),
                              KEP_PORT_NAME::without_kind(name)};
  };
  const std::uint64_t source = m_sources[side][edge.m_source].m_name;
  if (!has_node(1 - side, m_class, source)) return make(ABOUT::NODES, m_class, source);
  if (!m_classes.get_type_of(edge.m_class).is_paired())
    return kep_make_instances_key(m_classes, m_graphs, side, edge.m_class);
  if (!has_node(1 - side, edge.m_class, edge.m_name)) return make(ABOUT::NODES, edge.m_class, edge.m_name);
  if (edge.m_mux_name == 0) return make(ABOUT::DRIVER, m_class, source);
  if (!m_classes.get_type_of(edge.m_mux_class).is_paired())
    return kep_make_instances_key(m_classes, m_graphs, side, edge.m_mux_class);
  return make(ABOUT::MUX_INPUT, edge.m_mux_class, edge.m_mux_name);
}
