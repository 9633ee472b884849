#include "kep/kep_unfolded.h"
#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

namespace unfolded_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using test_model::uip;
using test_model::unfolded_instance;
using testing::ElementsAre;

using enum KEP_VIEW_TYPE;
const KEP_NAME_STYLE STYLE{};

const char* const DEVICE = R"(
  module MUX group=mux
    ports >a <z
  module MUX_BLC view=BLC group=mux
    ports >a <z
    inst x ATOM
    net in a x.i
    net out x.o z
  module ATOM
    ports >i <o
  module TILE ip_root
    ports >in <out =open
    inst m MUX
    net w in m.a
    net o m.z out
  module GROUP
    ports >g
    inst t TILE
    inst u TILE
    net n g t.in
    net c t.out u.in
  module TOP top group=top
    ports >p <q
    inst a GROUP
    inst b GROUP
    inst s TILE
    net n p a.g b.g
    net s s.out q
  module TOP_BLC view=BLC group=top
    ports >p <q
    inst z TILE
    net x z.in p
)";

class Unfolded : public testing::Test {
protected:
  const std::unique_ptr<KEP_DB> m_db = make_db(DEVICE);
  const KEP_UNFOLDED_MODULE m_top = m_db->get_top_unfolded_module(DEFAULT_VIEW);
};

template <class VALUE>
void expect_two_plain_words() {
  static_assert(std::is_trivially_copyable_v<VALUE> && std::is_trivially_destructible_v<VALUE>);
  static_assert(sizeof(VALUE) == 2 * sizeof(void*));
  static_assert(sizeof(VALUE::m_position) == sizeof(void*));
  VALUE value;
  EXPECT_EQ(value.m_object, nullptr);
  EXPECT_FALSE(value);
  EXPECT_EQ(value, VALUE());
  EXPECT_EQ(reinterpret_cast<char*>(&value.m_position), reinterpret_cast<char*>(&value));
}

TEST(UnfoldedValues, AreTwoWordsAndEmptyByDefault) {
  expect_two_plain_words<KEP_UNFOLDED_MODULE>();
  expect_two_plain_words<KEP_UNFOLDED_INSTANCE>();
  expect_two_plain_words<KEP_UNFOLDED_PORT>();
  expect_two_plain_words<KEP_UNFOLDED_INST_PORT>();
  expect_two_plain_words<KEP_UNFOLDED_NET>();
}

TEST(UnfoldedValues, AreCopiedAsPlainMemory) {
  const auto db = make_db(DEVICE);
  const KEP_UNFOLDED_INST_PORT original = uip(*db, "a/t:in");
  KEP_UNFOLDED_INST_PORT copy;
  std::memcpy(static_cast<void*>(&copy), &original, sizeof copy);
  EXPECT_EQ(copy, original);
  EXPECT_EQ(copy.hash(), original.hash());
  EXPECT_EQ(copy.get_name(STYLE), "a/t:in");
}

TEST(EmptyValues, HaveTotalOperations) {
  const KEP_VIEW_TYPE_RANK rank(LOGICAL);
  const auto db = make_db(DEVICE);

  const KEP_UNFOLDED_MODULE module{};
  EXPECT_EQ(module.get_unfolded_instance(), KEP_UNFOLDED_INSTANCE());
  EXPECT_TRUE(module.iter_instances().empty());
  EXPECT_EQ(module.get_unfolded_port_by_index(0), KEP_UNFOLDED_PORT());
  EXPECT_EQ(module + KEP_RELATIVE_PATH(), KEP_UNFOLDED_MODULE());
  EXPECT_EQ(module + KEP_RELATIVE_PATH::create({}, port(*db, "TILE", "in")), KEP_UNFOLDED_MODULE());

  const KEP_UNFOLDED_INSTANCE instance{};
  EXPECT_EQ(instance.get_name(STYLE), "");
  EXPECT_EQ(instance.get_parent(), KEP_UNFOLDED_MODULE());
  EXPECT_EQ(instance.get_module(rank), KEP_UNFOLDED_MODULE());
  EXPECT_EQ(instance.get_module(DEFAULT_VIEW), KEP_UNFOLDED_MODULE());
  EXPECT_TRUE(instance.iter_inst_ports().empty());
  EXPECT_EQ(instance.get_unfolded_inst_port_by_index(0), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(instance.get_unfolding_of_inst_port(nullptr), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(instance.get_unfolding_of_inst_port(uip(*db, "s:in").m_object), KEP_UNFOLDED_INST_PORT());
  EXPECT_EQ(instance.get_ip_root_instance(), KEP_UNFOLDED_INSTANCE());

  const KEP_UNFOLDED_PORT port{};
  EXPECT_EQ(port.get_name(STYLE), "");
  EXPECT_EQ(port.get_parent(), KEP_UNFOLDED_MODULE());
  EXPECT_EQ(port.get_unfolded_net(), KEP_UNFOLDED_NET());
  EXPECT_EQ(port.get_unfolded_inst_port(), KEP_UNFOLDED_INST_PORT());
  EXPECT_FALSE(port - module);
  EXPECT_FALSE(port - db->get_top_unfolded_module(DEFAULT_VIEW));
}

TEST(EmptyValues, OfUipsAndNetsHaveTotalOperations) {
  const KEP_UNFOLDED_INST_PORT empty_uip{};
  EXPECT_EQ(empty_uip.get_db(), nullptr);
  EXPECT_EQ(empty_uip.get_name(STYLE), "");
  std::string name = "kept";
  empty_uip.append_name(STYLE, name);
  EXPECT_EQ(name, "kept");
  EXPECT_EQ(empty_uip.get_unfolded_instance(), KEP_UNFOLDED_INSTANCE());
  EXPECT_EQ(empty_uip.get_unfolded_net(), KEP_UNFOLDED_NET());
  EXPECT_EQ(empty_uip.get_unfolded_port(KEP_VIEW_TYPE_RANK(LOGICAL)), KEP_UNFOLDED_PORT());

  const KEP_UNFOLDED_NET net{};
  EXPECT_EQ(net.get_name(STYLE), "");
  EXPECT_TRUE(net.iter_ports().empty());
  EXPECT_TRUE(net.iter_inst_ports().empty());
  EXPECT_FALSE(net < KEP_UNFOLDED_NET());
}

TEST_F(Unfolded, AViewWithoutATopGivesAnEmptyModule) {
  EXPECT_EQ(m_top.m_object, module(*m_db, "TOP"));
  EXPECT_EQ(m_db->get_top_unfolded_module(LOGICAL), m_top);
  EXPECT_EQ(m_db->get_top_unfolded_module(BLC).m_object, module(*m_db, "TOP_BLC"));
  EXPECT_EQ(m_db->get_top_unfolded_module(VIEW_1), KEP_UNFOLDED_MODULE());
}

TEST_F(Unfolded, AWalkUpwardEndsAtTheTop) {
  KEP_UNFOLDED_MODULE at = unfolded_instance(*m_db, "a/t/m").get_module(BLC);
  std::vector<std::string> seen;
  while (true) {
    seen.emplace_back(at.m_object->get_key());
    const KEP_UNFOLDED_INSTANCE above = at.get_unfolded_instance();
    if (!above.m_object) break;
    at = above.get_parent();
  }
  EXPECT_THAT(seen, ElementsAre("MUX_BLC", "TILE", "GROUP", "TOP"));
  EXPECT_EQ(at, m_top);
}

TEST_F(Unfolded, NamesLeaveOutTheTop) {
  EXPECT_EQ(unfolded_instance(*m_db, "a").get_name(STYLE), "a");
  EXPECT_EQ(unfolded_instance(*m_db, "a/t/m@BLC/x").get_name(STYLE), "a/t/m/x");
  EXPECT_EQ(uip(*m_db, "a/t/m:z").get_name(STYLE), "a/t/m:z");
  EXPECT_EQ(m_top.get_unfolded_port_by_index(0).get_name(STYLE), ":p");
  EXPECT_EQ(
      unfolded_instance(*m_db, "b/u").get_module(DEFAULT_VIEW).get_unfolded_port_by_index(1).get_name(STYLE),
      "b/u:out");
  EXPECT_EQ(uip(*m_db, "a/t:in").get_unfolded_net().get_name(STYLE), "a/n");
  EXPECT_EQ(uip(*m_db, "a:g").get_unfolded_net().get_name(STYLE), "n");
  KEP_NAME_STYLE other;
  other.m_hierarchy_separator = '.';
  other.m_port_separator = '#';
  EXPECT_EQ(uip(*m_db, "a/t/m:z").get_name(other), "a.t.m#z");
  EXPECT_EQ(m_top.get_unfolded_port_by_index(0).get_name(other), "#p");
}

TEST_F(Unfolded, TheSameObjectAtTwoPlacesIsTwoValues) {
  EXPECT_FALSE(uip(*m_db, "a/t:in") == uip(*m_db, "b/t:in"));
  EXPECT_EQ(uip(*m_db, "a/t:in").m_object, uip(*m_db, "b/t:in").m_object);
  EXPECT_FALSE(uip(*m_db, "a/t:in") == uip(*m_db, "a/u:in"));
  EXPECT_FALSE(unfolded_instance(*m_db, "a/t/m").get_module(BLC) ==
               unfolded_instance(*m_db, "a/t/m").get_module(LOGICAL));
}

TEST_F(Unfolded, AnUnconnectedPortHasNoNet) {
  EXPECT_EQ(uip(*m_db, "s:open").get_unfolded_net().m_object, nullptr);
  EXPECT_EQ(uip(*m_db, "s:in").get_unfolded_net().m_object, nullptr);
  const KEP_UNFOLDED_MODULE tile = unfolded_instance(*m_db, "s").get_module(DEFAULT_VIEW);
  EXPECT_EQ(tile.get_unfolded_port_by_index(2).get_unfolded_net().m_object, nullptr);
  EXPECT_NE(tile.get_unfolded_port_by_index(0).get_unfolded_net().m_object, nullptr);
}

TEST_F(Unfolded, ANetHasThePortsAndUipsOfItsPlace) {
  const KEP_UNFOLDED_NET net = uip(*m_db, "b/t:in").get_unfolded_net();
  std::vector<std::string> members;
  for (const KEP_UNFOLDED_PORT& each : net.iter_ports())
    members.push_back(each.get_name(STYLE));
  for (const KEP_UNFOLDED_INST_PORT& each : net.iter_inst_ports())
    members.push_back(each.get_name(STYLE));
  EXPECT_THAT(members, ElementsAre("b:g", "b/t:in"));
  EXPECT_EQ((*net.iter_ports().begin()).get_unfolded_net(), net);
  EXPECT_EQ((*net.iter_ports().begin()).get_unfolded_inst_port(), uip(*m_db, "b:g"));
}

TEST_F(Unfolded, NetsAreKeysOfOrderedAndHashedSets) {
  std::set<KEP_UNFOLDED_NET> ordered;
  std::unordered_set<KEP_UNFOLDED_NET> hashed;
  for (const char* name : {"a:g", "b:g", "a/t:in", "a/t:out", "a/u:in", "b/t:in", "b/u:in", "a/t/m:a"}) {
    ordered.insert(uip(*m_db, name).get_unfolded_net());
    hashed.insert(uip(*m_db, name).get_unfolded_net());
  }
  EXPECT_EQ(ordered.size(), 6U); // a:g is b:g, a/t:out is a/u:in
  EXPECT_EQ(hashed.size(), 6U);
}

TEST_F(Unfolded, TheIpRootInstanceIsTheInnermostOneItselfIncluded) {
  EXPECT_EQ(unfolded_instance(*m_db, "a/t/m").get_ip_root_instance(), unfolded_instance(*m_db, "a/t"));
  EXPECT_EQ(unfolded_instance(*m_db, "a/t/m@BLC/x").get_ip_root_instance(), unfolded_instance(*m_db, "a/t"));
  EXPECT_EQ(unfolded_instance(*m_db, "a/t").get_ip_root_instance(), unfolded_instance(*m_db, "a/t"));
  EXPECT_EQ(unfolded_instance(*m_db, "a").get_ip_root_instance().m_object, nullptr);
}

TEST(IpRootInstance, AsksThePlainMasterWhateverViewWasEntered) {
  const auto db = make_db(R"(
    module CELL
    module PLAIN group=r ip_root
      inst c CELL
    module OTHER group=r view=BLC
      inst c CELL
    module ROOTED group=s view=BLC ip_root
      inst c CELL
    module UNROOTED group=s
      inst c CELL
    module T top
      inst a PLAIN
      inst b UNROOTED
  )");
  EXPECT_EQ(unfolded_instance(*db, "a@BLC/c").get_ip_root_instance(), unfolded_instance(*db, "a"));
  EXPECT_EQ(unfolded_instance(*db, "b@BLC/c").get_ip_root_instance().m_object, nullptr);
}

TEST_F(Unfolded, ARankThatFindsNoViewGivesAnEmptyValue) {
  const KEP_VIEW_TYPE_RANK none(KEP_VIEW_TYPE::VIEW_1, LOGICAL_TWIN);
  EXPECT_EQ(unfolded_instance(*m_db, "a").get_module(none), KEP_UNFOLDED_MODULE());
  EXPECT_EQ(uip(*m_db, "a:g").get_unfolded_port(none), KEP_UNFOLDED_PORT());
  EXPECT_EQ(uip(*m_db, "a:g").get_unfolded_port(KEP_VIEW_TYPE_RANK()), KEP_UNFOLDED_PORT());
  EXPECT_EQ(unfolded_instance(*m_db, "a/t/m").get_module(KEP_VIEW_TYPE_RANK(BLC, LOGICAL)).m_object,
            module(*m_db, "MUX_BLC"));
  EXPECT_EQ(unfolded_instance(*m_db, "a/t").get_module(KEP_VIEW_TYPE_RANK(BLC, LOGICAL)).m_object,
            module(*m_db, "TILE"));
}

TEST_F(Unfolded, ThePortsOfEveryTopHaveNothingOutside) {
  for (const KEP_VIEW_TYPE view : {LOGICAL, BLC}) {
    const KEP_UNFOLDED_MODULE each = m_db->get_top_unfolded_module(view);
    EXPECT_EQ(each.get_unfolded_instance().m_object, nullptr);
    EXPECT_EQ(each.get_unfolded_port_by_index(0).get_unfolded_inst_port().m_object, nullptr);
    EXPECT_NE(each.get_unfolded_port_by_index(0).get_unfolded_net().m_object, nullptr);
  }
  EXPECT_FALSE(m_db->get_top_unfolded_module(LOGICAL) == m_db->get_top_unfolded_module(BLC));
}

TEST_F(Unfolded, AUipKnowsItsDatabase) {
  EXPECT_EQ(uip(*m_db, "a/t/m:z").get_db(), m_db.get());
}

TEST_F(Unfolded, InstancesAreFoundByPathInEveryViewOfTheMasters) {
  EXPECT_THAT(m_db->find_unfolded_instances("a/t"), ElementsAre(unfolded_instance(*m_db, "a/t")));
  EXPECT_THAT(m_db->find_unfolded_instances("a/t/m/x"), ElementsAre(unfolded_instance(*m_db, "a/t/m@BLC/x")));
  EXPECT_THAT(m_db->find_unfolded_instances("a/t/none"), testing::IsEmpty());
  EXPECT_THAT(m_db->find_unfolded_instances(""), testing::IsEmpty());
}

TEST_F(Unfolded, AttributesAreThoseOfOnePosition) {
  KEP_LEGACY_API* api = m_db->get_legacy_api();
  ASSERT_NE(api, nullptr);
  EXPECT_EQ(m_db->get_legacy_api(), api);
  EXPECT_FALSE(api->has_instance_attributes());
  EXPECT_EQ(api->get_attributes(unfolded_instance(*m_db, "a/t")), nullptr);
  api->set_spare_row(unfolded_instance(*m_db, "a/t"), true);
  EXPECT_TRUE(api->has_instance_attributes());
  ASSERT_NE(api->get_attributes(unfolded_instance(*m_db, "a/t")), nullptr);
  EXPECT_TRUE(api->get_attributes(unfolded_instance(*m_db, "a/t"))->is_spare_row());
  EXPECT_EQ(api->get_attributes(unfolded_instance(*m_db, "b/t")), nullptr);
  EXPECT_EQ(api->get_attributes(unfolded_instance(*m_db, "a/u")), nullptr);
  EXPECT_EQ(api->get_attributes(KEP_UNFOLDED_INSTANCE()), nullptr);
  EXPECT_TRUE(api->has_attributes_somewhere(unfolded_instance(*m_db, "b/t").m_object)) << "at another place";
  EXPECT_FALSE(api->has_attributes_somewhere(unfolded_instance(*m_db, "a/u").m_object));
  api->set_spare_row(unfolded_instance(*m_db, "a/t"), false);
  const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* after = api->get_attributes(unfolded_instance(*m_db, "a/t"));
  EXPECT_TRUE(!after || !after->is_spare_row());
}

TEST(UnfoldedValues, StepThroughAHierarchyOfManyLevels) {
  constexpr unsigned DEPTH = 2000;
  KEP_DB_BUILDER builder;
  KEP_MODULE_ID below{};
  for (unsigned level = 0; level != DEPTH; ++level) {
    const KEP_MODULE_ID here = builder.add_module("L" + std::to_string(level), {});
    builder.add_port(here, "p", KEP_PORT_DIRECTION::INPUT);
    if (level) {
      const KEP_INSTANCE_ID inner = builder.add_instance(here, "i", below, {});
      const KEP_NET_ID net = builder.add_net(here, "n");
      builder.connect(here, 0, net);
      builder.connect(here, inner, 0, net);
    }
    below = here;
  }
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  const KEP_UNFOLDED_MODULE top = db->get_top_unfolded_module(DEFAULT_VIEW);
  KEP_UNFOLDED_PORT at = top.get_unfolded_port_by_index(0);
  std::vector<KEP_INSTANCE*> chain;
  while (at.get_unfolded_net()) {
    const KEP_UNFOLDED_INST_PORT next = *at.get_unfolded_net().iter_inst_ports().begin();
    chain.push_back(next.m_object->get_inst());
    at = next.get_unfolded_port(KEP_VIEW_TYPE_RANK(DEFAULT_VIEW));
  }
  EXPECT_EQ(chain.size(), DEPTH - 1);
  const KEP_RELATIVE_PATH path = at - top;
  EXPECT_EQ(path, KEP_RELATIVE_PATH::create(chain, at.m_object));
  EXPECT_EQ(top + path, at.get_parent());
  EXPECT_EQ(path.get_instances(db.get()), chain);
  EXPECT_EQ(at.get_name(STYLE).size(), 2 * (DEPTH - 1) - 1 + 2);
}

} // namespace unfolded_test
