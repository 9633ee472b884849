// The tables of redundancy_fixup on random models, beside a search upward.

#include "kep_rg/kep_rg_parse.h"
#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"
#include "tests/support/build_access.h"
#include "tests/support/ports_below.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace redundancy_fixup_random_test {

using parse_redundancy::quiet_parser;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using ACCESS = KEP_RG_TEST_ACCESS;

using KEY = std::pair<std::vector<KEP_INSTANCE*>, KEP_PORT*>;
using TABLE = std::map<KEY, KEP_PORT*>;

/// Random muxes, some of them skipped, some with exceptions, and arcs without a mux.
void describe_at_random(KEP_DB* db, RANDOM_SOURCE& random) {
  std::vector<KEP_INSTANCE*> instances;
  for (KEP_MODULE* module : db->iter_modules(true))
    for (KEP_INSTANCE* instance : module->iter_instances())
      instances.push_back(instance);
  for (KEP_MODULE* module : db->iter_modules(true)) {
    if (module->get_num_ports() == 0 || random.percent(50)) continue;
    for (unsigned left = 1 + random.below(2); left != 0; --left) {
      KEP_ROUTING_MUX* const mux =
          random.percent(10) ? nullptr : KEP_ROUTING_MUX::allocate(db, module, random.percent(25));
      const auto any_port = [&] { return module->get_port_by_index(random.below(module->get_num_ports())); };
      for (unsigned arcs = 1 + random.below(3); arcs != 0; --arcs)
        KEP_ROUTING_ARC::allocate(db, any_port(), any_port(), mux);
      if (mux && !instances.empty() && random.percent(20))
        mux->add_skip_exception_instance(random.pick(instances));
    }
  }
}

/// Both tables by search: inner ports are followed upward, and not the outer ones down.
class NAIVE_TABLES {
public:
  explicit NAIVE_TABLES(const KEP_DB& db) {
    for (const KEP_ROUTING_ARC* arc :
         db.get_routing_template_graph()->get_routing_primitive()->iter_routing_arcs(false)) {
      const KEP_ROUTING_MUX* mux = arc->get_parent();
      if (!mux) continue;
      m_output_to_input.emplace(KEY{{}, arc->get_output()}, arc->get_input());
      if (!mux->get_skip() && mux->get_num_skip_exception_instance() == 0)
        m_live.insert(arc->get_input()->get_parent());
    }
    for (KEP_MODULE* module : m_live)
      search(module);
  }

  TABLE m_inner_to_outer;
  TABLE m_output_to_input;

private:
  /// All chains below the module that end at the first module with live arcs.
  void search(KEP_MODULE* module) {
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      m_chain.push_back(instance);
      if (!m_live.contains(instance->get_module()))
        search(instance->get_module());
      else
        for (KEP_PORT* port : instance->get_module()->iter_ports()) {
          const std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> outer = wired(m_chain.size(), port);
          if (!outer.empty()) m_inner_to_outer[{m_chain, port}] = *outer.begin();
        }
      m_chain.pop_back();
    }
  }
  /// The ports of the outermost module that are wired down to the port below the first `depth` instances.
  std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> wired(std::size_t depth, const KEP_PORT* port) const {
    std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> found;
    const KEP_NET* net = m_chain[depth - 1]->get_inst_port_for_port(port)->get_net();
    if (!net) return found;
    for (KEP_PORT* above : net->iter_ports())
      if (depth == 1)
        found.insert(above);
      else
        found.merge(wired(depth - 1, above));
    return found;
  }

  std::set<KEP_MODULE*> m_live;
  std::vector<KEP_INSTANCE*> m_chain;
};

TABLE as_map(const KEP_RG_RELATIVE_PORT_TO_PORT& table) {
  TABLE found;
  for (const KEP_RG_RELATIVE_PORT* key : table.iter_relative_ports())
    found[{*key->get_instances(), key->get_port()}] = table.find(key);
  return found;
}

TEST(RedundancyFixupRandom, HasTheRulesThatASearchUpwardFinds) {
  std::size_t rules[4] = {};
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    describe_at_random(db.get(), random);
    KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(db.get());
    const KEP_RG_MODULE_RELATIVE_PORTS none{};
    KEP_RG_MODULE_RELATIVE_PORTS out;
    parser.fixup(&out, &none);
    const NAIVE_TABLES naive(*db);
    EXPECT_EQ(as_map(*parser.get_inner_to_outer()), naive.m_inner_to_outer);
    EXPECT_EQ(as_map(*parser.get_output_to_input()), naive.m_output_to_input);
    if (HasFailure()) FAIL() << test_model::describe(*db);
    for (const auto& [key, value] : naive.m_inner_to_outer)
      ++rules[std::min<std::size_t>(key.first.size(), 3)];
  }
  EXPECT_GT(rules[1], 500U);
  EXPECT_GT(rules[2], 100U);
  EXPECT_GT(rules[3], 5U);
}

/// Rewrites every port below the module; gives how many rewrites that took.
std::size_t compare_below(KEP_MODULE* top, KEP_RG_PARSE_REDUNDANCY& parser) {
  KEP_RG_MODULE_RELATIVE_PORTS in;
  test_model::for_each_port_below(top, [&](const std::vector<KEP_INSTANCE*>& chain, KEP_PORT* port) {
    in.add(ACCESS::relative_port(chain, port));
  });
  KEP_RG_MODULE_RELATIVE_PORTS out;
  const std::size_t count = parser.fixup(&out, &in);
  EXPECT_EQ(out.size(), in.size());
  if (out.size() != in.size()) return count;
  std::size_t expected_count = 0;
  auto at = out.iter_relative_ports().begin();
  for (const KEP_RG_RELATIVE_PORT* each : in.iter_relative_ports()) {
    KEP_RG_RELATIVE_PORT middle = *each;
    expected_count += parser.get_inner_to_outer()->apply(&middle, each);
    KEP_RG_RELATIVE_PORT last = middle;
    expected_count += parser.get_output_to_input()->apply(&last, &middle);
    EXPECT_EQ(**at, last) << each->get_name();
    ++at;
  }
  EXPECT_EQ(count, expected_count);
  return count;
}

TEST(RedundancyFixupRandom, AppliesOneTableAfterTheOther) {
  std::size_t rewritten = 0;
  for (const std::uint64_t seed : SEEDS(1, 300)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    describe_at_random(db.get(), random);
    KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(db.get());
    for (KEP_MODULE* top : db->iter_modules(true))
      rewritten += compare_below(top, parser);
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(rewritten, 2000U);
}

} // namespace redundancy_fixup_random_test
