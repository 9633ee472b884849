#include "kep/kep_routing_primitive.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"

namespace {

std::uint64_t arc_key(const KEP_PORT* input, const KEP_PORT* output) {
  return static_cast<std::uint64_t>(input->get_number()) << 32 | output->get_number();
}

/// The element of a vector by number, which grows to hold it.
template <class VECTOR>
typename VECTOR::reference at_grown(VECTOR& vector, std::size_t number) {
  if (number >= vector.size()) vector.resize(number + 1);
  return vector[number];
}

} // namespace

KEP_ROUTING_MUX* KEP_ROUTING_MUX::allocate(KEP_DB* db, KEP_MODULE* module, bool skip) {
  KEP_ROUTING_PRIMITIVE& store = *db->get_routing_template_graph()->get_routing_primitive();
  store.m_is_initialized = true;
  store.m_muxes.push_back(new KEP_ROUTING_MUX(module, skip));
  return store.m_muxes.back();
}

KEP_ROUTING_ARC* KEP_ROUTING_MUX::find_routing_arc(const KEP_PORT* input, const KEP_PORT* output) const {
  const auto found = m_arc_by_ports.find(arc_key(input, output));
  return found == m_arc_by_ports.end() ? nullptr : found->second;
}

void KEP_ROUTING_MUX::add_skip_exception_instance(KEP_INSTANCE* instance) {
  m_skip_exceptions.push_back(instance);
  m_skip_exception_set.insert(instance);
}

void KEP_ROUTING_MUX::remove_skip_exception_instances() {
  m_skip_exceptions.clear();
  m_skip_exception_set.clear();
}

KEP_ROUTING_ARC* KEP_ROUTING_ARC::allocate(KEP_DB* db, KEP_PORT* input, KEP_PORT* output,
                                           KEP_ROUTING_MUX* mux) {
  KEP_ROUTING_PRIMITIVE& store = *db->get_routing_template_graph()->get_routing_primitive();
  store.m_is_initialized = true;
  store.m_arcs.push_back(new KEP_ROUTING_ARC(input, output, mux));
  KEP_ROUTING_ARC* arc = store.m_arcs.back();
  if (mux) {
    mux->m_arcs.push_back(arc);
    mux->m_arc_by_ports.emplace(arc_key(input, output), arc);
  }
  return arc;
}

bool KEP_ROUTING_ARC::is_skip(KEP_INSTANCE* instance) const {
  return m_mux && m_mux->get_skip() != m_mux->is_skip_exception_instance(instance);
}

bool KEP_ROUTING_ARC::is_always_skip() const {
  return m_mux && m_mux->get_skip() && !m_mux->has_skip_exception_instances();
}

KEP_ROUTING_FLYOVER* KEP_ROUTING_FLYOVER::allocate(KEP_DB* db, KEP_PORT* input, KEP_PORT* output) {
  KEP_ROUTING_PRIMITIVE& store = *db->get_routing_template_graph()->get_routing_primitive();
  store.m_is_initialized = true;
  store.m_flyovers.push_back(new KEP_ROUTING_FLYOVER(input, output));
  return store.m_flyovers.back();
}

const KEP_VIEW_TYPE_RANK KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank(KEP_VIEW_TYPE::BLC,
                                                                          KEP_VIEW_TYPE::LOGICAL);

KEP_ROUTING_PRIMITIVE::KEP_ROUTING_PRIMITIVE(KEP_DB* db) : m_db(db) {}

KEP_ROUTING_PRIMITIVE::~KEP_ROUTING_PRIMITIVE() {
  for (const KEP_ROUTING_MUX* mux : m_muxes)
    delete mux;
  for (const KEP_ROUTING_ARC* arc : m_arcs)
    delete arc;
  for (const KEP_ROUTING_FLYOVER* flyover : m_flyovers)
    delete flyover;
}

unsigned char& KEP_ROUTING_PRIMITIVE::port_marks(const KEP_PORT* port) {
  m_is_initialized = true;
  return at_grown(m_port_marks, port->get_number());
}

void KEP_ROUTING_PRIMITIVE::add_routing_root(KEP_MODULE* module) {
  m_is_initialized = true;
  std::vector<bool>::reference is_root = at_grown(m_is_routing_root, module->get_number());
  if (is_root) return;
  is_root = true;
  m_routing_roots.push_back(module);
}

void KEP_ROUTING_PRIMITIVE::add_insert_node(KEP_PORT* port, const std::string& name) {
  port_marks(port) |= INSERT_NODE;
  m_insert_node_names[port] = name;
}

void KEP_ROUTING_PRIMITIVE::add_remove_node(KEP_PORT* port) {
  port_marks(port) |= REMOVE_NODE;
}

void KEP_ROUTING_PRIMITIVE::add_is_merge_disabled(KEP_PORT* port) {
  port_marks(port) |= MERGE_DISABLED;
}

void KEP_ROUTING_PRIMITIVE::add_is_not_template(KEP_MODULE* module) {
  m_is_initialized = true;
  at_grown(m_not_template, module->get_number()) = true;
}

bool KEP_ROUTING_PRIMITIVE::is_not_template(const KEP_MODULE* module) const {
  return module && module->get_number() < m_not_template.size() && m_not_template[module->get_number()];
}

void KEP_ROUTING_PRIMITIVE::add_hipi(KEP_PORT* port, KEP_ROUTING_PRIMITIVE_HIPI hipi) {
  unsigned char& marks = port_marks(port);
  marks = static_cast<unsigned char>((marks & ~HIPI_MASK) | (static_cast<unsigned char>(hipi) & HIPI_MASK));
}

void KEP_ROUTING_PRIMITIVE::add_tunnel_type(KEP_MODULE* module, KEP_ROUTING_PRIMITIVE_TUNNEL tunnel) {
  m_is_initialized = true;
  at_grown(m_tunnels, module->get_number()) = tunnel;
}

void KEP_ROUTING_PRIMITIVE::set_non_template_mux_skip_path_inst_name_pattern(const std::string& pattern) {
  m_is_initialized = true;
  m_pattern = pattern;
}

const std::string* KEP_ROUTING_PRIMITIVE::find_insert_node_name(const KEP_PORT* port) const {
  const auto found = m_insert_node_names.find(port);
  return found == m_insert_node_names.end() ? nullptr : &found->second;
}

void KEP_ROUTING_PRIMITIVE::add_wire_type(const KEP_RELATIVE_PATH& path, const std::string& name,
                                          unsigned char flags) {
  if (!path) return;
  port_marks(path.get_port(m_db)) |= ENDS_WIRE_TYPE_PATH;
  m_wire_types[path] = std::make_unique<KEP_WIRE_TYPE>(name, flags);
}

const KEP_WIRE_TYPE* KEP_ROUTING_PRIMITIVE::find_wire_type(const KEP_MODULE* module,
                                                           const KEP_RELATIVE_PATH& path) const {
  if (!path || path.get_module(m_db) != module) return nullptr;
  const auto found = m_wire_types.find(path);
  return found == m_wire_types.end() ? nullptr : found->second.get();
}

const KEP_WIRE_TYPE* KEP_ROUTING_PRIMITIVE::find_wire_type(const KEP_UNFOLDED_INST_PORT& uip) const {
  const KEP_UNFOLDED_PORT port = uip.get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW));
  if (!(get_port_marks(port.m_object) & ENDS_WIRE_TYPE_PATH)) return nullptr;
  // The topmost ancestor that knows the port decides, so the last answer on the way up is the one that holds.
  const KEP_WIRE_TYPE* decides = nullptr;
  for (KEP_UNFOLDED_MODULE above = port.get_parent(); above;
       above = above.get_unfolded_instance().get_parent())
    if (const KEP_WIRE_TYPE* type = find_wire_type(above.m_object, port - above)) decides = type;
  return decides;
}
