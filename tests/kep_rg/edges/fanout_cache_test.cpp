#include "kep_rg/detail/kep_rg_fanout_cache.h"
#include "tests/support/build_access.h"
#include "tests/support/named_model.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_set>
#include <utility>
#include <vector>

namespace fanout_cache_test {

using UIPS = std::vector<KEP_UNFOLDED_INST_PORT>;
using CACHE = KEP_RG_FANOUT_CACHE;

// Two rows of two cells; a cell holds a mux m and a block b, which has a mux of its own.
class FanoutCache : public testing::Test {
protected:
  UIPS uips(const std::vector<std::string>& names) const {
    UIPS found;
    for (const std::string& name : names)
      found.push_back(m_model.uip(name));
    return found;
  }
  KEP_UNFOLDED_MODULE master(const std::string& instance) const {
    return m_model.unfolded_instance(instance).get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  }
  bool store(const std::string& driver, const std::string& top, const std::vector<std::string>& leaves) {
    return m_cache.store(m_model.uip(driver), top.empty() ? KEP_UNFOLDED_MODULE() : master(top),
                         uips(leaves));
  }
  /// The name of the instance of the module climbed to, then the leaves; "none" without an answer.
  std::string find(const std::string& driver) {
    UIPS leaves;
    const KEP_UNFOLDED_MODULE module = m_cache.find(m_model.uip(driver), leaves);
    if (!module) return leaves.empty() ? "none" : "leaves without an answer";
    std::string text = module.get_unfolded_instance().get_name(KEP_NAME_STYLE()) + ":";
    for (const KEP_UNFOLDED_INST_PORT& leaf : leaves)
      text += " " + leaf.get_name(KEP_NAME_STYLE());
    return text;
  }

  NAMED_MODEL m_model{R"(
    module MUX
      ports >a <o
    module BLOCK
      inst m MUX
      inst n MUX
    module CELL
      inst m MUX
      inst b BLOCK
    module ROW
      inst c1 CELL
      inst c2 CELL
    module TOP top
      inst r1 ROW
      inst r2 ROW
      inst c CELL
  )"};
  CACHE m_cache;
};

TEST_F(FanoutCache, KnowsNothingAtFirst) {
  EXPECT_EQ(find("r1/c1/m:o"), "none");
}

TEST_F(FanoutCache, CarriesAnAnswerToEveryLikePlaceInItsOrder) {
  ASSERT_TRUE(
      store("r1/c1/m:o", "r1/c1", {"r1/c1/m:o", "r1/c1/b/n:a", "r1/c1/m:a", "r1/c1/b/m:a", "r1/c1/b/n:a"}));
  EXPECT_EQ(find("r2/c2/m:o"), "r2/c2: r2/c2/m:o r2/c2/b/n:a r2/c2/m:a r2/c2/b/m:a r2/c2/b/n:a");
  EXPECT_EQ(find("c/m:o"), "c: c/m:o c/b/n:a c/m:a c/b/m:a c/b/n:a");
  EXPECT_EQ(find("r1/c1/m:a"), "none") << "another port";
  EXPECT_EQ(find("r1/c1/b/m:o"), "none") << "another inst port of the same name";
}

TEST_F(FanoutCache, TellsPlacesBelowTheModuleApart) {
  ASSERT_TRUE(store("r1/c1/m:o", "r1", {"r1/c2/m:a"}));
  EXPECT_EQ(find("r2/c1/m:o"), "r2: r2/c2/m:a");
  EXPECT_EQ(find("r2/c2/m:o"), "none") << "c2 is not c1";
  EXPECT_EQ(find("c/m:o"), "none") << "in no row";
  ASSERT_TRUE(store("r1/c2/m:o", "r1", {"r1/c1/b/m:a"}));
  EXPECT_EQ(find("r2/c2/m:o"), "r2: r2/c1/b/m:a");
  EXPECT_EQ(find("r2/c1/m:o"), "r2: r2/c2/m:a");
  EXPECT_EQ(KEP_RG_TEST_ACCESS::count_answers(m_cache), 2U);
}

TEST_F(FanoutCache, EndsAtTheLowestLevel) {
  ASSERT_TRUE(store("r1/c1/b/m:o", "r1", {"r1/c2/m:a"}));
  ASSERT_TRUE(store("r1/c1/b/m:o", "r1/c1", {"r1/c1/m:a"}));
  EXPECT_EQ(find("r2/c1/b/m:o"), "r2/c1: r2/c1/m:a");
  ASSERT_TRUE(store("r1/c1/b/m:o", "", {"r1/c1/b/m:a"}));
  EXPECT_EQ(find("r2/c1/b/m:o"), "r2/c1/b/m: r2/c1/b/m:a");
}

TEST_F(FanoutCache, TakesTheMasterOfTheDriversInstanceForAnEmptyModule) {
  ASSERT_TRUE(store("r1/c1/m:a", "", {"r1/c1/m:a", "r1/c1/m:o"}));
  EXPECT_EQ(find("c/m:a"), "c/m: c/m:a c/m:o");
  EXPECT_FALSE(store("r1/c1/m:o", "", {"r1/c1/b/m:a"})) << "not below the master";
  EXPECT_FALSE(store("r1/c1/m:o", "r1/c1/m", {"r1/c1/m:o", "r1/c2/m:a"}));
  EXPECT_EQ(find("c/m:o"), "none");
}

TEST_F(FanoutCache, SeesWhatLiesInsideTheMasterOfTheDriversInstance) {
  NAMED_MODEL model(R"(
    module PIN
      ports >x
    module HALF
      inst p PIN
    module BLOCK
      ports >i
      inst h HALF
    module TILE
      inst other BLOCK
      inst b BLOCK
    module TOP top
      inst t TILE
      inst u TILE
  )");
  const KEP_UNFOLDED_MODULE block = model.unfolded_instance("t/b").get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  ASSERT_TRUE(m_cache.store(model.uip("t/b:i"), block, {model.uip("t/b/h/p:x"), model.uip("t/b:i")}));
  UIPS leaves;
  EXPECT_TRUE(m_cache.find(model.uip("u/b:i"), leaves));
  EXPECT_EQ(leaves, (UIPS{model.uip("u/b/h/p:x"), model.uip("u/b:i")}));
  EXPECT_FALSE(m_cache.store(model.uip("t/b:i"), block, {model.uip("t/other/h/p:x")}));
  EXPECT_FALSE(m_cache.store(model.uip("t/b:i"), block, {model.uip("t/other:i")}));
}

TEST_F(FanoutCache, ReplacesWhatStoodThere) {
  ASSERT_TRUE(store("r1/c1/m:o", "r1/c1", {"r1/c1/m:a"}));
  ASSERT_TRUE(store("c/m:o", "c", {"c/b/m:a", "c/b/n:a"}));
  EXPECT_EQ(find("r2/c2/m:o"), "r2/c2: r2/c2/b/m:a r2/c2/b/n:a");
  EXPECT_EQ(KEP_RG_TEST_ACCESS::count_answers(m_cache), 1U);
}

TEST_F(FanoutCache, RefusesWhatDoesNotStandBelowTheModule) {
  EXPECT_FALSE(store("r1/c1/m:o", "r1/c2", {"r1/c2/m:a"})) << "the driver";
  EXPECT_FALSE(store("r1/c1/m:o", "r1/c1", {"r1/c1/m:a", "r1/c2/m:a"})) << "a leaf";
  EXPECT_EQ(find("r1/c1/m:o"), "none");
  ASSERT_TRUE(store("r1/c1/m:o", "r1/c1", {"r1/c1/b/m:a"}));
  EXPECT_EQ(find("c/m:o"), "c: c/b/m:a") << "nothing is left of what was refused";
}

TEST_F(FanoutCache, TakesNothingForTheTopOfTheDevice) {
  const KEP_UNFOLDED_MODULE top = m_model.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  EXPECT_FALSE(m_cache.store(m_model.uip("c/m:o"), top, uips({"c/m:a"})));
  EXPECT_EQ(find("c/m:o"), "none");
}

TEST_F(FanoutCache, KeepsAnAnswerWithoutLeaves) {
  ASSERT_TRUE(store("r1/c1/m:o", "r1/c1", {}));
  EXPECT_EQ(find("c/m:o"), "c:");
}

TEST_F(FanoutCache, StopsToTakeAnswersWhenItIsFull) {
  ASSERT_TRUE(store("r1/c1/b/m:o", "r1/c1", {"r1/c1/m:a"}));
  const UIPS many(std::size_t{1} << 19, m_model.uip("r1/c1/m:a"));
  int taken = 0;
  while (taken != 100 && m_cache.store(m_model.uip("r1/c1/m:o"), master("r1/c1"), many))
    ++taken;
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, 100);
  UIPS leaves;
  EXPECT_TRUE(m_cache.find(m_model.uip("c/m:o"), leaves));
  EXPECT_EQ(leaves, UIPS(many.size(), m_model.uip("c/m:a")));
  EXPECT_EQ(find("c/b/m:o"), "c: c/m:a") << "and keeps the old ones";
}

/// Seventy modules, one in the other, and two such towers side by side. The innermost holds the muxes.
class DeepFanoutCache : public testing::Test {
protected:
  static constexpr int DEPTH = 70;

  static std::string text() {
    std::string model = R"(
      module MUX
        ports >a <o
      module L0
        inst m MUX
        inst n MUX
        inst k MUX
    )";
    for (int i = 1; i != DEPTH; ++i) {
      const std::string number = std::to_string(i);
      model += "module L" + number + "\n inst below L" + std::to_string(i - 1) + "\n inst x MUX\n";
    }
    return model + "module TOP top\n inst t L69\n inst u L69\n";
  }
  /// The instance whose master stands so many levels above that of the driver's own instance.
  static std::string instance(const std::string& tower, int level) {
    std::string path = tower;
    for (int i = level; i < DEPTH; ++i)
      path += "/below";
    return path;
  }
  KEP_UNFOLDED_INST_PORT uip(const std::string& tower, int level, const std::string& name) const {
    return m_model.uip(instance(tower, level) + "/" + name);
  }
  bool store(const std::string& driver, int level, const UIPS& leaves) {
    return m_cache.store(
        uip("t", 1, driver),
        m_model.unfolded_instance(instance("t", level)).get_module(KEP_VIEW_TYPE::DEFAULT_VIEW), leaves);
  }
  /// What is found at the like place of the other tower: the level of the module climbed to, 0 without an
  /// answer, and the leaves.
  std::pair<int, UIPS> find(const std::string& driver) {
    std::pair<int, UIPS> found;
    const KEP_UNFOLDED_MODULE module = m_cache.find(uip("u", 1, driver), found.second);
    for (int level = 1; module && level <= DEPTH; ++level)
      if (m_model.unfolded_instance(instance("u", level)) == module.get_unfolded_instance())
        found.first = level;
    return found;
  }

  NAMED_MODEL m_model{text()};
  CACHE m_cache;
};

TEST_F(DeepFanoutCache, FindsTheLowestOfTheLevelsAtWhichADriverHasAnswers) {
  using FOUND = std::pair<int, UIPS>;
  EXPECT_EQ(find("m:o"), FOUND(0, {}));
  ASSERT_TRUE(store("m:o", 69, {uip("t", 69, "x:a"), uip("t", 1, "n:a")}));
  EXPECT_EQ(find("m:o"), FOUND(69, {uip("u", 69, "x:a"), uip("u", 1, "n:a")}));
  ASSERT_TRUE(store("m:o", 63, {uip("t", 63, "x:a"), uip("t", 2, "x:a")}));
  EXPECT_EQ(find("m:o"), FOUND(63, {uip("u", 63, "x:a"), uip("u", 2, "x:a")}));
  ASSERT_TRUE(store("m:o", 5, {uip("t", 5, "x:a")}));
  EXPECT_EQ(find("m:o"), FOUND(5, {uip("u", 5, "x:a")}));
}

TEST_F(DeepFanoutCache, KeepsTheLevelsOfSeveralDriversApart) {
  using FOUND = std::pair<int, UIPS>;
  ASSERT_TRUE(store("m:o", 5, {uip("t", 5, "x:a")}));
  ASSERT_TRUE(store("n:o", 63, {uip("t", 63, "x:a")}));
  ASSERT_TRUE(store("k:o", 69, {uip("t", 69, "x:a")}));
  EXPECT_EQ(find("m:o"), FOUND(5, {uip("u", 5, "x:a")}));
  EXPECT_EQ(find("n:o"), FOUND(63, {uip("u", 63, "x:a")}));
  EXPECT_EQ(find("k:o"), FOUND(69, {uip("u", 69, "x:a")}));
  EXPECT_EQ(find("k:a"), FOUND(0, {}));
  EXPECT_EQ(KEP_RG_TEST_ACCESS::count_answers(m_cache), 3U);
}

/// What the cache stands for, with relative paths in a map.
class NAIVE_CACHE {
public:
  explicit NAIVE_CACHE(const KEP_DB* db) : m_db(db) {}

  KEP_UNFOLDED_MODULE find(const KEP_UNFOLDED_INST_PORT& driver, UIPS& leaves) const {
    const KEP_UNFOLDED_PORT port = port_of(driver);
    int level = 0;
    for (KEP_UNFOLDED_MODULE m = port.get_parent(); m.get_unfolded_instance(); m = above(m), ++level) {
      const auto found = m_answers.find({driver.m_object, level, m.m_object, (port - m).get_words()});
      if (found == m_answers.end()) continue;
      for (const KEP_RELATIVE_PATH& r : found->second) {
        const KEP_UNFOLDED_INSTANCE instance = (m + r).get_unfolded_instance();
        leaves.push_back(
            instance.get_unfolding_of_inst_port(instance.m_object->get_inst_port_for_port(r.get_port(m_db))));
      }
      return m;
    }
    return {};
  }

  bool store(const KEP_UNFOLDED_INST_PORT& driver, const KEP_UNFOLDED_MODULE& top, const UIPS& leaves) {
    const KEP_UNFOLDED_PORT port = port_of(driver);
    int level = 0;
    KEP_UNFOLDED_MODULE m = port.get_parent();
    for (; m && !(m == top); m = above(m))
      ++level;
    if (!m || m.m_object->is_top_module_or_equiv()) return false;
    std::vector<KEP_RELATIVE_PATH> paths;
    for (const KEP_UNFOLDED_INST_PORT& leaf : leaves) {
      const KEP_UNFOLDED_PORT leaf_port = port_of(leaf);
      paths.push_back(leaf_port - top);
      if (!paths.back()) return false;
      if (level != 0 && leaf_port.get_parent() == top) return false; // around the module, not in it
    }
    m_answers[{driver.m_object, level, top.m_object, (port - top).get_words()}] = paths;
    return true;
  }

private:
  static KEP_UNFOLDED_PORT port_of(const KEP_UNFOLDED_INST_PORT& uip) {
    return uip.get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW));
  }
  static KEP_UNFOLDED_MODULE above(const KEP_UNFOLDED_MODULE& m) {
    return m.get_unfolded_instance().get_parent();
  }

  const KEP_DB* m_db;
  std::map<std::tuple<const KEP_INST_PORT*, int, const KEP_MODULE*, std::array<std::uint32_t, 4>>,
           std::vector<KEP_RELATIVE_PATH>>
      m_answers;
};

struct PLACES {
  UIPS m_uips;
  std::vector<KEP_UNFOLDED_MODULE> m_modules;

  void visit(const KEP_UNFOLDED_MODULE& module) {
    m_modules.push_back(module);
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
        m_uips.push_back(uip);
      for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
        if (const KEP_UNFOLDED_MODULE below = instance.get_module(static_cast<KEP_VIEW_TYPE>(view)))
          visit(below);
    }
  }
};

TEST(FanoutCacheRandom, AnswersAsAMapOfRelativePathsDoes) {
  unsigned stored = 0, refused = 0, found = 0, found_none = 0; // the last two at other places
  for (const std::uint64_t seed : test_model::SEEDS(1, 299)) {
    const auto db = test_model::make_random_db(seed, {.m_max_kinds = 6});
    PLACES places;
    places.visit(db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
    if (places.m_uips.empty()) continue;
    test_model::RANDOM_SOURCE random(seed);
    CACHE cache;
    NAIVE_CACHE naive(db.get());
    std::unordered_set<KEP_UNFOLDED_INST_PORT> drivers;
    for (unsigned i = 0; i != 60; ++i) {
      const KEP_UNFOLDED_INST_PORT driver = random.pick(places.m_uips);
      KEP_UNFOLDED_MODULE top = driver.get_unfolded_instance().get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
      for (unsigned level = random.below(4); level != 0 && top.get_unfolded_instance(); --level)
        top = top.get_unfolded_instance().get_parent();
      if (random.percent(5)) top = random.pick(places.m_modules);
      UIPS leaves;
      NAIVE_CACHE below(db.get()); // takes only what stands below the module
      for (unsigned j = 0; j != 40; ++j) {
        const KEP_UNFOLDED_INST_PORT leaf = random.pick(places.m_uips);
        if (random.percent(2) || below.store(driver, top, {leaf})) leaves.push_back(leaf);
      }
      const bool taken = naive.store(driver, top, leaves);
      ASSERT_EQ(cache.store(driver, top, leaves), taken) << "seed " << seed;
      ++(taken ? stored : refused);
      drivers.insert(driver);
    }
    for (const KEP_UNFOLDED_INST_PORT& uip : places.m_uips) {
      UIPS leaves, expected;
      const KEP_UNFOLDED_MODULE module = cache.find(uip, leaves);
      ASSERT_EQ(module, naive.find(uip, expected)) << "seed " << seed;
      ASSERT_EQ(leaves, expected) << "seed " << seed;
      if (module && !drivers.contains(uip)) ++(leaves.empty() ? found_none : found);
    }
  }
  EXPECT_GT(stored, 3000U);
  EXPECT_GT(refused, 300U);
  EXPECT_GT(found, 300U);
  EXPECT_GT(found_none, 0U);
}

} // namespace fanout_cache_test
