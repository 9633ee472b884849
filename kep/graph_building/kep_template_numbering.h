#pragma once

#include "kep/graph_building/kep_template_table.h"
#include "kep/kep_db.h"

#include <fmt/format.h>

#include <cstdint>
#include <limits>
#include <vector>

/// Gives templates their final numbers, by the first node that uses them, and their entries places side by
/// side in that order: whoever found which template first, the result is the same. Number 0 is the empty
/// list, which NONE stands for before.
template <class ENTRY>
class KEP_TEMPLATE_NUMBERING {
public:
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  /// Replaces the numbers of the nodes' templates. Gives the old numbers in the order of the final ones, from
  /// number 1.
  static std::vector<std::uint32_t> number(const KEP_TEMPLATE_TABLE<ENTRY>& table,
                                           std::vector<std::uint32_t>& of_nodes,
                                           std::vector<KEP_EDGE_TEMPLATE>& templates) {
    std::vector<std::uint32_t> final_numbers(table.get_number_limit(), NONE);
    std::vector<std::uint32_t> order;
    order.reserve(table.size());
    for (std::uint32_t& number : of_nodes) {
      if (number == NONE) {
        number = 0;
        continue;
      }
      std::uint32_t& final_number = final_numbers[number];
      if (final_number == NONE) {
        order.push_back(number);
        final_number = static_cast<std::uint32_t>(order.size());
      }
      number = final_number;
    }
    templates.reserve(order.size() + 1);
    templates.push_back({});
    std::uint64_t num_entries = 0;
    for (const std::uint32_t number : order) {
      const auto& list = table.get(number);
      templates.push_back({static_cast<std::uint32_t>(num_entries), list.m_num_real, list.m_num_edges});
      num_entries += list.m_num_edges;
    }
    if (num_entries > std::numeric_limits<std::uint32_t>::max())
      throw KEP_DB_ERROR(fmt::format(
          "the routing graph has {} edges in distinct lists, more than the 4294967295 that it can have",
          num_entries));
    return order;
  }
};
