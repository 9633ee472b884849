#pragma once

#include "kep/comparison/kep_path_classes.h"
#include "kep/kep_graph_diff.h"

#include <cstdint>
#include <map>
#include <vector>

/// What a group of differences is about, by numbers.
struct KEP_DIFF_GROUP_KEY {
  using ABOUT = KEP_GRAPH_DIFF_GROUP::ABOUT;

  ABOUT m_about = ABOUT::DRIVER;
  std::uint32_t m_type = 0; ///< of the path class that holds the instance; of INSTANCES, around it
  std::uint64_t m_name = 0; ///< KEP_PORT_NAME; of INSTANCES, the side and the number of the master

  friend auto operator<=>(const KEP_DIFF_GROUP_KEY&, const KEP_DIFF_GROUP_KEY&) = default;
};

struct KEP_DIFF_GROUP_COUNTS {
  KEP_GRAPH_DIFF_COUNTS m_sides[2];

  void add(const KEP_DIFF_GROUP_COUNTS& other, std::uint64_t times = 1) {
    for (const unsigned side : {0U, 1U})
      m_sides[side].add(other.m_sides[side], times);
  }
};

/// In the order of the keys, which no thread has a say in.
using KEP_DIFF_GROUPS = std::map<KEP_DIFF_GROUP_KEY, KEP_DIFF_GROUP_COUNTS>;

/// The group of the topmost instance around the class that one side alone has.
KEP_DIFF_GROUP_KEY kep_make_instances_key(const KEP_PATH_CLASSES& classes,
                                          const KEP_COMPARED_GRAPH* const graphs[2], unsigned side,
                                          std::uint32_t path_class);

/// As users see them, the largest first.
std::vector<KEP_GRAPH_DIFF_GROUP> kep_describe_groups(const KEP_DIFF_GROUPS& groups,
                                                      const KEP_PATH_CLASSES& classes,
                                                      const KEP_COMPARED_GRAPH* const graphs[2],
                                                      const KEP_NAME_NUMBERS& names);
