#include "tools/kep-rg/build_command.h"

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "tools/kep-rg/dump.h"
#include "tools/kep-rg/stats_file.h"

#include <memory>

void build_command(const BUILD_OPTIONS& options) {
  BUILD_STATS stats;
  stats.m_num_threads = options.m_num_threads;

  const std::unique_ptr<KEP_DB> db = [&] {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "load");
    return kep_read_model(options.m_model);
  }();
  {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "describe");
    KEP_RG_PARSE parse(db.get());
    // A device without routing has a description, too: an empty one.
    db->get_routing_template_graph()->get_routing_primitive()->initialize();
    for (const std::string& path : options.m_routing)
      kep_read_routing(db.get(), parse, path);
  }
  {
    KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS()
                                     .set_num_threads(options.m_num_threads)
                                     .set_nodes_per_display(options.m_nodes_per_display)
                                     .set_verbose(options.m_verbose));
    build.build();
    stats.m_nodes = build.get_node_stats();
    stats.m_edges = build.get_edge_stats();
    stats.m_counted_n = build.get_counted_n();
    stats.m_counted_boundary = build.get_counted_boundary();
    const auto& phases = build.get_phase_seconds();
    stats.m_phases.insert(stats.m_phases.end(), phases.begin(), phases.end());
  }
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  if (!options.m_dump.empty()) {
    const KEP_RG_PHASE_CLOCK timer(stats.m_phases, "dump");
    write_dump(graph, options.m_dump);
  }
  if (!options.m_stats.empty()) write_stats(stats, graph, options.m_stats);
}
