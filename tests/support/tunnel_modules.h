#pragma once

#include "tests/support/build_case.h"

#include <string>

namespace test_model {

/// The modules of a tunnel, as text in front of a model: behind a THROUGH, a SOURCE reaches the TARGETs
/// alone.
inline const std::string TUNNEL_MODULES = R"(
      module SOURCE
        ports >i <o
      module THROUGH
        ports >i <o
        net way i o
      module TARGET
        ports >i <o
)";

/// Their arcs and tunnel types. With other types than usual they are no tunnel.
inline void describe_tunnel(BUILD_CASE& c, int source = 1, int through = 2, int target = 3) {
  const auto describe = [&c](const char* key, int type) {
    c.arcs(key, {"i"}, "o");
    c.parse().add_tunnel_type(c.model().module(key), static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(type));
  };
  describe("SOURCE", source);
  describe("THROUGH", through);
  describe("TARGET", target);
}

} // namespace test_model
