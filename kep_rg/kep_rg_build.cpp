#include "kep_rg/kep_rg_build.h"

#include "kep/common/kep_arena.h"
#include "kep_report/kep_report_profiler.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/edges/kep_rg_process_node.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_phase_clock.h"
#include "kep_rg/nodes/kep_rg_mux_outputs.h"
#include "kep_rg/nodes/kep_rg_node_plans.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>

using KEP_RG_REPORT::info;
using KEP_RG_REPORT::NAME_STYLE;
using MODULE_TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;

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
  m_rep_nodes_builder = std::make_unique<REP_NODES_BUILDER>(db, m_view_type_rank);
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
  prepare_nodes();
  info() << "Add nodes..." << std::endl;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "add_nodes");
    // As many were counted, not all may be made.
    KEP_REPORT_PROGRESS add_progress("nodes", m_counted_n + m_counted_boundary);
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

void KEP_RG_BUILD::prepare_nodes() {
  info() << "Counting..." << std::endl;
  std::size_t boundary = 0;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "count");
    m_counted_n = count(boundary);
    m_counted_boundary = boundary;
  }
  info() << fmt::format("Counted n_nodes = {}", m_counted_n + boundary) << std::endl;
  if (!m_disable_node_allocation)
    m_builder_graph->reserve_routing_node_template_space(static_cast<unsigned>(m_counted_n));
  m_node_cache.initialize_routing_builder_graph(m_counted_n, boundary, m_builder_graph.get());
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
  // What goes by a plan is not told of, and no node may stand there yet.
  const bool by_plans =
      m_plans_nodes && !debug && !m_disable_node_allocation && m_builder_graph->get_node_count() == 0;
  if (by_plans)
    add_nodes_by_plans(top);
  else
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
    if (m_node_plans && !m_has_nodes_known) m_node_plans->ask(); // later uses may differ
  }
  using WALK = KEP_RG_NODE_PLANS::WALK;
  const WALK walk = has_nodes && m_has_nodes_known ? WALK::LATER_USE : WALK::ORDINARY;
  const auto walk_here = [&] { return walk_module(u_module, has_nodes, debug); };
  const bool result =
      goes_by_plan(u_module) ? m_node_plans->add_nodes(u_module, walk, has_nodes, walk_here) : walk_here();
  if (has_nodes && !m_has_nodes_known) {
    bool& known = (*has_nodes)[master];
    known = known || result;
  }
  return result;
}

void KEP_RG_BUILD::add_nodes_by_plans(KEP_UNFOLDED_MODULE top) {
  m_node_plans = std::make_unique<KEP_RG_NODE_PLANS>(
      KEP_RG_NODE_PLANS::TARGETS{*m_builder_graph, m_node_stats, m_outputs_without_node, m_node_progress});
  add_nodes_module(top, nullptr, false);
  kep_run_in_arena(static_cast<int>(m_num_threads), [this] { m_node_plans->put_nodes(); });
  m_node_plans.reset();
  m_node_cache.add_all_routing_nodes();
}

/// What lies in a spare row at some places is walked at each, and so is what is around it.
bool KEP_RG_BUILD::goes_by_plan(KEP_UNFOLDED_MODULE u_module) {
  if (!m_node_plans) return false;
  const bool asks = asks_for_spare_row(u_module.get_unfolded_instance());
  if (asks) m_node_plans->ask();
  return !asks;
}

bool KEP_RG_BUILD::walk_module(KEP_UNFOLDED_MODULE u_module, HAS_NODES* has_nodes, bool debug) {
  if (m_instance_is_primitive.get_module_type(u_module.m_object) == MODULE_TYPE::BLC_ROUTING_ROOT)
    return add_nodes_inside_blc(u_module, debug);
  bool result = false;
  for (const KEP_UNFOLDED_INSTANCE& u_instance : u_module.iter_instances()) {
    // Not reset behind the instance under debug: what its later siblings give hangs on what it gave, since a
    // uip becomes one node, so they are told of, too.
    if (m_dbg_u_instance && m_dbg_u_instance == u_instance) debug = true;
    if (add_nodes_instance(u_instance, has_nodes, debug)) result = true;
  }
  return result;
}

namespace {

void print_walked(const KEP_UNFOLDED_INSTANCE& u_instance, const KEP_MODULE* master, MODULE_TYPE type) {
  std::ostream& out = KEP_RG_REPORT::debug();
  out << "-------------------------------------------" << std::endl;
  out << "u_instance: " << u_instance.get_name(NAME_STYLE) << std::endl;
  out << " master: " << (master ? master->get_name(NAME_STYLE) : std::string()) << std::endl;
  out << " get_module_type: " << static_cast<int>(type) << std::endl;
}

/// The first walk of the IP root came to nothing in the module.
bool gave_no_node(const std::map<KEP_MODULE*, bool>& has_nodes, KEP_MODULE* module) {
  const auto known = has_nodes.find(module);
  return known != has_nodes.end() && !known->second;
}

} // namespace

bool KEP_RG_BUILD::add_nodes_instance(KEP_UNFOLDED_INSTANCE u_instance, HAS_NODES* has_nodes, bool debug) {
  KEP_INSTANCE* instance = u_instance.m_object;
  const KEP_UNFOLDED_MODULE u_master = get_master_for_routing(u_instance);
  KEP_MODULE* master = u_master.m_object;
  const MODULE_TYPE type = m_instance_is_primitive.get_module_type(master);
  if (debug) print_walked(u_instance, master, type);
  if (has_nodes && m_has_nodes_known && gave_no_node(*has_nodes, master)) {
    if (debug) std::cout << " skipped due to no nodes" << std::endl;
    if (master) count_all_without_node(WITHOUT_NODE::SKIPPED_PART, u_instance, master);
    return false;
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

void KEP_RG_BUILD::add_nodes_hipi() {
  if (m_disable_hipi) return;
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::add_nodes_hipi", true);
  const auto& ports = m_db->get_unfolding().get_ports();
  if (std::none_of(ports.begin(), ports.end(),
                   [this](const KEP_PORT* port) { return m_primitives.is_hipi_tm_port(port); }))
    return;
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
