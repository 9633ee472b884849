#include "kep_io/text/kep_closest_names.h"

#include "kep/kep_types.h"
#include "kep_io/text/kep_edit_distance.h"

#include <algorithm>

namespace {

constexpr std::size_t MAX_CLOSEST = 3;

std::string_view get_last_part(std::string_view name) {
  return name.substr(name.rfind(KEP_NAME_STYLE().m_hierarchy_separator) + 1);
}

/// Of a short text another is near only if one character differs.
unsigned get_limit(std::string_view text) {
  return text.size() < 5 ? 2 : std::max(3U, static_cast<unsigned>(text.size() / 3 + 1));
}

/// A quick bound of the edit distance: what the two have in common, wherever it stands, is at most kept.
unsigned get_least_distance(std::string_view left, std::string_view right) {
  std::array<unsigned, 256> counts{};
  for (const char letter : left)
    ++counts[static_cast<unsigned char>(letter)];
  std::size_t num_common = 0;
  for (const char letter : right)
    if (unsigned& count = counts[static_cast<unsigned char>(letter)]; count != 0) {
      --count;
      ++num_common;
    }
  return static_cast<unsigned>(std::max(left.size(), right.size()) - num_common);
}

} // namespace

KEP_CLOSEST_NAMES::KEP_CLOSEST_NAMES(std::string_view name)
    : m_name(name), m_last_part(get_last_part(name)), m_limits{get_limit(name), get_limit(m_last_part)} {}

void KEP_CLOSEST_NAMES::offer(std::string_view name) {
  if (const unsigned distance = get_distance(NEAR, m_name, name); distance != NONE)
    insert(NEAR, distance, name);
  else if (m_kind >= ENDS_ALIKE && name.ends_with(m_name))
    insert(ENDS_ALIKE, 0, name);
  else if (const unsigned of_last_part = get_distance(ENDS_ALIKE, m_last_part, get_last_part(name));
           of_last_part != NONE)
    insert(ENDS_ALIKE, of_last_part, name);
  else if (const unsigned any = get_distance(FAR, m_name, name); any != NONE)
    insert(FAR, any, name);
}

std::vector<std::string> KEP_CLOSEST_NAMES::get_names() const {
  std::vector<std::string> names;
  for (const auto& [distance, name] : m_best)
    if (m_kind == FAR || distance <= 2 * m_best.front().first) names.push_back(name);
  return names;
}

/// NONE when a name of that kind and distance is of no use.
unsigned KEP_CLOSEST_NAMES::get_distance(KIND kind, std::string_view left, std::string_view right) const {
  if (kind > m_kind) return NONE;
  unsigned limit = kind == FAR ? static_cast<unsigned>(left.size() + right.size() + 1) : m_limits[kind];
  if (kind == m_kind && m_best.size() == MAX_CLOSEST) limit = std::min(limit, m_best.back().first);
  if (get_least_distance(left, right) >= limit) return NONE;
  const unsigned distance = get_edit_distance(left, right, limit);
  return distance < limit ? distance : NONE;
}

void KEP_CLOSEST_NAMES::insert(KIND kind, unsigned distance, std::string_view name) {
  if (kind < m_kind) m_best.clear();
  m_kind = kind;
  const auto is_same = [name](const auto& each) { return each.second == name; };
  if (std::any_of(m_best.begin(), m_best.end(), is_same)) return; // of another view
  const auto behind = std::upper_bound(m_best.begin(), m_best.end(), distance,
                                       [](unsigned left, const auto& right) { return left < right.first; });
  if (behind == m_best.end() && m_best.size() == MAX_CLOSEST) return;
  m_best.emplace(behind, distance, name);
  if (m_best.size() > MAX_CLOSEST) m_best.pop_back();
}
