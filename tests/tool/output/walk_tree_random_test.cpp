// Trees of the walks from every node of random devices: each fanout stands at the point that gave it, and
// every line hangs below the one that led to it.

#include "kep_rg/kep_rg_debug.h"
#include "tests/support/build_case.h"
#include "tests/support/random_device.h"
#include "tests/support/random_fabric.h"
#include "tests/support/seeds.h"
#include "tools/kep-rg/output/quiet.h"
#include "tools/kep-rg/output/walk_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace walk_tree_random_test {

struct SEEN {
  std::uint64_t m_trees = 0, m_fanouts = 0, m_redundant = 0, m_hipi = 0, m_boundary = 0, m_dropped = 0;
  std::uint64_t m_at_crossing = 0, m_flown_over = 0, m_behind_tunnel = 0;
};

bool take_end(std::string& text, std::string_view end) {
  if (!text.ends_with(end)) return false;
  text.resize(text.size() - end.size());
  return true;
}

/// "POINT -> TARGET" for each fanout that the text of a point tells.
void append_fanouts(const std::string& point, std::string text, std::vector<std::string>& lines) {
  const std::string redundant = take_end(text, ", redundant") ? ", redundant" : "";
  if (take_end(text, "target (hipi)")) return lines.push_back(point + " -> " + point + " (hipi)" + redundant);
  if (take_end(text, "target") && !text.ends_with("no tunnel "))
    return lines.push_back(point + " -> " + point + redundant);
  const std::string_view mark = "mux input -> ";
  const std::size_t at = text.find(mark);
  if (at == std::string::npos) return;
  for (std::size_t begin = at + mark.size(); begin < text.size();) {
    const std::size_t end = std::min(text.find(", ", begin), text.size());
    const std::string target = text.substr(begin, end - begin);
    if (!target.ends_with(" (no routing node)")) lines.push_back(point + " -> " + target + redundant);
    begin = end + 2;
  }
}

std::vector<std::string> sorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

class WalkTreeRandom : public testing::Test {
protected:
  void check_tree(BUILD_CASE& c, const KEP_RG_PRIMITIVES& primitives, const KEP_UNFOLDED_INST_PORT& start) {
    WALK_TREE tree(primitives, *c.db());
    KEP_RG_DBG_FANOUTS fanouts;
    c.builder().debug_edges(&fanouts, start, false, &tree);
    std::ostringstream out;
    tree.print(out, fanouts);
    const std::string text = out.str();
    SCOPED_TRACE(text);
    std::vector<std::string> told;
    const std::uint64_t boundary_told = read_lines(text, told);
    std::uint64_t boundary = 0;
    std::vector<std::string> expected;
    for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter()) {
      const KEP_ROUTING_BUILDER_NODE& to = *fanout->get_routing_node();
      boundary += to.is_boundary();
      if (to.is_boundary()) continue;
      const KEP_UNFOLDED_INST_PORT mux_input = fanout->get_mux_input();
      const bool is_behind_mux = mux_input && !(mux_input == start);
      expected.push_back(test_model::name_of(is_behind_mux ? mux_input : to.get_unfolded_inst_port()) +
                         " -> " + to.get_name(KEP_NAME_STYLE()) + (to.is_hipi() ? " (hipi)" : "") +
                         (fanout->is_redundant() ? ", redundant" : ""));
      m_seen.m_redundant += fanout->is_redundant();
      m_seen.m_hipi += to.is_hipi();
    }
    EXPECT_EQ(sorted(told), sorted(expected));
    EXPECT_EQ(boundary_told, boundary);
    ++m_seen.m_trees;
    m_seen.m_fanouts += expected.size();
    m_seen.m_boundary += boundary;
  }

  /// Gives the number of boundary nodes that the tree leads to.
  std::uint64_t read_lines(const std::string& text, std::vector<std::string>& fanouts) {
    std::uint64_t num_boundary = 0;
    std::size_t last_level = 0;
    bool last_leads_on = true;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t indent = line.find_first_not_of(' ');
      const std::size_t level = indent / 2;
      line.erase(0, indent);
      if (level > last_level + 1 || (level > last_level && !last_leads_on))
        ADD_FAILURE() << line << ": below a line that leads nowhere";
      const std::size_t gap = line.find("  ");
      const std::string rest = gap == std::string::npos ? line : line.substr(gap + 2);
      if (level == 1 && !rest.starts_with("outside") && !rest.starts_with("inside ") &&
          !rest.starts_with("through the arc of its mux, "))
        ADD_FAILURE() << line;
      if (gap != std::string::npos) append_fanouts(line.substr(0, gap), rest, fanouts);
      num_boundary += rest.ends_with("-> boundary node");
      m_seen.m_dropped += rest.find("dropped: ") != std::string::npos;
      m_seen.m_at_crossing += rest.starts_with("up out of ") && rest.ends_with(": target");
      m_seen.m_flown_over += rest.starts_with("flies over");
      m_seen.m_behind_tunnel += rest.find("once more through the tunnel") != std::string::npos;
      last_level = level;
      last_leads_on = level == 0 || rest.find(": net ") != std::string::npos ||
                      rest.ends_with("into a skip path") || rest.starts_with("flies over");
    }
    return num_boundary;
  }

  void check_trees(BUILD_CASE& c) {
    const LIBRARY_REPORT quiet(false); // the builder tells every step of these walks
    const KEP_RG_PRIMITIVES primitives(c.db(), c.builder().find_routing_primitive_cache());
    for (const KEP_ROUTING::NODE& node : c.db()->get_routing_template_graph()->iter_nodes())
      if (!node.is_boundary() && !node.is_hipi() && !HasFailure())
        check_tree(c, primitives, node.get_unfolded_inst_port());
  }

  SEEN m_seen;
};

TEST_F(WalkTreeRandom, TellsEveryFanoutAtItsPlaceWhateverAWalkMeets) {
  std::uint64_t num_refused = 0;
  for (const std::uint64_t seed : test_model::SEEDS(1, 599)) {
    test_model::RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      c.build();
      check_trees(c);
    } catch (const KEP_EXCEPTION&) {
      ++num_refused;
    }
    if (HasFailure()) FAIL() << "seed " << seed << "\n" << device.text();
  }
  EXPECT_LT(num_refused, 150U);
  EXPECT_GT(m_seen.m_trees, 5000U);
  EXPECT_GT(m_seen.m_fanouts, 20000U);
  EXPECT_GT(m_seen.m_redundant, 100U);
  EXPECT_GT(m_seen.m_hipi, 100U);
  EXPECT_GT(m_seen.m_boundary, 100U);
  EXPECT_GT(m_seen.m_dropped, 100U);
  EXPECT_GT(m_seen.m_at_crossing, 100U);
  EXPECT_GT(m_seen.m_flown_over, 100U);
  EXPECT_GT(m_seen.m_behind_tunnel, 100U);
}

TEST_F(WalkTreeRandom, TellsEveryFanoutOfAFabricAtItsPlace) {
  for (const std::uint64_t seed : test_model::SEEDS(1, 299)) {
    const test_model::RANDOM_FABRIC fabric(seed);
    BUILD_CASE c(fabric.freeze());
    fabric.describe(*c.db(), c.parse());
    c.build();
    check_trees(c);
    if (HasFailure()) FAIL() << "seed " << seed << "\n" << fabric.facts();
  }
  EXPECT_GT(m_seen.m_fanouts, 3000U);
}

} // namespace walk_tree_random_test
