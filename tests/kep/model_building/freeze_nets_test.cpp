// What freezing makes of the nets that a builder was given.

#include "tests/support/model_fixture.h"

#include <gtest/gtest.h>

#include <string>

namespace freeze_nets_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;

TEST(Freeze, DropsANetWithOnePortOnlyAndOneWithoutMembers) {
  const auto db = make_db(R"(
    module A
      ports >i
    module T top
      ports >p >q >r
      inst a A
      inst b A
      net alone p
      net none
      net single a.i
      net two q r
  )");
  EXPECT_EQ(port(*db, "T", "p")->get_net(), nullptr) << "nothing is behind the port";
  ASSERT_NE(port(*db, "T", "q")->get_net(), nullptr);
  EXPECT_EQ(port(*db, "T", "q")->get_net(), port(*db, "T", "r")->get_net());
  const KEP_NET* single = instance(*db, "T", "a")->get_inst_port_by_index(0)->get_net();
  ASSERT_NE(single, nullptr) << "a net with one inst port is a net";
  EXPECT_EQ(single->get_name(KEP_NAME_STYLE()), "single");
  EXPECT_EQ(module(*db, "T")->get_num_nets(), 2U);
}

TEST(Freeze, DropsANetWhoseMembersWereMovedAway) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID top = builder.add_module("T", {});
  builder.add_port(top, "p", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(top, "q", KEP_PORT_DIRECTION::INPUT);
  const KEP_NET_ID first = builder.add_net(top, "first");
  const KEP_NET_ID second = builder.add_net(top, "second");
  builder.connect(top, 0, first);
  builder.connect(top, 1, first);
  builder.connect(top, 0, second);
  builder.connect(top, 1, second);
  builder.set_net_name(top, second, "renamed");
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  EXPECT_EQ(module(*db, "T")->get_num_nets(), 1U);
  EXPECT_STREQ(port(*db, "T", "p")->get_net()->get_plain_name(), "renamed");
}

TEST(Freeze, MovesAnInstPortThatIsConnectedAgain) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID master = builder.add_module("A", {});
  builder.add_port(master, "i", KEP_PORT_DIRECTION::INPUT);
  const KEP_MODULE_ID top = builder.add_module("T", {});
  const KEP_INSTANCE_ID a = builder.add_instance(top, "a", master, {});
  const KEP_NET_ID first = builder.add_net(top, "first");
  const KEP_NET_ID second = builder.add_net(top, "second");
  builder.connect(top, a, 0, first);
  builder.connect(top, a, 0, second);
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  const KEP_NET* net = instance(*db, "T", "a")->get_inst_port_by_index(0)->get_net();
  EXPECT_STREQ(net->get_plain_name(), "second");
  EXPECT_EQ(net->get_num_inst_ports(), 1U);
  EXPECT_EQ(module(*db, "T")->get_num_nets(), 1U);
}

TEST(Freeze, KeepsWhatWasAddedFirstAndConnectedLastInTheOrderOfTheModel) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID top = builder.add_module("T", {.m_is_designated_top = true});
  const KEP_MODULE_ID master = builder.add_module("A", {});
  const KEP_INSTANCE_ID a = builder.add_instance(top, "a", master, {});
  const KEP_INSTANCE_ID b = builder.add_instance(top, "b", master, {});
  builder.add_port(master, "i", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(master, "j", KEP_PORT_DIRECTION::INPUT);
  const KEP_NET_ID net = builder.add_net(top, "n");
  builder.connect(top, b, 1, net);
  builder.connect(top, b, 0, net);
  builder.connect(top, a, 1, net);
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  std::string members;
  for (const KEP_INST_PORT* each : module(*db, "T")->iter_nets().front()->iter_inst_ports())
    members += std::string(each->get_inst()->get_plain_name()) + each->get_port()->get_plain_name() + " ";
  EXPECT_EQ(members, "aj bi bj ");
}

} // namespace freeze_nets_test
