#include "kep_report/kep_report.h"
#include "kep_report/kep_report_profiler.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/edges/kep_rg_process_node.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_debug.h"
#include "kep_rg/kep_rg_uui_observer.h"

#include <functional>
#include <memory>
#include <ostream>

using KEP_RG_REPORT::NAME_STYLE;

namespace {

/// Lends an observer to a builder; what fails in between must not leave it there.
class LENT_OBSERVER {
public:
  LENT_OBSERVER(KEP_UNFOLD_OBSERVER*& place, KEP_UNFOLD_OBSERVER* observer, KEP_UNFOLD_OBSERVER* after)
      : m_place(place), m_after(observer ? after : place) {
    if (observer) m_place = observer;
  }
  ~LENT_OBSERVER() { m_place = m_after; }
  LENT_OBSERVER(const LENT_OBSERVER&) = delete;
  LENT_OBSERVER& operator=(const LENT_OBSERVER&) = delete;

private:
  KEP_UNFOLD_OBSERVER*& m_place;
  KEP_UNFOLD_OBSERVER* m_after;
};

void append(KEP_RG_DBG_FANOUTS& fanouts, const KEP_PROCESS_NODE_FOR_ADD_EDGES::FANOUTS& list,
            bool redundant) {
  for (const KEP_PROCESS_NODE_FOR_ADD_EDGES::FANOUT& fanout : list)
    fanouts.add({redundant, fanout.m_node, fanout.m_mux_input});
}

} // namespace

void KEP_RG_BUILD::debug_edges(KEP_RG_DBG_FANOUTS* fanouts, const KEP_UNFOLDED_INST_PORT& uip, bool node_flag,
                               KEP_UNFOLD_OBSERVER* observer) {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::debug_edge", true);
  const LENT_OBSERVER lent(m_observer, observer, &m_null_observer);
  KEP_PROCESS_NODE_FOR_ADD_EDGES::STATS stats(m_builder_graph->get_node_count(),
                                              std::cref(m_nodes_per_display));
  const KEP_LEAF_SEARCH<KEP_RG_INSTANCE_IS_PRIMITIVE> build_search(m_instance_is_primitive, m_observer);
  const KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE> trace_search(m_trace_predicate, m_observer);
  tbb::mutex mutex;
  const KEP_PROCESS_NODE_FOR_ADD_EDGES process(this, &build_search, &trace_search, &stats, &mutex);
  m_verbose = true; // both for good: the header says what the builder is from here on
  m_disable_edge_allocation = true;

  const KEP_ROUTING::NODE node(uip, node_flag);
  if (node) {
    KEP_PROCESS_NODE_FOR_ADD_EDGES::WORK work{};
    work.m_cache = &m_cdrn_caches.local();
    work.m_stats = &stats.local();
    process.process_one_node(nullptr, &node, work);
    if (fanouts) {
      append(*fanouts, work.m_fanouts, false);
      append(*fanouts, work.m_redundant_fanouts, true);
    }
  } else {
    KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD)
        << "SKIPPING: " << uip.get_name(NAME_STYLE) << " is not a routing node..." << std::endl;
  }
  if (observer) observer->close();
}

void KEP_RG_BUILD::debug_edges(KEP_RG_DBG_FANOUTS* fanouts, const KEP_UNFOLDED_INST_PORT& uip, bool node_flag,
                               const char* log_file_name) {
  const KEP_REPORT_PROFILER profiler("KEP_RG_BUILD::debug_edge", true);
  std::unique_ptr<KEP_UNFOLD_OBSERVER> observer;
  if (log_file_name)
    observer = std::make_unique<KEP_RG_UUI_OBSERVER>(std::string(log_file_name), m_view_type_rank);
  debug_edges(fanouts, uip, node_flag, observer.get());
}
