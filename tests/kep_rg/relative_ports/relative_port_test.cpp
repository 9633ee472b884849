// What a relative port holds, how it grows, and what it stands for.

#include "tests/kep_rg/relative_ports/relative_port_fixture.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

static_assert(std::is_default_constructible_v<KEP_RG_RELATIVE_PORT>);
static_assert(std::is_nothrow_move_constructible_v<KEP_RG_RELATIVE_PORT>);
static_assert(std::is_nothrow_move_assignable_v<KEP_RG_RELATIVE_PORT>);
static_assert(!std::is_polymorphic_v<KEP_RG_RELATIVE_PORT>);

namespace relative_port_test {

using relative_port::RANK;
using relative_port::RelativePort;
using testing::ElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;

// --- growing and shortening -------------------------------------------------------------------------------

TEST_F(RelativePort, TakesAnyFirstInstance) {
  KEP_RG_RELATIVE_PORT port;
  port.add(m_x, RANK);
  EXPECT_THAT(*port.get_instances(), ElementsAre(m_x));
  EXPECT_EQ(port.get_top(), m_model.module("MID"));
}

TEST_F(RelativePort, AssertsThatAnInstanceLiesInTheMasterOfTheLastOne) {
  KEP_RG_RELATIVE_PORT port = make({m_a});
  EXPECT_EQ(assertion_text([&] { port.add(m_b, RANK); }),
            "Assertion failed: top == back in kep_rg/kep_rg_relative_port.cpp@LINE");
  EXPECT_EQ(assertion_text([&] { port.add(m_model.instance("IP/plain"), RANK); }),
            "Assertion failed: top == back in kep_rg/kep_rg_relative_port.cpp@LINE");
  EXPECT_THAT(*port.get_instances(), ElementsAre(m_a));
}

TEST_F(RelativePort, TakesTheInstancesOfAnyViewOfAnIpRootForOnesOfTheRanksView) {
  // Both modules are taken through the rank, so an instance of the plain master passes as well.
  KEP_RG_RELATIVE_PORT port = make({m_model.instance("TOP/i")});
  port.add(m_model.instance("IP_BLC/u"), RANK);
  EXPECT_EQ(port.get_name(), "i/u");
  port = make({m_model.instance("TOP/i")});
  port.add(m_model.instance("IP/plain"), RANK);
  EXPECT_EQ(port.get_name(), "i/plain");
}

TEST_F(RelativePort, TakesOnlyAPortOfThePlainMasterOfTheLastInstance) {
  KEP_RG_RELATIVE_PORT port = make({m_a, m_x}, m_leaf_p);
  EXPECT_EQ(failure_text([&] { port.add(m_model.port("MID:q")); }),
            "Mismatched top level with instances a (MID)/x (LEAF) adding port q (MID) from function "
            "KEP_RG_RELATIVE_PORT::add in kep_rg/kep_rg_relative_port.cpp@LINE");
  EXPECT_EQ(port, make({m_a, m_x}, m_leaf_p)) << "unchanged";
  port = make({m_model.instance("TOP/i")});
  EXPECT_EQ(failure_text([&] { port.add(m_model.port("IP_BLC:p")); }),
            "Mismatched top level with instances i (IP) adding port p (IP_BLC) from function "
            "KEP_RG_RELATIVE_PORT::add in kep_rg/kep_rg_relative_port.cpp@LINE");
  port.add(m_model.port("IP:p"));
  EXPECT_EQ(port.get_name(), "i:p");
}

TEST_F(RelativePort, SpellsAPercentSignInANameAsItIs) {
  const NAMED_MODEL percent(R"(
    module %1%
      ports >%s
    module TOP top
      ports >%2%%s
      inst %n%1% %1%
  )");
  KEP_RG_RELATIVE_PORT port;
  port.add(percent.instance("TOP/%n%1%"), RANK);
  EXPECT_EQ(failure_text([&] { port.add(percent.port("TOP:%2%%s")); }),
            "Mismatched top level with instances %n%1% (%1%) adding port %2%%s (TOP) from function "
            "KEP_RG_RELATIVE_PORT::add in kep_rg/kep_rg_relative_port.cpp@LINE");
}

TEST_F(RelativePort, TakesAnyPortWhileTheChainIsEmptyAndAnotherOneLater) {
  KEP_RG_RELATIVE_PORT port;
  port.add(m_leaf_p);
  EXPECT_EQ(port.get_top(), m_model.module("LEAF"));
  port.add(m_model.port("MID:q"));
  EXPECT_EQ(port.get_name(), ":q");
}

TEST_F(RelativePort, KeepsItsStorageWhenItIsClearedOrShortened) {
  KEP_RG_RELATIVE_PORT port = parsed("i/m/y:q");
  const std::size_t capacity = port.get_instances()->capacity();
  KEP_INSTANCE* const* const storage = port.get_instances()->data();
  ACCESS::pop_back(port, 2, m_leaf_p);
  EXPECT_EQ(port.get_instances()->capacity(), capacity);
  port.clear();
  EXPECT_EQ(port.get_instances()->capacity(), capacity);
  EXPECT_EQ(port.get_instances()->data(), storage);
  EXPECT_EQ(port, KEP_RG_RELATIVE_PORT());
}

TEST_F(RelativePort, DropsInstancesFromTheEndOfTheChainAndSetsThePort) {
  KEP_RG_RELATIVE_PORT port = make({m_a, m_x}, m_leaf_p);
  ACCESS::pop_back(port, 0, m_leaf_q);
  EXPECT_EQ(port, make({m_a, m_x}, m_leaf_q));
  ACCESS::pop_back(port, 1, nullptr);
  EXPECT_EQ(port, make({m_a}));
  ACCESS::pop_back(port, 1, m_model.port("TOP:p"));
  EXPECT_EQ(port, make({}, m_model.port("TOP:p")));
  port = make({m_a, m_x}, m_leaf_p);
  ACCESS::pop_back(port, 2, m_model.port("TOP:p"));
  EXPECT_EQ(port, make({}, m_model.port("TOP:p")));
}

TEST_F(RelativePort, SearchesTheNextInstanceInTheMasterOfTheLastOneOrInTheTopThroughTheRankAtIpRoots) {
  EXPECT_EQ(ACCESS::back_master(make({}), m_top, RANK), m_top);
  EXPECT_EQ(ACCESS::back_master(make({}), m_model.module("IP"), RANK), m_model.module("IP_BLC"));
  EXPECT_EQ(ACCESS::back_master(make({m_a}), m_top, RANK), m_model.module("MID"));
  EXPECT_EQ(ACCESS::back_master(make({m_a, m_x}), m_top, RANK), m_model.module("LEAF"));
  EXPECT_EQ(ACCESS::back_master(make({m_model.instance("TOP/i")}), m_top, RANK), m_model.module("IP_BLC"));
  EXPECT_EQ(ACCESS::back_master(make({m_model.instance("TOP/i")}), m_top,
                                KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL)),
            m_model.module("IP"));
}

// --- what it stands for -----------------------------------------------------------------------------------

TEST_F(RelativePort, StartsInTheParentOfItsFirstInstanceElseOfItsPortElseNowhere) {
  EXPECT_EQ(KEP_RG_RELATIVE_PORT().get_top(), nullptr);
  EXPECT_EQ(make({}, m_leaf_p).get_top(), m_model.module("LEAF"));
  EXPECT_EQ(make({m_a, m_x}, m_leaf_p).get_top(), m_top);
  EXPECT_EQ(make({m_x}).get_top(), m_model.module("MID"));
}

TEST_F(RelativePort, StandsForTheInstPortOfItsLastInstance) {
  EXPECT_EQ(make({m_a, m_x}, m_leaf_q).get_inst_port(), m_model.inst_port("MID/x:q"));
  EXPECT_EQ(make({m_a}, m_model.port("MID:p")).get_inst_port(), m_model.inst_port("TOP/a:p"));
}

TEST_F(RelativePort, StandsForNoInstPortWithoutAChainOrAPort) {
  EXPECT_EQ(KEP_RG_RELATIVE_PORT().get_inst_port(), nullptr);
  EXPECT_EQ(make({}, m_leaf_p).get_inst_port(), nullptr);
  EXPECT_EQ(make({m_a, m_x}).get_inst_port(), nullptr);
  EXPECT_EQ(make({m_a, nullptr}, m_leaf_p).get_inst_port(), nullptr);
}

TEST_F(RelativePort, WalksItsChainFromTheOutermostInstance) {
  const KEP_RG_RELATIVE_PORT port = make({m_a, m_x}, m_leaf_p);
  std::vector<KEP_INSTANCE*> walked;
  for (KEP_INSTANCE* instance : port.iter_instances())
    walked.push_back(instance);
  EXPECT_THAT(walked, ElementsAre(m_a, m_x));
  EXPECT_TRUE(make({}, m_leaf_p).iter_instances().empty());
  EXPECT_EQ(KEP_RG_RELATIVE_PORT_INSTANCE_ITER(), KEP_RG_RELATIVE_PORT_INSTANCE_ITER());
}

// --- comparing --------------------------------------------------------------------------------------------

TEST_F(RelativePort, EqualsOnlyTheSamePortBelowTheSameChain) {
  EXPECT_TRUE(make({m_a, m_x}, m_leaf_p) == parsed("a/x:p"));
  EXPECT_FALSE(make({m_a, m_x}, m_leaf_p) == make({m_a, m_x}, m_leaf_q));
  EXPECT_FALSE(make({m_a, m_x}, m_leaf_p) == make({m_b, m_x}, m_leaf_p));
  EXPECT_FALSE(make({m_a, m_x}, m_leaf_p) == make({m_x}, m_leaf_p));
  EXPECT_FALSE(make({m_a, m_x}, m_leaf_p) == make({m_a, m_x}));
  EXPECT_TRUE(make({}) == KEP_RG_RELATIVE_PORT());
}

TEST_F(RelativePort, EndsWithATailOfItsChainThatHasTheSamePort) {
  const KEP_RG_RELATIVE_PORT port = make({m_a, m_x}, m_leaf_p);
  EXPECT_TRUE(port.ends_with(port));
  EXPECT_TRUE(port.ends_with(make({m_x}, m_leaf_p)));
  EXPECT_FALSE(port.ends_with(make({m_x}, m_leaf_q)));
  EXPECT_FALSE(port.ends_with(make({m_y}, m_leaf_p)));
  EXPECT_FALSE(port.ends_with(make({m_b, m_x}, m_leaf_p)));
  EXPECT_FALSE(port.ends_with(make({m_a}, m_leaf_p))) << "the start is no tail";
  EXPECT_FALSE(make({m_x}, m_leaf_p).ends_with(port)) << "longer";
}

TEST_F(RelativePort, EndsWithTheSamePortBelowAnEmptyChainWhateverItsOwnChain) {
  for (const auto& chain : {std::vector<KEP_INSTANCE*>{}, {m_x}, {m_a, m_x}}) {
    EXPECT_TRUE(make(chain, m_leaf_p).ends_with(make({}, m_leaf_p)));
    EXPECT_FALSE(make(chain, m_leaf_p).ends_with(make({}, m_leaf_q)));
    EXPECT_FALSE(make(chain, m_leaf_p).ends_with(make({})));
  }
}

/// The order of the chain's pointers, spelled out.
bool naive_less(const KEP_RG_RELATIVE_PORT& left, const KEP_RG_RELATIVE_PORT& right) {
  const std::vector<KEP_INSTANCE*>& l = *left.get_instances();
  const std::vector<KEP_INSTANCE*>& r = *right.get_instances();
  if (l.empty() || r.empty() || l == r)
    return reinterpret_cast<std::uintptr_t>(left.get_port()) <
           reinterpret_cast<std::uintptr_t>(right.get_port());
  for (std::size_t i = 0;; ++i) {
    if (i == l.size()) return true; // a proper start of the other chain
    if (i == r.size()) return false;
    if (l[i] != r[i]) return reinterpret_cast<std::uintptr_t>(l[i]) < reinterpret_cast<std::uintptr_t>(r[i]);
  }
}

TEST_F(RelativePort, OrdersByThePointersOfTheChainThenByLengthThenByThePort) {
  KEP_INSTANCE* const instances[] = {m_a, m_b, m_x, m_y};
  KEP_PORT* const ports[] = {m_leaf_p, m_leaf_q, nullptr};
  std::vector<KEP_RG_RELATIVE_PORT> all;
  for (KEP_PORT* port : ports) {
    all.push_back(make({}, port));
    for (KEP_INSTANCE* first : instances) {
      all.push_back(make({first}, port));
      for (KEP_INSTANCE* second : instances)
        for (KEP_INSTANCE* third : instances) {
          all.push_back(make({first, second}, port));
          all.push_back(make({first, second, third}, port));
        }
    }
  }
  for (const KEP_RG_RELATIVE_PORT& left : all)
    for (const KEP_RG_RELATIVE_PORT& right : all)
      ASSERT_EQ(left < right, naive_less(left, right)) << left.get_name() << " and " << right.get_name();
}

TEST_F(RelativePort, TiesAnEmptyChainWithEveryChainSoThatOnlyThePortsDecide) {
  for (const auto& chain : {std::vector<KEP_INSTANCE*>{}, {m_x}, {m_a, m_x}, {m_b, m_y}}) {
    EXPECT_FALSE(make(chain, m_leaf_p) < make({}, m_leaf_p));
    EXPECT_FALSE(make({}, m_leaf_p) < make(chain, m_leaf_p));
    EXPECT_NE(make(chain, m_leaf_p) < make({}, m_leaf_q), make({}, m_leaf_q) < make(chain, m_leaf_p));
    EXPECT_EQ(make(chain, m_leaf_p) < make({}, m_leaf_q), m_leaf_p < m_leaf_q);
  }
}

// --- hashing ----------------------------------------------------------------------------------------------

std::uint64_t fnv(const void* pointer) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  const auto value = reinterpret_cast<std::uintptr_t>(pointer);
  for (unsigned shift = 0; shift != 64; shift += 8)
    hash = (hash ^ (value >> shift & 0xff)) * 0x100000001b3U;
  return hash;
}

TEST_F(RelativePort, HashesThePointersOfChainAndPortToThirtyTwoBits) {
  const auto low = [](std::uint64_t value) { return static_cast<long>(value & 0xffffffffU); };
  EXPECT_EQ(KEP_RG_RELATIVE_PORT().hash(), 0);
  EXPECT_EQ(make({}, m_leaf_p).hash(), low(fnv(m_leaf_p)));
  EXPECT_EQ(make({m_a}).hash(), low(fnv(m_a)));
  EXPECT_EQ(make({m_a, m_x}, m_leaf_q).hash(), low(fnv(m_a) ^ fnv(m_x) ^ fnv(m_leaf_q)));
}

TEST_F(RelativePort, HashesAChainWithoutRegardToOrderAndDoubling) {
  EXPECT_EQ(make({m_a, m_x}, m_leaf_p).hash(), make({m_x, m_a}, m_leaf_p).hash());
  EXPECT_EQ(make({m_a, m_a, m_x}, m_leaf_p).hash(), make({m_x}, m_leaf_p).hash());
  EXPECT_EQ(parsed("a/x:p").hash(), parsed("a:x:p").hash());
}

} // namespace relative_port_test
