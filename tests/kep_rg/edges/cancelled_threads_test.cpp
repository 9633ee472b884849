#include "kep/kep_cancelled.h"
#include "kep_report/kep_report_sink.h"
#include "kep_rg/kep_rg_findings.h"
#include "kep_rg/kep_rg_proof.h"
#include "kep_rg/kep_rg_trace_tally.h"
#include "tests/support/build_case.h"
#include "tests/support/cancelled_call.h"
#include "tests/support/random_device.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <tbb/task_group.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cancelled_threads_test {

using test_model::count_cancelled_calls;
using test_model::is_cancelled;

/// What reaches the information stream while it lives, line by line.
class LINES {
public:
  template <class CALL>
  explicit LINES(const CALL& call)
      : m_previous(KEP_REPORT::set_sink(KEP_REPORT::STREAM::INFO, [call](std::string_view) { call(); })) {}
  ~LINES() { KEP_REPORT::set_sink(KEP_REPORT::STREAM::INFO, m_previous); }
  LINES(const LINES&) = delete;
  LINES& operator=(const LINES&) = delete;

private:
  KEP_REPORT::SINK m_previous;
};

enum class END : unsigned char { WHOLE, CANCELLED };

/// A build whose task group is cancelled when it reports the line of that number.
END build_until(BUILD_CASE& c, unsigned line) {
  END end = END::WHOLE;
  tbb::task_group group;
  unsigned num_lines = 0;
  const LINES lines([&] {
    if (num_lines++ == line) group.cancel();
  });
  group.run_and_wait([&] {
    try {
      c.builder().build();
    } catch (const KEP_CANCELLED&) {
      end = END::CANCELLED;
    }
  });
  c.drop_builder();
  return end;
}

unsigned count_lines(BUILD_CASE& c) {
  unsigned num_lines = 0;
  {
    const LINES lines([&] { ++num_lines; });
    c.builder().build();
  }
  c.drop_builder();
  return num_lines;
}

TEST(Cancelled, BuildsEndAtAnyStepAndAreMadeAnew) {
  unsigned num_cancelled = 0;
  for (const std::uint64_t seed : test_model::SEEDS(1, 4)) {
    test_model::RANDOM_DEVICE device(seed);
    BUILD_CASE whole(device.text());
    device.describe(whole);
    const unsigned num_lines = count_lines(whole);
    const std::vector<std::string> edges = whole.edges();
    ASSERT_GT(num_lines, 10U);
    for (unsigned line = 0; line < num_lines; line += 3) {
      EXPECT_EQ(build_until(whole, num_lines), END::WHOLE);
      if (build_until(whole, line) == END::CANCELLED) ++num_cancelled;
      EXPECT_EQ(whole.edges(), edges) << "the graph of before, line " << line;
    }
  }
  EXPECT_GT(num_cancelled, 20U);
}

TEST(Cancelled, FirstBuildsLeaveNoGraph) {
  test_model::RANDOM_DEVICE device(7);
  BUILD_CASE c(device.text());
  device.describe(c);
  EXPECT_EQ(build_until(c, 3), END::CANCELLED);
  EXPECT_TRUE(c.nodes().empty());
  EXPECT_TRUE(c.edges().empty());
  EXPECT_EQ(build_until(c, 1U << 30), END::WHOLE);
  EXPECT_FALSE(c.edges().empty());
}

TEST(Cancelled, ChecksEnd) {
  test_model::RANDOM_DEVICE device(7);
  BUILD_CASE c(device.text());
  device.describe(c);
  ASSERT_EQ(build_until(c, 1U << 30), END::WHOLE);
  const KEP_RG_PROOF proof(c.db());
  const KEP_ROUTING::GRAPH& graph = *c.db()->get_routing_template_graph();
  EXPECT_TRUE(is_cancelled([&] { proof.run(2); }));
  EXPECT_TRUE(is_cancelled([&] { kep_rg_find_hipi_order(graph, 10); }));
  EXPECT_TRUE(is_cancelled([&] { kep_rg_trace_all_edges(*c.db(), 2, 10); }));
  EXPECT_TRUE(is_cancelled([&] { kep_rg_find_unreachable_nodes(graph, 10); }));
  EXPECT_TRUE(is_cancelled([&] { kep_rg_find_all(graph, true, 10); }));
}

/// A ring of so many muxes, each of which drives the next two.
std::string ring_of(unsigned num_muxes) {
  std::string text = "module MUX\nports >a >b <o\nmodule TOP top type=2\n";
  for (unsigned i = 0; i != num_muxes; ++i)
    text += fmt::format("inst m{} MUX header\n", i);
  for (unsigned i = 0; i != num_muxes; ++i)
    text += fmt::format("net n{0} m{0}.o m{1}.a m{2}.b\n", i, (i + 1) % num_muxes, (i + 2) % num_muxes);
  return text;
}

/// Whatever a build that was cancelled at any moment leaves is whole, and can be built again.
TEST(Cancelled, BuildsEndAtAnyMoment) {
  BUILD_CASE c(ring_of(2000));
  c.arcs("MUX", {"a", "b"}, "o");
  ASSERT_EQ(build_until(c, 1U << 30), END::WHOLE);
  const auto graph = test_model::whole_graph(*c.db());
  const LINES quiet([] {});
  EXPECT_GT(
      count_cancelled_calls([&] { KEP_RG_BUILD(c.db(), KEP_RG_BUILD_PARAMS().set_num_threads(2)).build(); }),
      0U);
  EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
  c.builder().build();
  EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
}

TEST(Cancelled, WhoeverIsInNoGroupIsNotCancelled) {
  EXPECT_NO_THROW(kep_throw_if_cancelled());
  tbb::task_group group;
  group.run_and_wait([] { EXPECT_NO_THROW(kep_throw_if_cancelled()); });
}

} // namespace cancelled_threads_test
