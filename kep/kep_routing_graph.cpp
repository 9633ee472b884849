#include "kep/kep_routing_graph.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph_storage.h"

namespace KEP_ROUTING {

NODE::NODE(const KEP_PORT* port) : NODE() {
  if (!port) return;
  GRAPH* graph = port->get_parent()->get_unfolding()->get_db()->get_routing_template_graph();
  const std::uint64_t word = KEP_NODE_WORD::make_boundary(port->get_number());
  if (!graph->m_storage || graph->m_storage->find(word) == KEP_NODE_INDEX::NO_NODE) return;
  m_word = word;
  m_graph = graph;
}

NODE::NODE(const KEP_UNFOLDED_INST_PORT& uip, bool hipi) : NODE() {
  if (!uip) return;
  GRAPH* graph = uip.get_db()->get_routing_template_graph();
  const std::uint64_t word =
      KEP_NODE_WORD::make(static_cast<std::uint32_t>(uip.m_position), uip.m_object->get_number(), hipi);
  if (!graph->m_storage || graph->m_storage->find(word) == KEP_NODE_INDEX::NO_NODE) return;
  m_word = word;
  m_graph = graph;
}

bool NODE::is_boundary() const {
  return m_graph && m_graph->is_boundary(*this);
}
bool NODE::is_hipi() const {
  return m_graph && m_graph->is_hipi(*this);
}
KEP_PORT* NODE::get_port() const {
  return m_graph ? m_graph->get_port(*this) : nullptr;
}
KEP_UNFOLDED_INST_PORT NODE::get_unfolded_inst_port() const {
  return m_graph ? m_graph->get_unfolded_inst_port(*this) : KEP_UNFOLDED_INST_PORT();
}

NODE NODE::get_hipi_node() const {
  if (!m_graph || is_boundary() || is_hipi()) return NODE();
  const std::uint64_t word = m_word | 1;
  return m_graph->m_storage->find(word) == KEP_NODE_INDEX::NO_NODE ? NODE() : NODE(word, m_graph);
}

unsigned short NODE::get_num_edges() const {
  if (!m_graph) return 0;
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  return static_cast<unsigned short>(storage.get_num_edges(storage.find(m_word)));
}

unsigned short NODE::get_num_real_edges() const {
  if (!m_graph) return 0;
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  return static_cast<unsigned short>(storage.get_num_real_edges(storage.find(m_word)));
}

unsigned short NODE::get_num_fanin() const {
  if (!m_graph) return 0;
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  return static_cast<unsigned short>(storage.get_num_fanin(storage.find(m_word)));
}

boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_real_fanout() const {
  if (!m_graph) return {};
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  const std::uint32_t node = storage.find(m_word);
  const std::uint64_t first = storage.get_first_edge(node);
  return {EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, 0),
          EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, storage.get_num_real_edges(node))};
}

boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_redundant_fanout() const {
  if (!m_graph) return {};
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  const std::uint32_t node = storage.find(m_word);
  const std::uint64_t first = storage.get_first_edge(node);
  return {EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, storage.get_num_real_edges(node)),
          EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, storage.get_num_edges(node))};
}

boost::iterator_range<EDGE_ITER<FWD_EDGE>> NODE::iter_all_fanout() const {
  if (!m_graph) return {};
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  const std::uint32_t node = storage.find(m_word);
  const std::uint64_t first = storage.get_first_edge(node);
  return {EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, 0),
          EDGE_ITER<FWD_EDGE>(m_graph, m_word, first, storage.get_num_edges(node))};
}

boost::iterator_range<EDGE_ITER<REV_EDGE>> NODE::iter_all_fanin() const {
  if (!m_graph) return {};
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  const std::uint32_t node = storage.find(m_word);
  const std::uint64_t first = storage.get_first_fanin(node);
  return {EDGE_ITER<REV_EDGE>(m_graph, m_word, first, 0),
          EDGE_ITER<REV_EDGE>(m_graph, m_word, first, storage.get_num_fanin(node))};
}

std::string NODE::get_name(const KEP_NAME_STYLE& style) const {
  if (const KEP_PORT* port = get_port()) return style.m_port_separator + port->get_name(style);
  return get_unfolded_inst_port().get_name(style);
}

KEP_UNFOLDED_INST_PORT FWD_EDGE::get_mux_input() const {
  const GRAPH* graph = m_fanout.m_graph;
  const std::uint64_t word = graph->m_storage->get_mux_word(m_source, m_edge);
  return word ? graph->get_unfolded_inst_port(BASE_NODE(word)) : KEP_UNFOLDED_INST_PORT();
}

template <>
FWD_EDGE EDGE_ITER<FWD_EDGE>::dereference() const {
  const KEP_ROUTING_GRAPH_STORAGE& storage = *m_graph->m_storage;
  const std::uint64_t edge = m_first + m_position;
  return FWD_EDGE(NODE(storage.get_target_word(edge), m_graph), m_source, edge);
}

template <>
REV_EDGE EDGE_ITER<REV_EDGE>::dereference() const {
  return REV_EDGE(NODE(m_graph->m_storage->get_fanin_word(m_first + m_position), m_graph));
}

NODE NODE_ITER::dereference() const {
  return NODE(m_graph->m_storage->get_word(m_index), m_graph);
}

NODE_ITER_RANGE::NODE_ITER_RANGE(NODE_ITER_RANGE& other, tbb::split)
    : boost::iterator_range<NODE_ITER>(other), m_grain(other.m_grain) {
  const std::uint32_t first = other.begin().m_index;
  const NODE_ITER middle(other.begin().m_graph, first + (other.end().m_index - first) / 2);
  static_cast<boost::iterator_range<NODE_ITER>&>(*this) =
      boost::iterator_range<NODE_ITER>(middle, other.end());
  static_cast<boost::iterator_range<NODE_ITER>&>(other) =
      boost::iterator_range<NODE_ITER>(other.begin(), middle);
}

bool NODE_ITER_RANGE::is_divisible() const {
  return end().m_index - begin().m_index > m_grain;
}

GRAPH::GRAPH(KEP_DB* db) : m_db(db), m_routing_primitive(db) {}
GRAPH::~GRAPH() = default;

NODE_ITER_RANGE GRAPH::iter_nodes_with_grain(unsigned grain) const {
  auto* graph = const_cast<GRAPH*>(this);
  return {NODE_ITER(graph, 0), NODE_ITER(graph, m_storage ? m_storage->get_num_nodes() : 0), grain};
}

std::uint32_t GRAPH::get_index(const NODE& node) const {
  return m_storage->find(node.m_word);
}
NODE GRAPH::get_node(std::uint32_t index) const {
  return NODE(m_storage->get_word(index), const_cast<GRAPH*>(this));
}

void GRAPH::append_real_fanouts(std::uint32_t index, std::vector<std::uint32_t>& fanouts) const {
  const std::uint64_t first = m_storage->get_first_edge(index);
  const std::uint64_t end = first + m_storage->get_num_real_edges(index);
  for (std::uint64_t edge = first; edge != end; ++edge)
    fanouts.push_back(m_storage->get_target(edge));
}

std::uint64_t GRAPH::get_num_nodes() const {
  return m_storage ? m_storage->get_num_nodes() : 0;
}
std::uint64_t GRAPH::get_num_real_edges() const {
  return m_storage ? m_storage->get_total_real_edges() : 0;
}
std::uint64_t GRAPH::get_num_redundant_edges() const {
  return m_storage ? m_storage->get_total_edges() - m_storage->get_total_real_edges() : 0;
}
std::uint64_t GRAPH::get_num_templates() const {
  return m_storage ? m_storage->get_num_templates() : 0;
}
std::uint64_t GRAPH::get_memory_bytes() const {
  return m_storage ? m_storage->get_memory_bytes() : 0;
}

void GRAPH::publish(std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage) {
  m_storage = std::move(storage);
}

bool GRAPH::is_boundary(const BASE_NODE& node) const {
  return node && KEP_NODE_WORD::is_boundary(node.m_word);
}

bool GRAPH::is_hipi(const BASE_NODE& node) const {
  return !is_boundary(node) && KEP_NODE_WORD::is_hipi(node.m_word);
}

KEP_PORT* GRAPH::get_port(const BASE_NODE& node) const {
  return is_boundary(node) ? m_db->get_unfolding().get_ports()[KEP_NODE_WORD::port_number(node.m_word)]
                           : nullptr;
}

KEP_UNFOLDED_INST_PORT GRAPH::get_unfolded_inst_port(const BASE_NODE& node) const {
  if (!node || is_boundary(node)) return {};
  const std::uint32_t occurrence = KEP_NODE_WORD::occurrence(node.m_word);
  const KEP_MODULE* module = m_db->get_unfolding().get(occurrence).m_module;
  return {occurrence, module->get_inst_port_by_number(KEP_NODE_WORD::inst_port(node.m_word))};
}

} // namespace KEP_ROUTING
