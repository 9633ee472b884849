#pragma once

/// @file
/// The traces of all edges, counted.

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_export.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_part.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// What became of the edges of a graph that were traced.
struct KEP_RG_TRACE_TALLY {
  std::array<std::uint64_t, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> m_num_edges{}; ///< by outcome
  std::vector<std::uint64_t> m_num_hops;   ///< element i: how many edges verify by i hops; none is left out
  std::vector<KEP_RG_FINDINGS> m_findings; ///< of each outcome that is one
};

/// Traces and verifies every edge of the nodes of a part, by so many threads; the tally is the same for any
/// number. Of each kind of finding the first ones are kept, so many at most. KEP_CANCELLED when the task
/// group of the caller is cancelled.
KEP_RG_EXPORT KEP_RG_TRACE_TALLY kep_rg_trace_all_edges(const KEP_DB& db, int num_threads,
                                                        std::size_t max_kept, const KEP_RG_PART& part = {});
