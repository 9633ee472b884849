#pragma once

#include "kep/kep_graph_diff.h"

#include <cstdint>
#include <string>

/// How a difference is written.
struct GRAPH_DIFF_STYLE {
  std::string m_names[2];          ///< of both devices
  KEP_GRAPH_DIFF_COUNTS m_all;     ///< what the first one has
  std::uint64_t m_num_shown = 20;  ///< so many lines of each list
  bool m_is_json = false;          ///< one object
  bool m_shows_only_names = false; ///< no counts and no groups
};

/// Writes it to standard output while it is made, so it takes no memory.
void write_graph_diff(const KEP_GRAPH_DIFF& diff, const GRAPH_DIFF_STYLE& style);
