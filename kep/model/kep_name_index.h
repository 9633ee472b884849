#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

/// A hash table from the names of an array's elements to their indices, four to eight bytes an element. The
/// table holds index + 1, or 0; the names stay with the elements, which `name_of(index)` gives.
namespace KEP_NAME_INDEX {

inline std::size_t first_bucket(std::string_view name, std::size_t num_buckets) {
  return std::hash<std::string_view>()(name) & (num_buckets - 1);
}

/// Gives the first index whose name stood there already, or `count`.
template <class NAME_OF>
unsigned build(std::vector<unsigned>& table, unsigned count, NAME_OF name_of) {
  std::size_t num_buckets = 1;
  while (num_buckets <= count * std::size_t{3} / 2) // never full: a search ends at an empty bucket
    num_buckets *= 2;
  table.assign(count ? num_buckets : 0, 0);
  for (unsigned i = 0; i != count; ++i) {
    std::size_t bucket = first_bucket(name_of(i), num_buckets);
    for (; table[bucket]; bucket = (bucket + 1) & (num_buckets - 1))
      if (std::string_view(name_of(table[bucket] - 1)) == name_of(i)) return i;
    table[bucket] = i + 1;
  }
  return count;
}

/// The index of the element of that name plus 1, or 0.
template <class NAME_OF>
unsigned find(const std::vector<unsigned>& table, std::string_view name, NAME_OF name_of) {
  if (table.empty()) return 0;
  for (std::size_t bucket = first_bucket(name, table.size()); table[bucket];
       bucket = (bucket + 1) & (table.size() - 1))
    if (name == name_of(table[bucket] - 1)) return table[bucket];
  return 0;
}

} // namespace KEP_NAME_INDEX
