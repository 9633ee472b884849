// Every node of random devices is walked once more: what comes out are its edges of the graph, in their
// order.

#include "kep/kep_unfold_observer.h"
#include "kep_rg/kep_rg_debug.h"
#include "tests/support/build_case.h"
#include "tests/support/debugged_fanouts.h"
#include "tests/support/fabric_case.h"
#include "tests/support/random_device.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace debug_edges_random_test {

using test_model::FABRIC_CASE;
using test_model::RANDOM_DEVICE;
using test_model::SEEDS;

struct SEEN {
  std::uint64_t m_real = 0, m_redundant = 0, m_to_twin = 0, m_to_boundary = 0, m_refused = 0;
};

/// How a walk begins and ends, and how many calls it makes.
class ENDS_OF_WALK : public KEP_UNFOLD_OBSERVER {
public:
  void close() override { tell("close"); }
  void start_uip(const KEP_UNFOLDED_INST_PORT& uip) override {
    tell(m_num_calls == 0 ? "start_uip " + test_model::name_of(uip) : "start_uip");
  }
  void finish_uip() override { tell("finish_uip"); }
  void start_net(const KEP_UNFOLDED_NET& /*net*/) override { tell("start_net"); }
  void visit(const KEP_UNFOLDED_PORT& /*port*/, VISIT_TYPE /*type*/) override { tell("visit"); }
  void visit(const KEP_UNFOLDED_INST_PORT& /*uip*/, VISIT_TYPE /*type*/) override { tell("visit"); }

  std::size_t m_num_calls = 0;
  std::string m_first, m_last;

private:
  void tell(const std::string& call) {
    if (m_num_calls++ == 0) m_first = call;
    m_last = call;
  }
};

/// One that made nodes and no edges, as the finished graph is there.
std::unique_ptr<KEP_RG_BUILD> make_second_builder(BUILD_CASE& c) {
  auto builder = std::make_unique<KEP_RG_BUILD>(c.db(), KEP_RG_BUILD_PARAMS());
  c.report([&] {
    builder->build_nodes();
    if (c.db()->get_db_type() != KEP_DB_TYPE::NO_REDUNDANCY) builder->build_redundant_inputs();
  });
  return builder;
}

/// Every second node without an observer.
void compare(BUILD_CASE& c, KEP_RG_BUILD& builder, SEEN& seen) {
  const std::string graph = test_model::whole_graph(*c.db());
  bool watches = false;
  for (const KEP_ROUTING::NODE& node : c.db()->get_routing_template_graph()->iter_nodes()) {
    if (node.is_hipi() || node.is_boundary()) continue;
    std::vector<std::string> expected;
    test_model::append_edges(node, false, expected);
    seen.m_real += expected.size();
    test_model::append_edges(node, true, expected);
    seen.m_redundant += node.get_num_edges() - node.get_num_real_edges();
    KEP_RG_DBG_FANOUTS fanouts;
    ENDS_OF_WALK walk;
    const KEP_UNFOLDED_INST_PORT uip = node.get_unfolded_inst_port();
    watches = !watches;
    c.report([&] { builder.debug_edges(&fanouts, uip, false, watches ? &walk : nullptr); });
    EXPECT_EQ(test_model::lines_of(uip, fanouts), expected);
    if (watches) {
      EXPECT_GE(walk.m_num_calls, 5U);
      EXPECT_EQ(walk.m_first, "start_uip " + test_model::name_of(uip));
      EXPECT_EQ(walk.m_last, "close");
    }
    for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter()) {
      seen.m_to_twin += fanout->get_routing_node()->is_hipi();
      seen.m_to_boundary += fanout->get_routing_node()->is_boundary();
    }
  }
  EXPECT_EQ(test_model::whole_graph(*c.db()), graph);
}

TEST(DebugEdgesOfRandomDevices, GivesTheEdgesOfEachNodeOfAFabricInTheOrderOfTheGraph) {
  SEEN seen;
  const std::uint64_t seeds = 1000;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    FABRIC_CASE c(seed);
    c.build(KEP_RG_BUILD_PARAMS().set_num_threads(1 + static_cast<int>(seed % 2)));
    compare(c, seed % 3 == 0 ? *make_second_builder(c) : c.builder(), seen);
    if (HasFailure()) FAIL() << c.text();
  }
  EXPECT_GT(seen.m_real, 10 * seeds);
  EXPECT_GT(seen.m_redundant, seeds / 4);
  EXPECT_GT(seen.m_to_twin, seeds / 4);
  EXPECT_GT(seen.m_to_boundary, seeds / 4);
}

TEST(DebugEdgesOfRandomDevices, GivesTheEdgesOfEachNodeWhateverASearchMeets) {
  SEEN seen;
  const std::uint64_t seeds = 300;
  for (const std::uint64_t seed : SEEDS(1, seeds)) {
    RANDOM_DEVICE device(seed);
    BUILD_CASE c(device.text());
    try {
      device.describe(c);
      c.build();
      compare(c, seed % 3 == 0 ? *make_second_builder(c) : c.builder(), seen);
    } catch (const KEP_EXCEPTION&) {
      ++seen.m_refused;
    }
    if (HasFailure()) FAIL() << device.text();
  }
  EXPECT_GT(seen.m_real, 30 * seeds);
  EXPECT_GT(seen.m_redundant, seeds / 4);
  EXPECT_GT(seen.m_to_twin, seeds / 4);
  EXPECT_GT(seen.m_to_boundary, seeds / 4);
  EXPECT_LT(seen.m_refused, seeds / 4);
}

} // namespace debug_edges_random_test
