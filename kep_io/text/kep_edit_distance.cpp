#include "kep_io/text/kep_edit_distance.h"

#include <algorithm>
#include <vector>

unsigned get_edit_distance(std::string_view left, std::string_view right, unsigned limit) {
  if (std::max(left.size(), right.size()) - std::min(left.size(), right.size()) >= limit) return limit;
  thread_local std::vector<unsigned> row;
  row.resize(right.size() + 1);
  for (std::size_t j = 0; j != row.size(); ++j)
    row[j] = static_cast<unsigned>(j);
  for (std::size_t i = 0; i != left.size(); ++i) {
    unsigned diagonal = row[0];
    unsigned best = row[0] = static_cast<unsigned>(i + 1);
    for (std::size_t j = 1; j != row.size(); ++j) {
      const unsigned change = diagonal + (left[i] == right[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
      best = std::min(best, row[j]);
    }
    if (best >= limit) return limit;
  }
  return std::min(row.back(), limit);
}
