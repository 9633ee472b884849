#include "kep_rg/kep_rg_build.h"

#include "kep_report/kep_report_profiler.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/common/kep_rg_format.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/edges/kep_rg_process_node.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_phase_clock.h"
#include "kep_rg/nodes/kep_rg_mux_outputs.h"

#include <iostream>

using KEP_RG_REPORT::debug;
using KEP_RG_REPORT::info;
using KEP_RG_REPORT::NAME_STYLE;
using MODULE_TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;

namespace {

constexpr std::uint32_t NODES_PER_STEP = 10000; // of the progress

/// The mark that keeps the ports of an instance from becoming mux nodes: its name holds the pattern.
bool holds(const std::string& name, const std::string& pattern) {
  return !pattern.empty() && name.find(pattern) != std::string::npos;
}

} // namespace

KEP_RG_BUILD::KEP_RG_BUILD(KEP_DB* db, KEP_RG_BUILD_PARAMS params)
    : m_db(db), m_legacy_api(db->get_legacy_api()),
      m_owns_routing_primitive_cache(params.get_routing_primitive_cache() == nullptr),
      m_routing_primitive_cache(m_owns_routing_primitive_cache ? new KEP_DB_ROUTING_PRIMITIVE_CACHE(db)
                                                               : params.get_routing_primitive_cache(),
                                CACHE_DELETER{&m_owns_routing_primitive_cache}),
      m_nodes_per_display(params.get_nodes_per_display()), m_verbose(params.get_verbose()),
      m_primitives(db, m_routing_primitive_cache.get()),
      m_instance_is_primitive(db, m_primitives, KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank),
      m_trace_predicate(db, m_primitives, KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, &m_node_cache),
      m_view_type_rank(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank),
      m_num_threads(params.get_num_threads()), m_observer(&m_null_observer),
      m_mux_outputs(std::make_unique<KEP_RG_MUX_OUTPUTS>(*db, *m_routing_primitive_cache, m_primitives)),
      m_edge_stats(0, m_nodes_per_display) {
  m_builder_graph.reset(KEP_ROUTING_BUILDER_GRAPH::create(db, params.get_init_size_MiB()));
  m_rep_nodes_builder =
      std::make_unique<KEP_ROUTING_BUILDER_GRAPH_REPRESENTATIVE_NODES_BUILDER>(db, m_view_type_rank);
  KEP_ASSERT(m_db->get_routing_template_graph()->get_routing_primitive()->is_initialized());
}

KEP_RG_BUILD::~KEP_RG_BUILD() = default;

void KEP_RG_BUILD::build() {
  build_nodes();
  build_edges();
}

void KEP_RG_BUILD::build_nodes() {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::build_nodes", true);
  const KEP_REPORT_PROGRESS progress("nodes");
  info() << "Counting..." << std::endl;
  std::size_t boundary = 0;
  std::size_t n = 0;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "count");
    n = count(boundary);
  }
  m_counted_n = n;
  m_counted_boundary = boundary;
  info() << kep_rg_format("Counted n_nodes = %1%") % (n + boundary) << std::endl;
  if (!m_disable_node_allocation)
    m_builder_graph->reserve_routing_node_template_space(static_cast<unsigned>(n));
  m_node_cache.initialize_routing_builder_graph(n, boundary, m_builder_graph.get());
  info() << "Add nodes..." << std::endl;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "add_nodes");
    KEP_REPORT_PROGRESS add_progress("nodes", n + boundary); // as many were counted, not all may be made
    m_node_progress = &add_progress;
    add_nodes(false);
    m_node_progress = nullptr;
  }
  info() << "Add hipi..." << std::endl;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "add_hipi");
    add_nodes_hipi();
  }
  if (!m_disable_node_allocation) {
    info() << "node_count=" << m_builder_graph->get_node_count()
           << " m_created_num_nodes=" << m_node_stats.m_created_num_nodes
           << " m_created_num_nodes_hipi=" << m_node_stats.m_created_num_nodes_hipi
           << " m_created_num_nodes_boundary=" << m_node_stats.m_created_num_nodes_boundary << std::endl;
    // clang-format off
    KEP_ASSERT(m_builder_graph->get_node_count() == (m_node_stats.m_created_num_nodes + m_node_stats.m_created_num_nodes_hipi + m_node_stats.m_created_num_nodes_boundary));
    // clang-format on
  }
  print_node_stats();
}

void KEP_RG_BUILD::print_node_stats() const {
  // The equals signs line up only in part, and are meant to.
  info() << "   Created Total nodes = " << m_node_stats.m_created_num_nodes << std::endl;
  info() << "     Created BLC nodes = " << m_node_stats.m_created_num_nodes_blc << std::endl;
  info() << "Created Inserted nodes = " << m_node_stats.m_created_num_nodes_inserted << std::endl;
  info() << "   Created Hipi nodes  = " << m_node_stats.m_created_num_nodes_hipi << std::endl;
  info() << "   Created Boundary nodes  = " << m_node_stats.m_created_num_nodes_boundary << std::endl;
  info() << "        Repeated nodes = " << m_node_stats.m_repeated_num_nodes << std::endl;
  info() << "      Redundant inputs = " << m_redundant_inputs.size() << std::endl;
  info() << "Eliminated Total nodes = " << m_node_stats.m_eliminated_num_nodes << std::endl;
}

std::size_t KEP_RG_BUILD::count(std::size_t& boundary_count) {
  const std::size_t n = count_module(m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
  if (m_db->get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED) {
    KEP_MODULE* top = m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    boundary_count = top->get_num_ports();
    m_module_counts.emplace(top, n + boundary_count);
  }
  return n;
}

std::size_t KEP_RG_BUILD::count_module(KEP_UNFOLDED_MODULE u_module) {
  const auto known = m_module_counts.find(u_module.m_object);
  if (known != m_module_counts.end()) return known->second;
  std::size_t total = 0;
  for (const KEP_UNFOLDED_INSTANCE& u_instance : u_module.iter_instances()) {
    const KEP_UNFOLDED_MODULE u_master = get_master_for_routing(u_instance);
    KEP_MODULE* master = u_master.m_object;
    total += count_inserted(master);
    switch (m_instance_is_primitive.get_module_type(master)) {
    case MODULE_TYPE::STOP_MODULE:
    case MODULE_TYPE::STOP_INSTANCE_MASTER:
      total += count_mux(master, false);
      break;
    case MODULE_TYPE::BLC_ROUTING_ROOT:
      KEP_ASSERT(master->get_view_type() == KEP_VIEW_TYPE::BLC);
      total += count_blc(master);
      break;
    case MODULE_TYPE::ROUTING_ROOT:
    case MODULE_TYPE::UNCLASSIFIED:
      total += count_module(u_master);
      break;
    case MODULE_TYPE::IP_ROOT_NOT_ROUTED:
      break;
    default:
      KEP_ASSERT(false);
    }
  }
  m_module_counts.emplace(u_module.m_object, total);
  return total;
}

std::size_t KEP_RG_BUILD::count_inserted(KEP_MODULE* module) const {
  const KEP_RG_PRIMITIVES::PORT_SET* inserted = m_primitives.get_inserted_ports(module);
  return inserted ? inserted->size() : 0;
}

std::size_t KEP_RG_BUILD::count_mux(KEP_MODULE* module, bool flag) const {
  std::size_t total = 0;
  for (const KEP_PORT* port : m_primitives.get_module_to_ports(module))
    if (!m_routing_primitive_cache->is_arc_input(port) && !flag && !m_primitives.port_is_ignored(port))
      ++total;
  return total;
}

std::size_t KEP_RG_BUILD::count_blc(KEP_MODULE* module) const {
  return count_inside_blc(module) + m_primitives.get_module_to_ports(module).size();
}

std::size_t KEP_RG_BUILD::count_inside_blc(KEP_MODULE* module) const {
  std::size_t total = 0;
  for (const KEP_INSTANCE* instance : module->iter_instances()) {
    KEP_MODULE* master = instance->get_module();
    total += master->get_num_ports() + count_inside_blc(master);
  }
  return total;
}

KEP_UNFOLDED_MODULE KEP_RG_BUILD::get_master_for_routing(KEP_UNFOLDED_INSTANCE u_instance) const {
  return u_instance.get_module(m_view_type_rank);
}

KEP_UNFOLDED_MODULE KEP_RG_BUILD::find_routing_top() const {
  for (unsigned char i = 0; i != m_view_type_rank.size(); ++i) {
    const KEP_UNFOLDED_MODULE top = m_db->get_top_unfolded_module(m_view_type_rank.get_view_type(i));
    if (top) return top;
  }
  return m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
}

void KEP_RG_BUILD::add_nodes(bool debug) {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::add_nodes", true);
  if (m_dbg_u_instance) {
    add_nodes_module(get_master_for_routing(m_dbg_u_instance), nullptr, true);
    return;
  }
  const KEP_UNFOLDED_MODULE top = find_routing_top();
  add_nodes_module(top, nullptr, debug);
  if (m_db->get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED)
    for (KEP_PORT* port : top.m_object->iter_ports())
      create_node(port, debug);
}

bool KEP_RG_BUILD::add_nodes_module(KEP_UNFOLDED_MODULE u_module, HAS_NODES* has_nodes, bool debug) {
  KEP_MODULE* master = u_module.m_object;
  if (master && master->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) {
    KEP_ASSERT(!has_nodes);
    m_has_nodes_known = m_module_has_nodes.count(master) != 0;
    has_nodes = &m_module_has_nodes[master];
  }
  bool result = false;
  if (m_instance_is_primitive.get_module_type(master) == MODULE_TYPE::BLC_ROUTING_ROOT) {
    result = add_nodes_inside_blc(u_module, debug);
  } else {
    for (const KEP_UNFOLDED_INSTANCE& u_instance : u_module.iter_instances()) {
      // Not reset behind the instance under debug: its later siblings are meant to be walked with debug, too.
      if (m_dbg_u_instance && m_dbg_u_instance == u_instance) debug = true;
      if (add_nodes_instance(u_instance, has_nodes, debug)) result = true;
    }
  }
  if (has_nodes && !m_has_nodes_known) {
    bool& known = (*has_nodes)[master];
    known = known || result;
  }
  return result;
}

bool KEP_RG_BUILD::add_nodes_instance(KEP_UNFOLDED_INSTANCE u_instance, HAS_NODES* has_nodes, bool debug) {
  KEP_INSTANCE* instance = u_instance.m_object;
  const KEP_UNFOLDED_MODULE u_master = get_master_for_routing(u_instance);
  KEP_MODULE* master = u_master.m_object;
  const MODULE_TYPE type = m_instance_is_primitive.get_module_type(master);
  if (debug) {
    ::debug() << "-------------------------------------------" << std::endl;
    ::debug() << "u_instance: " << u_instance.get_name(NAME_STYLE) << std::endl;
    ::debug() << " master: " << (master ? master->get_name(NAME_STYLE) : std::string()) << std::endl;
    ::debug() << " get_module_type: " << static_cast<int>(type) << std::endl;
  }
  if (has_nodes && m_has_nodes_known) {
    const auto known = has_nodes->find(master);
    if (known != has_nodes->end() && !known->second) {
      if (debug) std::cout << " skipped due to no nodes" << std::endl;
      if (master) count_all_without_node(WITHOUT_NODE::SKIPPED_PART, u_instance, master);
      return false;
    }
  }
  bool result = add_nodes_inserted(u_instance, instance, master, debug);
  switch (type) {
  case MODULE_TYPE::STOP_MODULE:
  case MODULE_TYPE::STOP_INSTANCE_MASTER:
    result |= add_nodes_mux(u_instance, instance, master, false, debug);
    break;
  case MODULE_TYPE::BLC_ROUTING_ROOT:
    KEP_ASSERT(master->get_view_type() == KEP_VIEW_TYPE::BLC);
    result |= add_nodes_blc(u_instance, instance, master, debug);
    break;
  case MODULE_TYPE::ROUTING_ROOT:
  case MODULE_TYPE::UNCLASSIFIED:
    result |= add_nodes_module(u_master, has_nodes, debug);
    break;
  case MODULE_TYPE::IP_ROOT_NOT_ROUTED:
    if (instance->get_inst_header())
      result |= add_nodes_from_boundary_nodes(u_instance, instance, master, debug);
    break;
  default:
    KEP_ASSERT(false);
  }
  if (master) count_unseen(u_instance, master, type);
  return result;
}

bool KEP_RG_BUILD::add_nodes_mux(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE* instance, KEP_MODULE* master,
                                 bool flag, bool debug) {
  const std::string pattern = m_db->get_routing_template_graph()
                                  ->get_routing_primitive()
                                  ->get_non_template_mux_skip_path_inst_name_pattern();
  if (!pattern.empty() && holds(instance->get_name(NAME_STYLE), pattern)) {
    count_without_node(WITHOUT_NODE::NAME_PATTERN, m_mux_outputs->get(master).m_listed, u_instance);
    return false;
  }
  count_without_node(WITHOUT_NODE::ARC_INPUT, m_mux_outputs->get(master).m_arc_inputs, u_instance);
  bool result = false;
  for (const KEP_PORT* port : m_primitives.get_module_to_ports(master)) {
    if (m_routing_primitive_cache->is_arc_input(port) || flag) continue;
    KEP_INST_PORT* inst_port = instance->get_inst_port_by_index(port->get_index());
    const KEP_UNFOLDED_INST_PORT uip = u_instance.get_unfolding_of_inst_port(inst_port);
    if (m_primitives.port_is_ignored(port) && !m_primitives.is_inserted_inst_port(inst_port)) {
      count_without_node(WITHOUT_NODE::SKIP, uip);
      continue;
    }
    // Without an inst header a port must have a wire type to become a node.
    if (!instance->get_inst_header() && !m_primitives.find_wire_type(uip)) {
      count_without_node(WITHOUT_NODE::NO_HEADER, uip);
      continue;
    }
    if (debug) ::debug() << "add_mux: " << uip.get_name(NAME_STYLE) << std::endl;
    result |= create_node(uip, CREATE_TYPE_PORT, debug);
  }
  return result;
}

bool KEP_RG_BUILD::create_nodes_of_ports(const KEP_RG_PRIMITIVES::PORT_SET& ports,
                                         KEP_UNFOLDED_INSTANCE u_instance, CREATE_TYPE type, bool debug) {
  bool result = false;
  for (const KEP_PORT* port : ports)
    result |= create_node(u_instance.get_unfolded_inst_port_by_index(port->get_index()), type, debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_blc(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*, KEP_MODULE* master,
                                 bool debug) {
  bool result = add_nodes_inside_blc(get_master_for_routing(u_instance), debug);
  result |= create_nodes_of_ports(m_primitives.get_module_to_ports(master), u_instance, CREATE_TYPE_BLC_PORT,
                                  debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_inside_blc(KEP_UNFOLDED_MODULE u_module, bool debug) {
  bool result = false;
  for (const KEP_UNFOLDED_INSTANCE& u_instance : u_module.iter_instances()) {
    const KEP_INSTANCE* instance = u_instance.m_object;
    CREATE_TYPE type = CREATE_TYPE_INSIDE_BLC;
    if (instance->is_blc_atom())
      type = CREATE_TYPE_BLC_ATOM;
    else if (instance->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0))
      type = CREATE_TYPE_BLC_TRAIT;
    if (m_dbg_u_instance && m_dbg_u_instance == u_instance)
      debug = true; // and stays so, as in add_nodes_module
    if (debug) {
      ::debug() << "-------------------------------------------" << std::endl;
      ::debug() << " u_instance: " << u_instance.get_name(NAME_STYLE) << std::endl;
      ::debug() << "create_type: " << static_cast<int>(type) << std::endl;
    }
    for (const KEP_UNFOLDED_INST_PORT& uip : u_instance.iter_inst_ports())
      if (!m_primitives.is_removed_port(uip.m_object->get_port()))
        result |= create_node(uip, type, debug);
      else
        count_without_node(WITHOUT_NODE::REMOVED, uip);
    result |= add_nodes_inside_blc(get_master_for_routing(u_instance), debug);
  }
  return result;
}

bool KEP_RG_BUILD::add_nodes_inserted(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*, KEP_MODULE* master,
                                      bool debug) {
  const KEP_RG_PRIMITIVES::PORT_SET* inserted = m_primitives.get_inserted_ports(master);
  if (!inserted) return false;
  bool result = false;
  for (const KEP_PORT* port : *inserted)
    if (port->get_parent()->get_view_type() != KEP_VIEW_TYPE::BLC)
      result |= create_node(u_instance.get_unfolded_inst_port_by_index(port->get_index()),
                            CREATE_TYPE_INSERTED, debug);
  return result;
}

bool KEP_RG_BUILD::add_nodes_from_boundary_nodes(KEP_UNFOLDED_INSTANCE u_instance, KEP_INSTANCE*,
                                                 KEP_MODULE* master, bool debug) {
  return create_nodes_of_ports(m_primitives.get_module_to_ports(master), u_instance, CREATE_TYPE_PORT, debug);
}

bool KEP_RG_BUILD::create_node(KEP_UNFOLDED_INST_PORT uip, CREATE_TYPE type, bool debug) {
  if (const std::optional<WITHOUT_NODE> exclusion = find_exclusion(uip)) {
    ++m_node_stats.m_eliminated_num_nodes;
    if (type != CREATE_TYPE_INSERTED) count_without_node(*exclusion, uip);
    return true;
  }
  if (!m_disable_node_allocation) {
    if (m_node_cache.find_routing_node(uip)) {
      ++m_node_stats.m_repeated_num_nodes;
      return false;
    }
    m_node_cache.add_routing_node(KEP_ROUTING_BUILDER_NODE::allocate(m_builder_graph.get(), uip));
  } else if (debug) {
    m_dbg_uips.push_back(uip);
  }
  if (++m_node_stats.m_created_num_nodes % NODES_PER_STEP == 0 && m_node_progress)
    m_node_progress->add(NODES_PER_STEP);
  if (type == CREATE_TYPE_INSERTED) ++m_node_stats.m_created_num_nodes_inserted;
  if (type >= CREATE_TYPE_BLC_PORT) ++m_node_stats.m_created_num_nodes_blc;
  return true;
}

void KEP_RG_BUILD::create_node(KEP_PORT* port, bool debug) {
  if (!m_disable_node_allocation) {
    if (m_node_cache.find_routing_node(port)) {
      ++m_node_stats.m_repeated_num_nodes;
      return;
    }
    m_node_cache.add_routing_node(KEP_ROUTING_BUILDER_NODE::allocate(m_builder_graph.get(), port));
  } else if (debug) {
    m_dbg_ports.push_back(port);
  }
  ++m_node_stats.m_created_num_nodes_boundary;
}

/// Why the port must not become a node, if so; the first reason that holds.
std::optional<KEP_RG_BUILD::WITHOUT_NODE>
KEP_RG_BUILD::find_exclusion(const KEP_UNFOLDED_INST_PORT& uip) const {
  if (!uip.get_unfolded_net() && !uip.get_unfolded_port(m_view_type_rank).get_unfolded_net())
    return WITHOUT_NODE::UNCONNECTED;
  if (is_excluded_in_spare_row(uip)) return WITHOUT_NODE::SPARE_ROW;
  const KEP_INSTANCE* instance = uip.m_object->get_inst();
  const KEP_MODULE* master = m_view_type_rank.find_view(instance->get_module());
  if (master && master->get_view_type() == KEP_VIEW_TYPE::BLC &&
      master->has_trait(KEP_MODULE::TRAIT::TRAIT_0) &&
      (uip.m_object->is_input() || instance->get_blc_is_inserted_buffer()))
    return WITHOUT_NODE::BLC_TRAIT;
  if (m_routing_primitive_cache->has_routing_muxes(master) && is_on_skip_arc(uip)) return WITHOUT_NODE::SKIP;
  return std::nullopt;
}

/// In a spare row only a wire type with bit 1 in its flags keeps a port.
bool KEP_RG_BUILD::is_excluded_in_spare_row(const KEP_UNFOLDED_INST_PORT& uip) const {
  constexpr unsigned char STAYS_IN_SPARE_ROW = 2;
  if (!m_legacy_api->has_instance_attributes()) return false;
  const KEP_UNFOLDED_INSTANCE root = uip.get_unfolded_instance().get_ip_root_instance();
  if (!root) return false;
  const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* attributes = m_legacy_api->get_attributes(root);
  if (!attributes || !attributes->is_spare_row()) return false;
  const KEP_WIRE_TYPE* type = m_primitives.find_wire_type(uip);
  return !type || !(type->get_flags() & STAYS_IN_SPARE_ROW);
}

/// The port lies on an arc that is a skip path on this very instance; a search goes through such an arc.
bool KEP_RG_BUILD::is_on_skip_arc(const KEP_UNFOLDED_INST_PORT& uip) const {
  const KEP_PORT* port = uip.get_unfolded_port(m_view_type_rank).m_object;
  KEP_INSTANCE* instance = uip.m_object->get_inst();
  for (const auto* arcs :
       {m_routing_primitive_cache->find_arc_inputs(port), m_routing_primitive_cache->find_arc_outputs(port)})
    if (arcs)
      for (const KEP_ROUTING_ARC* arc : *arcs)
        if (arc->is_skip(instance)) return true;
  return false;
}

void KEP_RG_BUILD::add_nodes_hipi() {
  if (m_disable_hipi) return;
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::add_nodes_hipi", true);
  // The range holds the nodes that exist now; twins made on the way are not visited.
  for (const KEP_ROUTING_BUILDER_NODE* node : m_builder_graph->iter_nodes(1)) {
    if (node->is_boundary()) continue;
    const KEP_UNFOLDED_INST_PORT uip = node->get_unfolded_inst_port();
    if (m_primitives.is_hipi_tm_port(uip.m_object->get_port())) create_node_hipi(uip, false, false);
  }
}

bool KEP_RG_BUILD::create_node_hipi(KEP_UNFOLDED_INST_PORT uip, bool no_plain_node_needed, bool debug) {
  if (do_exclude_node(uip)) {
    ++m_node_stats.m_eliminated_num_nodes;
    return true;
  }
  if (!m_disable_node_allocation) {
    if (!no_plain_node_needed && !m_node_cache.find_routing_node(uip))
      KEP_RG_THROW("KEP_RG_BUILD::create_node_hipi",
                   "Must have existing routing node for uip = " + uip.get_name(NAME_STYLE));
    KEP_ROUTING_BUILDER_NODE* node = KEP_ROUTING_BUILDER_NODE::allocate(m_builder_graph.get(), uip);
    node->set_hipi(true);
    m_node_cache.add_routing_node_hipi(node);
  } else if (debug) {
    m_dbg_uips.push_back(uip);
  }
  ++m_node_stats.m_created_num_nodes_hipi;
  return true;
}

// Stands here so that a failure names this file, as every assertion of a build does.
void KEP_PROCESS_NODE_FOR_ADD_EDGES::check_start(const KEP_ROUTING_BUILDER_NODE* start_node,
                                                 const KEP_ROUTING::NODE* dbg_start_node) const {
  KEP_ASSERT(start_node || dbg_start_node);
  if (!dbg_start_node) return;
  KEP_ASSERT(!start_node);
  KEP_ASSERT(!dbg_start_node->is_hipi());
  KEP_ASSERT(m_ftd->m_disable_edge_allocation);
}
