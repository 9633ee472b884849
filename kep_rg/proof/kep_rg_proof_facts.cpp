#include "kep_rg/proof/kep_rg_proof_facts.h"

#include "kep/kep_routing_graph.h"

#include <string_view>

namespace {

const KEP_INST_PORT* beside(const KEP_INSTANCE* instance, const KEP_PORT* port) {
  return instance->get_inst_port_by_index(port->get_index());
}

} // namespace

KEP_RG_PROOF_FACTS::KEP_RG_PROOF_FACTS(const KEP_DB* db)
    : m_db(db), m_store(db->get_routing_template_graph()->find_routing_primitive()),
      m_pattern(m_store->get_non_template_mux_skip_path_inst_name_pattern()),
      m_port_flags(db->get_unfolding().get_ports().size()),
      m_module_flags(db->get_unfolding().get_modules().size()) {
  m_arcs_from.fill(db, *m_store, [](const KEP_ROUTING_ARC* arc) { return arc->get_input(); });
  m_arcs_to.fill(db, *m_store, [](const KEP_ROUTING_ARC* arc) { return arc->get_output(); });
  read_flyovers();
  for (const KEP_ROUTING_MUX* mux : m_store->iter_routing_muxes(false))
    read_mux(*mux);
  for (const KEP_MODULE* module : db->iter_modules(true))
    read_module(module);
  read_blc_roots();
  read_pattern();
  read_foreign_masters();
}

template <class GET_PORT>
void KEP_RG_PROOF_FACTS::ARC_TABLE::fill(const KEP_DB* db, const KEP_ROUTING_PRIMITIVE& store,
                                         GET_PORT get_port) {
  m_first.assign(db->get_unfolding().get_ports().size() + 2, 0);
  for (const KEP_ROUTING_ARC* arc : store.iter_routing_arcs(false))
    ++m_first[get_port(arc)->get_number() + 2];
  for (std::size_t i = 2; i < m_first.size(); ++i)
    m_first[i] += m_first[i - 1];
  m_arcs.resize(m_first.back());
  for (const KEP_ROUTING_ARC* arc : store.iter_routing_arcs(false))
    m_arcs[m_first[get_port(arc)->get_number() + 1]++] = arc;
}

KEP_UNFOLDED_MODULE KEP_RG_PROOF_FACTS::find_routing_top() const {
  for (unsigned char i = 0; i != get_rank().size(); ++i)
    if (const KEP_UNFOLDED_MODULE top = m_db->get_top_unfolded_module(get_rank().get_view_type(i)))
      return top;
  return m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
}

/// The first flyover of an input holds.
void KEP_RG_PROOF_FACTS::read_flyovers() {
  for (const KEP_ROUTING_FLYOVER* flyover : m_store->iter_routing_flyovers(false)) {
    m_flyovers.emplace(flyover->get_input(), flyover->get_output());
    set(flyover->get_input(), BEGINS_PATH);
  }
}

void KEP_RG_PROOF_FACTS::read_mux(const KEP_ROUTING_MUX& mux) {
  const KEP_MODULE* module = mux.get_module();
  set(module, HAS_MUXES);
  const bool is_ip_root = module->has_trait(KEP_MODULE::TRAIT::IP_ROOT);
  if (!mux.get_skip() && (!is_ip_root || module->get_view_type() == KEP_VIEW_TYPE::LOGICAL))
    set(module, STOPS);
  for (const KEP_ROUTING_ARC* arc : mux.iter_routing_arcs()) {
    if (mux.get_skip()) {
      read_skip_arc(mux, *arc);
      continue;
    }
    set(module, HAS_PORT_LIST);
    set(arc->get_input(), IN_PORT_LIST);
    set(arc->get_output(), IN_PORT_LIST);
    for (const KEP_INSTANCE* instance : mux.iter_skip_exception_instances())
      add_inst_path(instance, *arc);
  }
}

void KEP_RG_PROOF_FACTS::read_skip_arc(const KEP_ROUTING_MUX& mux, const KEP_ROUTING_ARC& arc) {
  m_skip_outputs[arc.get_input()].push_back(arc.get_output());
  set(arc.get_input(), BEGINS_PATH);
  if (!mux.has_skip_exception_instances()) set(arc.get_output(), IGNORED);
  for (const KEP_INSTANCE* instance : mux.iter_skip_exception_instances()) {
    set(beside(instance, arc.get_output()), INST_INSERTED);
    set(beside(instance, arc.get_input()), DOES_NOT_SKIP);
  }
}

void KEP_RG_PROOF_FACTS::add_inst_path(const KEP_INSTANCE* instance, const KEP_ROUTING_ARC& arc) {
  const KEP_INST_PORT* input = beside(instance, arc.get_input());
  m_inst_skip_outputs[input].push_back(beside(instance, arc.get_output())->get_port());
  set(input, 0);
  set(input->get_port(), BEGINS_PATH);
}

/// A mark on a module holds for its twin equivalents, too.
void KEP_RG_PROOF_FACTS::read_module(const KEP_MODULE* module) {
  PORTS inserted;
  PORTS removed;
  for (const KEP_PORT* port : module->iter_ports())
    if (m_store->is_insert_node(port))
      inserted.push_back(port);
    else if (m_store->is_remove_node(port))
      removed.push_back(port);
  if (inserted.empty() && removed.empty()) return;
  const auto enter_both = [this](const KEP_MODULE* at, const PORTS& first, const PORTS& second) {
    enter(at, first, INSERTED, INSERTED_IN_MODULE, INSERTED_KNOWN);
    enter(at, second, REMOVED, REMOVED_IN_MODULE, REMOVED_KNOWN);
  };
  enter_both(module, inserted, removed);
  if (module->get_view_type() == KEP_VIEW_TYPE::LOGICAL_TWIN) return;
  for (const KEP_MODULE* twin : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL_TWIN)) {
    const auto of_twin = [twin](const PORTS& ports) {
      PORTS result;
      for (const KEP_PORT* port : ports)
        if (const KEP_PORT* own = twin->get_port_by_index(port->get_index())) result.push_back(own);
      return result;
    };
    if (!inserted.empty()) enter(twin, of_twin(inserted), INSERTED, INSERTED_IN_MODULE, INSERTED_KNOWN);
    if (!removed.empty()) enter(twin, of_twin(removed), REMOVED, REMOVED_IN_MODULE, REMOVED_KNOWN);
  }
}

void KEP_RG_PROOF_FACTS::enter(const KEP_MODULE* module, const PORTS& ports, unsigned flag,
                               unsigned flag_in_module, MODULE_FLAG known) {
  const bool is_first = !(get(module) & known);
  set(module, known);
  for (const KEP_PORT* port : ports)
    set(port, is_first ? flag | flag_in_module : flag);
}

/// Ports of a BLC root take part by their BLC index, unless it has muxes of its own.
void KEP_RG_PROOF_FACTS::read_blc_roots() {
  for (const KEP_MODULE* module : m_store->iter_routing_roots(false)) {
    set(module, ROUTING_ROOT);
    if (module->get_view_type() != KEP_VIEW_TYPE::BLC || has_port_list(module)) continue;
    set(module, HAS_PORT_LIST);
    for (const KEP_PORT* port : module->iter_ports())
      if ((get(port) & INSERTED) || (port->get_blc_re_index() != -1 && !(get(port) & REMOVED)))
        set(port, IN_PORT_LIST);
  }
}

bool KEP_RG_PROOF_FACTS::holds_skip_pattern(const KEP_INSTANCE* instance) const {
  return !m_pattern.empty() &&
         std::string_view(instance->get_plain_name()).find(m_pattern) != std::string::npos;
}

/// Muxes without exceptions are skip paths on instances that hold the pattern, below the top and its logical
/// and twin equivalents.
void KEP_RG_PROOF_FACTS::read_pattern() {
  if (m_pattern.empty()) return;
  const KEP_MODULE* top = m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  std::vector<bool> visited(m_module_flags.size());
  read_pattern_below(top, visited);
  for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL_TWIN, KEP_VIEW_TYPE::LOGICAL}) {
    if (top->get_view_type() == view) continue;
    // What is reached from several tops is entered once for each: its paths lead to their ends as often.
    visited.assign(visited.size(), false);
    for (const KEP_MODULE* equivalent : top->get_equivalent_modules(view))
      read_pattern_below(equivalent, visited);
  }
}

void KEP_RG_PROOF_FACTS::read_pattern_below(const KEP_MODULE* module, std::vector<bool>& visited) {
  std::vector<const KEP_MODULE*> pending{module};
  while (!pending.empty()) {
    const KEP_MODULE* next = pending.back();
    pending.pop_back();
    if (visited[next->get_number()]) continue;
    visited[next->get_number()] = true;
    for (KEP_INSTANCE* instance : next->iter_instances()) {
      pending.push_back(instance->get_module());
      if (!holds_skip_pattern(instance)) continue;
      for (const KEP_PORT* port : instance->get_module()->iter_ports())
        for (const KEP_ROUTING_ARC* arc : iter_arcs_from(port)) {
          const KEP_ROUTING_MUX* mux = arc->get_parent();
          if (mux && !mux->has_skip_exception_instances() && !arc->is_skip(instance))
            add_inst_path(instance, *arc);
        }
    }
  }
}

/// In the top of a device a connection ends at modules of another database, in the view of the user and in
/// the logical and the BLC view.
void KEP_RG_PROOF_FACTS::read_foreign_masters() {
  if (!m_db->is_device_top()) return;
  for (const KEP_MODULE* module : m_db->iter_modules(true))
    for (const KEP_INSTANCE* instance : module->iter_instances()) {
      if (instance->module_in_same_db()) continue;
      const KEP_MODULE* master = instance->get_module(module->get_view_type());
      if (!master || is_stop_module(master)) continue;
      make_foreign_stop(master);
      for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::BLC})
        if (view != module->get_view_type())
          for (const KEP_MODULE* equivalent : master->get_equivalent_modules(view))
            if (!is_stop_module(equivalent)) make_foreign_stop(equivalent);
    }
}

void KEP_RG_PROOF_FACTS::make_foreign_stop(const KEP_MODULE* module) {
  set(module, STOPS | HAS_PORT_LIST);
  for (const KEP_PORT* port : module->iter_ports())
    set(port, IN_PORT_LIST);
}

KEP_RG_PROOF_FACTS::KIND KEP_RG_PROOF_FACTS::get_kind(const KEP_MODULE* module) const {
  if (is_stop_module(module)) return KIND::STOP;
  if (!module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) return KIND::ENTERED;
  if (!(get(module) & ROUTING_ROOT)) return KIND::UNROUTED;
  return module->get_view_type() == KEP_VIEW_TYPE::BLC ? KIND::BLC_ROOT : KIND::ENTERED;
}

const KEP_RG_PROOF_FACTS::PORTS* KEP_RG_PROOF_FACTS::find_skip_outputs(const KEP_INST_PORT* inst_port) const {
  if (const auto found = m_skip_outputs.find(inst_port->get_port()); found != m_skip_outputs.end())
    return get(inst_port) & DOES_NOT_SKIP ? nullptr : &found->second;
  if (!(get(inst_port->get_port()) & HAS_INST_FACTS)) return nullptr;
  const auto found = m_inst_skip_outputs.find(inst_port);
  return found == m_inst_skip_outputs.end() ? nullptr : &found->second;
}

const KEP_PORT* KEP_RG_PROOF_FACTS::find_flyover_output(const KEP_PORT* port) const {
  const auto found = m_flyovers.find(port);
  return found == m_flyovers.end() ? nullptr : found->second;
}
