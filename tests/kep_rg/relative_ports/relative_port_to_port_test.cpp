#include "kep_rg/kep_rg_relative_port.h"
#include "tests/kep_rg/relative_ports/relative_ports_fixture.h"
#include "tests/support/build_access.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"
#include "tests/support/ports_below.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using testing::ElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;
using GROUP = KEP_RG_MODULE_RELATIVE_PORTS;
using RULES = KEP_RG_RELATIVE_PORT_TO_PORT;

static_assert(!std::is_copy_constructible_v<RULES>);
static_assert(std::is_copy_assignable_v<RULES>);
static_assert(!std::is_polymorphic_v<RULES>);
static_assert(std::is_same_v<decltype(*std::declval<RULES>().iter_relative_ports().begin()),
                             const KEP_RG_RELATIVE_PORT*>);

namespace relative_port_to_port_test {

using relative_ports::names_of;
using relative_ports::RANK;

class RewriteRules : public relative_ports::RelativePortsFixture {
protected:
  /// The rule from the port of that text below `top` to a port of `top`.
  void rule(RULES& rules, const std::string& key, const char* value, const char* top = "TOP") const {
    const KEP_RG_RELATIVE_PORT made = port(key, top);
    rules.add(&made, m_model.port(std::string(top) + ":" + value));
  }
  /// What the rules make of a port below TOP, "-" when none fits.
  std::string applied(const RULES& rules, const std::string& text) const {
    const KEP_RG_RELATIVE_PORT in = port(text);
    KEP_RG_RELATIVE_PORT out;
    if (rules.apply(&out, &in)) return out.get_name();
    EXPECT_EQ(out, KEP_RG_RELATIVE_PORT()) << "untouched";
    return "-";
  }
  KEP_PORT* found(const RULES& rules, const std::string& text, const char* top = "TOP") const {
    const KEP_RG_RELATIVE_PORT key = port(text, top);
    return rules.find(&key);
  }
};

TEST_F(RewriteRules, AreEmptyAtFirst) {
  const RULES rules;
  EXPECT_TRUE(rules.iter_relative_ports().empty());
  EXPECT_EQ(KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER(),
            KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER());
  for (const char* text : {"x", "a:x", "a/b:x", "a/b/c:x"}) {
    EXPECT_EQ(found(rules, text), nullptr);
    EXPECT_EQ(applied(rules, text), "-");
  }
  EXPECT_EQ(rules.find(&m_nothing), nullptr);
}

TEST_F(RewriteRules, KeepTheFirstValueOfAKeyAndShowEveryKeyInOrderOfArrival) {
  RULES rules;
  for (const char* key : {"x", "a:x", "a/b:x", "a/b/c:x"})
    for (const char* value : {"y", "z"})
      rule(rules, key, value);
  rule(rules, "f:x", "z");
  for (const char* key : {"x", "a:x", "a/b:x", "a/b/c:x"})
    EXPECT_EQ(found(rules, key), m_model.port("TOP:y")) << key;
  EXPECT_THAT(names_of(rules.iter_relative_ports()),
              ElementsAre(":x", ":x", "a:x", "a:x", "a/b:x", "a/b:x", "a/b/c:x", "a/b/c:x", "f:x"));
}

TEST_F(RewriteRules, RefuseAValueThatDoesNotLieInTheTopOfTheKey) {
  RULES rules;
  const auto refusal = [&](const std::string& key, const char* value) {
    const KEP_RG_RELATIVE_PORT made = port(key);
    return failure_text([&] { rules.add(&made, m_model.port(value)); });
  };
  const std::string rest = " from function KEP_RG_RELATIVE_PORT_TO_PORT::add in "
                           "kep_rg/kep_rg_relative_port.cpp@LINE";
  EXPECT_EQ(refusal("a/b:x", "A:y"), "Mismatched top level when adding a/b:x and y" + rest);
  EXPECT_EQ(refusal("a:x", "A:z"), "Mismatched top level when adding a:x and z" + rest);
  EXPECT_EQ(refusal("x", "B:x"), "Mismatched top level when adding :x and x" + rest);
  EXPECT_TRUE(rules.iter_relative_ports().empty());
  for (const char* key : {"x", "a:x", "a/b:x"})
    EXPECT_EQ(found(rules, key), nullptr);
}

TEST_F(RewriteRules, AreFoundByExactlyTheirKey) {
  RULES rules;
  rule(rules, "x", "y", "B");
  rule(rules, "c:x", "y", "B");
  rule(rules, "b/c:x", "y", "A");
  EXPECT_EQ(found(rules, "x", "B"), m_model.port("B:y"));
  EXPECT_EQ(found(rules, "c:x", "B"), m_model.port("B:y"));
  EXPECT_EQ(found(rules, "b/c:x", "A"), m_model.port("A:y"));
  EXPECT_EQ(found(rules, "d:x", "B"), nullptr);
  EXPECT_EQ(found(rules, "c:y", "B"), nullptr);
  EXPECT_EQ(found(rules, "e/c:x", "A"), nullptr);
  EXPECT_EQ(found(rules, "a/b/c:x"), nullptr) << "longer";
  EXPECT_EQ(found(rules, "x", "C"), nullptr) << "shorter";
}

TEST_F(RewriteRules, AreNotFoundByALongerPortThatTheyRewrite) {
  RULES rules;
  rule(rules, "b:x", "y", "A");
  EXPECT_EQ(found(rules, "a/b:x"), nullptr);
  EXPECT_EQ(applied(rules, "a/b:x"), "a:y");
}

TEST_F(RewriteRules, ForAPortAloneApplyToChainsOfNoneAndOfTwoOrMoreButNotOfOne) {
  RULES rules;
  rule(rules, "x", "y");
  rule(rules, "x", "y", "A");
  rule(rules, "x", "y", "B");
  rule(rules, "x", "y", "C");
  EXPECT_EQ(applied(rules, "x"), ":y");
  EXPECT_EQ(applied(rules, "a:x"), "-");
  EXPECT_EQ(applied(rules, "a/b:x"), "a/b:y");
  EXPECT_EQ(applied(rules, "a/b/c:x"), "a/b/c:y");
  EXPECT_EQ(applied(rules, "a/b/c:y"), "-");
}

TEST_F(RewriteRules, ForAChainOfOnePutTheirPortOneLevelUp) {
  RULES rules;
  rule(rules, "b:x", "y", "A");
  rule(rules, "a:x", "y");
  EXPECT_EQ(applied(rules, "a/b:x"), "a:y");
  EXPECT_EQ(applied(rules, "f/b:x"), "f:y");
  EXPECT_EQ(applied(rules, "a/e:x"), "-");
  EXPECT_EQ(applied(rules, "a:x"), ":y");
  EXPECT_EQ(applied(rules, "f:x"), "-");
  const KEP_RG_RELATIVE_PORT in = port("a:x");
  KEP_RG_RELATIVE_PORT out;
  ASSERT_TRUE(rules.apply(&out, &in));
  EXPECT_EQ(out.size(), 0U);
  EXPECT_EQ(out.get_top(), m_model.module("TOP"));
}

TEST_F(RewriteRules, ForALongerChainPutTheirPortWhereTheChainBegan) {
  RULES rules;
  rule(rules, "b/c:x", "y", "A");
  rule(rules, "a/b:x", "y");
  EXPECT_EQ(applied(rules, "a/b/c:x"), "a:y");
  EXPECT_EQ(applied(rules, "f/b/c:x"), "f:y");
  EXPECT_EQ(applied(rules, "a/e/c:x"), "-");
  EXPECT_EQ(applied(rules, "a/b/d:x"), "-");
  EXPECT_EQ(applied(rules, "a/b:x"), ":y");
  EXPECT_EQ(applied(rules, "f/b:x"), "-");
}

TEST_F(RewriteRules, AskForLongChainsThenForOneInstanceThenForThePort) {
  RULES rules;
  rule(rules, "x", "x", "C");
  EXPECT_EQ(applied(rules, "a/b/c:x"), "a/b/c:x");
  rule(rules, "c:x", "y", "B");
  EXPECT_EQ(applied(rules, "a/b/c:x"), "a/b:y");
  rule(rules, "b/c:x", "z", "A");
  EXPECT_EQ(applied(rules, "a/b/c:x"), "a:z");
  EXPECT_EQ(applied(rules, "a/e/c:x"), "a/e:y") << "the long rule does not fit";
  EXPECT_EQ(applied(rules, "a/b/d:x"), "a/b/d:x") << "only the port's does";
}

TEST_F(RewriteRules, MayBeAppliedToAPortInItsOwnPlace) {
  RULES rules;
  rule(rules, "b/c:x", "y", "A");
  KEP_RG_RELATIVE_PORT both = port("a/b/c:x");
  EXPECT_TRUE(rules.apply(&both, &both));
  EXPECT_EQ(both, port("a:y"));
}

TEST_F(RewriteRules, LeaveTheOutputUntouchedWhenNoneFits) {
  RULES rules;
  rule(rules, "b:x", "y", "A");
  KEP_RG_RELATIVE_PORT out = port("f/e:z");
  for (const char* text : {"x", "a:x", "a/b:y", "a/b/c:x"}) {
    const KEP_RG_RELATIVE_PORT in = port(text);
    EXPECT_FALSE(rules.apply(&out, &in));
  }
  EXPECT_FALSE(rules.apply(&out, &m_nothing));
  EXPECT_EQ(out, port("f/e:z"));
}

TEST_F(RewriteRules, RewriteAGroupInOrderAppendAndCount) {
  RULES rules;
  rule(rules, "b:x", "y", "A");
  rule(rules, "a:x", "z");
  const GROUP in = group({"a/b:x", "x", "f/b:x", "a:x", "a/b:x", "f:x"});
  GROUP out = group({"z"});
  EXPECT_EQ(rules.apply(&out, &in), 4U);
  EXPECT_THAT(names(out), ElementsAre(":z", "a:y", ":x", "f:y", ":z", "a:y", "f:x"));
  EXPECT_EQ(in.size(), 6U);
}

TEST_F(RewriteRules, GiveNothingForAnEmptyGroupAndLeaveTheOutputAlone) {
  RULES rules;
  rule(rules, "x", "y");
  const GROUP none;
  GROUP out;
  EXPECT_EQ(rules.apply(&out, &none), 0U);
  EXPECT_EQ(out.get_top(), nullptr);
  out = group({"a:x"});
  EXPECT_EQ(rules.apply(&out, &none), 0U);
  EXPECT_THAT(names(out), ElementsAre("a:x"));
}

TEST_F(RewriteRules, AssertThatARewrittenGroupHasTheTopOfTheOutput) {
  RULES rules;
  rule(rules, "x", "y", "A");
  const char* const text = "Assertion failed: r_port->get_top() == m_top in "
                           "kep_rg/kep_rg_relative_port.cpp@LINE";
  for (const char* entry : {"x", "z"}) { // rewritten, carried over
    const GROUP in = group({entry}, "A");
    GROUP out = group({"a:x"});
    EXPECT_EQ(assertion_text([&] { rules.apply(&out, &in); }), text) << entry;
    EXPECT_THAT(names(out), ElementsAre("a:x"));
  }
}

TEST_F(RewriteRules, AreSharedAfterAnAssignment) {
  RULES source;
  // Only one of two objects that share may be destroyed, so the other one lies in storage that just ends.
  // What it held before the assignment is let go of by it, and released here through a copy of its bytes.
  alignas(RULES) std::byte place[sizeof(RULES)];
  alignas(RULES) std::byte before[sizeof(RULES)];
  auto* const target = new (place) RULES;
  std::copy(std::begin(place), std::end(place), before);
  *target = source;
  std::launder(reinterpret_cast<RULES*>(before))->~RULES();

  rule(source, "a:x", "y");
  EXPECT_EQ(found(*target, "a:x"), m_model.port("TOP:y"));
  rule(*target, "a/b:x", "y");
  rule(*target, "x", "y");
  EXPECT_EQ(applied(source, "a/b:x"), ":y");
  EXPECT_EQ(applied(source, "x"), ":y");
  EXPECT_THAT(names_of(source.iter_relative_ports()), ElementsAre("a:x", "a/b:x", ":x"));
}

/// All rules that were added, searched one by one.
class NAIVE_RULES {
public:
  void add(const KEP_RG_RELATIVE_PORT& key, KEP_PORT* value) {
    if (!find(key)) m_rules.emplace_back(key, value);
  }
  KEP_PORT* find(const KEP_RG_RELATIVE_PORT& key) const {
    for (const auto& [each, value] : m_rules)
      if (each == key) return value;
    return nullptr;
  }
  /// What the rules that fit make of it: those of two or more instances, in any order; if there is none the
  /// one of one instance; else the one for the port alone, which does not count for a chain of one.
  std::vector<KEP_RG_RELATIVE_PORT> apply(const KEP_RG_RELATIVE_PORT& in) const {
    const std::vector<KEP_INSTANCE*>& chain = *in.get_instances();
    std::vector<KEP_RG_RELATIVE_PORT> results[3];
    for (const auto& [key, value] : m_rules) {
      const std::vector<KEP_INSTANCE*>& tail = *key.get_instances();
      if (key.get_port() != in.get_port() || tail.size() > chain.size()) continue;
      if (!std::equal(tail.rbegin(), tail.rend(), chain.rbegin())) continue;
      results[std::min<std::size_t>(tail.size(), 2)].push_back(ACCESS::relative_port(
          {chain.begin(), chain.end() - static_cast<std::ptrdiff_t>(tail.size())}, value));
    }
    if (!results[2].empty()) return results[2];
    if (!results[1].empty()) return results[1];
    return chain.size() == 1 ? results[1] : results[0];
  }

private:
  std::vector<std::pair<KEP_RG_RELATIVE_PORT, KEP_PORT*>> m_rules;
};

/// Every port below every module, through plain masters.
std::vector<KEP_RG_RELATIVE_PORT> all_ports(const KEP_DB& db) {
  std::vector<KEP_RG_RELATIVE_PORT> found;
  for (KEP_MODULE* module : db.iter_modules(true))
    test_model::for_each_port_below(module, [&](const std::vector<KEP_INSTANCE*>& chain, KEP_PORT* port) {
      found.push_back(ACCESS::relative_port(chain, port));
    });
  return found;
}

struct REWRITTEN {
  std::size_t m_num_ports = 0;
  std::size_t m_by_length[5] = {};
};

/// What both make of each port, with a random share of the ports as keys.
void compare(const KEP_DB& db, RANDOM_SOURCE& random, REWRITTEN& seen) {
  const std::vector<KEP_RG_RELATIVE_PORT> all = all_ports(db);
  RULES rules;
  NAIVE_RULES naive;
  std::vector<KEP_RG_RELATIVE_PORT> keys;
  const unsigned share = 5 + random.below(60);
  for (const KEP_RG_RELATIVE_PORT& key : all) {
    KEP_MODULE* const top = key.get_top();
    if (!random.percent(share) || top->get_num_ports() == 0) continue;
    for (unsigned times = 1 + random.percent(20); times != 0; --times) {
      KEP_PORT* const value = top->get_port_by_index(random.below(top->get_num_ports()));
      rules.add(&key, value);
      naive.add(key, value);
      keys.push_back(key);
    }
  }
  ASSERT_TRUE(std::equal(keys.begin(), keys.end(), rules.iter_relative_ports().begin(),
                         rules.iter_relative_ports().end(),
                         [](const auto& left, const auto* right) { return left == *right; }));
  for (const KEP_RG_RELATIVE_PORT& in : all) {
    ++seen.m_num_ports;
    ASSERT_EQ(rules.find(&in), naive.find(in)) << in.get_name();
    const std::vector<KEP_RG_RELATIVE_PORT> fitting = naive.apply(in);
    KEP_RG_RELATIVE_PORT out;
    ASSERT_EQ(rules.apply(&out, &in), !fitting.empty()) << in.get_name();
    if (fitting.empty()) continue;
    ASSERT_TRUE(std::find(fitting.begin(), fitting.end(), out) != fitting.end())
        << in.get_name() << " became " << out.get_name();
    ASSERT_EQ(out.get_top(), in.get_top());
    ++seen.m_by_length[std::min<std::size_t>(in.size() - out.size(), 4)];
  }
}

TEST(RewriteRulesRandom, AgreeWithASearchThroughAllRules) {
  REWRITTEN seen;
  for (const std::uint64_t seed : SEEDS(1, 800)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    compare(*db, random, seen);
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(seen.m_num_ports, 20000U);
  for (const std::size_t each : seen.m_by_length)
    EXPECT_GT(each, 50U) << "rules of every length were applied";
}

TEST_F(RewriteRules, LetTheLongestOfSeveralLongChainsDecide) {
  for (const bool longest_first : {false, true}) {
    RULES rules;
    if (longest_first) rule(rules, "a/b/c:x", "z");
    rule(rules, "b/c:x", "y", "A");
    if (!longest_first) rule(rules, "a/b/c:x", "z");
    EXPECT_EQ(applied(rules, "a/b/c:x"), ":z");
    EXPECT_EQ(applied(rules, "f/b/c:x"), "f:y");
  }
}

} // namespace relative_port_to_port_test
