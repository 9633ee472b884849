#pragma once

#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/kep_rg_trace_edge.h"
#include "python/nodes.h"
#include "python/text.h"

#include <vector>

/// One step of a trace: how it comes to an inst port.
struct TRACE_STEP {
  TEXT m_kind; ///< "net", "mux", or "unknown" behind the last step that verifies
  TEXT m_name; ///< of the net or of the instance of the mux; empty without one
  TEXT m_to;   ///< the inst port
};

/// The trace of the edges from one node to another.
struct EDGE_TRACE {
  std::vector<DEVICE_EDGE> m_edges;
  std::vector<TRACE_STEP> m_steps;
  bool m_is_verified = false;
  TEXT m_reason; ///< why it does not verify
};

/// Traces edges of one device; one thread at a time.
class DEVICE_TRACER {
public:
  explicit DEVICE_TRACER(const KEP_DB& db) : m_cache(&db), m_tracer(&db, m_cache) {}

  /// Fills in all but the edges, of which there must be one at least.
  void trace(const KEP_ROUTING::NODE& from, const KEP_ROUTING::NODE& to, EDGE_TRACE& out);

private:
  KEP_DB_ROUTING_PRIMITIVE_CACHE m_cache;
  KEP_RG_TRACE_EDGE m_tracer;
  std::vector<KEP_UNFOLDED_INST_PORT> m_uips;
  std::vector<KEP_RG_TRACE_EDGE::HOP> m_hops;
};

/// Nodes as Node, name or number. NOT_FOUND_FAILURE when no edge joins them.
EDGE_TRACE trace_edges(DEVICE& device, const pybind11::object& source, const pybind11::object& target);

void bind_tracer(pybind11::module_& module);
