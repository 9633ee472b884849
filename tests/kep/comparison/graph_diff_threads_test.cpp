// The difference of graphs of many places: on one thread, on several, and cancelled.

#include "tests/kep/comparison/diff_text.h"
#include "tests/support/cancelled_call.h"
#include "tests/support/graph_fixture.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <tbb/task_arena.h>

#include <memory>
#include <string>

namespace graph_diff_threads_test {

using test_model::GRAPH_BUILD;
using test_model::LINES;
using test_model::TEXT_MODEL;
using test_model::uip;

constexpr unsigned SIDE = 40;

/// Tiles in rows, each with a mux that drives that of the next tile.
std::unique_ptr<KEP_DB> make_device(unsigned num_rows, unsigned odd_row) {
  std::string text = R"(
    module MUX
      ports >a >b <o
    module TILE
      inst m MUX header
      net n m.o
    module ROW
)";
  for (unsigned i = 0; i != SIDE; ++i)
    text += fmt::format("      inst x{} TILE\n", i);
  text += "    module TOP top\n";
  for (unsigned i = 0; i != num_rows; ++i)
    text += fmt::format("      inst y{} ROW\n", i);
  std::unique_ptr<KEP_DB> db = TEXT_MODEL(text).freeze();
  GRAPH_BUILD build(*db);
  const auto name = [](unsigned y, unsigned x, const char* port) {
    return fmt::format("y{}/x{}/m:{}", y, x, port);
  };
  for (unsigned y = 0; y != num_rows; ++y)
    for (unsigned x = 0; x != SIDE; ++x)
      build.add(name(y, x, "o").c_str());
  build.sort();
  for (unsigned y = 0; y != num_rows; ++y)
    for (unsigned x = 0; x + 1 != SIDE; ++x)
      build.set(build.find(name(y, x, "o").c_str()),
                {{build.find(name(y, x + 1, "o").c_str()),
                  uip(*db, name(y, x + 1, y == odd_row ? "b" : "a").c_str())}});
  build.publish();
  return db;
}

LINES describe(const KEP_GRAPH_DIFF& diff) {
  LINES lines;
  for (const unsigned side : {0U, 1U}) {
    for (const LINES& more : {test_model::nodes_of(diff, side), test_model::edges_of(diff, side)})
      lines.insert(lines.end(), more.begin(), more.end());
  }
  for (const KEP_GRAPH_DIFF_GROUP& group : diff.get_groups())
    for (const KEP_GRAPH_DIFF_COUNTS& counts : group.m_counts)
      lines.push_back(
          fmt::format("{} {} {}", static_cast<int>(group.m_about), counts.m_num_nodes, counts.m_num_real));
  return lines;
}

TEST(GraphDiffThreads, GiveTheSameForAnyNumber) {
  const std::unique_ptr<KEP_DB> first = make_device(SIDE, SIDE / 2);
  const std::unique_ptr<KEP_DB> second = make_device(SIDE - 1, SIDE);
  LINES wanted;
  for (const int num_threads : {1, 2}) {
    tbb::task_arena arena(num_threads);
    const LINES lines = arena.execute([&] { return describe(KEP_GRAPH_DIFF(*first, *second)); });
    if (wanted.empty()) wanted = lines;
    EXPECT_EQ(lines, wanted);
  }
  // A row of tiles is gone; the odd one has other mux inputs.
  EXPECT_EQ(wanted.size(), SIDE + (SIDE - 1) + 2 * (SIDE - 1) + 2 * 3U);
}

TEST(GraphDiffThreads, EndWhenTheyAreCancelled) {
  const std::unique_ptr<KEP_DB> db = make_device(2, 0);
  EXPECT_TRUE(test_model::is_cancelled([&] { const KEP_GRAPH_DIFF diff(*db, *db); }));
}

} // namespace graph_diff_threads_test
