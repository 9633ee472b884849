#include "kep/kep_routing_graph.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace random_wire_types_test {

/// The wire types of a store beside a map of all paths that bear one.

using test_model::NAIVE_HIERARCHY;
using test_model::NAIVE_OCCURRENCE;

using CHAIN = std::vector<KEP_INSTANCE*>;
using TYPES = std::map<std::tuple<const KEP_MODULE*, CHAIN, const KEP_PORT*>, std::string>;

/// Gives random ports a type, seen from random modules above them.
TYPES add_types(KEP_ROUTING_PRIMITIVE& store, const NAIVE_HIERARCHY& naive,
                test_model::RANDOM_SOURCE& random) {
  TYPES types;
  for (unsigned i = random.below(12); i; --i) {
    const NAIVE_OCCURRENCE* at = random.pick(naive.all());
    if (at->m_module->get_num_ports() == 0) continue;
    const KEP_PORT* port = at->m_module->get_port_by_index(random.below(at->m_module->get_num_ports()));
    const KEP_MODULE* start = at->m_module;
    CHAIN chain;
    for (; at->m_parent && random.percent(50); at = at->m_parent) {
      chain.insert(chain.begin(), at->m_instance);
      start = at->m_parent->m_module;
    }
    const std::string name = "type" + std::to_string(i);
    store.add_wire_type(KEP_RELATIVE_PATH::create(chain, port), name, 0);
    types[{start, chain, port}] = name;
  }
  return types;
}

struct COUNTS {
  std::size_t m_from_above = 0, m_alone = 0, m_none = 0;
};

/// The type of a uip that stands in that occurrence; empty for none.
std::string find_type(const TYPES& types, const NAIVE_OCCURRENCE* at, const KEP_UNFOLDED_INST_PORT& uip,
                      COUNTS& counts) {
  const KEP_PORT* port = uip.m_object->get_port();
  CHAIN chain{uip.m_object->get_inst()};
  std::string type;
  if (const auto own = types.find({port->get_parent(), {}, port}); own != types.end()) type = own->second;
  bool is_alone = !type.empty();
  for (const NAIVE_OCCURRENCE* above = at; above; above = above->m_parent) {
    if (const auto found = types.find({above->m_module, chain, port}); found != types.end()) {
      type = found->second; // a higher one replaces it
      is_alone = false;
    }
    if (above->m_instance) chain.insert(chain.begin(), above->m_instance);
  }
  ++(type.empty() ? counts.m_none : is_alone ? counts.m_alone : counts.m_from_above);
  return type;
}

TEST(RandomWireTypes, AreFoundFromTheTopDownAndLastOnThePortAlone) {
  COUNTS counts;
  for (const std::uint64_t seed : test_model::SEEDS(0, 1000)) {
    const auto db = test_model::make_random_db(seed);
    test_model::RANDOM_SOURCE random(seed + 2000000);
    KEP_ROUTING_PRIMITIVE& store = *db->get_routing_template_graph()->get_routing_primitive();
    const NAIVE_HIERARCHY naive(*db);
    const TYPES types = add_types(store, naive, random);
    for (const NAIVE_OCCURRENCE* at : naive.all())
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports()) {
          const KEP_WIRE_TYPE* found = store.find_wire_type(uip);
          EXPECT_EQ(found ? found->get_name() : "", find_type(types, at, uip, counts))
              << test_model::name_of(uip);
        }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_from_above, 1000U);
  EXPECT_GT(counts.m_alone, 1000U);
  EXPECT_GT(counts.m_none, 1000U);
}

} // namespace random_wire_types_test
