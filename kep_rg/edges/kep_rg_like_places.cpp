#include "kep_rg/detail/kep_rg_like_places.h"

#include <algorithm>
#include <utility>

namespace {

bool begins_flyover(const KEP_RG_PRIMITIVES& primitives, const KEP_PORT& port) {
  return primitives.begins_some_path(&port) && primitives.find_skip_path_sparerow_map(&port);
}

/// A skip path leads on from here, so that no flyover is looked for.
bool has_skip_outputs(const KEP_RG_PRIMITIVES& primitives, const KEP_INST_PORT& inst_port) {
  if (const auto* ports = primitives.find_skip_path_outputs(inst_port.get_port()))
    return !ports->empty() && !primitives.find_dont_skip_path_inst_outputs(&inst_port);
  const auto* inst_ports = primitives.find_skip_path_inst_outputs(&inst_port);
  return inst_ports && !inst_ports->empty();
}

/// A search that comes by asks for the attributes. At an inserted port it ends without a question, but for
/// the module of a tunnel, which a second search passes through.
bool asks_attributes(const KEP_RG_PRIMITIVES& primitives, KEP_INST_PORT& inst_port) {
  const KEP_PORT* port = inst_port.get_port();
  if (port->is_output() || has_skip_outputs(primitives, inst_port)) return false;
  const bool is_inserted = primitives.has_inserted_port(port) || primitives.is_inserted_inst_port(&inst_port);
  const KEP_MODULE* master =
      KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank.find_view(inst_port.get_inst()->get_module());
  return !is_inserted || primitives.get_tunnel_type(master) == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH;
}

} // namespace

KEP_RG_LIKE_PLACES::KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives)
    : m_unfolding(&db.get_unfolding()) {
  link_occurrences();
  if (!db.get_legacy_api()->has_instance_attributes()) return;
  m_primitives = &primitives;
  find_flyover_nets(db, primitives);
}

/// Goes through the depth-first order from its end: of the children the last comes first, and each comes
/// before what is above it.
void KEP_RG_LIKE_PLACES::link_occurrences() {
  const std::uint32_t size = m_unfolding->size();
  m_next.resize(size);
  m_previous.resize(size);
  std::vector<std::uint32_t> next(m_unfolding->get_modules().size()); // by module number
  std::vector<std::uint32_t> num_open(size);                          // children that are still to come
  for (std::uint32_t i = 1; i < size; ++i)
    ++num_open[m_unfolding->get(i).m_parent];
  for (std::uint32_t at = KEP_UNFOLDING::ABOVE_TOP; size != 0;) {
    const KEP_OCCURRENCE& occurrence = m_unfolding->get(at);
    if (num_open[at] != 0) {
      at = occurrence.m_first_child + --num_open[at];
    } else if (at != KEP_UNFOLDING::ABOVE_TOP) {
      m_next[at] = std::exchange(next[occurrence.m_module->get_number()], at);
      m_previous[m_next[at]] = at;
      at = occurrence.m_parent;
    } else {
      m_previous[KEP_UNFOLDING::ABOVE_TOP] = KEP_UNFOLDING::ABOVE_TOP; // written for the last of each module
      return;
    }
  }
}

KEP_RG_LIKE_PLACES::PLACE KEP_RG_LIKE_PLACES::find_previous(const PLACE& place) const {
  const std::uint32_t top = m_previous[place.m_top];
  if (top == KEP_UNFOLDING::ABOVE_TOP) return {top, top};
  const auto find_like = [&](const auto& find, std::uint32_t occurrence) {
    if (occurrence == place.m_top) return top;
    const std::uint32_t parent = m_unfolding->get(occurrence).m_parent;
    const std::uint32_t rank = occurrence - m_unfolding->get(parent).m_first_child;
    return m_unfolding->get(find(find, parent)).m_first_child + rank;
  };
  return {find_like(find_like, place.m_occurrence), top};
}

bool KEP_RG_LIKE_PLACES::may_come_again(const KEP_UNFOLDED_INST_PORT& driver, const KEP_UNFOLDED_MODULE& top,
                                        std::uint64_t last_number) const {
  // The occurrence of `top`; for the master of the driver's instance that around it, since a like place
  // holds the same instance.
  const auto own = static_cast<std::uint32_t>(driver.m_position);
  std::uint32_t above = own;
  if (top && KEP_SLOT_POSITION::occurrence(top.m_position) != own)
    for (;;) {
      const KEP_OCCURRENCE& occurrence = m_unfolding->get(above);
      if (KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot) == top.m_position) break;
      if (occurrence.m_parent == KEP_UNFOLDING::ABOVE_TOP) return false;
      above = occurrence.m_parent;
    }
  const std::uint32_t next = m_next[above];
  if (!next) return false;
  const std::uint64_t difference = m_unfolding->get(own).m_number - m_unfolding->get(above).m_number;
  return m_unfolding->get(next).m_number + difference <= last_number;
}

/// An inserted port ends a search, but not the one that begins there.
bool KEP_RG_LIKE_PLACES::asks_at_start(const KEP_INST_PORT& driver) const {
  return m_primitives && driver.get_port()->is_bidir() && begins_flyover(*m_primitives, *driver.get_port()) &&
         !has_skip_outputs(*m_primitives, driver);
}

void KEP_RG_LIKE_PLACES::find_flyover_nets(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives) {
  const std::vector<KEP_MODULE*>& modules = db.get_unfolding().get_modules();
  std::vector<bool> has_flyovers(modules.size());
  for (const KEP_MODULE* module : modules)
    for (const KEP_PORT* port : module->iter_ports())
      if (begins_flyover(primitives, *port)) has_flyovers[module->get_number()] = true;
  if (std::find(has_flyovers.begin(), has_flyovers.end(), true) == has_flyovers.end()) return;
  m_flyover_nets.resize(modules.size());
  for (const KEP_MODULE* module : modules)
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      const KEP_MODULE* master = instance->get_module();
      if (!has_flyovers[master->get_number()]) continue;
      for (unsigned i = 0; i != master->get_num_ports(); ++i) {
        KEP_INST_PORT& inst_port = *instance->get_inst_port_by_index(i);
        if (!inst_port.get_net() || !begins_flyover(primitives, *inst_port.get_port()) ||
            !asks_attributes(primitives, inst_port))
          continue;
        std::vector<bool>& nets = m_flyover_nets[module->get_number()];
        nets.resize(module->get_num_nets());
        nets[inst_port.get_net()->get_index()] = true;
      }
    }
}
