#include "kep/kep_numbered_graph.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace reading_allocates_nothing_test {
std::atomic<std::uint64_t> allocations{0};
} // namespace reading_allocates_nothing_test

// For this whole program: what the library allocates goes through here, too. The forms for arrays lead here.
// Inlined, the one half would seem to a compiler not to match the other, which it sees by its name alone.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++reading_allocates_nothing_test::allocations;
  return std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* memory = operator new(size, std::nothrow)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace reading_allocates_nothing_test {

struct SEEN {
  std::uint64_t m_edges = 0;
  std::uint64_t m_others = 0;
  std::uint64_t m_allocations = 0;
};

void read(const KEP_ROUTING::GRAPH& graph, SEEN& seen) {
  const std::uint64_t before = allocations;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout()) {
      seen.m_edges += static_cast<bool>(edge.get_fanout());
      seen.m_others += static_cast<bool>(edge.get_mux_input());
    }
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      seen.m_edges += static_cast<bool>(edge.get_fanin());
    seen.m_others += static_cast<bool>(node.get_hipi_node()) +
                     static_cast<bool>(node.get_unfolded_inst_port()) + graph.get_index(node);
  }
  graph.visit_edges(graph.iter_nodes(),
                    [&](const KEP_ROUTING::NODE&, const KEP_ROUTING::NODE&) { ++seen.m_edges; });
  const KEP_ROUTING::NUMBERED_GRAPH numbers(graph);
  for (std::uint32_t node = 0; node != numbers.get_num_nodes(); ++node) {
    for (const KEP_ROUTING::NUMBERED_FWD_EDGE& edge : numbers.iter_all_fanout(node))
      seen.m_others += static_cast<bool>(edge.get_mux_input());
    for (const KEP_ROUTING::NUMBERED_REV_EDGE& edge : numbers.iter_all_fanin(node))
      seen.m_others += edge.find_fwd_edge().get_fanout() == node;
  }
  seen.m_allocations += allocations - before;
}

TEST(FinishedGraph, IsReadWithoutAnAllocation) {
  SEEN seen;
  for (const std::uint64_t seed : test_model::SEEDS(0, 50)) {
    const auto db = test_model::make_random_db(seed, {});
    test_model::RANDOM_GRAPH(*db, seed, {}).publish(*db, seed);
    read(*db->get_routing_template_graph(), seen);
  }
  EXPECT_EQ(seen.m_allocations, 0U);
  EXPECT_GT(seen.m_edges, 1000U);
  EXPECT_GT(seen.m_others, 1000U);
  const std::uint64_t before = allocations;
  ::operator delete(::operator new(sizeof(int)));
  const std::uint64_t after = allocations;
  EXPECT_EQ(after, before + 1) << "allocations are not counted";
}

} // namespace reading_allocates_nothing_test
