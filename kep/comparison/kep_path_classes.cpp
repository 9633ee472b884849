#include "kep/comparison/kep_path_classes.h"

#include "kep/kep_cancelled.h"

#include <algorithm>
#include <utility>

KEP_PATH_CLASSES::KEP_PATH_CLASSES(const KEP_COMPARED_GRAPH& first, const KEP_COMPARED_GRAPH& second)
    : m_graphs{&first, &second} {
  constexpr std::uint32_t CLASSES_BETWEEN_LOOKS = 1 << 16;
  CHILD above_top;
  MODULES modules;
  for (const unsigned side : {0U, 1U}) {
    m_classes_of[side].resize(m_graphs[side]->get_unfolding().size());
    m_members[side].reserve(m_classes_of[side].size());
    m_members[side].push_back(KEP_UNFOLDING::ABOVE_TOP);
    modules[side] = {m_graphs[side]->get_module_at(KEP_UNFOLDING::ABOVE_TOP)};
  }
  m_classes.reserve(std::max(m_classes_of[0].size(), m_classes_of[1].size()));
  m_classes.push_back({{0, 0}, number_type(std::move(modules))});
  for (std::uint32_t i = 0; i != m_classes.size(); ++i) { // each class behind the one around it
    if (i % CLASSES_BETWEEN_LOOKS == 0) kep_throw_if_cancelled();
    for (const CHILD& child : m_children[m_classes[i].m_type])
      add_class(i, child);
  }
  m_children = {};
  m_type_numbers.clear();
}

void KEP_PATH_CLASSES::add_class(std::uint32_t parent, const CHILD& child) {
  CLASS added{{}, child.m_type};
  for (const unsigned side : {0U, 1U}) {
    const KEP_UNFOLDING& unfolding = m_graphs[side]->get_unfolding();
    added.m_first_members[side] = static_cast<std::uint32_t>(m_members[side].size());
    for (const CHILD::MEMBER& member : child.m_members[side]) {
      const std::uint32_t above = m_members[side][m_classes[parent].m_first_members[side] + member.m_parent];
      const std::uint32_t occurrence = unfolding.get(above).m_first_child + member.m_inner_rank;
      m_classes_of[side][occurrence] = static_cast<std::uint32_t>(m_classes.size());
      m_members[side].push_back(occurrence);
    }
  }
  m_classes.push_back(added);
}

/// A new type is expanded at once, and those below it with it; a hierarchy is no deeper than a stack is.
std::uint32_t KEP_PATH_CLASSES::number_type(MODULES modules) {
  const auto number = static_cast<std::uint32_t>(m_types.size());
  const auto [found, is_new] = m_type_numbers.try_emplace(modules, number);
  if (!is_new) return found->second;
  kep_throw_if_cancelled();
  TYPE& type = m_types.emplace_back();
  for (const unsigned side : {0U, 1U})
    type.m_modules[side] = std::move(modules[side]);
  type.m_has_like_numbers = has_like_numbers(type);
  m_children.emplace_back();
  list_children(number);
  return number;
}

bool KEP_PATH_CLASSES::has_like_numbers(const TYPE& type) const {
  if (type.m_modules[0].size() != 1 || type.m_modules[1].size() != 1) return false;
  if (!m_graphs[0]->has_nodes() || !m_graphs[1]->has_nodes()) return false;
  const std::uint32_t numbers[] = {type.m_modules[0][0], type.m_modules[1][0]};
  const std::uint32_t num_ranks = m_graphs[0]->get_num_ranks(numbers[0]);
  const std::uint64_t* names = m_graphs[0]->get_node_names(numbers[0]);
  if (num_ranks != m_graphs[1]->get_num_ranks(numbers[1]) ||
      !std::equal(names, names + num_ranks, m_graphs[1]->get_node_names(numbers[1])))
    return false;
  if (m_types.size() == 1) return true; // above the tops are no inst ports
  const std::uint32_t* keys = m_graphs[0]->get_keys(numbers[0]);
  if (!std::equal(keys, keys + num_ranks, m_graphs[1]->get_keys(numbers[1]))) return false;
  const KEP_MODULE& first = *m_graphs[0]->get_unfolding().get_modules()[numbers[0]];
  const KEP_MODULE& second = *m_graphs[1]->get_unfolding().get_modules()[numbers[1]];
  if (first.get_num_inst_ports() != second.get_num_inst_ports()) return false;
  for (unsigned i = 0; i != first.get_num_inst_ports(); ++i)
    if (m_graphs[0]->get_name(*first.get_inst_port_by_number(i)) !=
        m_graphs[1]->get_name(*second.get_inst_port_by_number(i)))
      return false;
  return true;
}

/// The inner slots of all members of a side; the tops have no names.
void KEP_PATH_CLASSES::list_slots(unsigned side, const TYPE& type, std::vector<NAMED_SLOT>& slots) const {
  const KEP_UNFOLDING& unfolding = m_graphs[side]->get_unfolding();
  const auto add = [&](std::uint32_t member, std::uint32_t name, const KEP_SLOT& slot) {
    if (slot.m_inner_rank != KEP_SLOT::NOT_INNER)
      slots.push_back({name, side, slot.m_module->get_number(), {member, slot.m_inner_rank}});
  };
  for (std::uint32_t member = 0; member != type.m_modules[side].size(); ++member) {
    const std::uint32_t number = type.m_modules[side][member];
    if (number == unfolding.get_modules().size()) {
      for (const KEP_SLOT& slot : unfolding.get_top_slots())
        add(member, 0, slot);
      continue;
    }
    const KEP_MODULE& module = *unfolding.get_modules()[number];
    for (unsigned i = 0; i != module.get_num_slots(); ++i) {
      const KEP_SLOT& slot = module.get_slots()[i];
      add(member, m_graphs[side]->get_name(*module.get_instance_by_index(slot.m_instance)), slot);
    }
  }
}

void KEP_PATH_CLASSES::list_children(std::uint32_t type) {
  std::vector<NAMED_SLOT> slots;
  for (const unsigned side : {0U, 1U})
    list_slots(side, m_types[type], slots);
  std::stable_sort(slots.begin(), slots.end(), [](const NAMED_SLOT& left, const NAMED_SLOT& right) {
    return left.m_name < right.m_name;
  });
  std::vector<CHILD> children;
  for (std::size_t first = 0, end = 0; first != slots.size(); first = end) {
    CHILD child;
    MODULES modules;
    for (; end != slots.size() && slots[end].m_name == slots[first].m_name; ++end) {
      modules[slots[end].m_side].push_back(slots[end].m_module);
      child.m_members[slots[end].m_side].push_back(slots[end].m_member);
    }
    child.m_type = number_type(std::move(modules));
    children.push_back(std::move(child));
  }
  m_children[type] = std::move(children);
}

std::uint32_t KEP_PATH_CLASSES::find_root(unsigned side, std::uint32_t path_class) const {
  for (;;) {
    const std::uint32_t parent = find_parent(side, path_class);
    if (get_type_of(parent).is_paired()) return path_class;
    path_class = parent;
  }
}
