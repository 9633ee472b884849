#include "kep/kep_unfolded.h"

#include <algorithm>

unsigned KEP_UNFOLDING::find_slot(const KEP_INSTANCE* instance, const KEP_MODULE* module) {
  const KEP_MODULE* master = instance->get_module();
  const auto view = static_cast<unsigned>(module->get_view_type());
  if (master->m_views[view] != module) return NO_SLOT;
  return instance->m_first_slot + master->m_view_slots[view];
}

unsigned KEP_UNFOLDING::find_slot_of_number(const KEP_MODULE* module, std::uint64_t number) {
  const KEP_SLOT* begin = module->get_slots();
  const KEP_SLOT* end = begin + module->get_num_slots();
  const KEP_SLOT* above = std::upper_bound(
      begin, end, number, [](std::uint64_t wanted, const KEP_SLOT& slot) { return wanted < slot.m_number; });
  return static_cast<unsigned>(above - begin) - 1;
}

void KEP_UNFOLDING::append_path(std::uint32_t occurrence, char separator, std::string& name) const {
  constexpr unsigned SHALLOW = 32;
  std::uint32_t shallow[SHALLOW];
  unsigned depth = 0;
  // Hierarchies are a dozen levels deep; a deeper one takes 32 names at a time, by recursion.
  for (; get(occurrence).m_parent != ABOVE_TOP; occurrence = get(occurrence).m_parent) {
    if (depth == SHALLOW) {
      append_path(occurrence, separator, name);
      break;
    }
    shallow[depth++] = occurrence;
  }
  while (depth != 0) {
    const KEP_OCCURRENCE& own = get(shallow[--depth]);
    const KEP_MODULE* parent = get_module(own.m_parent);
    name += parent->get_instance_by_index(parent->get_slots()[own.m_slot].m_instance)->get_plain_name();
    name += separator;
  }
}

KEP_UNFOLDED_MODULE KEP_UNFOLDED_MODULE::operator+(const KEP_RELATIVE_PATH& path) const {
  if (!m_object || !path || path.m_words[0] != m_object->get_number()) return {};
  const KEP_UNFOLDING& unfolding = *m_object->get_unfolding();
  KEP_UNFOLDED_MODULE found = *this;
  for (std::uint64_t difference = path.get_difference(); difference != 0;) {
    const std::uint32_t above = KEP_SLOT_POSITION::occurrence(found.m_position);
    const KEP_SLOT& own_slot = unfolding.get_slot(above, KEP_SLOT_POSITION::slot(found.m_position));
    const std::uint32_t own = unfolding.get_child(above, own_slot);
    const unsigned slot = KEP_UNFOLDING::find_slot_of_number(found.m_object, difference);
    const KEP_SLOT& below = found.m_object->get_slots()[slot];
    difference -= below.m_number;
    found = {KEP_SLOT_POSITION::pack(own, slot), below.m_module};
  }
  return found;
}

std::string KEP_UNFOLDED_INSTANCE::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  if (!m_object) return name;
  m_object->get_parent()->get_unfolding()->append_path(static_cast<std::uint32_t>(m_position),
                                                       style.m_hierarchy_separator, name);
  return name += m_object->get_plain_name();
}

KEP_UNFOLDED_INSTANCE KEP_UNFOLDED_INSTANCE::get_ip_root_instance() const {
  KEP_UNFOLDED_INSTANCE instance = *this;
  while (instance && !instance.m_object->get_module()->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
    instance = instance.get_parent().get_unfolded_instance();
  return instance;
}

std::string KEP_UNFOLDED_PORT::get_name(const KEP_NAME_STYLE& style) const {
  if (!m_object) return {};
  std::string name = get_parent().get_unfolded_instance().get_name(style);
  name += style.m_port_separator;
  return name += m_object->get_plain_name();
}

KEP_RELATIVE_PATH KEP_UNFOLDED_PORT::operator-(const KEP_UNFOLDED_MODULE& module) const {
  if (!m_object || !module.m_object) return {};
  const KEP_UNFOLDING& unfolding = *m_object->get_parent()->get_unfolding();
  if (module.m_object->get_unfolding() != &unfolding) return {}; // of another device
  const auto number_at = [&unfolding](std::uint64_t position) {
    const std::uint32_t above = KEP_SLOT_POSITION::occurrence(position);
    return unfolding.get_number(above, unfolding.get_slot(above, KEP_SLOT_POSITION::slot(position)));
  };
  // The occurrences below one have the numbers right behind its own, so one comparison tells whether it
  // stands above.
  const std::uint64_t difference = number_at(m_position) - number_at(module.m_position);
  if (difference >= module.m_object->get_size()) return {};
  return KEP_RELATIVE_PATH(module.m_object, difference, m_object);
}

KEP_DB* KEP_UNFOLDED_INST_PORT::get_db() const {
  return m_object ? m_object->get_inst()->get_parent()->get_unfolding()->get_db() : nullptr;
}

void KEP_UNFOLDED_INST_PORT::append_name(const KEP_NAME_STYLE& style, std::string& name) const {
  if (!m_object) return;
  const KEP_INSTANCE* instance = m_object->get_inst();
  instance->get_parent()->get_unfolding()->append_path(static_cast<std::uint32_t>(m_position),
                                                       style.m_hierarchy_separator, name);
  name += instance->get_plain_name();
  name += style.m_port_separator;
  name += m_object->get_port()->get_plain_name();
}

std::string KEP_UNFOLDED_INST_PORT::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  append_name(style, name);
  return name;
}

std::string KEP_UNFOLDED_NET::get_name(const KEP_NAME_STYLE& style) const {
  std::string name;
  if (!m_object) return name;
  m_object->get_parent()->get_unfolding()->append_path(static_cast<std::uint32_t>(m_position),
                                                       style.m_hierarchy_separator, name);
  return name += m_object->get_plain_name();
}
