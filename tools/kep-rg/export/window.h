#pragma once

#include "kep/kep_numbered_graph.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Which way a window reaches from the nodes in its middle.
enum class WINDOW_DIRECTION : unsigned char {
  BOTH,    ///< what they lead to, and what leads to them
  FANOUTS, ///< what they lead to
  FANINS,  ///< what leads to them
};

/// How far a window reaches.
struct WINDOW_LIMITS {
  std::uint32_t m_steps = 1;
  WINDOW_DIRECTION m_direction = WINDOW_DIRECTION::BOTH;
  std::size_t m_max_nodes = 10000;
};

/// A node of a window, and how many steps it is away from the nearest in the middle.
struct WINDOW_NODE {
  std::uint32_t m_number;
  std::uint32_t m_distance;
};

/// The nodes that take at most so many steps from, or to, the nodes in the middle, by their numbers.
/// std::runtime_error when they are more than allowed, which tells how many steps would do.
std::vector<WINDOW_NODE> find_window(const KEP_ROUTING::NUMBERED_GRAPH& graph,
                                     const std::vector<std::uint32_t>& middle, const WINDOW_LIMITS& limits);
