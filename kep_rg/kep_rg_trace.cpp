#include "kep/kep_flat_utils.h"
#include "kep_report/kep_report.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_trace_edge.h"
#include "kep_rg/kep_rg_trace_predicate.h"
#include "kep_rg/trace/kep_rg_fanout_observer.h"
#include "kep_rg/trace/kep_rg_target_observer.h"
#include "kep_rg/trace/kep_rg_trace_hops.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string>
#include <utility>

using KEP_RG_REPORT::NAME_STYLE;
using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;

/// What the searches of all edges have in common. The predicate depends on the model and on the digest of the
/// description, which stay as they are, and asks the database for the graph whenever it asks for a node: so
/// one serves all edges, of this graph and of the next one. Results and observers keep the storage to which
/// they have grown.
struct KEP_RG_TRACE_EDGE::SEARCHES {
  using SEARCH = KEP_LEAF_SEARCH<KEP_RG_TRACE_PREDICATE>;

  SEARCHES(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives, const KEP_VIEW_TYPE_RANK& rank)
      : m_rank(rank), m_target_search({db, primitives, rank, nullptr}, &m_target_observer),
        m_fanout_search({db, primitives, rank, nullptr}, &m_fanout_observer) {}

  /// On the net outside the source and then, unless all is found, on the one inside its master. What the
  /// first search left in the trace stays in front.
  template <class OBSERVER>
  void run(const SEARCH& search, OBSERVER& observer, const KEP_UNFOLDED_INST_PORT& from_uip,
           bool through_tunnel) {
    KEP_GET_LEAF_PARAMS params;
    params.m_view_type_rank = m_rank;
    params.m_honour_tunnels = through_tunnel;
    observer.start_search();
    m_results.clear();
    search.find_leaves(from_uip, {}, m_results, params, from_uip, {});
    if (observer.is_done()) return;
    params.m_honour_tunnels = false;
    observer.start_search();
    m_results.clear();
    search.find_leaves({}, from_uip.get_unfolded_port(m_rank), m_results, params, from_uip, {});
  }

  KEP_VIEW_TYPE_RANK m_rank;
  KEP_LEAF_RESULTS m_results;
  KEP_TARGET_OBSERVER_TG m_target_observer;
  KEP_RG_FANOUT_OBSERVER m_fanout_observer;
  SEARCH m_target_search;
  SEARCH m_fanout_search;
  std::vector<OUTCOME> m_outcomes;                                    // of one node's edges
  std::vector<std::uint32_t> m_num_hops;                              // likewise
  std::vector<std::pair<std::size_t, std::uint32_t>> m_edges_to_walk; // edge and number of its target
};

KEP_RG_TRACE_EDGE::KEP_RG_TRACE_EDGE(const KEP_DB* db, const KEP_DB_CACHE&,
                                     const KEP_DB_ROUTING_PRIMITIVE_CACHE& routing_cache)
    : KEP_RG_TRACE_EDGE(db, routing_cache) {}

KEP_RG_TRACE_EDGE::KEP_RG_TRACE_EDGE(const KEP_DB* db, const KEP_DB_ROUTING_PRIMITIVE_CACHE& routing_cache)
    : m_db(db), m_routing_primitive_cache(&routing_cache),
      m_routing_primitive(db->get_routing_template_graph()->find_routing_primitive()),
      m_view_type_rank(&m_routing_primitive->get_view_type_rank()), m_primitives(db, &routing_cache) {}

// The searches refer to the primitives of their own object, so a copy makes its own, and so does what was
// moved.
KEP_RG_TRACE_EDGE::KEP_RG_TRACE_EDGE(const KEP_RG_TRACE_EDGE& other)
    : m_db(other.m_db), m_routing_primitive_cache(other.m_routing_primitive_cache),
      m_routing_primitive(other.m_routing_primitive), m_view_type_rank(other.m_view_type_rank),
      m_primitives(other.m_primitives) {}

KEP_RG_TRACE_EDGE::KEP_RG_TRACE_EDGE(KEP_RG_TRACE_EDGE&& other) noexcept
    : m_db(other.m_db), m_routing_primitive_cache(other.m_routing_primitive_cache),
      m_routing_primitive(other.m_routing_primitive), m_view_type_rank(other.m_view_type_rank),
      m_primitives(std::move(other.m_primitives)) {
  other.m_searches.reset();
}

KEP_RG_TRACE_EDGE::~KEP_RG_TRACE_EDGE() = default;

KEP_RG_TRACE_EDGE::SEARCHES& KEP_RG_TRACE_EDGE::get_searches() {
  if (!m_searches) m_searches = std::make_unique<SEARCHES>(m_db, m_primitives, *m_view_type_rank);
  return *m_searches;
}

bool KEP_RG_TRACE_EDGE::is_through_tunnel(const NODE& from, const NODE& to) const {
  const auto get_type = [this](const NODE& node) {
    return m_primitives.get_tunnel_type(node.get_unfolded_inst_port().m_object->get_port()->get_parent());
  };
  return !to.is_boundary() && get_type(to) == KEP_ROUTING_PRIMITIVE_TUNNEL::TARGET &&
         get_type(from) == KEP_ROUTING_PRIMITIVE_TUNNEL::SOURCE;
}

// Stands here so that a failure names this file.
void KEP_TARGET_OBSERVER_TG::visit(const KEP_UNFOLDED_PORT& up, VISIT_TYPE type) {
  if (m_found) return;
  KEP_ASSERT(up);
  if (type == VISIT_TYPE::END) m_chain.rewind();
}

bool KEP_RG_TRACE_EDGE::trace_edge(const NODE& from, const NODE& to,
                                   std::vector<KEP_UNFOLDED_INST_PORT>& trace) {
  if (!from || !to) return false;
  trace.clear();
  const auto edges = from.iter_all_fanout();
  const auto edge = std::find_if(edges.begin(), edges.end(),
                                 [&to](const FWD_EDGE& other) { return other.get_fanout() == to; });
  if (edge == edges.end()) {
    KEP_REPORT::err("Node %s is not in the fanout of node %s\n", to.get_name(NAME_STYLE).c_str(),
                    from.get_name(NAME_STYLE).c_str());
    return false;
  }
  if (from.is_boundary()) KEP_ASSERT(0);
  SEARCHES& searches = get_searches();
  searches.m_target_observer.set_edge(from, to, (*edge).get_mux_input(), trace);
  searches.run(searches.m_target_search, searches.m_target_observer, from.get_unfolded_inst_port(),
               is_through_tunnel(from, to));
  return searches.m_target_observer.is_done();
}

void KEP_RG_TRACE_EDGE::check_edges(const NODE& from, std::vector<OUTCOME>& outcomes) {
  check_edges(from, outcomes, get_searches().m_num_hops);
}

void KEP_RG_TRACE_EDGE::check_edges(const NODE& from, std::vector<OUTCOME>& outcomes,
                                    std::vector<std::uint32_t>& num_hops) {
  outcomes.clear();
  const bool from_is_boundary = from.is_boundary();
  std::size_t num_left = 0;
  for (const FWD_EDGE& edge : from.iter_all_fanout()) {
    const NODE to = edge.get_fanout();
    outcomes.push_back(!to                ? OUTCOME::NULL_NODE
                       : from_is_boundary ? OUTCOME::STARTS_AT_BOUNDARY
                       : to.is_boundary() ? OUTCOME::ENDS_AT_BOUNDARY
                                          : OUTCOME::NOT_FOUND);
    if (outcomes.back() == OUTCOME::NOT_FOUND) ++num_left;
  }
  num_hops.assign(outcomes.size(), 0);
  // Edges through a tunnel have a first search of their own.
  if (num_left != 0) num_left -= check_edges(from, false, outcomes, num_hops);
  if (num_left != 0) check_edges(from, true, outcomes, num_hops);
}

/// Settles the outcomes of the edges that go through a tunnel, or of those that do not, and gives their
/// number.
std::size_t KEP_RG_TRACE_EDGE::check_edges(const NODE& from, bool through_tunnel,
                                           std::vector<OUTCOME>& outcomes,
                                           std::vector<std::uint32_t>& num_hops) {
  SEARCHES& searches = get_searches();
  KEP_RG_FANOUT_OBSERVER& observer = searches.m_fanout_observer;
  const KEP_RG_TRACE_HOPS hops(*m_db, *m_routing_primitive_cache, *m_view_type_rank, from);
  observer.set_source(hops);
  searches.m_edges_to_walk.clear();
  std::size_t place = 0;
  for (const FWD_EDGE& edge : from.iter_all_fanout()) {
    if (outcomes[place] == OUTCOME::NOT_FOUND && is_through_tunnel(from, edge.get_fanout()) == through_tunnel)
      searches.m_edges_to_walk.emplace_back(place, observer.add_target(edge));
    ++place;
  }
  if (searches.m_edges_to_walk.empty()) return 0;
  searches.run(searches.m_fanout_search, observer, hops.get_from_uip(), through_tunnel);
  for (const auto& [walked, target] : searches.m_edges_to_walk) {
    outcomes[walked] = observer.get_outcome(target);
    num_hops[walked] = observer.get_num_hops(target);
  }
  return searches.m_edges_to_walk.size();
}

KEP_RG_TRACE_EDGE::OUTCOME KEP_RG_TRACE_EDGE::check_trace(const NODE& from,
                                                          const std::vector<KEP_UNFOLDED_INST_PORT>& trace,
                                                          std::vector<HOP>& hops) const {
  hops.clear();
  const KEP_RG_TRACE_HOPS way(*m_db, *m_routing_primitive_cache, *m_view_type_rank, from);
  KEP_RG_TRACE_HOPS::STATE state;
  KEP_UNFOLDED_INST_PORT previous = way.get_from_uip();
  for (const KEP_UNFOLDED_INST_PORT& uip : trace) {
    state = way.step(state, previous, uip);
    if (state.m_outcome != OUTCOME::VERIFIED) break;
    hops.push_back({uip, state.m_net, state.m_is_arc});
    previous = uip;
  }
  return state.m_outcome;
}

bool KEP_RG_TRACE_EDGE::verify_all_edge_traces() {
  std::vector<KEP_UNFOLDED_INST_PORT> trace;
  for (const NODE& node : m_db->get_routing_template_graph()->iter_nodes()) {
    std::vector<OUTCOME>& outcomes = get_searches().m_outcomes;
    check_edges(node, outcomes);
    const auto bad = std::find_if(outcomes.begin(), outcomes.end(),
                                  [](OUTCOME outcome) { return outcome != OUTCOME::VERIFIED; });
    if (bad == outcomes.end()) continue;
    // The first bad edge once more and by itself, to be told of.
    const NODE fanout = (*std::next(node.iter_all_fanout().begin(), bad - outcomes.begin())).get_fanout();
    const bool traced = trace_edge(node, fanout, trace);
    if (!traced)
      KEP_REPORT::err("Issue determining trace from %s to %s\n", node.get_name(NAME_STYLE).c_str(),
                      fanout.get_name(NAME_STYLE).c_str());
    else if (!verify_trace_edge(node, trace))
      KEP_REPORT::err("Issue validating trace from %s to %s\n", node.get_name(NAME_STYLE).c_str(),
                      fanout.get_name(NAME_STYLE).c_str());
    return false;
  }
  return true;
}

namespace {

/// A hop that failed, as a line of the report.
void report_hop(const KEP_RG_TRACE_HOPS& way, const KEP_RG_TRACE_HOPS::STATE& state,
                const KEP_UNFOLDED_INST_PORT& previous, const KEP_UNFOLDED_INST_PORT& uip,
                const KEP_VIEW_TYPE_RANK& rank) {
  using OUTCOME = KEP_RG_TRACE_EDGE::OUTCOME;
  std::ostream& err = KEP_REPORT::err(KEP_REPORT::PREFIX_VIEW::STANDARD);
  err << "UIP " << uip.get_name(NAME_STYLE);
  const std::string uip_net = uip.get_unfolded_net().get_name(NAME_STYLE);
  if (state.m_outcome == OUTCOME::NO_PREVIOUS_UIP)
    err << ": Arc output, but no previous uip";
  else if (state.m_outcome == OUTCOME::NO_ARC)
    err << ": Arc output, but no arc to previous uip " << previous.get_name(NAME_STYLE);
  else if (state.m_outcome == OUTCOME::NET_OF_LATER_HOP)
    err << ": Mismatching net " << uip_net << ". Should have been "
        << state.m_expected_net.get_name(NAME_STYLE);
  else
    err << ": Mismatching uip/port nets " << uip_net << " / "
        << uip.get_unfolded_port(rank).get_unfolded_net().get_name(NAME_STYLE) << ". Should have been "
        << way.get_from_uip_net().get_name(NAME_STYLE) << " or "
        << way.get_from_port_net().get_name(NAME_STYLE);
  err << std::endl;
}

} // namespace

bool KEP_RG_TRACE_EDGE::verify_trace_edge(const NODE& from,
                                          const std::vector<KEP_UNFOLDED_INST_PORT>& trace) {
  const KEP_RG_TRACE_HOPS way(*m_db, *m_routing_primitive_cache, *m_view_type_rank, from);
  KEP_RG_TRACE_HOPS::STATE state;
  KEP_UNFOLDED_INST_PORT previous = way.get_from_uip();
  for (const KEP_UNFOLDED_INST_PORT& uip : trace) {
    state = way.step(state, previous, uip);
    const KEP_UNFOLDED_NET uip_net = uip.get_unfolded_net();
    if (state.m_outcome == OUTCOME::UNCONNECTED_PORT) KEP_ASSERT(uip_net);
    if (state.m_outcome != OUTCOME::VERIFIED) {
      report_hop(way, state, previous, uip, *m_view_type_rank);
      return false;
    }
    previous = uip;
  }
  return true;
}
