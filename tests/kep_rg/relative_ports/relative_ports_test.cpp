#include "kep_rg/kep_rg_relative_port.h"
#include "tests/kep_rg/relative_ports/relative_ports_fixture.h"
#include "tests/support/build_access.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using ACCESS = KEP_RG_TEST_ACCESS;
using GROUP = KEP_RG_MODULE_RELATIVE_PORTS;

static_assert(std::is_copy_constructible_v<GROUP> && std::is_copy_assignable_v<GROUP>);
static_assert(std::is_nothrow_move_constructible_v<GROUP> && std::is_nothrow_move_assignable_v<GROUP>);
static_assert(!std::is_polymorphic_v<GROUP>);
static_assert(std::is_same_v<decltype(*std::declval<GROUP>().iter_relative_ports().begin()),
                             const KEP_RG_RELATIVE_PORT*>);

namespace relative_ports_test {

using relative_ports::names_of;
using relative_ports::RANK;

class RelativePorts : public relative_ports::RelativePortsFixture {};

// --- groups -----------------------------------------------------------------------------------------------

TEST_F(RelativePorts, AreEmptyWithoutATopAtFirst) {
  const GROUP ports;
  EXPECT_EQ(ports.size(), 0U);
  EXPECT_EQ(ports.get_top(), nullptr);
  EXPECT_TRUE(ports.iter_relative_ports().empty());
  EXPECT_EQ(KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER(),
            KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER());
}

TEST_F(RelativePorts, KeepEntriesInOrderOfArrivalDuplicatesToo) {
  const GROUP ports = group({"a/b:x", "f:x", "x", "a/b:x"});
  EXPECT_THAT(names(ports), ElementsAre("a/b:x", "f:x", ":x", "a/b:x"));
  EXPECT_EQ(ports.size(), 4U);
  EXPECT_EQ(ports.get_top(), m_model.module("TOP"));
}

TEST_F(RelativePorts, CopyAnEntryRatherThanKeepingItsPlace) {
  GROUP ports;
  KEP_RG_RELATIVE_PORT each = port("a:x");
  ports.add(&each);
  each = port("f:z");
  EXPECT_THAT(names(ports), ElementsAre("a:x"));
  ports.add(std::move(each));
  EXPECT_THAT(names(ports), ElementsAre("a:x", "f:z"));
}

TEST_F(RelativePorts, StayWithoutATopAfterAnEmptyEntry) {
  GROUP ports;
  ports.add(&m_nothing);
  EXPECT_EQ(ports.size(), 1U);
  EXPECT_EQ(ports.get_top(), nullptr);
  const KEP_RG_RELATIVE_PORT first = port("a:x");
  ports.add(&first);
  EXPECT_EQ(ports.get_top(), m_model.module("TOP"));
}

TEST_F(RelativePorts, AssertThatAnEntryStartsInTheTopOfTheGroup) {
  const char* const text = "Assertion failed: r_port->get_top() == m_top in "
                           "kep_rg/kep_rg_relative_port.cpp@LINE";
  GROUP ports = group({"a:x"});
  const KEP_RG_RELATIVE_PORT elsewhere = port("b:x", "A");
  EXPECT_EQ(assertion_text([&] { ports.add(&elsewhere); }), text);
  EXPECT_EQ(assertion_text([&] { ports.add(KEP_RG_RELATIVE_PORT(elsewhere)); }), text);
  EXPECT_EQ(assertion_text([&] { ports.add(&m_nothing); }), text) << "no top at all is another top";
  EXPECT_THAT(names(ports), ElementsAre("a:x"));
}

TEST_F(RelativePorts, CopyDeeplyAndMoveWhole) {
  GROUP ports = group({"a:x"});
  GROUP copy = ports;
  const KEP_RG_RELATIVE_PORT more = port("f:x");
  copy.add(&more);
  EXPECT_THAT(names(ports), ElementsAre("a:x"));
  EXPECT_THAT(names(copy), ElementsAre("a:x", "f:x"));
  const GROUP moved = std::move(copy);
  EXPECT_THAT(names(moved), ElementsAre("a:x", "f:x"));
  EXPECT_EQ(moved.get_top(), m_model.module("TOP"));
}

TEST_F(RelativePorts, TakeAnotherTopAfterTheyWereCleared) {
  GROUP ports = group({"a:x"});
  ports.clear();
  EXPECT_EQ(ports.size(), 0U);
  EXPECT_EQ(ports.get_top(), nullptr);
  const KEP_RG_RELATIVE_PORT elsewhere = port("b:x", "A");
  ports.add(&elsewhere);
  EXPECT_EQ(ports.get_top(), m_model.module("A"));
}

TEST_F(RelativePorts, UniteToEveryDistinctEntryOnce) {
  GROUP ports = group({"a:x", "f:x", "a:x"});
  const GROUP other = group({"f:x", "z", "z", "a/b/c:z"});
  ports.set_union(&other);
  EXPECT_THAT(names(ports), UnorderedElementsAre("a:x", "f:x", ":z", "a/b/c:z"));
  EXPECT_EQ(ports.get_top(), m_model.module("TOP"));
  EXPECT_EQ(other.size(), 4U);
}

TEST_F(RelativePorts, KeepEntriesOfEqualHashApartWhenTheyUnite) {
  // The hash takes no notice of the order of the chain; these two differ in nothing else.
  const KEP_INSTANCE* const a = m_model.instance("TOP/a");
  const KEP_INSTANCE* const b = m_model.instance("A/b");
  const auto mutable_of = [](const KEP_INSTANCE* instance) { return const_cast<KEP_INSTANCE*>(instance); };
  KEP_PORT* const x = m_model.port("B:x");
  const KEP_RG_RELATIVE_PORT one = ACCESS::relative_port({mutable_of(a), mutable_of(b)}, x);
  const KEP_RG_RELATIVE_PORT two =
      ACCESS::relative_port({mutable_of(a), mutable_of(b), mutable_of(a), mutable_of(a)}, x);
  ASSERT_EQ(one.hash(), two.hash());
  GROUP ports;
  ports.add(&one);
  ports.add(&two);
  const GROUP none;
  ports.set_union(&none);
  EXPECT_EQ(ports.size(), 2U);
}

TEST_F(RelativePorts, LoseTheirDuplicatesInAUnionWithAnEmptyGroup) {
  GROUP ports = group({"a:x", "a:x", "f:x", "a:x"});
  const GROUP none;
  ports.set_union(&none);
  EXPECT_THAT(names(ports), UnorderedElementsAre("a:x", "f:x"));
}

TEST_F(RelativePorts, StayEmptyWithoutATopInAUnionOfEmptyGroups) {
  GROUP ports;
  const GROUP none;
  ports.set_union(&none);
  EXPECT_EQ(ports.size(), 0U);
  EXPECT_EQ(ports.get_top(), nullptr);
}

TEST_F(RelativePorts, TakeAllOfTheOtherGroupIntoAnEmptyOne) {
  GROUP ports;
  const GROUP other = group({"a:x", "f:x", "a:x"});
  ports.set_union(&other);
  EXPECT_THAT(names(ports), UnorderedElementsAre("a:x", "f:x"));
  EXPECT_EQ(ports.get_top(), m_model.module("TOP"));
}

TEST_F(RelativePorts, UniteWithThemselves) {
  GROUP ports = group({"a:x", "f:x", "a:x"});
  ports.set_union(&ports);
  EXPECT_THAT(names(ports), UnorderedElementsAre("a:x", "f:x"));
}

TEST_F(RelativePorts, AssertThatGroupsWhichUniteHaveOneTop) {
  GROUP ports = group({"a:x"});
  const GROUP other = group({"b:x"}, "A");
  EXPECT_EQ(assertion_text([&] { ports.set_union(&other); }),
            "Assertion failed: r_port->get_top() == m_top in kep_rg/kep_rg_relative_port.cpp@LINE");
}

} // namespace relative_ports_test
