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

/// Goes down in the order of the nodes. Modules without places below are left out: no search begins there.
class KEP_RG_LIKE_PLACES::LINKER {
public:
  explicit LINKER(KEP_RG_LIKE_PLACES& places)
      : m_places(places), m_last(places.m_unfolding->get_modules().size(), KEP_UNFOLDING::ABOVE_TOP),
        m_children(m_last.size()) {}

  void link(std::uint32_t occurrence) {
    const KEP_OCCURRENCE& own = m_places.m_unfolding->get(occurrence);
    m_places.m_previous[occurrence] = std::exchange(m_last[own.m_module], occurrence);
    for (const std::uint32_t rank : get_children(*m_places.m_unfolding->get_module(own)))
      link(own.m_first_child + rank);
  }

private:
  struct CHILDREN {
    bool m_are_known = false;
    std::vector<std::uint32_t> m_ranks;
  };
  /// The ranks of inner children with places, in the order of these.
  const std::vector<std::uint32_t>& get_children(const KEP_MODULE& module) {
    CHILDREN& children = m_children[module.get_number()];
    if (std::exchange(children.m_are_known, true)) return children.m_ranks;
    const KEP_PLACE_LAYOUT& layout = *m_places.m_layout;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> by_place;
    for (std::uint32_t i = 0; i != module.get_num_slots(); ++i)
      if (const KEP_SLOT& slot = module.get_slots()[i];
          slot.m_inner_rank != KEP_SLOT::NOT_INNER && layout.get_extent(*slot.m_module) != 0)
        by_place.emplace_back(layout.get_offset(module, i), slot.m_inner_rank);
    std::sort(by_place.begin(), by_place.end());
    for (const auto& [place, rank] : by_place)
      children.m_ranks.push_back(rank);
    return children.m_ranks;
  }

  KEP_RG_LIKE_PLACES& m_places;
  std::vector<std::uint32_t> m_last; // occurrence, by module number
  std::vector<CHILDREN> m_children;  // by module number
};

KEP_RG_LIKE_PLACES::KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives,
                                       const KEP_PLACE_LAYOUT& layout)
    : m_unfolding(&db.get_unfolding()), m_layout(&layout), m_previous(m_unfolding->size()) {
  LINKER linker(*this);
  for (std::uint32_t i = 1; i < m_unfolding->size(); ++i) {
    if (m_unfolding->get(i).m_parent != KEP_UNFOLDING::ABOVE_TOP) break; // tops stand first
    linker.link(i);
  }
  if (db.get_legacy_api()->has_instance_attributes()) m_primitives = &primitives;
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
