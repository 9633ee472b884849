#pragma once

#include "kep/graph_building/kep_template_table.h"
#include "kep/kep_db.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Which list of edges each node has, by templates, and where the entries of each template stand, side by
/// side.
struct KEP_TEMPLATE_LISTS {
  /// The template of a node without edges, until numbers are final.
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  std::vector<std::uint32_t> m_of_nodes;      ///< number of the template, by node
  std::vector<KEP_EDGE_TEMPLATE> m_templates; ///< by final number; number 0 has no edges
  std::vector<bool> m_are_shared;             ///< likewise: several nodes have it

  std::size_t get_num_entries() const {
    return std::size_t{m_templates.back().m_first_entry} + m_templates.back().m_num_edges;
  }

  /// Gives the templates of the table, by which the nodes' numbers are, their final numbers: by the first
  /// node that uses each, so that the result is the same whoever found which template first. Gives the lists
  /// in that order, from number 1.
  template <class ENTRY>
  std::vector<typename KEP_TEMPLATE_TABLE<ENTRY>::LIST> number(const KEP_TEMPLATE_TABLE<ENTRY>& table) {
    std::vector<std::uint32_t> final_numbers(table.get_number_limit(), NONE);
    std::vector<typename KEP_TEMPLATE_TABLE<ENTRY>::LIST> lists;
    lists.reserve(table.size());
    m_are_shared.assign(table.size() + std::size_t{1}, false);
    m_are_shared[0] = true;
    for (std::uint32_t& number : m_of_nodes) {
      if (number == NONE) {
        number = 0;
        continue;
      }
      std::uint32_t& final_number = final_numbers[number];
      if (final_number == NONE) {
        lists.push_back(table.get(number));
        final_number = static_cast<std::uint32_t>(lists.size());
      } else {
        m_are_shared[final_number] = true;
      }
      number = final_number;
    }
    place(lists);
    return lists;
  }

private:
  template <class LIST>
  void place(const std::vector<LIST>& lists) {
    m_templates.reserve(lists.size() + 1);
    m_templates.push_back({});
    std::uint64_t num_entries = 0;
    for (const LIST& list : lists) {
      m_templates.push_back({static_cast<std::uint32_t>(num_entries), list.m_num_real, list.m_num_edges});
      num_entries += list.m_num_edges;
    }
    if (num_entries > std::numeric_limits<std::uint32_t>::max())
      throw KEP_DB_ERROR(fmt::format(
          "the routing graph has {} edges in distinct lists, more than the 4294967295 that it can have",
          num_entries));
  }
};
