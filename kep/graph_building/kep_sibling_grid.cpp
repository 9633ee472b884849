#include "kep/graph_building/kep_sibling_grid.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace {

constexpr std::size_t MAX_AXES = 3;
constexpr std::size_t MAX_DIGITS = 9;
// Cells for each sibling, that the few numbers of an empty cell cost less than what is alike saves.
constexpr std::uint64_t MAX_CELLS = 4;
constexpr std::uint64_t FEW_CELLS = 64;
// A kind that makes all cells larger must take at least this part of the numbers it costs.
constexpr std::uint64_t MAX_RAISE = 32;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// Replaces each number by its rank among all of them; gives how many there are.
std::uint64_t rank(std::vector<std::uint32_t>& numbers) {
  const std::uint64_t end =
      numbers.empty() ? 0 : *std::max_element(numbers.begin(), numbers.end()) + std::uint64_t{1};
  if (end <= numbers.size() * 2 + FEW_CELLS) {
    std::vector<std::uint32_t> ranks(end);
    for (const std::uint32_t number : numbers)
      ranks[number] = 1;
    std::exclusive_scan(ranks.begin(), ranks.end(), ranks.begin(), 0U);
    for (std::uint32_t& number : numbers)
      number = ranks[number];
  } else {
    std::vector<std::uint32_t> values(numbers);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    for (std::uint32_t& number : numbers)
      number =
          static_cast<std::uint32_t>(std::lower_bound(values.begin(), values.end(), number) - values.begin());
  }
  return numbers.empty() ? 0 : *std::max_element(numbers.begin(), numbers.end()) + std::uint64_t{1};
}

} // namespace

KEP_SIBLING_GRID::KEP_SIBLING_GRID(const KEP_MODULE& module, const std::vector<KEP_SIBLING>& siblings)
    : m_siblings(siblings) {
  m_names.reserve(siblings.size());
  std::unordered_map<std::string, std::uint32_t> texts;
  std::string text;
  for (const KEP_SIBLING& sibling : siblings) {
    NAME& name = m_names.emplace_back();
    take_apart(module, sibling, text, name.m_numbers);
    const auto [known, is_new] = texts.try_emplace(text, static_cast<std::uint32_t>(m_texts.size()));
    if (is_new) m_texts.push_back(text);
    name.m_text = known->second;
  }
}

void KEP_SIBLING_GRID::take_apart(const KEP_MODULE& module, const KEP_SIBLING& sibling, std::string& text,
                                  std::vector<std::uint32_t>& numbers) {
  const KEP_SLOT& slot = module.get_slots()[sibling.m_slot];
  const std::string_view name = module.get_instance_by_index(slot.m_instance)->get_plain_name();
  text.clear();
  for (std::size_t i = 0; i != name.size();) {
    if (!is_digit(name[i])) {
      text += name[i++];
      continue;
    }
    std::uint32_t number = 0;
    for (std::size_t digits = 0; i != name.size() && is_digit(name[i]) && digits != MAX_DIGITS; ++digits)
      number = number * 10 + static_cast<std::uint32_t>(name[i++] - '0');
    text += '\0';
    numbers.push_back(number);
  }
  text += static_cast<char>(slot.m_module->get_view_type()); // siblings of one name in several views
}

std::vector<KEP_SIBLING_GRID::AXES> KEP_SIBLING_GRID::list_axes() const {
  std::size_t most = 0;
  for (const NAME& name : m_names)
    most = std::max(most, name.m_numbers.size());
  std::vector<AXES> axes;
  for (std::size_t num_axes = 1; num_axes <= std::min(most, MAX_AXES); ++num_axes) {
    axes.push_back({num_axes, false});
    if (num_axes != most) axes.push_back({num_axes, true});
  }
  std::reverse(axes.begin(), axes.end()); // most grids have two
  return axes;
}

bool KEP_SIBLING_GRID::choose(const AXES& axes) {
  m_on_grid.clear();
  m_apart.clear();
  std::vector<std::vector<std::uint32_t>> coordinates(axes.m_num_axes);
  std::map<KIND, std::uint32_t> kinds;
  KIND kind;
  for (std::uint32_t i = 0; i != m_names.size(); ++i) {
    const std::vector<std::uint32_t>& numbers = m_names[i].m_numbers;
    if (numbers.size() < axes.m_num_axes) {
      m_apart.push_back({i, 0, 0});
      continue;
    }
    const std::size_t first = axes.m_takes_last ? numbers.size() - axes.m_num_axes : 0;
    kind = {m_names[i].m_text, {}};
    for (std::size_t j = 0; j != numbers.size(); ++j)
      (j - first < axes.m_num_axes ? coordinates[j - first] : kind.second).push_back(numbers[j]);
    const auto known = kinds.try_emplace(kind, static_cast<std::uint32_t>(kinds.size())).first;
    m_on_grid.push_back({i, known->second, 0});
  }
  order_kinds(kinds);
  if (!find_cells(coordinates)) return false;
  std::sort(m_on_grid.begin(), m_on_grid.end(), [](const PLACED& left, const PLACED& right) {
    return std::tie(left.m_cell, left.m_kind, left.m_sibling) <
           std::tie(right.m_cell, right.m_kind, right.m_sibling);
  });
  std::sort(m_apart.begin(), m_apart.end(), [this](const PLACED& left, const PLACED& right) {
    const NAME& left_name = m_names[left.m_sibling];
    const NAME& right_name = m_names[right.m_sibling];
    return std::tie(m_texts[left_name.m_text], left_name.m_numbers, left.m_sibling) <
           std::tie(m_texts[right_name.m_text], right_name.m_numbers, right.m_sibling);
  });
  return true;
}

/// Kinds with many siblings first; those with as many by their names.
void KEP_SIBLING_GRID::order_kinds(const std::map<KIND, std::uint32_t>& kinds) {
  m_num_kinds = static_cast<std::uint32_t>(kinds.size());
  std::vector<std::uint32_t> counts(m_num_kinds);
  for (const PLACED& each : m_on_grid)
    ++counts[each.m_kind];
  std::vector<std::pair<const KIND*, std::uint32_t>> order;
  order.reserve(kinds.size());
  for (const auto& [kind, number] : kinds)
    order.emplace_back(&kind, number);
  std::sort(order.begin(), order.end(), [&](const auto& left, const auto& right) {
    return std::tie(counts[right.second], m_texts[left.first->first], left.first->second) <
           std::tie(counts[left.second], m_texts[right.first->first], right.first->second);
  });
  std::vector<std::uint32_t> ranks(m_num_kinds);
  for (std::uint32_t i = 0; i != m_num_kinds; ++i)
    ranks[order[i].second] = i;
  for (PLACED& each : m_on_grid)
    each.m_kind = ranks[each.m_kind];
}

/// The last axis runs fastest. False if the cells can't be numbered.
bool KEP_SIBLING_GRID::find_cells(std::vector<std::vector<std::uint32_t>>& coordinates) {
  m_num_cells = 1;
  for (std::vector<std::uint32_t>& axis : coordinates) {
    const std::uint64_t size = rank(axis);
    if (__builtin_mul_overflow(m_num_cells, size, &m_num_cells)) return false;
    for (std::size_t i = 0; i != axis.size(); ++i)
      m_on_grid[i].m_cell = m_on_grid[i].m_cell * size + axis[i];
  }
  return true;
}

void KEP_SIBLING_GRID::append(const std::vector<PLACED>& siblings, KEP_SIBLING_LAYOUT& layout) const {
  for (const PLACED& each : siblings) {
    layout.m_offsets[each.m_sibling] = layout.m_size;
    layout.m_size += m_siblings[each.m_sibling].m_extent;
  }
}

KEP_SIBLING_LAYOUT KEP_SIBLING_GRID::lay_out_without_gaps() const {
  KEP_SIBLING_LAYOUT layout{std::vector<std::uint64_t>(m_siblings.size()), 0};
  append(m_on_grid, layout);
  append(m_apart, layout);
  return layout;
}

/// The cells while kinds are put into them, each on what stands in its cells by then: kinds that share no
/// cell share their numbers.
class KEP_SIBLING_GRID::STACKER {
public:
  explicit STACKER(const KEP_SIBLING_GRID& grid) : m_siblings(grid.m_siblings), m_heights(grid.m_num_cells) {}

  void add(const std::vector<PLACED>& kind) {
    std::uint64_t offset = 0;
    std::uint64_t extent = 0;
    std::uint64_t sum = 0;
    for (const PLACED& each : kind) {
      offset = std::max(offset, m_heights[each.m_cell]);
      extent = std::max(extent, m_siblings[each.m_sibling].m_extent);
      sum += m_siblings[each.m_sibling].m_extent;
    }
    const std::uint64_t size = std::max(m_cell_size, offset + extent);
    const bool costs_too_much = (size - m_cell_size) * m_heights.size() > sum * MAX_RAISE;
    if (!costs_too_much) m_cell_size = size;
    for (const PLACED& each : kind) {
      std::uint64_t& height = m_heights[each.m_cell];
      const bool is_taken = height > offset; // two of one kind, as `a1` and `a01`
      if (costs_too_much || is_taken) {
        m_apart.push_back(each);
        continue;
      }
      height = offset + m_siblings[each.m_sibling].m_extent;
      m_placed.emplace_back(each, offset);
    }
  }
  /// Gives what stands apart.
  std::vector<PLACED> settle(KEP_SIBLING_LAYOUT& layout) {
    for (const auto& [each, offset] : m_placed) {
      const std::uint64_t place = each.m_cell * m_cell_size + offset;
      layout.m_offsets[each.m_sibling] = place;
      layout.m_size = std::max(layout.m_size, place + m_siblings[each.m_sibling].m_extent);
    }
    return std::move(m_apart);
  }

private:
  const std::vector<KEP_SIBLING>& m_siblings;
  std::vector<std::uint64_t> m_heights; // by cell
  std::uint64_t m_cell_size = 0;
  std::vector<std::pair<PLACED, std::uint64_t>> m_placed; // and the offset in the cell
  std::vector<PLACED> m_apart;
};

std::optional<KEP_SIBLING_LAYOUT> KEP_SIBLING_GRID::lay_out_with_gaps() const {
  if (m_num_cells > m_on_grid.size() * MAX_CELLS + FEW_CELLS) return std::nullopt;
  std::vector<std::vector<PLACED>> kinds(m_num_kinds);
  for (const PLACED& each : m_on_grid)
    kinds[each.m_kind].push_back(each);
  STACKER stacker(*this);
  for (const std::vector<PLACED>& kind : kinds)
    stacker.add(kind);
  KEP_SIBLING_LAYOUT layout{std::vector<std::uint64_t>(m_siblings.size()), 0};
  append(stacker.settle(layout), layout);
  append(m_apart, layout);
  return layout;
}
