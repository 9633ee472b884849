// One finder serves several threads at once.

#include "kep_rg/kep_rg_find_routing_node_on_net.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/named_model.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace find_routing_node_threads_test {

constexpr int NUM_WIRES = 200;

/// Wires that cross modules; each begins at the mux s of a row and leads to the mux k of the next one. Every
/// third one branches on its way.
std::string model() {
  std::string text = R"(
    module CELL
      ports >a >b <o
    module THROUGH
      ports >i <o
      net n i o
    module ROW
      ports >in <out
      inst s CELL
      inst k CELL
      inst t THROUGH
      net n s.o t.i
      net m t.o out
      net q in k.a
    module TOP top
)";
  for (int i = 0; i != NUM_WIRES; ++i)
    text += fmt::format(" inst r{0} ROW\n inst x{0} CELL\n", i);
  for (int i = 0; i != NUM_WIRES; ++i)
    text += fmt::format(" net n{0} r{0}.out r{1}.in{2}\n", i, (i + 1) % NUM_WIRES,
                        i % 3 == 0 ? fmt::format(" x{}.a", i) : "");
  return text;
}

TEST(FindRoutingNodeThreads, GivesEachThreadWhatOneAloneFinds) {
  NAMED_MODEL model_of_wires(model());
  std::vector<std::string> names;
  for (int i = 0; i != NUM_WIRES; ++i)
    for (const char* cell : {"/s:o", "/k:a"})
      names.push_back(fmt::format("r{}{}", i, cell));
  test_model::EDITED_GRAPH(*model_of_wires.db(), names).publish();
  KEP_UNFOLD_OBSERVER observer;
  const KEP_RG_FIND_ROUTING_NODE_ON_NET finder(KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, &observer);
  const auto find_all = [&] {
    std::vector<KEP_ROUTING::NODE> found;
    for (const KEP_ROUTING::NODE& node : model_of_wires.db()->get_routing_template_graph()->iter_nodes())
      found.push_back(finder.find_routing_node(node));
    return found;
  };
  const std::vector<KEP_ROUTING::NODE> alone = find_all();
  std::size_t num_found = 0;
  for (const KEP_ROUTING::NODE& node : alone)
    num_found += static_cast<bool>(node);
  EXPECT_EQ(num_found, 2U * (NUM_WIRES - (NUM_WIRES + 2) / 3)) << "both ends of each wire without a branch";
  std::vector<std::vector<KEP_ROUTING::NODE>> seen(2);
  std::vector<std::thread> threads;
  for (std::vector<KEP_ROUTING::NODE>& own : seen)
    threads.emplace_back([&] {
      for (int i = 0; i != 20; ++i)
        own = find_all();
    });
  for (std::thread& thread : threads)
    thread.join();
  for (const std::vector<KEP_ROUTING::NODE>& own : seen)
    EXPECT_TRUE(own == alone);
}

} // namespace find_routing_node_threads_test
