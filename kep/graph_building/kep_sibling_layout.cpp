#include "kep/graph_building/kep_sibling_layout.h"

#include "kep/graph_building/kep_layout_judge.h"
#include "kep/graph_building/kep_sibling_grid.h"

#include <cstddef>
#include <utility>

namespace {

// So few have hardly any likeness to lose.
constexpr std::size_t MIN_SIBLINGS = 4;

KEP_SIBLING_LAYOUT lay_out_as_listed(const std::vector<KEP_SIBLING>& siblings) {
  KEP_SIBLING_LAYOUT layout;
  for (const KEP_SIBLING& sibling : siblings) {
    layout.m_offsets.push_back(layout.m_size);
    layout.m_size += sibling.m_extent;
  }
  return layout;
}

} // namespace

KEP_SIBLING_LAYOUT KEP_SIBLING_LAYOUT::find(const KEP_MODULE& module,
                                            const std::vector<KEP_SIBLING>& siblings,
                                            std::uint32_t num_occurrences, bool with_gaps) {
  KEP_SIBLING_LAYOUT best = lay_out_as_listed(siblings);
  if (siblings.size() < MIN_SIBLINGS) return best;
  const KEP_LAYOUT_JUDGE judge(module, siblings, num_occurrences);
  std::uint64_t least = judge.get_cost(best);
  if (judge.is_hard_to_beat(least)) return best;
  const auto try_one = [&](KEP_SIBLING_LAYOUT layout) {
    const std::uint64_t cost = judge.get_cost(layout);
    if (cost >= least) return;
    least = cost;
    best = std::move(layout);
  };
  KEP_SIBLING_GRID grid(module, siblings);
  for (const KEP_SIBLING_GRID::AXES& axes : grid.list_axes()) {
    if (!grid.choose(axes)) continue;
    if (with_gaps)
      if (auto layout = grid.lay_out_with_gaps()) try_one(std::move(*layout));
    if (judge.is_hard_to_beat(least)) return best;
    try_one(grid.lay_out_without_gaps());
  }
  return best;
}
