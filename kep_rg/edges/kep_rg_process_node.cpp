#include "kep_rg/edges/kep_rg_process_node.h"

#include "kep/common/kep_tsan.h"
#include "kep/kep_cancelled.h"
#include "kep_report/kep_report.h"
#include "kep_rg/common/kep_rg_report.h"

#include <iterator>

using KEP_RG_REPORT::debug;
using KEP_RG_REPORT::NAME_STYLE;
using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;

namespace {

constexpr std::uint32_t NODES_BETWEEN_LOOKS = 1024;

} // namespace

void KEP_PROCESS_NODE_FOR_ADD_EDGES::operator()(const NODE_RANGE& range) const {
  KEP_TSAN::begin_body();
  // A copy that dies with the range. Nothing is written back, so that the counters hang on the ranges and not
  // on the thread that takes them.
  KEP_RG_BUILD::CDRN_CACHE cache = m_ftd->m_cdrn_caches.local();
  KEP_RG_EDGE_CREATION_STATS& own_stats = get_own_stats();
  KEP_RG_EDGE_CREATION_STATS range_stats(0, m_ftd->m_nodes_per_display);
  WORK work;
  work.m_cache = &cache;
  work.m_stats = &range_stats;
  const auto count = static_cast<std::uint32_t>(std::distance(range.begin(), range.end()));
  if (count != 0) note_ends(**range.begin(), count, work);
  std::uint32_t num_done = 0;
  for (KEP_ROUTING_BUILDER_NODE* node : range) {
    if (++num_done % NODES_BETWEEN_LOOKS == 0) kep_throw_if_cancelled();
    work.m_fanouts.clear();
    work.m_redundant_fanouts.clear();
    process_one_node(node, nullptr, work);
  }
  {
    const tbb::mutex::scoped_lock lock(*m_mutex);
    own_stats.add(range_stats);
  }
  print_progress(count); // tests before it adds: the record does not hold these nodes yet
  {
    const tbb::mutex::scoped_lock lock(*m_mutex);
    own_stats.n_nodes_done += count;
  }
  KEP_TSAN::end_body();
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::note_ends(const KEP_ROUTING_BUILDER_NODE& first, std::uint32_t count,
                                               WORK& work) const {
  const KEP_ROUTING_BUILDER_NODE& last = *m_ftd->m_builder_graph->get_node(first.get_index() + count - 1);
  const KEP_PLACE_LAYOUT& layout = m_ftd->m_builder_graph->get_place_layout();
  work.m_first_node = first.get_index();
  work.m_first_place = layout.get_first_place(first.get_occurrence());
  work.m_last_place = layout.get_first_place(last.get_occurrence());
}

/// Under the mutex: a thread's first use makes its record, and the progress line of another walks over all of
/// them.
KEP_RG_EDGE_CREATION_STATS& KEP_PROCESS_NODE_FOR_ADD_EDGES::get_own_stats() const {
  const tbb::mutex::scoped_lock lock(*m_mutex);
  return m_stats->local();
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::print_progress(std::size_t count) const {
  if (count == 0) return;
  const tbb::mutex::scoped_lock lock(*m_mutex);
  const KEP_RG_EDGE_CREATION_STATS total =
      m_stats->combine([](const KEP_RG_EDGE_CREATION_STATS& left, const KEP_RG_EDGE_CREATION_STATS& right) {
        return left + right;
      });
  const std::string line =
      KEP_RG::format_progress(total, count, total.get_cpu_seconds(), total.get_wall_seconds());
  if (!line.empty()) KEP_REPORT::info("%s", line.c_str());
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::process_one_node(KEP_ROUTING_BUILDER_NODE* start_node,
                                                      const KEP_ROUTING::NODE* dbg_start_node,
                                                      WORK& work) const {
  check_start(start_node, dbg_start_node);
  if (m_plain_nets && process_plain_node(start_node, work)) return;
  KEP_RG_BUILD::REP_NODE_ARGS row{};
  if (start_node && !start_node->is_boundary() && start_node->is_hipi())
    connect_hipi_twin(start_node, work, row);
  else
    compute_fanout(start_node, dbg_start_node, work);
  if (work.m_fanouts.empty() && work.m_redundant_fanouts.empty()) return;
  if (!m_ftd->m_disable_edge_allocation)
    m_ftd->m_edge_builder->set_fanout(start_node, work.m_fanouts, work.m_redundant_fanouts, *m_mutex, true);
  work.m_stats->n_edges += work.m_fanouts.size();
  work.m_stats->n_redundant_edges += work.m_redundant_fanouts.size();
  if (row.m_relpath && !m_ftd->m_disable_edge_allocation) store_row(row);
}

/// A hipi twin has exactly one edge, to its plain node.
void KEP_PROCESS_NODE_FOR_ADD_EDGES::connect_hipi_twin(KEP_ROUTING_BUILDER_NODE* start_node, WORK& work,
                                                       KEP_RG_BUILD::REP_NODE_ARGS& row) const {
  if (m_ftd->m_disable_hipi) return;
  const KEP_UNFOLDED_INST_PORT uip = start_node->get_unfolded_inst_port();
  KEP_ROUTING_BUILDER_NODE* plain = m_ftd->m_node_cache.find_routing_node(uip);
  if (!plain) return;
  work.m_fanouts.push_back({plain, {}});
  row.m_module = m_ftd->get_master_for_routing(uip.get_unfolded_instance());
  row.m_relpath = m_ftd->m_rep_nodes_builder->get_relative_path(start_node, work.m_fanouts,
                                                                work.m_redundant_fanouts, row.m_module);
  row.m_node = start_node;
}

/// False, and nothing is done, unless its connection is plain.
bool KEP_PROCESS_NODE_FOR_ADD_EDGES::process_plain_node(KEP_ROUTING_BUILDER_NODE* node, WORK& work) const {
  if (node->is_boundary() || node->is_hipi()) return false;
  KEP_RG_PLAIN_WALK& walk = work.m_plain_walk;
  const auto seat = m_ftd->m_edge_builder->get_seat(*node);
  if (!walk.walk(*m_plain_nets, node->get_occurrence(), seat)) return false;
  KEP_ROUTING_BUILDER_EDGE_BUILDER::FANOUT_COUNTS counts{};
  if (!walk.get_fanouts().empty() || !walk.get_redundant_fanouts().empty())
    counts = m_ftd->m_edge_builder->set_fanout(node, walk.get_fanouts(), walk.get_redundant_fanouts());
  if (counts.m_num_real + counts.m_num_redundant != 0) {
    const KEP_UNFOLDING& unfolding = m_plain_nets->get_unfolding();
    const KEP_OCCURRENCE& occurrence = unfolding.get(walk.get_top());
    const KEP_UNFOLDED_MODULE top(KEP_SLOT_POSITION::pack(occurrence.m_parent, occurrence.m_slot),
                                  unfolding.get_module(occurrence));
    if (const auto relpath = m_ftd->m_rep_nodes_builder->get_relative_path(node, top))
      store_row({relpath, top, node});
  }
  const bool is_hit = was_answered_before(node, work);
  KEP_RG_EDGE_CREATION_STATS& stats = *work.m_stats;
  ++(is_hit ? stats.n_cdrn_cache_hits : stats.n_cdrn_cache_misses);
  stats.n_get_leaf_calls += is_hit ? 1 : 2;
  // The node itself, which an answer holds once more, and the leaves.
  stats.n_get_leaf_fanouts += (is_hit ? 2 : 1) + walk.get_num_leaves();
  stats.n_skip_port += walk.get_num_nowhere() + counts.m_num_missing;
  stats.n_edges += counts.m_num_real;
  stats.n_redundant_edges += counts.m_num_redundant;
  return true;
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::store_row(const KEP_RG_BUILD::REP_NODE_ARGS& row) const {
  m_ftd->m_rep_node_args.local().push_back(row);
}

template <class NODE>
KEP_PROCESS_NODE_FOR_ADD_EDGES::START KEP_PROCESS_NODE_FOR_ADD_EDGES::find_start(const NODE& node) const {
  START start;
  start.m_is_boundary = node.is_boundary();
  if (start.m_is_boundary) {
    start.m_port = node.get_port();
    start.m_master = start.m_port->get_parent();
    start.m_u_port = m_ftd->m_db->get_top_unfolded_module(start.m_master->get_view_type())
                         .get_unfolded_port_by_index(start.m_port->get_index());
  } else {
    start.m_uip = node.get_unfolded_inst_port();
    start.m_u_port = start.m_uip.get_unfolded_port(m_ftd->m_view_type_rank);
    start.m_port = start.m_u_port.m_object;
    const KEP_UNFOLDED_INSTANCE instance = start.m_uip.get_unfolded_instance();
    start.m_master = m_ftd->get_master_for_routing(instance).m_object;
    start.m_parent_module = instance.get_parent().m_object;
  }
  if (start.m_u_port)
    start.m_is_inserted = m_ftd->m_primitives.is_inserted_port(start.m_port) &&
                          start.m_port->get_parent()->get_view_type() != KEP_VIEW_TYPE::BLC;
  return start;
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::compute_fanout(KEP_ROUTING_BUILDER_NODE* start_node,
                                                    const KEP_ROUTING::NODE* dbg_start_node,
                                                    WORK& work) const {
  START start = start_node ? find_start(*start_node) : find_start(*dbg_start_node);
  start.m_node = start_node;
  if (!start.m_u_port) return;
  if (start.m_is_boundary && start.m_port->is_output()) return; // drives nothing inside
  KEP_UNFOLD_OBSERVER& observer = *m_ftd->m_observer;
  if (start.m_uip) {
    observer.start_uip(start.m_uip);
    observer.visit(start.m_uip, VISIT_TYPE::START);
    observer.visit(start.m_u_port, VISIT_TYPE::CROSS);
  } else {
    observer.visit(start.m_u_port, VISIT_TYPE::START);
  }

  KEP_LEAF_RESULTS& results = work.m_results;
  results.clear();
  if (start.m_uip) results.m_uips.push_back(start.m_uip);
  if (start_node && find_cached_fanout(start, work)) {
    ++work.m_stats->n_cdrn_cache_hits;
  } else {
    search(start, work);
    if (start_node) store_cached_fanout(start, work);
  }
  fill_fanouts(start, work);
  if (!m_ftd->m_disable_edge_allocation) {
    const auto relpath = m_ftd->m_rep_nodes_builder->get_relative_path(
        start_node, work.m_fanouts, work.m_redundant_fanouts, results.m_top_module);
    if (relpath) store_row({relpath, results.m_top_module, start_node});
  }
  // The only one of a hit and the second of a miss: the average that is printed divides by calls and hits,
  // two for each node.
  ++work.m_stats->n_get_leaf_calls;
  work.m_stats->n_get_leaf_fanouts += results.m_uips.size();
  observer.finish_uip();
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::search(const START& start, WORK& work) const {
  KEP_LEAF_RESULTS& results = work.m_results;
  KEP_LEAF_RESULTS& second = work.m_tunnel_results;
  second.clear();
  ++work.m_stats->n_cdrn_cache_misses;
  ++work.m_stats->n_get_leaf_calls;
  work.m_asked_for_nodes = false;
  get_leaf_fanout(start, work, results, false);
  if (start.m_uip &&
      get_tunnel_type(start.m_uip.m_object->get_port()) == KEP_ROUTING_PRIMITIVE_TUNNEL::SOURCE) {
    // From a tunnel's source a second search goes through the tunnel to its targets.
    second.m_uips.push_back(start.m_uip);
    second.note_module(results.m_top_module);
    get_leaf_fanout(start, work, second, true);
    results.m_uips.insert(results.m_uips.end(), second.m_uips.begin(), second.m_uips.end());
    results.note_module(second.m_top_module);
  }
}

KEP_ROUTING_PRIMITIVE_TUNNEL KEP_PROCESS_NODE_FOR_ADD_EDGES::get_tunnel_type(const KEP_PORT* port) const {
  return m_ftd->m_primitives.get_tunnel_type(port->get_parent());
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::get_leaf_fanout(const START& start, WORK& work,
                                                     KEP_LEAF_RESULTS& results, bool tunnel_pass) const {
  bool down = !start.m_port->is_output();
  bool up = !start.m_port->is_input() && !start.m_is_boundary;
  const KEP_GET_LEAF_PARAMS params{m_ftd->m_view_type_rank, KEP_LEAF_DIRECTION::DRIVER_TO_LOADS, tunnel_pass,
                                   false};
  if (!get_mux_fanout(start, results, params)) {
    if (down && start.m_master->get_view_type() == KEP_VIEW_TYPE::BLC) {
      down = false;
      work.m_asked_for_nodes = true;
      m_trace_search->find_leaves({}, start.m_u_port, results, params, {}, start.m_u_port);
    }
    if (up && start.m_parent_module && start.m_parent_module->get_view_type() == KEP_VIEW_TYPE::BLC) {
      up = false;
      work.m_asked_for_nodes = true;
      m_trace_search->find_leaves(start.m_uip, {}, results, params, start.m_uip, {});
    }
    if (down) m_build_search->find_leaves({}, start.m_u_port, results, params, {}, start.m_u_port);
    if (up) m_build_search->find_leaves(start.m_uip, {}, results, params, start.m_uip, {});
  }
  if (!tunnel_pass) return;
  std::erase_if(results.m_uips, [this](const KEP_UNFOLDED_INST_PORT& uip) {
    return get_tunnel_type(uip.m_object->get_port()) != KEP_ROUTING_PRIMITIVE_TUNNEL::TARGET;
  });
}

/// The node is an input of a mux: its connection goes on from the outputs of the arcs. False when it is none.
bool KEP_PROCESS_NODE_FOR_ADD_EDGES::get_mux_fanout(const START& start, KEP_LEAF_RESULTS& results,
                                                    const KEP_GET_LEAF_PARAMS& params) const {
  const bool inserted_input = start.m_is_inserted && start.m_port->is_input();
  const bool unconnected =
      !start.m_is_boundary && !start.m_uip.get_unfolded_net() && !start.m_port->is_output();
  if (!inserted_input && !unconnected) return false;
  if (!m_ftd->m_routing_primitive_cache->has_routing_muxes(start.m_master)) return false;
  const auto* arcs = m_ftd->m_routing_primitive_cache->find_arc_outputs(start.m_port);
  if (!arcs) return true; // an input of no arc of these muxes leads nowhere
  const KEP_UNFOLDED_INSTANCE instance = start.m_uip.get_unfolded_instance();
  for (const KEP_ROUTING_ARC* arc : *arcs) {
    const KEP_UNFOLDED_INST_PORT output =
        instance.get_unfolded_inst_port_by_index(arc->get_output()->get_index());
    if (arc->is_skip(instance.m_object))
      m_build_search->find_leaves(output, {}, results, params, {}, {});
    else
      results.m_uips.push_back(output);
  }
  return true;
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::fill_fanouts(const START& start, WORK& work) const {
  KEP_LEAF_RESULTS& results = work.m_results;
  if (work.m_fanouts.capacity() < results.m_uips.size()) work.m_fanouts.reserve(results.m_uips.size());
  const bool tunnel_source = start.m_uip && get_tunnel_type(start.m_uip.m_object->get_port()) ==
                                                KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH;
  for (const KEP_UNFOLDED_INST_PORT& leaf : results.m_uips)
    if (!(leaf == start.m_uip)) fill_fanout(start, leaf, tunnel_source, work);
  if (m_ftd->m_db->get_db_type() != KEP_DB_TYPE::TOP_PORTS_ROUTED) return;
  const KEP_PORT* boundary_port = start.m_is_boundary ? start.m_port : nullptr;
  for (const KEP_UNFOLDED_PORT& u_port : results.m_top_ports)
    if (u_port.m_object != boundary_port && u_port.m_object->get_parent()->is_top_module_or_equiv())
      add_boundary_fanout(work.m_fanouts, u_port, work);
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::fill_fanout(const START& start, const KEP_UNFOLDED_INST_PORT& leaf,
                                                 bool tunnel_source, WORK& work) const {
  const KEP_RG_PRIMITIVES& primitives = m_ftd->m_primitives;
  KEP_PORT* port = leaf.m_object->get_port();
  const bool is_load = !port->is_output();
  const bool redundant = is_load && m_ftd->m_redundancy_marks.contains(leaf);
  if (tunnel_source && get_tunnel_type(port) == KEP_ROUTING_PRIMITIVE_TUNNEL::TARGET) return;
  const bool inserted = primitives.is_inserted(leaf.m_object);
  FANOUTS& list = redundant ? work.m_redundant_fanouts : work.m_fanouts;
  KEP_UNFOLD_OBSERVER& observer = *m_ftd->m_observer;
  std::vector<KEP_UNFOLDED_INST_PORT>& outputs = work.m_mux_outputs;
  outputs.clear();
  if (is_load && !inserted && m_ftd->get_mux_outputs(&outputs, leaf.get_unfolded_instance(), port)) {
    observer.visit(leaf, VISIT_TYPE::MUX_INPUT);
    for (const KEP_UNFOLDED_INST_PORT& output : outputs) {
      if (m_ftd->m_verbose) {
        debug() << "Performed get_mux_outputs() mapping" << std::endl;
        debug() << "  Before: " << leaf.get_name(NAME_STYLE) << std::endl;
        debug() << "  After:  " << output.get_name(NAME_STYLE) << std::endl;
      }
      if (output == start.m_uip) continue;
      observer.visit(output, VISIT_TYPE::MUX_OUTPUT);
      add_fanout(list, leaf, output, false, work);
    }
    return;
  }
  // The edge may run through the source's own mux.
  KEP_UNFOLDED_INST_PORT mux_input;
  if (start.m_uip && m_ftd->is_mux_output(start.m_uip.m_object->get_port(), port)) mux_input = start.m_uip;
  add_fanout(list, mux_input, leaf, inserted, work);
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::add_fanout(FANOUTS& list, const KEP_UNFOLDED_INST_PORT& mux_input,
                                                const KEP_UNFOLDED_INST_PORT& target, bool is_inserted,
                                                WORK& work) const {
  const auto [plain, twin] = m_ftd->m_node_cache.find_both_routing_nodes(target);
  if (plain) {
    const bool to_twin = !m_ftd->m_disable_hipi && !is_inserted && mux_input && twin &&
                         m_ftd->m_primitives.is_hipi_tm_port(mux_input.m_object->get_port());
    m_ftd->m_observer->visit(target, VISIT_TYPE::TARGET);
    list.push_back({to_twin ? twin : plain, mux_input});
    return;
  }
  note_missing(target, work);
}

void KEP_PROCESS_NODE_FOR_ADD_EDGES::add_boundary_fanout(FANOUTS& list, const KEP_UNFOLDED_PORT& u_port,
                                                         WORK& work) const {
  KEP_ROUTING_BUILDER_NODE* node = m_ftd->m_node_cache.find_routing_node(u_port.m_object);
  if (!node) {
    note_missing(u_port, work);
    return;
  }
  m_ftd->m_observer->visit(u_port, VISIT_TYPE::TARGET);
  list.push_back({node, {}});
}

/// No error: ports that were excluded have no nodes.
template <class POINT>
void KEP_PROCESS_NODE_FOR_ADD_EDGES::note_missing(const POINT& target, WORK& work) const {
  if (m_ftd->m_verbose)
    debug() << "Target routing node is missing: " << target.get_name(NAME_STYLE) << std::endl;
  ++work.m_stats->n_skip_port;
  m_ftd->m_observer->visit(target, VISIT_TYPE::TARGET);
}
