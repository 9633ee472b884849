#pragma once

#include "kep_rg/kep_rg_trace_tally.h"

#include <cstdint>
#include <string>

/// How many edges were traced, and what became of them. The others are edges at boundary nodes.
struct TRACE_NUMBERS {
  std::uint64_t m_num_edges = 0;
  std::uint64_t m_num_verified = 0;
  std::uint64_t m_num_failed = 0;
};
TRACE_NUMBERS get_numbers(const KEP_RG_TRACE_TALLY& tally);
/// Two lines: the numbers, and why traces of sound edges may fail.
std::string get_text(const TRACE_NUMBERS& numbers);
