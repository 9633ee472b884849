#include "tests/support/naive_hierarchy.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace random_unfolded_test {

/// Every operation of the unfolded values on random hierarchies, beside the same hierarchy spelled out.

using test_model::NAIVE_HIERARCHY;
using test_model::NAIVE_OCCURRENCE;
using test_model::naive_view;

constexpr std::uint64_t NUM_SEEDS = 2000;
const KEP_NAME_STYLE STYLE{};

std::vector<KEP_VIEW_TYPE_RANK> some_ranks() {
  using V = KEP_VIEW_TYPE;
  return {KEP_VIEW_TYPE_RANK(),
          KEP_VIEW_TYPE_RANK(V::DEFAULT_VIEW),
          KEP_VIEW_TYPE_RANK(V::LOGICAL),
          KEP_VIEW_TYPE_RANK(V::BLC, V::LOGICAL),
          KEP_VIEW_TYPE_RANK(V::LOGICAL_TWIN, V::VIEW_1),
          KEP_VIEW_TYPE_RANK(V::VIEW_1, V::DEFAULT_VIEW)};
}

std::string below(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "/" + name;
}

/// What really occurred, over all seeds.
struct COUNTS {
  std::size_t m_occurrences = 0, m_in_second_views = 0, m_several_tops = 0, m_empty_ranks = 0, m_nets = 0,
              m_open_ports = 0, m_ip_roots = 0, m_no_ip_roots = 0, m_like_places = 0, m_paths = 0,
              m_foreign_subtractions = 0, m_foreign_modules = 0;
};

class CHECK {
public:
  CHECK(const KEP_DB& db, COUNTS& counts) : m_db(db), m_counts(counts), m_naive(db) {}

  void run() {
    if (m_naive.tops().size() > 1) ++m_counts.m_several_tops;
    check_tops();
    check_distinct();
    for (const NAIVE_OCCURRENCE* at : m_naive.all()) {
      check_module(*at);
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        check_instance(*at, instance);
      check_ports(*at);
      check_nets(*at);
    }
    for (const NAIVE_OCCURRENCE* at : m_naive.all())
      check_paths(*at);
    check_path_words();
    check_like_places();
  }

private:
  void check_tops() {
    KEP_MODULE* top = m_db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    EXPECT_EQ(m_db.get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW),
              m_db.get_top_unfolded_module(top->get_view_type()));
    for (const KEP_VIEW_TYPE view : test_model::ALL_VIEWS)
      EXPECT_EQ(m_db.get_top_unfolded_module(view).m_object, naive_view(top, view));
  }

  /// Different places are different values, and equal ones hash alike.
  void check_distinct() {
    std::set<std::pair<std::uint64_t, const void*>> modules, instances, uips, ports;
    std::size_t num_instances = 0, num_uips = 0, num_ports = 0;
    for (const NAIVE_OCCURRENCE* at : m_naive.all()) {
      ++m_counts.m_occurrences;
      if (at->m_module->get_db() != &m_db) ++m_counts.m_foreign_modules;
      if (at->m_instance && at->m_instance->get_module() != at->m_module) ++m_counts.m_in_second_views;
      modules.insert({at->m_value.m_position, at->m_value.m_object});
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances()) {
        ++num_instances;
        instances.insert({instance.m_position, instance.m_object});
        for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports()) {
          ++num_uips;
          uips.insert({uip.m_position, uip.m_object});
        }
      }
      for (unsigned i = 0; i != at->m_module->get_num_ports(); ++i) {
        ++num_ports;
        const KEP_UNFOLDED_PORT port = at->m_value.get_unfolded_port_by_index(i);
        ports.insert({port.m_position, port.m_object});
      }
    }
    EXPECT_EQ(modules.size(), m_naive.all().size());
    EXPECT_EQ(instances.size(), num_instances);
    EXPECT_EQ(uips.size(), num_uips);
    EXPECT_EQ(ports.size(), num_ports);
  }

  void check_module(const NAIVE_OCCURRENCE& at) {
    ASSERT_EQ(at.m_value.m_object, at.m_module);
    const KEP_UNFOLDED_INSTANCE above = at.m_value.get_unfolded_instance();
    if (!at.m_parent) {
      EXPECT_EQ(above.m_object, nullptr);
      EXPECT_EQ(above, KEP_UNFOLDED_INSTANCE());
    } else {
      EXPECT_EQ(above, at.m_parent->unfolded(at.m_instance));
      EXPECT_EQ(above.hash(), at.m_parent->unfolded(at.m_instance).hash());
      EXPECT_EQ(above.get_parent(), at.m_parent->m_value);
    }
    std::vector<KEP_INSTANCE*> found;
    for (const KEP_UNFOLDED_INSTANCE& instance : at.m_value.iter_instances())
      found.push_back(instance.m_object);
    const auto expected = at.m_module->iter_instances();
    EXPECT_EQ(found, std::vector<KEP_INSTANCE*>(expected.begin(), expected.end()));
    EXPECT_EQ(at.m_value.get_unfolded_port_by_index(at.m_module->get_num_ports()).m_object, nullptr);
  }

  void check_instance(const NAIVE_OCCURRENCE& at, const KEP_UNFOLDED_INSTANCE& instance) {
    KEP_MODULE* master = instance.m_object->get_module();
    const std::string name = below(at.m_path, instance.m_object->get_plain_name());
    EXPECT_EQ(instance.get_name(STYLE), name);
    EXPECT_EQ(instance.get_parent(), at.m_value);
    EXPECT_EQ(instance.get_module(KEP_VIEW_TYPE::DEFAULT_VIEW), instance.get_module(master->get_view_type()));
    for (const KEP_VIEW_TYPE view : test_model::ALL_VIEWS) {
      EXPECT_EQ(instance.get_module(view).m_object, naive_view(master, view));
      EXPECT_EQ(instance.get_module(KEP_VIEW_TYPE_RANK(view)), instance.get_module(view));
    }
    for (const KEP_VIEW_TYPE_RANK& rank : some_ranks()) {
      const KEP_UNFOLDED_MODULE in_rank = instance.get_module(rank);
      KEP_MODULE* expected = naive_view(master, rank);
      EXPECT_EQ(in_rank.m_object, expected);
      if (!expected) ++m_counts.m_empty_ranks;
      if (expected) {
        EXPECT_EQ(in_rank, at.child(instance.m_object, expected)->m_value);
      }
    }
    check_uips(at, instance, name);
    check_ip_root(at, instance);
  }

  void check_uips(const NAIVE_OCCURRENCE& at, const KEP_UNFOLDED_INSTANCE& instance,
                  const std::string& name) {
    const KEP_MODULE* master = instance.m_object->get_module();
    unsigned index = 0;
    for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports()) {
      EXPECT_EQ(uip.m_object, instance.m_object->get_inst_port_by_index(index));
      EXPECT_EQ(instance.get_unfolded_inst_port_by_index(index), uip);
      EXPECT_EQ(instance.get_unfolding_of_inst_port(uip.m_object), uip);
      EXPECT_EQ(instance.get_unfolding_of_inst_port(uip.m_object).hash(), uip.hash());
      EXPECT_EQ(uip.get_unfolded_instance(), instance);
      EXPECT_EQ(uip.get_name(STYLE), name + ":" + master->get_port_by_index(index)->get_plain_name());
      std::string appended = "x";
      uip.append_name(STYLE, appended);
      EXPECT_EQ(appended, "x" + uip.get_name(STYLE));
      if (at.m_module->get_db() == &m_db) {
        EXPECT_EQ(uip.get_db(), &m_db);
      }
      EXPECT_EQ(uip.get_unfolded_net().m_object, uip.m_object->get_net());
      for (const KEP_VIEW_TYPE_RANK& rank : some_ranks()) {
        const KEP_UNFOLDED_PORT inner = uip.get_unfolded_port(rank);
        EXPECT_EQ(inner, instance.get_module(rank).get_unfolded_port_by_index(index));
        if (inner) {
          EXPECT_EQ(inner.get_unfolded_inst_port(), uip);
        }
      }
      ++index;
    }
    EXPECT_EQ(index, master->get_num_ports());
    EXPECT_EQ(instance.get_unfolded_inst_port_by_index(index).m_object, nullptr);
  }

  void check_ip_root(const NAIVE_OCCURRENCE& at, const KEP_UNFOLDED_INSTANCE& instance) {
    KEP_UNFOLDED_INSTANCE expected = instance;
    const NAIVE_OCCURRENCE* holder = &at;
    while (!expected.m_object->get_module()->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) {
      if (!holder->m_parent) {
        expected = {};
        break;
      }
      expected = holder->m_parent->unfolded(holder->m_instance);
      holder = holder->m_parent;
    }
    EXPECT_EQ(instance.get_ip_root_instance(), expected);
    ++(expected ? m_counts.m_ip_roots : m_counts.m_no_ip_roots);
  }

  void check_ports(const NAIVE_OCCURRENCE& at) {
    for (unsigned i = 0; i != at.m_module->get_num_ports(); ++i) {
      const KEP_UNFOLDED_PORT port = at.m_value.get_unfolded_port_by_index(i);
      EXPECT_EQ(port.m_object, at.m_module->get_port_by_index(i));
      EXPECT_EQ(port.get_name(STYLE), at.m_path + ":" + port.m_object->get_plain_name());
      EXPECT_EQ(port.get_parent(), at.m_value);
      EXPECT_EQ(port.get_unfolded_net().m_object, port.m_object->get_net());
      if (!port.m_object->get_net()) ++m_counts.m_open_ports;
      const KEP_UNFOLDED_INST_PORT outer = port.get_unfolded_inst_port();
      if (!at.m_parent)
        EXPECT_EQ(outer.m_object, nullptr);
      else
        EXPECT_EQ(outer, at.m_parent->unfolded(at.m_instance).get_unfolded_inst_port_by_index(i));
    }
  }

  /// The net values of one occurrence: the same from every member, and their members are those of the place.
  void check_nets(const NAIVE_OCCURRENCE& at) {
    std::vector<KEP_UNFOLDED_NET> nets;
    for (const KEP_NET* folded : at.m_module->iter_nets()) {
      ++m_counts.m_nets;
      KEP_UNFOLDED_NET net;
      std::vector<KEP_UNFOLDED_PORT> ports;
      for (const KEP_PORT* port : folded->iter_ports()) {
        ports.push_back(at.m_value.get_unfolded_port_by_index(port->get_index()));
        if (net) {
          EXPECT_EQ(ports.back().get_unfolded_net(), net);
        }
        net = ports.back().get_unfolded_net();
      }
      std::vector<KEP_UNFOLDED_INST_PORT> uips;
      for (const KEP_INST_PORT* inst_port : folded->iter_inst_ports()) {
        uips.push_back(at.unfolded(inst_port));
        if (net) {
          EXPECT_EQ(uips.back().get_unfolded_net(), net);
        }
        if (net) {
          EXPECT_EQ(uips.back().get_unfolded_net().hash(), net.hash());
        }
        net = uips.back().get_unfolded_net();
      }
      ASSERT_EQ(net.m_object, folded);
      EXPECT_EQ(net.get_name(STYLE), below(at.m_path, folded->get_plain_name()));
      EXPECT_TRUE(std::ranges::equal(net.iter_ports(), ports));
      EXPECT_TRUE(std::ranges::equal(net.iter_inst_ports(), uips));
      nets.push_back(net);
    }
    for (std::size_t i = 0; i != nets.size(); ++i)
      for (std::size_t j = 0; j != nets.size(); ++j)
        EXPECT_EQ(nets[i] < nets[j], i < j) << "within one occurrence nets keep their order";
    for (const KEP_UNFOLDED_NET& net : m_last_nets)
      for (const KEP_UNFOLDED_NET& other : nets) {
        EXPECT_FALSE(net == other);
        EXPECT_NE(net < other, other < net);
      }
    m_last_nets = nets;
  }

  /// The paths from every ancestor down to the ports of this occurrence.
  void check_paths(const NAIVE_OCCURRENCE& at) {
    for (unsigned i = 0; i != at.m_module->get_num_ports(); ++i) {
      const KEP_UNFOLDED_PORT port = at.m_value.get_unfolded_port_by_index(i);
      std::vector<KEP_INSTANCE*> chain;
      for (const NAIVE_OCCURRENCE* ancestor = &at; ancestor; ancestor = ancestor->m_parent) {
        const KEP_RELATIVE_PATH path = port - ancestor->m_value;
        ASSERT_TRUE(path);
        EXPECT_EQ(ancestor->m_value + path, at.m_value);
        EXPECT_EQ(path, KEP_RELATIVE_PATH::create(chain, port.m_object));
        EXPECT_EQ(path.get_port(&m_db), port.m_object);
        EXPECT_EQ(path.get_module(&m_db), ancestor->m_module);
        EXPECT_EQ(path.get_instances(&m_db), chain);
        m_paths[{ancestor->m_module, chain, port.m_object}].insert(path.get_words());
        ++m_counts.m_paths;
        if (ancestor->m_instance) chain.insert(chain.begin(), ancestor->m_instance);
      }
      check_foreign_subtraction(at, port);
    }
  }

  void check_foreign_subtraction(const NAIVE_OCCURRENCE& at, const KEP_UNFOLDED_PORT& port) {
    for (const NAIVE_OCCURRENCE* other : m_naive.all()) {
      bool above = false;
      for (const NAIVE_OCCURRENCE* ancestor = &at; ancestor; ancestor = ancestor->m_parent)
        above = above || ancestor == other;
      if (above) continue;
      ++m_counts.m_foreign_subtractions;
      ASSERT_FALSE(port - other->m_value)
          << port.get_name(STYLE) << " - " << other->m_path << " " << other->m_module->get_key();
    }
  }

  /// Equal chains have equal words at every occurrence, different chains different ones.
  void check_path_words() {
    std::set<std::array<std::uint32_t, 4>> all;
    for (const auto& [chain, words] : m_paths) {
      EXPECT_EQ(words.size(), 1U);
      EXPECT_TRUE(all.insert(*words.begin()).second);
    }
  }

  /// A path taken at one occurrence leads to the like place at another, and nowhere below another module.
  void check_like_places() {
    for (const auto& [key, words] : m_paths) {
      const auto& [module, chain, port] = key;
      const KEP_RELATIVE_PATH path = KEP_RELATIVE_PATH::create(chain, port);
      for (const NAIVE_OCCURRENCE* at : m_naive.all()) {
        if (at->m_module != module) {
          ASSERT_EQ((at->m_value + path).m_object, nullptr);
          continue;
        }
        const NAIVE_OCCURRENCE* like = at;
        for (std::size_t i = 0; i != chain.size(); ++i)
          like =
              like->child(chain[i], i + 1 == chain.size() ? port->get_parent() : chain[i + 1]->get_parent());
        ASSERT_EQ(at->m_value + path, like->m_value);
        ++m_counts.m_like_places;
      }
    }
  }

  const KEP_DB& m_db;
  COUNTS& m_counts;
  NAIVE_HIERARCHY m_naive;
  std::vector<KEP_UNFOLDED_NET> m_last_nets;
  using PATH_KEY = std::tuple<KEP_MODULE*, std::vector<KEP_INSTANCE*>, const KEP_PORT*>;
  std::map<PATH_KEY, std::set<std::array<std::uint32_t, 4>>> m_paths;
};

TEST(RandomHierarchies, UnfoldAsTheyDoWhenSpelledOut) {
  COUNTS counts;
  test_model::RANDOM_MODEL_LIMITS limits;
  limits.m_max_size = 80;
  for (const std::uint64_t seed : test_model::SEEDS(0, NUM_SEEDS)) {
    const auto db = test_model::make_random_db(seed, limits);
    CHECK(*db, counts).run();
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(counts.m_occurrences, 10000U);
  EXPECT_GT(counts.m_in_second_views, 3000U);
  EXPECT_GT(counts.m_several_tops, 50U);
  EXPECT_GT(counts.m_empty_ranks, 1000U);
  EXPECT_GT(counts.m_nets, 5000U);
  EXPECT_GT(counts.m_open_ports, 1000U);
  EXPECT_GT(counts.m_ip_roots, 1000U);
  EXPECT_GT(counts.m_no_ip_roots, 1000U);
  EXPECT_GT(counts.m_paths, 10000U);
  EXPECT_GT(counts.m_like_places, 10000U);
  EXPECT_GT(counts.m_foreign_subtractions, 10000U);
  EXPECT_GT(counts.m_foreign_modules, 1000U);
}

TEST(RandomHierarchies, GiveEveryViewOfAPathOfNames) {
  std::size_t several = 0, none = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, NUM_SEEDS)) {
    const auto db = test_model::make_random_db(seed);
    const NAIVE_HIERARCHY naive(*db);
    if (naive.tops().size() != 1) continue;
    std::map<std::string, std::vector<KEP_UNFOLDED_INSTANCE>> expected;
    for (const NAIVE_OCCURRENCE* at : naive.all())
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        expected[instance.get_name(STYLE)].push_back(instance);
    for (const auto& [name, instances] : expected) {
      EXPECT_THAT(db->find_unfolded_instances(name), testing::UnorderedElementsAreArray(instances)) << name;
      several += instances.size() > 1;
    }
    for (const char* name : {"none", "i0/none", "i0/i0/i0/i0/i0/i0/i0/i0", "/", "i0/", "/i0", "i0//i1"}) {
      if (expected.count(name)) continue;
      EXPECT_THAT(db->find_unfolded_instances(name), testing::IsEmpty()) << name;
      ++none;
    }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(several, 300U);
  EXPECT_GT(none, 300U);
}

} // namespace random_unfolded_test
