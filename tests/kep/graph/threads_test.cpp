#include "kep/kep_flat_utils.h"
#include "kep/kep_numbered_graph.h"
#include "tests/support/graph_text.h"
#include "tests/support/random_graph.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

namespace threads_test {

/// Many threads over one database and one graph; what they see is told by the results, and races by the
/// thread sanitizer.

using test_model::GRAPH_BUILD;
using test_model::RANDOM_GRAPH;

constexpr unsigned THREADS = 8;
const KEP_NAME_STYLE STYLE{};

/// Runs the body at once on all threads and gives what each of them returned.
std::vector<std::size_t> on_all_threads(const auto& body) {
  std::barrier start(THREADS);
  std::vector<std::size_t> results(THREADS);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i != THREADS; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      results[i] = body(i);
    });
  for (std::thread& thread : threads)
    thread.join();
  return results;
}

/// Folds all that can be read below a module into one number.
std::size_t read_below(const KEP_DB& db, const KEP_UNFOLDED_MODULE& module, const KEP_UNFOLDED_MODULE& top) {
  std::size_t sum = 1;
  for (unsigned i = 0; i != module.m_object->get_num_ports(); ++i) {
    const KEP_UNFOLDED_PORT port = module.get_unfolded_port_by_index(i);
    const KEP_RELATIVE_PATH path = port - top;
    sum = sum * 31 + hash_value(path) + (top + path == port.get_parent());
    sum += port.get_name(STYLE).size() + (path.get_port(&db) == port.m_object);
    sum += module.m_object->find_port(port.m_object->get_plain_name())->get_index();
    for (const KEP_UNFOLDED_INST_PORT& each : port.get_unfolded_net().iter_inst_ports())
      sum = sum * 31 + each.m_object->get_number();
  }
  for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
    sum += module.m_object->find_instance(instance.m_object->get_plain_name())->get_index();
    sum += instance.get_name(STYLE).size() + static_cast<bool>(instance.get_ip_root_instance());
    for (const KEP_UNFOLDED_INST_PORT& each : instance.iter_inst_ports())
      sum = sum * 31 + each.get_unfolded_net().get_name(STYLE).size();
    for (const KEP_VIEW_TYPE view : test_model::ALL_VIEWS)
      if (const KEP_UNFOLDED_MODULE inner = instance.get_module(view))
        sum = sum * 31 + read_below(db, inner, top);
  }
  return sum;
}

struct LEAVES_ARE_BOTTOM {
  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_GET_LEAF_PARAMS&) const { return false; }
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS&) const {
    return uip.m_object->get_inst()->get_module()->get_num_instances() == 0;
  }
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_PORT&,
                     const KEP_UNFOLDED_INST_PORT&, const KEP_UNFOLDED_PORT&) const {
    return false;
  }
  bool is_ignore_port(const KEP_UNFOLDED_PORT&) const { return false; }
  void get_trace_thru_outputs(const KEP_UNFOLDED_INST_PORT&, std::vector<KEP_UNFOLDED_INST_PORT>&) const {}
  bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT&) const { return true; }
};

std::unique_ptr<KEP_DB> make_large_db(std::uint64_t seed) {
  test_model::RANDOM_MODEL_LIMITS limits;
  limits.m_max_size = 1500;
  limits.m_max_kinds = 7;
  return test_model::make_random_db(seed, limits);
}

TEST(Threads, ReadOneDatabaseAtOnce) {
  std::size_t read = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 20)) {
    const auto db = make_large_db(seed);
    const KEP_UNFOLDED_MODULE top = db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    read += top.m_object->get_size();
    const auto results = on_all_threads([&](unsigned) { return read_below(*db, top, top); });
    for (const std::size_t each : results)
      EXPECT_EQ(each, results[0]);
  }
  EXPECT_GT(read, 1000U);
}

TEST(Threads, SearchWithOneLeafSearch) {
  std::size_t found = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 20)) {
    const auto db = make_large_db(seed);
    const std::vector<KEP_UNFOLDED_INST_PORT> uips = test_model::NAIVE_HIERARCHY(*db).uips();
    KEP_UNFOLD_OBSERVER silent;
    const KEP_LEAF_SEARCH<LEAVES_ARE_BOTTOM> search(LEAVES_ARE_BOTTOM(), &silent);
    KEP_GET_LEAF_PARAMS params;
    params.m_view_type_rank = KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW);
    params.m_direction = KEP_LEAF_DIRECTION::BOTH;
    const auto results = on_all_threads([&](unsigned) {
      std::size_t sum = 0;
      for (const KEP_UNFOLDED_INST_PORT& uip : uips) {
        KEP_LEAF_RESULTS leaves;
        search.find_leaves(uip, {}, leaves, params, {}, {});
        sum = sum * 31 + leaves.m_uips.size() * 7 + leaves.m_visited_nets.size();
      }
      return sum;
    });
    for (const std::size_t each : results)
      EXPECT_EQ(each, results[0]);
    found += results[0] != 0;
  }
  EXPECT_GT(found, 10U);
}

TEST(Threads, SetFanoutsAndLookNodesUpAtOnce) {
  for (const std::uint64_t seed : test_model::SEEDS(0, 20)) {
    const auto db = make_large_db(seed);
    const RANDOM_GRAPH graph(*db, seed, {});
    GRAPH_BUILD one(*db);
    graph.fill(one, 1);
    const int templates = one.edges().get_num_templates();
    one.publish();
    const std::string expected = test_model::whole_graph(*db);

    GRAPH_BUILD many(*db);
    graph.allocate(many, 2);
    std::atomic<std::size_t> next = 0;
    on_all_threads([&](unsigned) {
      while (true) {
        const std::size_t i = next++;
        if (i >= graph.nodes().size()) return i;
        graph.set_fanout(many, graph.nodes()[i]);
      }
    });
    EXPECT_EQ(many.edges().get_num_templates(), templates);
    many.publish();
    EXPECT_EQ(test_model::whole_graph(*db), expected);
  }
}

TEST(Threads, ReadOneFinishedGraphAtOnce) {
  std::size_t lines = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 10)) {
    const auto db = make_large_db(seed);
    const RANDOM_GRAPH graph(*db, seed, {});
    graph.publish(*db, 1);
    const std::string expected = test_model::whole_graph(*db);
    lines += static_cast<std::size_t>(std::count(expected.begin(), expected.end(), '\n'));
    const KEP_ROUTING::NUMBERED_GRAPH numbers(*db->get_routing_template_graph());
    on_all_threads([&](unsigned) {
      EXPECT_EQ(test_model::whole_graph(*db), expected);
      std::int64_t fanouts = 0, fanins = 0;
      for (std::uint32_t node = 0; node != numbers.get_num_nodes(); ++node) {
        for (const KEP_ROUTING::NUMBERED_FWD_EDGE& edge : numbers.iter_all_fanout(node))
          fanouts += std::int64_t{edge.get_fanout()} - node;
        for (const KEP_ROUTING::NUMBERED_REV_EDGE& edge : numbers.iter_all_fanin(node))
          fanins += std::int64_t{node} - edge.get_fanin();
      }
      EXPECT_EQ(fanouts, fanins);
      for (const test_model::NAIVE_NODE& node : graph.nodes())
        if (!node.m_port) {
          EXPECT_TRUE(KEP_ROUTING::NODE(node.m_uip, node.m_key.m_hipi));
        }
      return 0;
    });
  }
  EXPECT_GT(lines, 1000U);
}

} // namespace threads_test
