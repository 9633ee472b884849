#include "kep/kep_routing_primitive_cache.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"

KEP_DB_ROUTING_PRIMITIVE_CACHE::KEP_DB_ROUTING_PRIMITIVE_CACHE(const KEP_DB* db)
    : m_store(db->get_routing_template_graph()->find_routing_primitive()),
      m_muxes(db->get_unfolding().get_modules().size()),
      m_arcs_by_input(db->get_unfolding().get_ports().size()),
      m_arcs_by_output(db->get_unfolding().get_ports().size()) {
  for (KEP_ROUTING_MUX* mux : m_store->iter_routing_muxes(false))
    add_routing_mux(mux);
  for (KEP_ROUTING_ARC* arc : m_store->iter_routing_arcs(false))
    add_routing_arc(arc);
}

KEP_DB_ROUTING_PRIMITIVE_CACHE::~KEP_DB_ROUTING_PRIMITIVE_CACHE() = default;

void KEP_DB_ROUTING_PRIMITIVE_CACHE::add_routing_mux(KEP_ROUTING_MUX* mux) {
  m_muxes[mux->get_module()->get_number()].push_back(mux);
}

void KEP_DB_ROUTING_PRIMITIVE_CACHE::add_routing_arc(KEP_ROUTING_ARC* arc) {
  std::unique_ptr<ARCS>& outputs = m_arcs_by_input[arc->get_input()->get_number()];
  if (!outputs) outputs = std::make_unique<ARCS>();
  outputs->push_back(arc);
  std::unique_ptr<ARCS>& inputs = m_arcs_by_output[arc->get_output()->get_number()];
  if (!inputs) inputs = std::make_unique<ARCS>();
  inputs->push_back(arc);
}

void KEP_DB_ROUTING_PRIMITIVE_CACHE::add_routing_flyover(KEP_ROUTING_FLYOVER*) {}

KEP_ROUTING_ARC* KEP_DB_ROUTING_PRIMITIVE_CACHE::find_routing_arc(KEP_PORT* input, KEP_PORT* output) const {
  if (const ARCS* arcs = find_arc_outputs(input))
    for (const KEP_ROUTING_ARC* arc : *arcs)
      if (arc->get_output() == output) return const_cast<KEP_ROUTING_ARC*>(arc);
  return nullptr;
}

bool KEP_DB_ROUTING_PRIMITIVE_CACHE::has_wire_type(const KEP_PORT* port) const {
  return port && m_store->find_wire_type(port->get_parent(), KEP_RELATIVE_PATH::create({}, port)) != nullptr;
}

std::string KEP_DB_ROUTING_PRIMITIVE_CACHE::get_wire_type(const KEP_PORT* port) const {
  if (!port) return {};
  const KEP_WIRE_TYPE* type =
      m_store->find_wire_type(port->get_parent(), KEP_RELATIVE_PATH::create({}, port));
  return type ? type->get_name() : std::string();
}
