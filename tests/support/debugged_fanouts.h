#pragma once

#include "kep_rg/kep_rg_debug.h"
#include "tests/support/model_fixture.h"

#include <string>
#include <vector>

namespace test_model {

/// What debug_edges gave for the node at the uip, written as the edges of a graph are.
inline std::vector<std::string> lines_of(const KEP_UNFOLDED_INST_PORT& uip, KEP_RG_DBG_FANOUTS& fanouts) {
  std::vector<std::string> lines;
  for (const KEP_RG_DBG_FANOUT* fanout : fanouts.iter()) {
    const KEP_ROUTING_BUILDER_NODE& to = *fanout->get_routing_node();
    lines.push_back(name_of(uip) + (fanout->is_redundant() ? " ~> " : " -> ") +
                    to.get_name(KEP_NAME_STYLE()) + (to.is_hipi() ? "*" : ""));
    if (fanout->get_mux_input()) lines.back() += " via " + name_of(fanout->get_mux_input());
  }
  return lines;
}

} // namespace test_model
