#include "kep/kep_routing_builder.h"

#include "kep/detail/kep_place_layout.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph_building/kep_node_sorter.h"
#include "kep/graph_building/kep_routing_builder_state.h"
#include "kep/graph_building/kep_routing_graph_folder.h"
#include "kep/kep_db.h"
#include "kep_report/kep_report_assert.h"

#include <algorithm>
#include <limits>
#include <utility>

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE::allocate(KEP_ROUTING_BUILDER_GRAPH* graph,
                                                             const KEP_PORT* port) {
  return graph->allocate_node(KEP_UNFOLDING::ABOVE_TOP, port->get_number());
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE::allocate(KEP_ROUTING_BUILDER_GRAPH* graph,
                                                             const KEP_UNFOLDED_INST_PORT& uip) {
  return graph->allocate_node(static_cast<std::uint32_t>(uip.m_position), uip.m_object->get_number());
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
  m_state->m_index = std::make_unique<KEP_NODE_INDEX>(*this);
  for (std::size_t i = 0; i != init_size_MiB; ++i)
    add_chunk();
}

KEP_ROUTING_BUILDER_GRAPH::~KEP_ROUTING_BUILDER_GRAPH() = default;

void KEP_ROUTING_BUILDER_GRAPH::reserve_routing_node_template_space(unsigned count) {
  m_state->m_fanouts_of_nodes.reserve(count);
}

void KEP_ROUTING_BUILDER_GRAPH::add_chunk() {
  m_chunks.push_back(std::make_unique_for_overwrite<CHUNK>());
  m_chunks.back()->m_unfolding = &m_db->get_unfolding();
  m_chunks.back()->m_first_index = static_cast<std::uint32_t>(m_chunks.size() - 1) * CHUNK::NUM_NODES;
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_GRAPH::allocate_node(std::uint32_t occurrence,
                                                                   std::uint32_t number) {
  KEP_ROUTING_BUILDER_NODE* node = get_node(allocate_nodes(1));
  node->set(occurrence, number, false);
  return node;
}

std::uint32_t KEP_ROUTING_BUILDER_GRAPH::allocate_nodes(std::uint32_t count) {
  constexpr std::uint32_t MAX_NODES = std::numeric_limits<std::int32_t>::max();
  if (count > MAX_NODES - m_node_count)
    throw KEP_DB_ERROR("the routing graph has more than the 2147483647 nodes that it can have");
  KEP_ASSERT_EXPLAIN(!m_state->m_places, "Nodes are made before they are sorted");
  const std::uint32_t first = m_node_count;
  m_node_count += count;
  while (m_node_count > m_chunks.size() * CHUNK::NUM_NODES)
    add_chunk();
  return first;
}

void KEP_ROUTING_BUILDER_GRAPH::put_nodes(std::uint32_t index, std::uint32_t occurrence,
                                          boost::iterator_range<const std::uint32_t*> inst_ports) {
  while (!inst_ports.empty()) {
    const auto nodes = get_nodes_from(index);
    const std::size_t count = std::min(nodes.size(), inst_ports.size());
    for (std::size_t i = 0; i != count; ++i)
      nodes.begin()[i].set(occurrence, inst_ports.begin()[i], false);
    index += static_cast<std::uint32_t>(count);
    inst_ports.advance_begin(static_cast<std::ptrdiff_t>(count));
  }
}

const KEP_PLACE_LAYOUT& KEP_ROUTING_BUILDER_GRAPH::get_place_layout() const {
  return *m_state->m_layout;
}

NODE_RANGE KEP_ROUTING_BUILDER_GRAPH::iter_nodes(unsigned grain) {
  return {NODE_RANGE::ITER(this, 0), NODE_RANGE::ITER(this, m_node_count), grain};
}

/// No node moves: where one stands follows from the census, so the nodes are written anew.
void KEP_ROUTING_BUILDER_GRAPH::sort_nodes() {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  KEP_NODE_SORTER sorter(*this);
  std::vector<bool> holds_nodes;
  for (const std::vector<bool>& keys : sorter.get_census().get_keys())
    holds_nodes.push_back(!keys.empty());
  m_state->m_layout = std::make_unique<const KEP_PLACE_LAYOUT>(unfolding, std::move(holds_nodes));
  auto order = std::make_shared<const KEP_OCCURRENCE_PLACES>(unfolding, *m_state->m_layout);
  m_state->m_places =
      std::make_shared<const KEP_NODE_PLACES>(unfolding, std::move(order), sorter.get_census());
  sorter.write(*m_state->m_places);
  std::uint32_t& top = m_state->m_num_top_occurrences;
  for (top = 0; top + 1 < unfolding.size() && unfolding.get(top + 1).m_parent == KEP_UNFOLDING::ABOVE_TOP;)
    ++top;
}

void KEP_ROUTING_BUILDER_GRAPH::publish() {
  if (!m_state->m_places) sort_nodes(); // the graph has nodes and nothing else
  m_db->get_routing_template_graph()->publish(KEP_ROUTING_GRAPH_FOLDER(*this).fold());
}

void KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(KEP_ROUTING_BUILDER_GRAPH* graph, bool) {
  graph->publish();
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
  return m_graph->m_state->m_index->add(*node);
}

bool KEP_ROUTING_BUILDER_NODE_CACHE::add_routing_node_hipi(KEP_ROUTING_BUILDER_NODE* node) {
  return m_graph->m_state->m_index->add(*node);
}

void KEP_ROUTING_BUILDER_NODE_CACHE::add_all_routing_nodes() {
  m_graph->m_state->m_index->add_all_later();
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
    const std::uint32_t place = state.m_places->get_occurrence_places().get_place(occurrence);
    if (place == KEP_OCCURRENCE_PLACES::NONE) return nullptr;
    const std::uint32_t rank = state.m_places->find_rank(place, KEP_NODE_WORD::make_key(number, is_hipi));
    if (rank != KEP_NODE_PLACES::NONE) node = state.m_places->find_node(place, rank);
  } else {
    node = state.m_index->find(occurrence, number, is_hipi);
  }
  return node == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(node);
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE_CACHE::find_like_node(const KEP_ROUTING_BUILDER_NODE& node,
                                                                         std::uint32_t occurrence) const {
  const KEP_NODE_PLACES& places = *m_graph->m_state->m_places;
  const KEP_OCCURRENCE_PLACES& order = places.get_occurrence_places();
  const std::uint32_t rank = places.get_rank(order.get_place(node.get_occurrence()), node.get_index());
  const std::uint32_t like = places.find_node(order.get_place(occurrence), rank);
  return like == KEP_NODE_PLACES::NONE ? nullptr : m_graph->get_node(like);
}
