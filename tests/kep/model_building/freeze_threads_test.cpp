#include "kep/kep_db_builder.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <string>

namespace freeze_threads_test {

/// Modules M0, M1, ..., of which those from M`first_wrong` on have a cell twice.
KEP_DB_BUILDER modules(int count, int first_wrong) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID leaf = builder.add_module("LEAF", {});
  for (int i = 0; i != count; ++i) {
    const KEP_MODULE_ID module = builder.add_module("M" + std::to_string(i), {.m_is_designated_top = i == 0});
    for (int k = 0; k != 20; ++k)
      builder.add_instance(module, "c" + std::to_string(i >= first_wrong ? k % 19 : k), leaf, {});
  }
  return builder;
}

TEST(FreezeThreads, OfManyModulesThatAreWrongTheFirstIsTold) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  EXPECT_TRUE(KEP_DB_BUILDER::freeze(modules(200, 200)));
  for (int round = 0; round != 10; ++round) {
    std::string message;
    try {
      KEP_DB_BUILDER::freeze(modules(200, 77));
    } catch (const KEP_DB_ERROR& error) {
      message = error.what();
    }
    ASSERT_EQ(message, "modules.M77.cells.c0: a cell of that name stands before") << "round " << round;
  }
}

TEST(FreezeThreads, InstPortsOfAVeryLargeModuleStandInOrder) {
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  constexpr unsigned NUM_INSTANCES = 10000;
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID leaf = builder.add_module("LEAF", {});
  builder.add_port(leaf, "i", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(leaf, "o", KEP_PORT_DIRECTION::OUTPUT);
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  builder.add_net(top, "none"); // so that nets are numbered anew
  const KEP_NET_ID net = builder.add_net(top, "n");
  for (unsigned i = 0; i != NUM_INSTANCES; ++i)
    builder.connect(top, builder.add_instance(top, "c" + std::to_string(i), leaf, {}), i % 2, net);
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));

  const KEP_MODULE* module = db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  ASSERT_EQ(module->get_num_nets(), 1U);
  ASSERT_EQ(module->get_net_by_index(0)->get_num_inst_ports(), NUM_INSTANCES);
  for (unsigned i = 0; i != NUM_INSTANCES; ++i) {
    const KEP_INST_PORT* inst_port = module->get_net_by_index(0)->get_inst_ports()[i];
    ASSERT_EQ(inst_port->get_number(), 2 * i + i % 2);
    ASSERT_EQ(inst_port->get_inst()->get_index(), i);
    ASSERT_EQ(inst_port->get_net(), module->get_net_by_index(0));
    ASSERT_EQ(module->get_inst_port_by_number(2 * i + 1 - i % 2)->get_net(), nullptr);
  }
}

} // namespace freeze_threads_test
