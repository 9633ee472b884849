#include "tests/support/build_case.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <vector>

namespace set_fanout_calls_test {

using EDGES = KEP_ROUTING_BUILDER_EDGE_BUILDER;
using ACCESS = KEP_RG_TEST_ACCESS;

struct CALLS {
  std::atomic<std::uint64_t> m_with_edges{0};
  std::atomic<std::uint64_t> m_without{0};

  void count(bool is_empty) { ++(is_empty ? m_without : m_with_edges); }
};
CALLS s_calls;

/// The library's own function of the name of this one.
template <class FUNCTION, class MEMBER>
FUNCTION* find_own(MEMBER member) {
  void* here = nullptr;
  std::memcpy(&here, &member, sizeof here);
  Dl_info info{};
  if (dladdr(here, &info) == 0 || !info.dli_sname) return nullptr;
  return reinterpret_cast<FUNCTION*>(dlsym(RTLD_NEXT, info.dli_sname));
}

} // namespace set_fanout_calls_test

// These two take the place of the library's in this program, count the calls, and pass them on.
void set_fanout_calls_test::EDGES::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                              const std::vector<FANOUT>& fanouts,
                                              const std::vector<FANOUT>& redundant_fanouts, tbb::mutex& mutex,
                                              bool flag) {
  using MEMBER = void (set_fanout_calls_test::EDGES::*)(KEP_ROUTING_BUILDER_NODE*, const std::vector<FANOUT>&,
                                                        const std::vector<FANOUT>&, tbb::mutex&, bool);
  using FUNCTION = void(set_fanout_calls_test::EDGES*, KEP_ROUTING_BUILDER_NODE*, const std::vector<FANOUT>&,
                        const std::vector<FANOUT>&, tbb::mutex&, bool);
  static FUNCTION* const s_own = set_fanout_calls_test::find_own<FUNCTION>(
      static_cast<MEMBER>(&set_fanout_calls_test::EDGES::set_fanout));
  set_fanout_calls_test::s_calls.count(fanouts.empty() && redundant_fanouts.empty());
  s_own(this, node, fanouts, redundant_fanouts, mutex, flag);
}
set_fanout_calls_test::EDGES::FANOUT_COUNTS
set_fanout_calls_test::EDGES::set_fanout(KEP_ROUTING_BUILDER_NODE* node,
                                         const std::vector<FANOUT_RUNS>& fanouts,
                                         const std::vector<FANOUT_RUNS>& redundant_fanouts) {
  using MEMBER = FANOUT_COUNTS (set_fanout_calls_test::EDGES::*)(
      KEP_ROUTING_BUILDER_NODE*, const std::vector<FANOUT_RUNS>&, const std::vector<FANOUT_RUNS>&);
  using FUNCTION = FANOUT_COUNTS(set_fanout_calls_test::EDGES*, KEP_ROUTING_BUILDER_NODE*,
                                 const std::vector<FANOUT_RUNS>&, const std::vector<FANOUT_RUNS>&);
  static FUNCTION* const s_own = set_fanout_calls_test::find_own<FUNCTION>(
      static_cast<MEMBER>(&set_fanout_calls_test::EDGES::set_fanout));
  set_fanout_calls_test::s_calls.count(fanouts.empty() && redundant_fanouts.empty());
  return s_own(this, node, fanouts, redundant_fanouts);
}

namespace set_fanout_calls_test {

TEST(SetFanoutCalls, AreMadeForNoNodeWithoutEdges) {
  for (const bool searches_all : {false, true}) {
    BUILD_CASE c(R"(
      module MUX
        ports >a <o
      module TILE
        inst m MUX header
        inst k MUX header
        net n m.o k.a
        net q k.o
      module TOP top type=2
        inst t TILE
        inst u TILE
    )");
    c.arcs("MUX", {"a"}, "o");
    if (searches_all) ACCESS::search_all(c.builder());
    s_calls.m_with_edges = 0;
    s_calls.m_without = 0;
    c.build();
    std::uint64_t with_edges = 0;
    std::uint64_t without = 0;
    for (const KEP_ROUTING::NODE& node : c.db()->get_routing_template_graph()->iter_nodes())
      ++(node.get_num_edges() != 0 ? with_edges : without);
    EXPECT_EQ(with_edges, 2U) << "of m in both tiles";
    EXPECT_EQ(without, 2U) << "of k in both tiles";
    EXPECT_EQ(s_calls.m_with_edges, with_edges) << searches_all;
    EXPECT_EQ(s_calls.m_without, 0U) << searches_all;
  }
}

} // namespace set_fanout_calls_test
