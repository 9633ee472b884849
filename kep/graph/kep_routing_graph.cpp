#include "kep/kep_routing_graph.h"

#include "kep/common/kep_tsan.h"
#include "kep/graph/kep_mux_input_word.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/kep_db.h"

#include <algorithm>

namespace KEP_ROUTING {

namespace {

/// The word of the node that stands at a place, 0 if there is none.
std::uint64_t find_word(const KEP_ROUTING_GRAPH_STORAGE* storage, const KEP_EDGE_TABLES& tables,
                        std::uint32_t occurrence, std::uint32_t key) {
  if (!storage) return 0;
  const KEP_NODE_PLACES& places = *storage->m_places;
  const std::uint32_t place = places.get_occurrence_places().get_place(occurrence);
  if (place == KEP_OCCURRENCE_PLACES::NONE || places.get_num_nodes(place) == 0) return 0;
  const std::uint32_t rank = places.find_rank(place, key);
  if (rank == KEP_NODE_PLACES::NONE) return 0;
  const std::uint64_t word = KEP_NODE_WORD::make(place, rank);
  return tables.get_shape_number(word) == KEP_EDGE_TABLES::NO_NODE ? 0 : word;
}

} // namespace

NODE::NODE(const KEP_PORT* port) : NODE() {
  if (!port) return;
  GRAPH* graph = port->get_parent()->get_unfolding()->get_db()->get_routing_template_graph();
  m_word = find_word(graph->m_storage.get(), graph->m_tables, KEP_UNFOLDING::ABOVE_TOP,
                     KEP_NODE_WORD::make_key(port->get_number(), false));
  if (m_word) m_graph = graph;
}

NODE::NODE(const KEP_UNFOLDED_INST_PORT& uip, bool hipi) : NODE() {
  if (!uip) return;
  GRAPH* graph = uip.get_db()->get_routing_template_graph();
  m_word = find_word(graph->m_storage.get(), graph->m_tables, static_cast<std::uint32_t>(uip.m_position),
                     KEP_NODE_WORD::make_key(uip.m_object->get_number(), hipi));
  if (m_word) m_graph = graph;
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

/// A twin's key is the next one, so its rank is, too.
NODE NODE::get_hipi_node() const {
  if (!m_graph || is_boundary()) return NODE();
  const KEP_NODE_PLACES& places = *m_graph->m_storage->m_places;
  const std::uint32_t place = KEP_NODE_WORD::place(m_word);
  const std::uint32_t rank = KEP_NODE_WORD::rank(m_word);
  if (!places.has_hipi() || rank + 1 == places.get_num_ranks(place)) return NODE();
  const std::uint32_t key = places.get_key(place, rank);
  if (KEP_NODE_WORD::is_hipi(key) || places.get_key(place, rank + 1) != key + 1) return NODE();
  const bool stands_there = m_graph->m_tables.get_shape_number(m_word + 1) != KEP_EDGE_TABLES::NO_NODE;
  return stands_there ? NODE(m_word + 1, m_graph) : NODE();
}

void append_node_name(const KEP_PORT* port, const KEP_UNFOLDED_INST_PORT& uip, const KEP_NAME_STYLE& style,
                      std::string& name) {
  if (!port) return uip.append_name(style, name);
  name += style.m_port_separator;
  name += port->get_plain_name();
}

void NODE::append_name(const KEP_NAME_STYLE& style, std::string& name) const {
  append_node_name(get_port(), get_unfolded_inst_port(), style, name);
}

std::string NODE::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  append_name(style, name);
  return name;
}

KEP_UNFOLDED_INST_PORT FWD_EDGE::get_mux_input() const {
  const GRAPH& graph = *m_fanout.m_graph;
  const std::uint64_t word = graph.m_tables.m_mux_inputs[m_position].m_bits;
  if (word == KEP_MUX_INPUT_WORD::NONE) return {};
  std::uint32_t occurrence = KEP_MUX_INPUT_WORD::far_occurrence(word);
  std::uint32_t inst_port = KEP_MUX_INPUT_WORD::inst_port(word);
  if (occurrence == 0) {
    if (!m_fanout) return {}; // of a damaged graph
    occurrence = graph.m_storage->m_places->get_occurrence_places().get_occurrence(
        KEP_NODE_WORD::place(m_fanout.m_word));
    inst_port += KEP_NODE_WORD::inst_port(graph.get_key(m_fanout));
  }
  const KEP_MODULE* module = graph.m_db->get_unfolding().get_module(occurrence);
  return {occurrence, module->get_inst_port_by_number(inst_port)};
}

NODE_ITER::NODE_ITER(GRAPH* graph, std::uint32_t index) : m_graph(graph), m_index(index) {
  if (!graph->m_storage || index == graph->m_tables.m_num_nodes) return;
  const KEP_NODE_PLACES& places = *graph->m_storage->m_places;
  m_place = places.find_place(index);
  m_rank = places.get_rank(m_place, index);
  m_last = places.get_first_nodes()[m_place + std::size_t{1}] - 1;
}

NODE_ITER_RANGE::NODE_ITER_RANGE(NODE_ITER_RANGE& other, tbb::split)
    : boost::iterator_range<NODE_ITER>(other), m_grain(other.m_grain) {
  KEP_TSAN::begin_body(); // a worker splits before it runs a body
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
  return iter_nodes_with_grain(grain, 0, m_tables.m_num_nodes);
}

NODE_ITER_RANGE GRAPH::iter_nodes_with_grain(unsigned grain, std::uint32_t first, std::uint32_t end) const {
  auto* graph = const_cast<GRAPH*>(this);
  return {NODE_ITER(graph, first), NODE_ITER(graph, end), grain};
}

/// Entries below one stand side by side, depth by depth, and their places, too, in some order.
std::pair<std::uint32_t, std::uint32_t> GRAPH::find_numbers_below(const KEP_UNFOLDED_MODULE& module) const {
  if (!m_storage || !module) return {0, 0};
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(module.m_position);
  const KEP_SLOT& slot = unfolding.get_slot(above, KEP_SLOT_POSITION::slot(module.m_position));
  if (slot.m_inner_rank == KEP_SLOT::NOT_INNER) return {0, 0};
  const KEP_NODE_PLACES& places = *m_storage->m_places;
  const auto get_first_child = [&unfolding](std::uint32_t entry) {
    return entry == unfolding.size() ? entry : unfolding.get(entry).m_first_child;
  };
  std::pair<std::uint32_t, std::uint32_t> numbers{m_tables.m_num_nodes, 0};
  std::uint32_t begin = unfolding.get_child(above, slot);
  for (std::uint32_t end = begin + 1; begin != end;
       begin = get_first_child(begin), end = get_first_child(end))
    for (std::uint32_t entry = begin; entry != end; ++entry) {
      const std::uint32_t place = places.get_occurrence_places().get_place(entry);
      if (place == KEP_OCCURRENCE_PLACES::NONE || places.get_num_nodes(place) == 0) continue;
      const std::uint32_t* first = places.get_first_nodes().data() + place;
      numbers = {std::min(numbers.first, first[0]), std::max(numbers.second, first[1])};
    }
  return numbers.first < numbers.second ? numbers : std::pair<std::uint32_t, std::uint32_t>{0, 0};
}

bool GRAPH::has_all_nodes_at(std::uint32_t occurrence) const {
  if (!m_storage) return false;
  const KEP_NODE_PLACES& places = *m_storage->m_places;
  const std::uint32_t place = places.get_occurrence_places().get_place(occurrence);
  return place != KEP_OCCURRENCE_PLACES::NONE && places.has_all_ranks(place);
}

std::uint64_t GRAPH::get_num_nodes() const {
  return m_tables.m_num_nodes;
}
std::uint64_t GRAPH::get_num_real_edges() const {
  return m_storage ? m_storage->m_num_real_edges : 0;
}
std::uint64_t GRAPH::get_num_redundant_edges() const {
  return m_storage ? m_storage->m_num_edges - m_storage->m_num_real_edges : 0;
}
std::uint64_t GRAPH::get_num_templates() const {
  return m_storage ? m_storage->m_num_templates : 0;
}
std::uint64_t GRAPH::get_memory_bytes() const {
  return m_storage ? m_storage->get_memory_bytes() : 0;
}

void GRAPH::publish(std::unique_ptr<const KEP_ROUTING_GRAPH_STORAGE> storage) {
  m_storage = std::move(storage);
  m_tables = m_storage ? m_storage->get_tables() : KEP_EDGE_TABLES{};
}

bool GRAPH::is_boundary(const BASE_NODE& node) const {
  return node && KEP_NODE_WORD::is_boundary(node.m_word);
}

std::uint32_t GRAPH::get_key(const BASE_NODE& node) const {
  return m_storage->m_places->get_key(KEP_NODE_WORD::place(node.m_word), KEP_NODE_WORD::rank(node.m_word));
}

bool GRAPH::is_hipi(const BASE_NODE& node) const {
  return node && !is_boundary(node) && m_storage->m_places->has_hipi() &&
         KEP_NODE_WORD::is_hipi(get_key(node));
}

KEP_PORT* GRAPH::get_port(const BASE_NODE& node) const {
  return is_boundary(node) ? m_db->get_unfolding().get_ports()[KEP_NODE_WORD::inst_port(get_key(node))]
                           : nullptr;
}

KEP_UNFOLDED_INST_PORT GRAPH::get_unfolded_inst_port(const BASE_NODE& node) const {
  if (!node || is_boundary(node)) return {};
  const std::uint32_t occurrence =
      m_storage->m_places->get_occurrence_places().get_occurrence(KEP_NODE_WORD::place(node.m_word));
  const KEP_MODULE* module = m_db->get_unfolding().get_module(occurrence);
  return {occurrence, module->get_inst_port_by_number(KEP_NODE_WORD::inst_port(get_key(node)))};
}

} // namespace KEP_ROUTING
