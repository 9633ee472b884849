#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_part.h"
#include "kep_rg/kep_rg_trace_edge.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What became of the edges of a graph that were traced.
struct TRACE_TALLY {
  std::array<std::uint64_t, KEP_RG_TRACE_EDGE::NUM_OUTCOMES> m_num_edges{}; ///< by outcome
  std::vector<KEP_RG_FINDINGS> m_findings;                                  ///< of each outcome that is one
};

/// Traces and verifies every edge of the nodes of a part, by so many threads; the tally is the same for any
/// number. Of each kind of finding the first ones are kept, so many at most.
TRACE_TALLY trace_all_edges(const KEP_DB& db, int num_threads, std::size_t max_kept,
                            const KEP_RG_PART& part = {});

/// How many edges were traced, and what became of them. The others are edges at boundary nodes.
struct TRACE_NUMBERS {
  std::uint64_t m_num_edges = 0;
  std::uint64_t m_num_verified = 0;
  std::uint64_t m_num_failed = 0;
};
TRACE_NUMBERS get_numbers(const TRACE_TALLY& tally);
/// Two lines: the numbers, and why traces of sound edges may fail.
std::string get_text(const TRACE_NUMBERS& numbers);
