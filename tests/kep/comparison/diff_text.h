#pragma once

#include "kep/kep_graph_diff.h"
#include "tests/support/graph_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

/// Differences as lines of text, found by KEP_GRAPH_DIFF, and plainly.
namespace test_model {

using LINES = std::vector<std::string>;

inline LINES sorted(LINES lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

/// What is in the first one and not in the second one, each line as often as it comes.
inline LINES subtract(const LINES& first, const LINES& second) {
  const LINES left = sorted(first);
  const LINES right = sorted(second);
  LINES result;
  std::set_difference(left.begin(), left.end(), right.begin(), right.end(), std::back_inserter(result));
  return result;
}

inline LINES nodes_of(const KEP_GRAPH_DIFF& diff, unsigned side) {
  LINES lines;
  diff.visit_nodes(side, [&](const KEP_ROUTING::NODE& node) {
    lines.push_back(text_of(node));
    return true;
  });
  return lines;
}

inline LINES edges_of(const KEP_GRAPH_DIFF& diff, unsigned side) {
  LINES lines;
  diff.visit_edges(side,
                   [&](const KEP_ROUTING::NODE& from, const KEP_ROUTING::FWD_EDGE& edge, bool redundant) {
                     lines.push_back(text_of(from, edge, redundant));
                     return true;
                   });
  return lines;
}

/// Lists, counts and groups are those of both graphs as text. Gives how many lines differ.
inline std::size_t expect_naive_difference(const KEP_DB& first, const KEP_DB& second) {
  const KEP_GRAPH_DIFF diff(first, second);
  const KEP_DB* const sides[] = {&first, &second};
  std::size_t num_lines = 0;
  for (const unsigned side : {0U, 1U}) {
    const LINES nodes = subtract(nodes_of(*sides[side]), nodes_of(*sides[1 - side]));
    const LINES edges = subtract(edges_of(*sides[side]), edges_of(*sides[1 - side]));
    EXPECT_EQ(sorted(nodes_of(diff, side)), nodes);
    EXPECT_EQ(sorted(edges_of(diff, side)), edges);
    const KEP_GRAPH_DIFF_COUNTS& counts = diff.get_counts(side);
    EXPECT_EQ(counts.m_num_nodes, nodes.size());
    EXPECT_EQ(counts.get_num_edges(), edges.size());
    KEP_GRAPH_DIFF_COUNTS of_groups;
    for (const KEP_GRAPH_DIFF_GROUP& group : diff.get_groups())
      of_groups.add(group.m_counts[side]);
    EXPECT_EQ(of_groups.m_num_nodes, counts.m_num_nodes);
    EXPECT_EQ(of_groups.m_num_real, counts.m_num_real);
    EXPECT_EQ(of_groups.m_num_redundant, counts.m_num_redundant);
    num_lines += nodes.size() + edges.size();
  }
  EXPECT_EQ(diff.empty(), num_lines == 0);
  for (const KEP_GRAPH_DIFF_GROUP& group : diff.get_groups())
    if (group.m_about == KEP_GRAPH_DIFF_GROUP::ABOUT::INSTANCES) {
      if (group.m_modules[0]) {
        EXPECT_NE(group.m_instances[0] == nullptr, group.m_instances[1] == nullptr);
      }
      EXPECT_GE(group.m_num_instances, 1U);
      EXPECT_GE(group.m_num_places, group.m_num_instances);
    }
  return num_lines;
}

} // namespace test_model
