#include "kep/kep_routing_builder.h"

#include "kep/kep_db.h"
#include "kep/kep_node_word.h"
#include "kep/kep_routing_builder_state.h"

#include <algorithm>
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
  if (!is_boundary()) return get_unfolded_inst_port().get_name(style);
  return style.m_port_separator + std::string(get_port()->get_plain_name());
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER::dereference() const {
  return m_graph->get_node(m_index);
}

KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE::
    KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE(
        KEP_ROUTING_BUILDER_GRAPH_ROUTING_BUILDER_NODE_ITER_RANGE& other, tbb::split)
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
    throw KEP_DB_ERROR("the routing graph has more than 2^31 - 1 nodes");
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

KEP_ROUTING_BUILDER_GRAPH::NODE_RANGE KEP_ROUTING_BUILDER_GRAPH::iter_nodes(unsigned grain) {
  return {NODE_RANGE::ITER(this, 0), NODE_RANGE::ITER(this, m_node_count), grain};
}

/// Sorts by word. Occurrences are counted first, so only the nodes of one occurrence are ever compared.
void KEP_ROUTING_BUILDER_GRAPH::sort_nodes() {
  auto order = std::make_shared<const KEP_OCCURRENCE_ORDER>(m_db->get_unfolding());
  const auto place_of = [this, &order = *order](std::uint32_t i) {
    return order.get_place(get_node(i)->m_occurrence);
  };
  std::vector<std::uint32_t> first(m_db->get_unfolding().size() + std::size_t{1});
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    ++first[place_of(i) + std::size_t{1}];
  for (std::size_t i = 1; i != first.size(); ++i)
    first[i] += first[i - 1];

  const auto sorted = std::make_unique_for_overwrite<KEP_ROUTING_BUILDER_NODE[]>(m_node_count);
  std::vector<std::uint32_t> next(first);
  for (std::uint32_t i = 0; i != m_node_count; ++i)
    sorted[next[place_of(i)]++] = *get_node(i);
  const auto by_key = [](const KEP_ROUTING_BUILDER_NODE& left, const KEP_ROUTING_BUILDER_NODE& right) {
    return left.get_key() < right.get_key();
  };
  for (std::size_t i = 0; i + 1 != first.size(); ++i) {
    KEP_ROUTING_BUILDER_NODE* begin = sorted.get() + first[i];
    KEP_ROUTING_BUILDER_NODE* end = sorted.get() + first[i + 1];
    if (!std::is_sorted(begin, end, by_key)) std::sort(begin, end, by_key); // most were made in order
  }
  for (std::uint32_t i = 0; i != m_node_count; ++i) {
    *get_node(i) = sorted[i];
    get_node(i)->m_index = i & 0x7fffffff;
  }
  find_places(std::move(order));
}

/// For a graph that has nodes and nothing else.
void KEP_ROUTING_BUILDER_GRAPH::sort_nodes_if_needed() {
  if (!m_state->m_places) sort_nodes();
}

void KEP_ROUTING_BUILDER_GRAPH::find_places(std::shared_ptr<const KEP_OCCURRENCE_ORDER> order) {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  m_state->m_places = std::make_shared<const KEP_NODE_PLACES>(
      unfolding, std::move(order), m_node_count, [this, &order = *order](std::uint32_t index) {
        const KEP_ROUTING_BUILDER_NODE& node = *get_node(index);
        return KEP_NODE_PLACES::NODE{order.get_place(node.get_occurrence()), node.get_key()};
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

void KEP_ROUTING_BUILDER_NODE_CACHE::initialize_routing_builder_graph(KEP_ROUTING_BUILDER_GRAPH* graph) {
  m_graph = graph;
  graph->m_state->m_index = std::make_unique<KEP_NODE_INDEX>(graph->m_db->get_unfolding());
  for (KEP_ROUTING_BUILDER_NODE* node : graph->iter_nodes(1)) {
    if (node->is_hipi())
      add_routing_node_hipi(node);
    else
      add_routing_node(node);
  }
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
  const std::uint32_t node = m_graph->m_state->m_index->find(static_cast<std::uint32_t>(uip.m_position),
                                                             uip.m_object->get_number(), false);
  return node == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(node);
}

KEP_ROUTING_BUILDER_NODE* KEP_ROUTING_BUILDER_NODE_CACHE::find_routing_node(const KEP_PORT* port) const {
  if (!port || !m_graph) return nullptr;
  const std::uint32_t node = m_graph->m_state->m_index->find_boundary(port->get_number());
  return node == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(node);
}

KEP_ROUTING_BUILDER_NODES_AT KEP_ROUTING_BUILDER_NODE_CACHE::find_nodes_at(std::uint64_t position) const {
  KEP_ROUTING_BUILDER_NODES_AT nodes;
  if (!m_graph) return nodes;
  const auto page = m_graph->m_state->m_index->find_page(static_cast<std::uint32_t>(position));
  nodes.m_graph = m_graph;
  nodes.m_nodes = page.m_nodes;
  nodes.m_num_nodes = page.m_num_nodes;
  return nodes;
}

std::uint32_t KEP_ROUTING_BUILDER_NODE_CACHE::find_rank(const KEP_INST_PORT& inst_port) const {
  if (!m_graph) return KEP_NODE_INDEX::NO_NODE;
  return m_graph->m_state->m_index->find_rank(*inst_port.get_inst()->get_parent(), inst_port.get_number());
}

std::pair<KEP_ROUTING_BUILDER_NODE*, KEP_ROUTING_BUILDER_NODE*>
KEP_ROUTING_BUILDER_NODE_CACHE::find_both_routing_nodes(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!uip || !m_graph) return {nullptr, nullptr};
  const KEP_NODE_INDEX& index = *m_graph->m_state->m_index;
  const auto occurrence = static_cast<std::uint32_t>(uip.m_position);
  const std::uint32_t inst_port = uip.m_object->get_number();
  const std::uint32_t plain = index.find(occurrence, inst_port, false);
  const std::uint32_t hipi = index.find(occurrence, inst_port, true);
  return {plain == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(plain),
          hipi == KEP_NODE_INDEX::NO_NODE ? nullptr : m_graph->get_node(hipi)};
}
