#include "support/random_graph.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> allocations{0};
} // namespace

// For this whole program: what the library allocates goes through here, too.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

TEST(FinishedGraph, is_read_without_an_allocation) {
  test_model::RANDOM_MODEL_LIMITS limits;
  limits.m_max_size = 4000;
  const auto db = test_model::make_random_db(201, limits);
  test_model::RANDOM_GRAPH plain(*db, 201, {});
  plain.index();
  test_model::GRAPH_BUILD build(*db);
  plain.allocate(build, 201);
  for (const test_model::NAIVE_NODE& node : plain.nodes())
    plain.set_fanout(build, node);
  build.publish();

  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  std::uint64_t edges = 0;
  std::uint64_t others = 0;
  const std::uint64_t before = allocations;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout()) {
      edges += static_cast<bool>(edge.get_fanout());
      others += static_cast<bool>(edge.get_mux_input());
    }
    for (const KEP_ROUTING::REV_EDGE& edge : node.iter_all_fanin())
      edges += static_cast<bool>(edge.get_fanin());
    others += static_cast<bool>(node.get_hipi_node()) + static_cast<bool>(node.get_unfolded_inst_port()) +
              graph.get_index(node);
  }
  graph.visit_edges(graph.iter_nodes(), [&](const KEP_ROUTING::NODE&, const KEP_ROUTING::NODE&) { ++edges; });
  const std::uint64_t after = allocations;
  ::operator delete(::operator new(sizeof(int)));
  const std::uint64_t one_more = allocations;
  EXPECT_EQ(after, before);
  EXPECT_EQ(one_more, after + 1) << "allocations are not counted";
  EXPECT_GT(edges, 100U);
  EXPECT_GT(others, 100U);
}
