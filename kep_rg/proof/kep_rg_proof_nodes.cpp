#include "kep_rg/proof/kep_rg_proof_nodes.h"

#include <algorithm>

KEP_RG_PROOF_NODES::KEP_RG_PROOF_NODES(const KEP_RG_PROOF_FACTS& facts)
    : m_facts(facts), m_unfolding(facts.get_db()->get_unfolding()), m_walks(m_unfolding.size()),
      m_ordinary(m_unfolding.get_modules().size()), m_in_blc(m_unfolding.get_modules().size()) {
  const KEP_DB* db = facts.get_db();
  if (db->get_legacy_api()->has_instance_attributes()) m_attributes = db->get_legacy_api();
  const KEP_UNFOLDED_MODULE top = facts.find_routing_top();
  m_top_slot = KEP_SLOT_POSITION::slot(top.m_position);
  if (db->get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED) m_boundary = top.m_object;
  read_ways();
  pass_over_empty_modules();
}

/// From the top down: an occurrence stands behind the one that holds it.
void KEP_RG_PROOF_NODES::read_ways() {
  for (std::uint32_t i = 1; i < m_walks.size(); ++i) {
    const KEP_OCCURRENCE& at = m_unfolding.get(i);
    WALK& walk = m_walks[i];
    walk.m_way = find_way(at);
    if (walk.m_way == WAY::NONE) continue;
    walk.m_asks = m_attributes != nullptr;
    walk.m_in_spare_row = m_attributes && find_spare_row(at);
    read_marks(m_unfolding.get_module(at), walk.m_way);
  }
}

KEP_RG_PROOF_NODES::WAY KEP_RG_PROOF_NODES::find_way(const KEP_OCCURRENCE& at) const {
  const KIND kind = m_facts.get_kind(m_unfolding.get_module(at));
  if (at.m_parent == KEP_UNFOLDING::ABOVE_TOP) {
    if (at.m_slot != m_top_slot) return WAY::NONE;
    return kind == KIND::BLC_ROOT ? WAY::IN_BLC : WAY::ORDINARY;
  }
  const WAY above = m_walks[at.m_parent].m_way;
  if (above == WAY::NONE) return WAY::NONE;
  const KEP_MODULE* parent = m_unfolding.get_module(at.m_parent);
  const KEP_INSTANCE* instance = parent->get_instance_by_index(parent->get_slots()[at.m_slot].m_instance);
  if (m_facts.get_rank().find_view(instance->get_module()) != m_unfolding.get_module(at)) return WAY::NONE;
  if (above == WAY::IN_BLC || kind == KIND::BLC_ROOT) return WAY::IN_BLC;
  return kind == KIND::ENTERED ? WAY::ORDINARY : WAY::NONE;
}

/// The innermost IP root at or above an occurrence decides for what stands in it.
bool KEP_RG_PROOF_NODES::find_spare_row(const KEP_OCCURRENCE& at) const {
  if (at.m_parent == KEP_UNFOLDING::ABOVE_TOP) return false;
  const KEP_MODULE* parent = m_unfolding.get_module(at.m_parent);
  KEP_INSTANCE* instance = parent->get_instance_by_index(parent->get_slots()[at.m_slot].m_instance);
  if (!instance->get_module()->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
    return m_walks[at.m_parent].m_in_spare_row;
  const auto* attributes = m_attributes->get_attributes(KEP_UNFOLDED_INSTANCE(at.m_parent, instance));
  return attributes && attributes->is_spare_row();
}

void KEP_RG_PROOF_NODES::read_marks(const KEP_MODULE* module, WAY way) {
  MARKS& marks = (way == WAY::IN_BLC ? m_in_blc : m_ordinary)[module->get_number()];
  if (marks.m_marks.size() == module->get_num_inst_ports()) return;
  marks.m_marks.reserve(module->get_num_inst_ports());
  for (const KEP_INSTANCE* instance : module->iter_instances()) {
    const KEP_MODULE* master = m_facts.get_rank().find_view(instance->get_module());
    for (unsigned i = 0; i != instance->get_module()->get_num_ports(); ++i) {
      const KEP_INST_PORT* inst_port = instance->get_inst_port_by_index(i);
      const MARK mark = read_mark(inst_port, master, way);
      marks.m_marks.push_back(mark);
      marks.m_has_typed |= mark == MARK::TYPED || mark == MARK::EXCLUDED_TYPED;
      marks.m_has_untyped |= mark == MARK::ALWAYS || mark == MARK::EXCLUDED;
    }
  }
}

KEP_RG_PROOF_NODES::MARK KEP_RG_PROOF_NODES::read_mark(const KEP_INST_PORT* inst_port,
                                                       const KEP_MODULE* master, WAY way) const {
  MARK mark = MARK::NEVER;
  if (way == WAY::IN_BLC) {
    if (!m_facts.is_removed(inst_port->get_port())) mark = MARK::ALWAYS;
  } else if (master) {
    mark = read_candidate(inst_port, master);
  }
  if (mark == MARK::NEVER || !is_excluded(inst_port, master)) return mark;
  return mark == MARK::TYPED ? MARK::EXCLUDED_TYPED : MARK::EXCLUDED;
}

/// What the description wants to be a node outside of BLCs: an inserted port, an output of a mux, a port of a
/// BLC or of an IP root that is not routed.
KEP_RG_PROOF_NODES::MARK KEP_RG_PROOF_NODES::read_candidate(const KEP_INST_PORT* inst_port,
                                                            const KEP_MODULE* master) const {
  const KEP_INSTANCE* instance = inst_port->get_inst();
  const KEP_PORT* port = master->get_port_by_index(inst_port->get_index());
  const bool has_header = instance->get_inst_header() != nullptr;
  if (m_facts.is_inserted(port) && master->get_view_type() != KEP_VIEW_TYPE::BLC) return MARK::ALWAYS;
  if (!m_facts.is_in_port_list(port)) return MARK::NEVER;
  switch (m_facts.get_kind(master)) {
  case KIND::STOP:
    if (m_facts.holds_skip_pattern(instance) || !m_facts.iter_arcs_from(port).empty()) return MARK::NEVER;
    if (m_facts.is_ignored(port) && !m_facts.is_inserted(inst_port)) return MARK::NEVER;
    return has_header ? MARK::ALWAYS : MARK::TYPED;
  case KIND::BLC_ROOT:
    return MARK::ALWAYS;
  case KIND::UNROUTED:
    return has_header ? MARK::ALWAYS : MARK::NEVER;
  case KIND::ENTERED:
    break;
  }
  return MARK::NEVER;
}

bool KEP_RG_PROOF_NODES::is_excluded(const KEP_INST_PORT* inst_port, const KEP_MODULE* master) const {
  const KEP_PORT* port = master ? master->get_port_by_index(inst_port->get_index()) : nullptr;
  const bool is_connected = inst_port->get_net() || (port && port->get_net());
  if (!is_connected) return true;
  if (!port) return false;
  const bool is_bare_blc =
      master->get_view_type() == KEP_VIEW_TYPE::BLC && master->has_trait(KEP_MODULE::TRAIT::TRAIT_0);
  if (is_bare_blc && (inst_port->is_input() || inst_port->get_inst()->get_blc_is_inserted_buffer()))
    return true;
  return m_facts.has_muxes(master) && is_on_skip_arc(inst_port, port);
}

bool KEP_RG_PROOF_NODES::is_on_skip_arc(const KEP_INST_PORT* inst_port, const KEP_PORT* port) const {
  const auto is_skip = [inst_port](const KEP_ROUTING_ARC* arc) {
    return arc->is_skip(inst_port->get_inst());
  };
  const auto from = m_facts.iter_arcs_from(port);
  const auto to = m_facts.iter_arcs_to(port);
  return std::any_of(from.begin(), from.end(), is_skip) || std::any_of(to.begin(), to.end(), is_skip);
}

bool KEP_RG_PROOF_NODES::stays(const KEP_UNFOLDED_INST_PORT& uip, MARK mark, WALK walk) const {
  constexpr unsigned char STAYS_IN_SPARE_ROW = 2;
  const bool in_spare_row = is_in_spare_row(uip, walk);
  if (mark == MARK::TYPED || in_spare_row) {
    const KEP_WIRE_TYPE* type = m_facts.get_store().find_wire_type(uip);
    if (!type || (in_spare_row && !(type->get_flags() & STAYS_IN_SPARE_ROW))) return false;
  }
  if (!walk.m_lacks_modules) return true;
  const KEP_MODULE* master = m_facts.get_rank().find_view(uip.m_object->get_inst()->get_module());
  if (!master || m_facts.get_kind(master) != KIND::ENTERED) return true; // those are never passed over
  return !is_empty_below(static_cast<std::uint32_t>(uip.m_position), master);
}

bool KEP_RG_PROOF_NODES::is_in_spare_row(const KEP_UNFOLDED_INST_PORT& uip, WALK walk) const {
  if (!m_attributes) return false;
  KEP_INSTANCE* instance = uip.m_object->get_inst();
  if (!instance->get_module()->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) return walk.m_in_spare_row;
  const auto* attributes = m_attributes->get_attributes(KEP_UNFOLDED_INSTANCE(uip.m_position, instance));
  return attributes && attributes->is_spare_row();
}

/// Where an IP root is used again, modules below it that had no nodes at its first use are passed over, with
/// all that is inserted on them. First is the use that comes first on the way from the top.
void KEP_RG_PROOF_NODES::pass_over_empty_modules() {
  const std::map<const KEP_MODULE*, std::uint32_t> first_uses = find_first_uses();
  if (first_uses.empty()) return;
  tell_what_has_nodes();
  for (const auto& [root, first_use] : first_uses)
    find_empty_modules(root, first_use);
  if (!m_empty_modules.empty()) pass_over(first_uses);
}

/// Of the IP roots that are used more than once.
std::map<const KEP_MODULE*, std::uint32_t> KEP_RG_PROOF_NODES::find_first_uses() const {
  std::map<const KEP_MODULE*, std::uint32_t> uses;
  std::set<const KEP_MODULE*> once;
  for (std::uint32_t i = 1; i < m_walks.size(); ++i) {
    const KEP_MODULE* module = m_unfolding.get_module(i);
    if (m_walks[i].m_way != WAY::ORDINARY || !module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) continue;
    const auto [use, is_first] = uses.emplace(module, i);
    if (is_first)
      once.insert(module);
    else
      once.erase(module);
    if (m_unfolding.get(i).m_number < m_unfolding.get(use->second).m_number) use->second = i;
  }
  for (const KEP_MODULE* module : once)
    uses.erase(module);
  return uses;
}

/// From the leaves up.
void KEP_RG_PROOF_NODES::tell_what_has_nodes() {
  for (std::uint32_t i = m_unfolding.size() - 1; i != 0; --i) {
    WALK& walk = m_walks[i];
    if (walk.m_way == WAY::NONE) continue;
    walk.m_has_nodes = walk.m_has_nodes || has_own_nodes(i);
    if (walk.m_has_nodes) m_walks[m_unfolding.get(i).m_parent].m_has_nodes = true;
  }
}

/// A port that is excluded counts as a node here.
bool KEP_RG_PROOF_NODES::has_own_nodes(std::uint32_t occurrence) const {
  const KEP_MODULE* module = m_unfolding.get_module(occurrence);
  const MARKS& marks = get_marks(m_walks[occurrence].m_way)[module->get_number()];
  if (marks.m_has_untyped) return true;
  if (!marks.m_has_typed) return false;
  for (unsigned i = 0; i != marks.m_marks.size(); ++i)
    if (marks.m_marks[i] != MARK::NEVER &&
        m_facts.get_store().find_wire_type({occurrence, module->get_inst_port_by_number(i)}))
      return true;
  return false;
}

void KEP_RG_PROOF_NODES::find_empty_modules(const KEP_MODULE* root, std::uint32_t first_use) {
  std::set<const KEP_MODULE*> empty;
  std::set<const KEP_MODULE*> others;
  std::vector<std::uint32_t> pending{first_use};
  while (!pending.empty()) {
    const std::uint32_t occurrence = pending.back();
    pending.pop_back();
    for (KEP_INSTANCE* instance : m_unfolding.get_module(occurrence)->iter_instances()) {
      const KEP_UNFOLDED_MODULE master =
          KEP_UNFOLDED_INSTANCE(occurrence, instance).get_module(m_facts.get_rank());
      if (!master || m_facts.get_kind(master.m_object) != KIND::ENTERED) continue;
      bool has_nodes = false;
      if (master.m_object->is_inner()) {
        const unsigned slot = KEP_SLOT_POSITION::slot(master.m_position);
        pending.push_back(m_unfolding.get_child(occurrence, m_unfolding.get_slot(occurrence, slot)));
        has_nodes = m_walks[pending.back()].m_has_nodes;
      }
      (has_nodes ? others : empty).insert(master.m_object);
    }
  }
  for (const KEP_MODULE* module : empty)
    if (!others.contains(module)) m_empty_modules.emplace(root, module);
}

void KEP_RG_PROOF_NODES::pass_over(const std::map<const KEP_MODULE*, std::uint32_t>& first_uses) {
  for (std::uint32_t i = 1; i < m_walks.size(); ++i) {
    WALK& walk = m_walks[i];
    if (walk.m_way == WAY::NONE) continue;
    const KEP_OCCURRENCE& at = m_unfolding.get(i);
    const WALK above = m_walks[at.m_parent];
    const bool is_passed_over =
        at.m_parent != KEP_UNFOLDING::ABOVE_TOP &&
        (above.m_way == WAY::NONE ||
         (above.m_lacks_modules && is_empty_below(at.m_parent, m_unfolding.get_module(at))));
    if (is_passed_over) {
      walk.m_way = WAY::NONE;
      continue;
    }
    const auto use =
        walk.m_way == WAY::ORDINARY ? first_uses.find(m_unfolding.get_module(at)) : first_uses.end();
    walk.m_lacks_modules =
        walk.m_way == WAY::ORDINARY && (use == first_uses.end() ? above.m_lacks_modules : use->second != i);
    walk.m_asks = walk.m_asks || walk.m_lacks_modules;
  }
}

/// The module is an empty one of the IP root at or above the occurrence.
bool KEP_RG_PROOF_NODES::is_empty_below(std::uint32_t occurrence, const KEP_MODULE* module) const {
  while (!m_unfolding.get_module(occurrence)->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
    occurrence = m_unfolding.get(occurrence).m_parent;
  return m_empty_modules.contains({m_unfolding.get_module(occurrence), module});
}

std::pair<std::uint32_t, std::uint32_t> KEP_RG_PROOF_NODES::find_occurrences(const KEP_RG_PART& part) const {
  const auto get_num_inst_ports = [this](std::uint32_t i) -> std::uint64_t {
    return m_walks[i].m_way == WAY::NONE ? 0 : m_unfolding.get_module(i)->get_num_inst_ports();
  };
  std::uint64_t num_inst_ports = 0;
  for (std::uint32_t i = 1; i < m_walks.size(); ++i)
    num_inst_ports += get_num_inst_ports(i);
  // The first one before which that many stand.
  const auto find = [&](std::uint64_t num) {
    std::uint32_t i = 1;
    for (std::uint64_t num_before = 0; i < m_walks.size() && num_before < num; ++i)
      num_before += get_num_inst_ports(i);
    return i;
  };
  const auto [first, end] = part.get_range(num_inst_ports);
  return {find(first), find(end)};
}
