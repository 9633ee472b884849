#include "kep/kep_routing_builder.h"

#include "kep/detail/kep_place_layout.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph_building/kep_routing_builder_state.h"
#include "kep/graph_building/kep_routing_graph_folder.h"
#include "kep/kep_db.h"
#include "kep_report/kep_report_assert.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE::allocate(KEP_ROUTING_BUILDER_GRAPH* graph,
                                                             const KEP_PORT* port) {
  return graph->allocate_node(KEP_UNFOLDING::ABOVE_TOP, const_cast<KEP_PORT*>(port));
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE::allocate(KEP_ROUTING_BUILDER_GRAPH* graph,
                                                             const KEP_UNFOLDED_INST_PORT& uip) {
  return graph->allocate_node(static_cast<std::uint32_t>(uip.m_position), uip.m_object);
}

std::uint32_t KEP_ROUTING_BUILDER_NODE::get_key() const {
  if (is_boundary()) return KEP_NODE_WORD::make_key(get_port()->get_number(), false);
  return KEP_NODE_WORD::make_key(static_cast<const KEP_INST_PORT*>(m_object)->get_number(), m_is_hipi);
}

std::string KEP_ROUTING_BUILDER_NODE::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  KEP_ROUTING::append_node_name(get_port(), get_unfolded_inst_port(), style, name);
  return name;
}

using NODE_RANGE = KEP_ROUTING_BUILDER_GRAPH::NODE_RANGE;

KEP_ROUTING_BUILDER_NODE* NODE_RANGE::ITER::dereference() const {
  return m_graph->get_node(m_index);
}

NODE_RANGE::KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE(NODE_RANGE& other, tbb::split)
    : boost::iterator_range<ITER>(other), m_grain(other.m_grain) {
  const std::uint32_t first = other.begin().m_index;
  const ITER middle(other.begin().m_graph, first + (other.end().m_index - first) / 2);
  static_cast<boost::iterator_range<ITER>&>(*this) = boost::iterator_range<ITER>(middle, other.end());
  static_cast<boost::iterator_range<ITER>&>(other) = boost::iterator_range<ITER>(other.begin(), middle);
}

KEP_ROUTING_BUILDER_GRAPH* KEP_ROUTING_BUILDER_GRAPH::create(KEP_DB* db, std::size_t init_size_MiB) {
  return new KEP_ROUTING_BUILDER_GRAPH(db, init_size_MiB);
}

void KEP_ROUTING_BUILDER_GRAPH::destroy(KEP_ROUTING_BUILDER_GRAPH* graph) {
  delete graph;
}

KEP_ROUTING_BUILDER_GRAPH::KEP_ROUTING_BUILDER_GRAPH(KEP_DB* db, std::size_t init_size_MiB)
    : m_db(db), m_state(std::make_unique<STATE>()) {
  m_state->m_index = std::make_unique<KEP_NODE_INDEX>(db->get_unfolding());
  for (std::size_t i = 0; i != init_size_MiB; ++i)
    m_chunks.push_back(std::make_unique_for_overwrite<KEP_ROUTING_BUILDER_NODE[]>(CHUNK_NODES));
}

KEP_ROUTING_BUILDER_GRAPH::~KEP_ROUTING_BUILDER_GRAPH() = default;

void KEP_ROUTING_BUILDER_GRAPH::reserve_routing_node_template_space(unsigned count) {
  m_state->m_fanouts_of_nodes.reserve(count);
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_GRAPH::allocate_node(std::uint32_t occurrence, void* object) {
  if (m_node_count == std::numeric_limits<std::int32_t>::max())
    throw KEP_DB_ERROR("the routing graph has more than the 2147483647 nodes that it can have");
  KEP_ASSERT_EXPLAIN(!m_state->m_places, "Nodes are made before they are sorted");
  if (m_node_count == m_chunks.size() * CHUNK_NODES)
    m_chunks.push_back(std::make_unique_for_overwrite<KEP_ROUTING_BUILDER_NODE[]>(CHUNK_NODES));
  KEP_ROUTING_BUILDER_NODE* node = get_node(m_node_count);
  node->m_object = object;
  node->m_occurrence = occurrence;
  node->m_index = m_node_count & 0x7fffffff;
  node->m_is_hipi = 0;
  ++m_node_count;
  return node;
}

const KEP_PLACE_LAYOUT& KEP_ROUTING_BUILDER_GRAPH::get_place_layout() const {
  return *m_state->m_layout;
}

NODE_RANGE KEP_ROUTING_BUILDER_GRAPH::iter_nodes(unsigned grain) {
  return {NODE_RANGE::ITER(this, 0), NODE_RANGE::ITER(this, m_node_count), grain};
}

/// Sorts by word, in place. Occurrences are counted first, so only the nodes of one occurrence are ever
/// compared.
void KEP_ROUTING_BUILDER_GRAPH::sort_nodes() {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  std::vector<bool> holds_nodes(unfolding.get_modules().size());
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    if (const KEP_ROUTING_BUILDER_NODE& node = *get_node(i); !node.is_boundary())
      holds_nodes[unfolding.get(node.m_occurrence).m_module->get_number()] = true;
  m_state->m_layout = std::make_unique<const KEP_PLACE_LAYOUT>(unfolding, std::move(holds_nodes));
  auto order = std::make_shared<const KEP_OCCURRENCE_ORDER>(unfolding, *m_state->m_layout);
  const auto place_of = [&layout = *m_state->m_layout](const KEP_ROUTING_BUILDER_NODE& node) {
    return layout.get_first_place(node.m_occurrence);
  };
  std::vector<std::uint32_t> first(order->get_num_places() + std::size_t{1});
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    ++first[place_of(*get_node(i)) + std::size_t{1}];
  for (std::size_t i = 1; i != first.size(); ++i)
    first[i] += first[i - 1];
  std::vector<std::uint32_t> next(first);
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    get_node(i)->m_index = next[place_of(*get_node(i))]++ & 0x7fffffff;
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    for (KEP_ROUTING_BUILDER_NODE& node = *get_node(i); node.m_index != i;)
      std::swap(node, *get_node(node.m_index)); // which is at its place then
  for (std::size_t i = 0; i + 1 != first.size(); ++i)
    sort_nodes_of_place(first[i], first[i + 1]);
  find_places(std::move(order));
}

void KEP_ROUTING_BUILDER_GRAPH::sort_nodes_of_place(std::uint32_t begin, std::uint32_t end) {
  // The inst ports of one place stand in one array, in the order of their numbers.
  const auto by_key = [](const KEP_ROUTING_BUILDER_NODE& left, const KEP_ROUTING_BUILDER_NODE& right) {
    if (left.is_boundary()) return left.get_key() < right.get_key();
    return left.m_object != right.m_object ? std::less<>()(left.m_object, right.m_object)
                                           : left.m_is_hipi < right.m_is_hipi;
  };
  std::uint32_t i = begin;
  while (i + 1 < end && !by_key(*get_node(i + 1), *get_node(i)))
    ++i;
  if (i + 1 >= end) return; // most were made in order
  std::vector<KEP_ROUTING_BUILDER_NODE> nodes;
  nodes.reserve(end - begin);
  for (i = begin; i != end; ++i)
    nodes.push_back(*get_node(i));
  std::sort(nodes.begin(), nodes.end(), by_key);
  for (i = begin; i != end; ++i) {
    *get_node(i) = nodes[i - begin];
    get_node(i)->m_index = i & 0x7fffffff;
  }
}

void KEP_ROUTING_BUILDER_GRAPH::publish() {
  if (!m_state->m_places) sort_nodes(); // the graph has nodes and nothing else
  m_db->get_routing_template_graph()->publish(KEP_ROUTING_GRAPH_FOLDER(*this).fold());
}

void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool) {
  graph->publish();
}

void KEP_ROUTING_BUILDER_GRAPH::find_places(std::shared_ptr<const KEP_OCCURRENCE_ORDER> order) {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  m_state->m_places = std::make_shared<const KEP_NODE_PLACES>(
      unfolding, std::move(order), m_node_count,
      [this, &unfolding, &layout = *m_state->m_layout](std::uint32_t index) {
        const KEP_ROUTING_BUILDER_NODE& node = *get_node(index);
        if (node.is_boundary()) return KEP_NODE_PLACES::NODE{KEP_NODE_WORD::BOUNDARY, node.get_key()};
        const auto* first = unfolding.get(node.m_occurrence).m_module->get_inst_port_by_number(0);
        const auto number = static_cast<std::uint32_t>(static_cast<KEP_INST_PORT*>(node.m_object) - first);
        return KEP_NODE_PLACES::NODE{layout.get_first_place(node.m_occurrence),
                                     KEP_NODE_WORD::make_key(number, node.m_is_hipi)};
      });
  std::uint32_t& top = m_state->m_num_top_occurrences;
  for (top = 0; top + 1 < unfolding.size() && unfolding.get(top + 1).m_parent == KEP_UNFOLDING::ABOVE_TOP;)
    ++top;
}

KEP_ROUTING_BUILDER_NODE_CACHE::KEP_ROUTING_BUILDER_NODE_CACHE() = default;

void KEP_ROUTING_BUILDER_NODE_CACHE::initialize_routing_builder_graph(std::size_t, std::size_t,
                                                                      KEP_ROUTING_BUILDER_GRAPH* graph) {
  m_graph = graph;
}

/// Nodes that are sorted are found by their places.
void KEP_ROUTING_BUILDER_NODE_CACHE::initialize_routing_builder_graph(KEP_ROUTING_BUILDER_GRAPH* graph) {
  KEP_ASSERT_EXPLAIN(graph->m_state->m_places, "Nodes must be sorted before they are looked for anew");
  m_graph = graph;
  graph->m_state->m_index.reset();
}

bool KEP_ROUTING_BUILDER_NODE_CACHE::add_routing_node(KEP_ROUTING_BUILDER_NODE* node) {
  KEP_NODE_INDEX& index = *m_graph->m_state->m_index;
  if (node->is_boundary()) return index.add_boundary(node->get_port()->get_number(), node->get_index());
  const KEP_UNFOLDED_INST_PORT uip = node->get_unfolded_inst_port();
  return index.add(static_cast<std::uint32_t>(uip.m_position), uip.m_object->get_number(), false,
                   node->get_index());
}

bool KEP_ROUTING_BUILDER_NODE_CACHE::add_routing_node_hipi(KEP_ROUTING_BUILDER_NODE* node) {
  const KEP_UNFOLDED_INST_PORT uip = node->get_unfolded_inst_port();
  return m_graph->m_state->m_index->add(static_cast<std::uint32_t>(uip.m_position),
                                        uip.m_object->get_number(), true, node->get_index());
}

KEP_ROUTING_BUILDER_NODE*
KEP_ROUTING_BUILDER_NODE_CACHE::find_routing_node(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!uip || !m_graph) return nullptr;
  return find_node(static_cast<std::uint32_t>(uip.m_position), uip.m_object->get_number(), false);
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE_CACHE::find_routing_node(const KEP_PORT* port) const {
  if (!port || !m_graph) return nullptr;
  return find_node(KEP_UNFOLDING::ABOVE_TOP, port->get_number(), false);
}

std::pair<KEP_ROUTING_BUILDER_NODE*, KEP_ROUTING_BUILDER_NODE*>
KEP_ROUTING_BUILDER_NODE_CACHE::find_both_routing_nodes(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!uip || !m_graph) return {nullptr, nullptr};
  const auto occurrence = static_cast<std::uint32_t>(uip.m_position);
  const std::uint32_t inst_port = uip.m_object->get_number();
  return {find_node(occurrence, inst_port, false), find_node(occurrence, inst_port, true)};
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE_CACHE::find_node(std::uint32_t occurrence,
                                                                    std::uint32_t number,
                                                                    bool is_hipi) const {
  const KEP_ROUTING_BUILDER_GRAPH::STATE& state = *m_graph->m_state;
  std::uint32_t node = KEP_NODE_INDEX::NO_NODE;
  if (state.m_places) {
    const std::uint32_t place = state.m_places->get_order().get_place(occurrence);
    if (place == KEP_OCCURRENCE_ORDER::NONE) return nullptr;
    const std::uint32_t rank = state.m_places->find_rank(place, KEP_NODE_WORD::make_key(number, is_hipi));
    if (rank != KEP_NODE_PLACES::NONE) node = state.m_places->find_node(place, rank);
  } else if (occurrence == KEP_UNFOLDING::ABOVE_TOP) {
    node = state.m_index->find_boundary(number);
  } else {
    node = state.m_index->find(occurrence, number, is_hipi);
  }
  return node == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(node);
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE_CACHE::find_like_node(const KEP_ROUTING_BUILDER_NODE& node,
                                                                         std::uint32_t occurrence) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  const KEP_OCCURRENCE_ORDER& order = places.get_order();
  const std::uint32_t rank = places.get_rank(order.get_place(node.get_occurrence()), node.get_index());
  const std::uint32_t like = places.find_node(order.get_place(occurrence), rank);
  return like == KEP_NODE_PLACES::NONE ? nullptr : m_graph->get_node(like);
}
