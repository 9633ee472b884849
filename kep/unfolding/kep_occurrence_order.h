#pragma once

#include "kep/detail/kep_unfolding.h"

#include <cstdint>
#include <vector>

/// The inner occurrences in depth-first order, and back. In this order two places of one shape are equally
/// far apart wherever they stand, on one level or on different ones; in that of the unfolding, where children
/// stand side by side, only on one level. A place is a number in this order; 0 is what stands above the tops.
class KEP_OCCURRENCE_ORDER {
public:
  explicit KEP_OCCURRENCE_ORDER(const KEP_UNFOLDING& unfolding) {
    const std::uint32_t size = unfolding.size();
    std::vector<std::uint32_t> num_children(size);
    for (std::uint32_t i = 1; i < size; ++i)
      ++num_children[unfolding.get(i).m_parent];
    m_occurrences.reserve(size);
    m_places.resize(size);
    std::vector<std::uint32_t> stack;
    if (size != 0) stack.push_back(KEP_UNFOLDING::ABOVE_TOP);
    while (!stack.empty()) {
      const std::uint32_t occurrence = stack.back();
      stack.pop_back();
      m_places[occurrence] = static_cast<std::uint32_t>(m_occurrences.size());
      m_occurrences.push_back(occurrence);
      const std::uint32_t first = unfolding.get(occurrence).m_first_child;
      for (std::uint32_t i = num_children[occurrence]; i-- != 0;)
        stack.push_back(first + i);
    }
  }

  std::uint32_t get_place(std::uint32_t occurrence) const { return m_places[occurrence]; }
  std::uint32_t get_occurrence(std::uint32_t place) const { return m_occurrences[place]; }
  std::uint64_t get_memory_bytes() const {
    return (m_places.capacity() + m_occurrences.capacity()) * sizeof(std::uint32_t);
  }

private:
  std::vector<std::uint32_t> m_places;
  std::vector<std::uint32_t> m_occurrences;
};
