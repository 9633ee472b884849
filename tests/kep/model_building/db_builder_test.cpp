#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_capture.h"
#include "tests/support/model_fixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

namespace db_builder_test {

/// What a builder says to a fault of its caller.
std::string explanation_of(const std::function<void()>& body) {
  const KEP_REPORT_CAPTURE capture;
  try {
    body();
  } catch (const KEP_REPORT_ASSERTION_FAILURE& failure) {
    const std::string text = failure.what();
    const std::size_t at = text.find(": KEP_DB_BUILDER::");
    return at == std::string::npos ? text : text.substr(at + 2);
  }
  return "(no assertion)";
}

constexpr auto INPUT = KEP_PORT_DIRECTION::INPUT;

/// A builder with a mux, an instance of it in a tile, and a net there.
struct BUILT {
  KEP_DB_BUILDER m_builder;
  KEP_MODULE_ID m_mux = m_builder.add_module("MUX", {});
  unsigned m_i = m_builder.add_port(m_mux, "i", INPUT);
  KEP_MODULE_ID m_tile = m_builder.add_module("TILE", {});
  unsigned m_p = m_builder.add_port(m_tile, "p", INPUT);
  KEP_INSTANCE_ID m_m = m_builder.add_instance(m_tile, "m", m_mux, {});
  KEP_NET_ID m_net = m_builder.add_net(m_tile, "n");
};

TEST(DbBuilder, TakesNoModuleOfAnotherBuilderOrNone) {
  BUILT own;
  BUILT other;
  KEP_DB_BUILDER& b = own.m_builder;
  const auto is_refused = [](const char* operation, const std::function<void()>& body) {
    EXPECT_EQ(explanation_of(body),
              std::string("KEP_DB_BUILDER::") + operation + ": the module is not of this builder");
  };
  const auto past_the_end = static_cast<KEP_MODULE_ID>(static_cast<std::uint64_t>(own.m_tile) + 1);
  for (const KEP_MODULE_ID module : {KEP_MODULE_ID(), other.m_tile, past_the_end}) {
    is_refused("add_port", [&] { b.add_port(module, "x", INPUT); });
    is_refused("set_port_blc", [&] { b.set_port_blc(module, 0, 1, ""); });
    is_refused("add_instance", [&] { b.add_instance(module, "x", own.m_mux, {}); });
    is_refused("add_instance", [&] { b.add_instance(own.m_tile, "x", module, {}); });
    is_refused("add_net", [&] { b.add_net(module, "x"); });
    is_refused("set_net_name", [&] { b.set_net_name(module, own.m_net, "x"); });
    is_refused("connect", [&] { b.connect(module, 0, own.m_net); });
    is_refused("connect", [&] { b.connect(module, own.m_m, 0, own.m_net); });
  }
}

TEST(DbBuilder, TakesNoInstanceOrNetOfAnotherModuleOrNone) {
  BUILT own;
  BUILT other;
  KEP_DB_BUILDER& b = own.m_builder;
  const KEP_MODULE_ID top = b.add_module("TOP", {});
  const KEP_INSTANCE_ID in_top = b.add_instance(top, "t", own.m_tile, {});
  const KEP_NET_ID of_top = b.add_net(top, "n");
  const auto no_net = [](const char* operation) {
    return std::string("KEP_DB_BUILDER::") + operation + ": the net is not of the module TILE";
  };
  const auto past_the_end = static_cast<KEP_NET_ID>(static_cast<std::uint64_t>(own.m_net) + 1);
  for (const KEP_NET_ID net : {KEP_NET_ID(), of_top, other.m_net, past_the_end}) {
    EXPECT_EQ(explanation_of([&] { b.set_net_name(own.m_tile, net, "x"); }), no_net("set_net_name"));
    EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, own.m_p, net); }), no_net("connect"));
    EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, own.m_m, own.m_i, net); }), no_net("connect"));
  }
  const auto next = static_cast<KEP_INSTANCE_ID>(static_cast<std::uint64_t>(own.m_m) + 1);
  for (const KEP_INSTANCE_ID instance : {KEP_INSTANCE_ID(), in_top, other.m_m, next})
    EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, instance, 0, own.m_net); }),
              "KEP_DB_BUILDER::connect: the instance is not of the module TILE");
}

TEST(DbBuilder, CountsTheIdsOfAModuleUp) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID module = builder.add_module("M", {});
  const KEP_MODULE_ID other = builder.add_module("N", {});
  const auto first = static_cast<std::uint64_t>(builder.add_net(module, "n0"));
  for (std::uint64_t i = 1; i != 100; ++i) {
    builder.add_net(other, "n");
    EXPECT_EQ(static_cast<std::uint64_t>(builder.add_net(module, "n")), first + i);
  }
}

TEST(DbBuilder, TakesNoPortThatIsNotThere) {
  BUILT own;
  KEP_DB_BUILDER& b = own.m_builder;
  EXPECT_EQ(explanation_of([&] { b.set_port_blc(own.m_mux, 1, 0, ""); }),
            "KEP_DB_BUILDER::set_port_blc: the module MUX has no port 1");
  EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, 1, own.m_net); }),
            "KEP_DB_BUILDER::connect: the module TILE has no port 1");
  const std::string text = "KEP_DB_BUILDER::connect: the master of the instance m had no port 1";
  EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, own.m_m, 1, own.m_net); }), text);
  b.connect(own.m_tile, own.m_m, 0, own.m_net);
  b.add_port(own.m_mux, "late", INPUT);
  EXPECT_EQ(explanation_of([&] { b.connect(own.m_tile, own.m_m, 1, own.m_net); }), text)
      << "the ports come before the first connection";
}

TEST(DbBuilder, IsUsedOnce) {
  BUILT own;
  KEP_DB_BUILDER& b = own.m_builder;
  const KEP_DB_BUILDER moved(std::move(b));
  const auto is_refused = [](const char* operation, const std::function<void()>& body) {
    EXPECT_EQ(explanation_of(body),
              std::string("KEP_DB_BUILDER::") + operation + ": the builder was frozen or moved from");
  };
  is_refused("add_module", [&] { b.add_module("x", {}); });
  is_refused("add_port", [&] { b.add_port(own.m_mux, "x", INPUT); });
  is_refused("set_port_blc", [&] { b.set_port_blc(own.m_mux, 0, 0, ""); });
  is_refused("add_instance", [&] { b.add_instance(own.m_tile, "x", own.m_mux, {}); });
  is_refused("add_net", [&] { b.add_net(own.m_tile, "x"); });
  is_refused("set_net_name", [&] { b.set_net_name(own.m_tile, own.m_net, "x"); });
  is_refused("connect", [&] { b.connect(own.m_tile, own.m_p, own.m_net); });
  is_refused("connect", [&] { b.connect(own.m_tile, own.m_m, own.m_i, own.m_net); });
  is_refused("freeze", [&] { KEP_DB_BUILDER::freeze(std::move(b)); });
}

TEST(DbBuilder, KeepsItsIdsWhereItMoves) {
  BUILT own;
  KEP_DB_BUILDER moved(std::move(own.m_builder));
  moved.connect(own.m_tile, own.m_m, own.m_i, own.m_net);
  moved.connect(own.m_tile, own.m_p, own.m_net);
  const auto db = KEP_DB_BUILDER::freeze(std::move(moved));
  EXPECT_STREQ(test_model::port(*db, "TILE", "p")->get_net()->get_plain_name(), "n");
}

} // namespace db_builder_test
