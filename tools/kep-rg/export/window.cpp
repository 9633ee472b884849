#include "tools/kep-rg/export/window.h"

#include "kep/kep_paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace {

using KEP_ROUTING::NUMBERED_GRAPH;
using KEP_ROUTING::PATH_DIRECTION;
using KEP_ROUTING::REACH;

/// Adds what a search stands at, but for what the others came to before. So a node of both directions is one
/// node, as far as the nearer way.
void add(const REACH& reach, const std::vector<REACH>& searches, std::vector<WINDOW_NODE>& nodes) {
  for (const std::uint32_t number : reach.get_nodes())
    if (std::none_of(searches.begin(), searches.end(),
                     [&](const REACH& other) { return &other != &reach && other.has_reached(number); }))
      nodes.push_back({number, reach.get_steps()});
}

std::string get_steps_text(std::uint32_t steps) {
  return fmt::format("{} step{}", steps, steps == 1 ? "" : "s");
}

[[noreturn]] void refuse(std::uint32_t steps, std::size_t num_before, const WINDOW_LIMITS& limits) {
  if (steps == 0)
    throw std::runtime_error(fmt::format(
        "more nodes are in the middle of the window than --max-nodes allows, {}", limits.m_max_nodes));
  throw std::runtime_error(fmt::format(
      "a window of {} has more than {} nodes, one of {} has {}: let it take fewer --steps, or more "
      "--max-nodes",
      get_steps_text(steps), limits.m_max_nodes, get_steps_text(steps - 1), num_before));
}

} // namespace

std::vector<WINDOW_NODE> find_window(const NUMBERED_GRAPH& graph, const std::vector<std::uint32_t>& middle,
                                     const WINDOW_LIMITS& limits) {
  std::vector<REACH> searches;
  if (limits.m_direction != WINDOW_DIRECTION::FANINS)
    searches.emplace_back(graph, middle, PATH_DIRECTION::TO_FANOUTS);
  if (limits.m_direction != WINDOW_DIRECTION::FANOUTS)
    searches.emplace_back(graph, middle, PATH_DIRECTION::TO_FANINS);
  std::vector<WINDOW_NODE> nodes; // searches begin at the same ones
  for (const std::uint32_t number : searches.front().get_nodes())
    nodes.push_back({number, 0});
  if (nodes.size() > limits.m_max_nodes) refuse(0, 0, limits);
  bool goes_on = true;
  for (std::uint32_t steps = 1; goes_on && steps <= limits.m_steps; ++steps) {
    const std::size_t num_before = nodes.size();
    goes_on = false;
    for (REACH& search : searches) {
      if (!search.step()) continue;
      add(search, searches, nodes);
      goes_on = true;
    }
    if (nodes.size() > limits.m_max_nodes) refuse(steps, num_before, limits);
  }
  std::sort(nodes.begin(), nodes.end(),
            [](const WINDOW_NODE& left, const WINDOW_NODE& right) { return left.m_number < right.m_number; });
  return nodes;
}
