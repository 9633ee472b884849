#include "kep/common/kep_arena.h"
#include "kep/common/kep_loop.h"
#include "kep_report/kep_report_profiler.h"
#include "kep_report/kep_report_progress.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/edges/kep_rg_process_node.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_phase_clock.h"

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>

using KEP_RG_REPORT::info;

namespace {

void process_nodes(const KEP_PROCESS_NODE_FOR_ADD_EDGES& body, KEP_ROUTING_BUILDER_GRAPH& graph,
                   unsigned grain, int num_threads, KEP_REPORT_PROGRESS& progress) {
  // The body stays where it is: what TBB copies from task to task is a reference.
  const auto run_body = [&](const KEP_ROUTING_BUILDER_GRAPH::NODE_RANGE& range) {
    body(range);
    progress.add(static_cast<std::uint64_t>(std::distance(range.begin(), range.end())));
  };
  kep_run_in_arena(num_threads, [&] {
    kep_run_loop([&](tbb::task_group_context& context) {
      tbb::parallel_for(graph.iter_nodes(grain), run_body, tbb::auto_partitioner(), context);
    });
  });
}

} // namespace

void KEP_RG_BUILD::build_edges() {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::build_edges", true);
  KEP_ASSERT_EXPLAIN(!m_disable_edge_allocation, "KEP_RG_BUILD::build_edges comes after debug_edges");
  const KEP_REPORT_PROGRESS progress("edges");
  create_edge_builder();
  info() << "About to sort the nodes for templating..." << std::endl;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "sort");
    kep_run_in_arena(static_cast<int>(m_num_threads),
                     [this] { m_edge_builder->sort_nodes_for_templating(m_db->get_legacy_api()); });
    // The sort moved the nodes; the searches of the edge phase look them up where they stand now.
    info() << "Calling m_node_cache.initialize_routing_builder_graph..." << std::endl;
    m_node_cache.initialize_routing_builder_graph(m_builder_graph.get());
  }
  if (m_db->get_db_type() != KEP_DB_TYPE::NO_REDUNDANCY) {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "redundant_inputs");
    build_redundant_inputs();
  }
  info() << "Add edges..." << std::endl;
  {
    const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "add_edges");
    add_edges();
  }
  info() << "Adding reverse edges..." << std::endl;
  const KEP_RG_PHASE_CLOCK clock(m_phase_seconds, "reverse_edges");
  const KEP_REPORT_PROGRESS reverse_progress("reverse edges");
  kep_run_in_arena(static_cast<int>(m_num_threads), [this] {
    KEP_ROUTING_REVERSE_EDGE_BUILDER::add_reverse_edges(m_builder_graph.get(), false);
  });
}

void KEP_RG_BUILD::build_redundant_inputs() {
  if (!m_redundant_inputs.empty()) return;
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::build_redundant_inputs", true);
  const KEP_UNFOLDED_MODULE top = m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  m_parents_cache.initialize(m_db);
  KEP_DB_REDUNDANCY_CACHE redundancy(true);
  redundancy.initialize(m_db, &m_parents_cache);
  KEP_UNFOLDED_INST_PORT_USET uips;
  redundancy.add_redundant_ports(&uips, top);
  m_redundant_inputs.reserve(uips.size());
  for (const KEP_UNFOLDED_INST_PORT& uip : uips.iter())
    m_redundant_inputs.insert(uip);
  m_redundancy_marks = KEP_RG_REDUNDANCY_MARKS(*m_db, m_redundant_inputs);
  info() << "m_redundant_inputs.size() = " << m_redundant_inputs.size() << std::endl;
}

void KEP_RG_BUILD::create_edge_builder() {
  // The capacity is a hint, ten edges a node; past the range of the hint it stops growing.
  const std::int64_t capacity = std::min<std::int64_t>(std::int64_t{10} * m_builder_graph->get_node_count(),
                                                       std::numeric_limits<int>::max());
  m_edge_builder =
      std::make_unique<KEP_ROUTING_BUILDER_EDGE_BUILDER>(m_builder_graph.get(), static_cast<int>(capacity));
}

void KEP_RG_BUILD::add_edges() {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::add_edges", true);
  const unsigned node_count = m_builder_graph->get_node_count();
  KEP_PROCESS_NODE_FOR_ADD_EDGES::STATS stats(node_count, std::cref(m_nodes_per_display));
  const auto num_threads = static_cast<int>(m_num_threads);
  const KEP_LEAF_SEARCH<KEP_RG_INSTANCE_IS_PRIMITIVE> build_search(m_instance_is_primitive, m_observer);
  const KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE> trace_search(m_trace_predicate, m_observer);
  tbb::mutex mutex;
  const bool keeps_answers =
      m_edge_phase.m_uses_fanout_cache && m_db->get_db_type() != KEP_DB_TYPE::NO_REDUNDANCY;
  m_like_places = keeps_answers ? KEP_RG_LIKE_PLACES(*m_db, m_primitives, m_builder_graph->get_place_layout())
                                : KEP_RG_LIKE_PLACES();
  // Whoever observes the search or reads of it must see every step.
  std::optional<KEP_RG_PLAIN_NETS> plain_nets;
  if (m_edge_phase.m_walks_plain_nets && !build_search.is_observed() && !m_verbose)
    kep_run_in_arena(num_threads, [&] {
      plain_nets.emplace(KEP_RG_PLAIN_NETS::DEVICE{*m_db, m_instance_is_primitive, m_trace_predicate,
                                                   m_primitives, *m_routing_primitive_cache,
                                                   m_redundancy_marks, *m_edge_builder, m_view_type_rank});
    });
  const KEP_PROCESS_NODE_FOR_ADD_EDGES body(this, &build_search, &trace_search, &stats, &mutex,
                                            plain_nets ? &*plain_nets : nullptr);

  KEP_REPORT::info("Starting to add edges to the routing graph with %i threads\n", num_threads);
  KEP_REPORT_PROGRESS progress("edges", node_count);
  process_nodes(body, *m_builder_graph, std::max(node_count / 1000, m_edge_phase.m_min_grain), num_threads,
                progress);

  for (const std::vector<REP_NODE_ARGS>& rows : m_rep_node_args)
    for (const REP_NODE_ARGS& row : rows)
      m_rep_nodes_builder->store_relative_path_and_repnode(row.m_relpath, row.m_module, row.m_node);
  m_edge_stats = stats.combine([](const KEP_RG_EDGE_CREATION_STATS& left,
                                  const KEP_RG_EDGE_CREATION_STATS& right) { return left + right; });
  KEP_RG::print_stats(m_edge_stats);
  info() << "num templates = " << m_edge_builder->get_num_templates() << std::endl;
}

bool KEP_RG_BUILD::get_mux_outputs(std::vector<KEP_UNFOLDED_INST_PORT>* outputs,
                                   KEP_UNFOLDED_INSTANCE u_instance, KEP_PORT* port) {
  if (port->is_output()) return false;
  const auto* arcs = m_routing_primitive_cache->find_arc_outputs(port);
  if (!arcs) return false;
  outputs->reserve(arcs->size());
  for (const KEP_ROUTING_ARC* arc : *arcs)
    outputs->push_back(u_instance.get_unfolded_inst_port_by_index(arc->get_output()->get_index()));
  return true;
}

bool KEP_RG_BUILD::is_mux_output(KEP_PORT* input, KEP_PORT* output) {
  if (input->is_output() || output->is_input()) return false;
  const auto* arcs = m_routing_primitive_cache->find_arc_outputs(input);
  return arcs && std::any_of(arcs->begin(), arcs->end(),
                             [output](const KEP_ROUTING_ARC* arc) { return arc->get_output() == output; });
}
