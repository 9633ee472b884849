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
    : m_unfolding(&db.get_unfolding()), m_previous(m_unfolding->size()) {
  std::vector<std::uint32_t> last(m_unfolding->get_modules().size(), KEP_UNFOLDING::ABOVE_TOP);
  if (!m_previous.empty()) link(KEP_UNFOLDING::ABOVE_TOP, last);
  if (db.get_legacy_api()->has_instance_attributes()) m_primitives = &primitives;
}

/// Goes down in depth-first order, the order of the nodes; `last` holds the last occurrence of each module.
void KEP_RG_LIKE_PLACES::link(std::uint32_t occurrence, std::vector<std::uint32_t>& last) {
  const KEP_OCCURRENCE& own = m_unfolding->get(occurrence);
  if (own.m_module) m_previous[occurrence] = std::exchange(last[own.m_module->get_number()], occurrence);
  // The children of all stand in one row.
  const std::uint32_t behind = occurrence + 1;
  const std::uint32_t end = behind == m_unfolding->size() ? behind : m_unfolding->get(behind).m_first_child;
  for (std::uint32_t child = own.m_first_child; child != end; ++child)
    link(child, last);
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

/// An inserted port ends a search, but not the one that begins there.
bool KEP_RG_LIKE_PLACES::asks_at_start(const KEP_INST_PORT& driver) const {
  return driver.get_port()->is_bidir() && begins_flyover(*m_primitives, *driver.get_port()) &&
         !has_skip_outputs(*m_primitives, driver);
}

bool KEP_RG_LIKE_PLACES::is_flyover_net(const KEP_NET& net) const {
  const auto inst_ports = net.iter_inst_ports();
  return std::any_of(inst_ports.begin(), inst_ports.end(), [this](KEP_INST_PORT* inst_port) {
    return begins_flyover(*m_primitives, *inst_port->get_port()) &&
           asks_attributes(*m_primitives, *inst_port);
  });
}
