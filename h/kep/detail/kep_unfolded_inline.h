#pragma once

#include "kep/kep_unfolded.h"

#include <cstddef>
#include <cstdint>

// The steps of the unfolded values that hot loops take. Included by kep_unfolded.h alone.

inline KEP_UNFOLDED_INSTANCE KEP_UNFOLDED_MODULE::get_unfolded_instance() const {
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(m_position);
  if (!m_object || above == KEP_UNFOLDING::ABOVE_TOP) return {};
  const KEP_MODULE* parent = m_object->get_unfolding()->get_module(above);
  const KEP_SLOT& slot = parent->get_slots()[KEP_SLOT_POSITION::slot(m_position)];
  return {above, parent->get_instance_by_index(slot.m_instance)};
}

inline boost::iterator_range<KEP_UNFOLDED_MODULE_INSTANCE_ITER> KEP_UNFOLDED_MODULE::iter_instances() const {
  if (!m_object || m_object->get_num_instances() == 0) return {};
  const KEP_UNFOLDING& unfolding = *m_object->get_unfolding();
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(m_position);
  const std::uint32_t own =
      unfolding.get_child(above, unfolding.get_slot(above, KEP_SLOT_POSITION::slot(m_position)));
  const auto instances = m_object->iter_instances();
  return {KEP_UNFOLDED_MODULE_INSTANCE_ITER(own, instances.begin()),
          KEP_UNFOLDED_MODULE_INSTANCE_ITER(own, instances.end())};
}

inline KEP_UNFOLDED_PORT KEP_UNFOLDED_MODULE::get_unfolded_port_by_index(unsigned index) const {
  if (!m_object) return {};
  KEP_PORT* port = m_object->get_port_by_index(index);
  return port ? KEP_UNFOLDED_PORT(m_position, port) : KEP_UNFOLDED_PORT();
}

inline KEP_UNFOLDED_MODULE KEP_UNFOLDED_INSTANCE::get_parent() const {
  if (!m_object) return {};
  KEP_MODULE* parent = m_object->get_parent();
  const KEP_OCCURRENCE& occurrence = parent->get_unfolding()->get(static_cast<std::uint32_t>(m_position));
  return {KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot), parent};
}

inline KEP_UNFOLDED_MODULE KEP_UNFOLDED_INSTANCE::get_module(KEP_VIEW_TYPE view) const {
  if (!m_object) return {};
  KEP_MODULE* master = m_object->get_module();
  KEP_MODULE* module = master->find_view(view);
  if (!module) return {};
  const unsigned slot = m_object->m_first_slot + master->m_view_slots[static_cast<unsigned>(view)];
  return {KEP_SLOT_POSITION::pack(static_cast<std::uint32_t>(m_position), slot), module};
}

inline KEP_UNFOLDED_MODULE KEP_UNFOLDED_INSTANCE::get_module(const KEP_VIEW_TYPE_RANK& rank) const {
  for (unsigned char i = 0; i != rank.size(); ++i) {
    const KEP_UNFOLDED_MODULE module = get_module(rank.get_view_type(i));
    if (module.m_object) return module;
  }
  return {};
}

inline boost::iterator_range<KEP_UNFOLDED_INSTANCE_INST_PORT_ITER>
KEP_UNFOLDED_INSTANCE::iter_inst_ports() const {
  if (!m_object) return {};
  KEP_INST_PORT* first = m_object->get_inst_port_by_index(0);
  KEP_INST_PORT* end = first + m_object->get_module()->get_num_ports();
  return {KEP_UNFOLDED_INSTANCE_INST_PORT_ITER(m_position, KEP_INSTANCE_INST_PORT_ITER(first)),
          KEP_UNFOLDED_INSTANCE_INST_PORT_ITER(m_position, KEP_INSTANCE_INST_PORT_ITER(end))};
}

inline KEP_UNFOLDED_INST_PORT
KEP_UNFOLDED_INSTANCE::get_unfolding_of_inst_port(KEP_INST_PORT* inst_port) const {
  if (!m_object || !inst_port) return {};
  return {m_position, inst_port};
}

inline KEP_UNFOLDED_INST_PORT KEP_UNFOLDED_INSTANCE::get_unfolded_inst_port_by_index(unsigned index) const {
  if (!m_object || index >= m_object->get_module()->get_num_ports()) return {};
  return {m_position, m_object->get_inst_port_by_index(index)};
}

inline KEP_UNFOLDED_MODULE KEP_UNFOLDED_PORT::get_parent() const {
  if (!m_object) return {};
  return {m_position, m_object->get_parent()};
}

inline KEP_UNFOLDED_NET KEP_UNFOLDED_PORT::get_unfolded_net() const {
  KEP_NET* net = m_object ? m_object->get_net() : nullptr;
  if (!net) return {};
  const KEP_UNFOLDING& unfolding = *m_object->get_parent()->get_unfolding();
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(m_position);
  return {unfolding.get_child(above, unfolding.get_slot(above, KEP_SLOT_POSITION::slot(m_position))), net};
}

inline KEP_UNFOLDED_INST_PORT KEP_UNFOLDED_PORT::get_unfolded_inst_port() const {
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(m_position);
  if (!m_object || above == KEP_UNFOLDING::ABOVE_TOP) return {};
  const KEP_MODULE* parent = m_object->get_parent()->get_unfolding()->get_module(above);
  const KEP_SLOT& slot = parent->get_slots()[KEP_SLOT_POSITION::slot(m_position)];
  return {above,
          parent->get_instance_by_index(slot.m_instance)->get_inst_port_by_index(m_object->get_index())};
}

inline KEP_UNFOLDED_INSTANCE KEP_UNFOLDED_INST_PORT::get_unfolded_instance() const {
  if (!m_object) return {};
  return {m_position, m_object->get_inst()};
}

inline KEP_UNFOLDED_NET KEP_UNFOLDED_INST_PORT::get_unfolded_net() const {
  KEP_NET* net = m_object ? m_object->get_net() : nullptr;
  return net ? KEP_UNFOLDED_NET(m_position, net) : KEP_UNFOLDED_NET();
}

inline KEP_UNFOLDED_PORT KEP_UNFOLDED_INST_PORT::get_unfolded_port(const KEP_VIEW_TYPE_RANK& rank) const {
  const KEP_UNFOLDED_MODULE module = get_unfolded_instance().get_module(rank);
  if (!module.m_object) return {};
  return {module.m_position, module.m_object->get_port_by_index(m_object->get_index())};
}

inline boost::iterator_range<KEP_UNFOLDED_NET_PORT_ITER> KEP_UNFOLDED_NET::iter_ports() const {
  if (!m_object) return {};
  // The ports' position is that of the module: the slot in which this occurrence stands.
  const KEP_OCCURRENCE& own =
      m_object->get_parent()->get_unfolding()->get(static_cast<std::uint32_t>(m_position));
  const std::uint64_t position = KEP_SLOT_POSITION::pack(own.m_parent, own.m_slot);
  const auto ports = m_object->iter_ports();
  return {KEP_UNFOLDED_NET_PORT_ITER(position, ports.begin()),
          KEP_UNFOLDED_NET_PORT_ITER(position, ports.end())};
}

inline boost::iterator_range<KEP_UNFOLDED_NET_INST_PORT_ITER> KEP_UNFOLDED_NET::iter_inst_ports() const {
  if (!m_object) return {};
  const auto inst_ports = m_object->iter_inst_ports();
  return {KEP_UNFOLDED_NET_INST_PORT_ITER(m_position, inst_ports.begin()),
          KEP_UNFOLDED_NET_INST_PORT_ITER(m_position, inst_ports.end())};
}

template <>
struct std::hash<KEP_UNFOLDED_INST_PORT> {
  std::size_t operator()(const KEP_UNFOLDED_INST_PORT& uip) const noexcept { return uip.hash(); }
};
template <>
struct std::hash<KEP_UNFOLDED_INSTANCE> {
  std::size_t operator()(const KEP_UNFOLDED_INSTANCE& instance) const noexcept { return instance.hash(); }
};
template <>
struct std::hash<KEP_UNFOLDED_NET> {
  std::size_t operator()(const KEP_UNFOLDED_NET& net) const noexcept { return net.hash(); }
};
