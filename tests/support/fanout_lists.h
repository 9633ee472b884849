#pragma once

#include "kep/graph_building/kep_template_lists.h"

#include <cstdint>
#include <vector>

namespace test_model {

/// Lists of fanouts by hand. List 0 has none, as in a build.
struct FANOUT_LISTS {
  /// The word of a target as it is seen.
  static KEP_SEEN_WORD near(std::uint32_t difference, std::uint32_t target) {
    return {std::uint64_t{difference} << 32 | target};
  }
  static KEP_SEEN_WORD absolute(std::uint32_t place, std::uint32_t target) {
    return {std::uint64_t{place} << 32 | KEP_SEEN_WORD::ABSOLUTE | target};
  }

  /// Gives the number of the list.
  std::uint32_t add(const std::vector<KEP_SEEN_WORD>& fanouts) {
    const auto count = static_cast<std::uint16_t>(fanouts.size());
    m_lists.m_templates.push_back({static_cast<std::uint32_t>(m_words.size()), count, count});
    m_words.insert(m_words.end(), fanouts.begin(), fanouts.end());
    return static_cast<std::uint32_t>(m_lists.m_templates.size() - 1);
  }

  KEP_TEMPLATE_LISTS m_lists{{}, {{}}, {}};
  std::vector<KEP_SEEN_WORD> m_words;
};

} // namespace test_model
