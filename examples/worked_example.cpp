// Two like tiles, each a mux between its port `in` and its port `out`, joined to a ring: four lines of
// netlist, one description, two nodes and two edges.

#include "kep/kep_db_builder.h"
#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_sink.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"

#include <iostream>
#include <memory>
#include <string_view>
#include <utility>

int main() {
  // The folded model: each module once.
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  builder.add_port(mux, "a", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(mux, "o", KEP_PORT_DIRECTION::OUTPUT);

  const KEP_MODULE_ID tile = builder.add_module("TILE", {});
  const unsigned in = builder.add_port(tile, "in", KEP_PORT_DIRECTION::INPUT);
  const unsigned out = builder.add_port(tile, "out", KEP_PORT_DIRECTION::OUTPUT);
  KEP_INSTANCE_PROPERTIES is_mux;
  is_mux.m_has_inst_header = true;
  const KEP_INSTANCE_ID m = builder.add_instance(tile, "m", mux, is_mux);
  const KEP_NET_ID from_in = builder.add_net(tile, "from_in");
  const KEP_NET_ID to_out = builder.add_net(tile, "to_out");
  builder.connect(tile, in, from_in);
  builder.connect(tile, m, 0, from_in);
  builder.connect(tile, m, 1, to_out);
  builder.connect(tile, out, to_out);

  KEP_MODULE_PROPERTIES is_top;
  is_top.m_is_designated_top = true;
  const KEP_MODULE_ID top = builder.add_module("TOP", is_top);
  const KEP_INSTANCE_ID left = builder.add_instance(top, "left", tile, {});
  const KEP_INSTANCE_ID right = builder.add_instance(top, "right", tile, {});
  const KEP_NET_ID there = builder.add_net(top, "there");
  const KEP_NET_ID back = builder.add_net(top, "back");
  builder.connect(top, left, out, there);
  builder.connect(top, right, in, there);
  builder.connect(top, right, out, back);
  builder.connect(top, left, in, back);
  const std::unique_ptr<KEP_DB> db = KEP_DB_BUILDER::freeze(std::move(builder));

  // What is routing: an arc through every MUX.
  KEP_MODULE* mux_module = db->find_modules("MUX", KEP_VIEW_TYPE::LOGICAL, true).front();
  KEP_RG_PARSE parse(db.get());
  parse.add_port_edge(mux_module->find_port("a"), mux_module->find_port("o"));

  // The flat graph: a node for each mux output, an edge wherever one drives another.
  KEP_REPORT::set_sink(KEP_REPORT::STREAM::INFO, [](std::string_view) {}); // quiet, please
  KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(2));
  build.build();

  const KEP_NAME_STYLE style;
  for (const KEP_ROUTING::NODE& node : db->get_routing_template_graph()->iter_nodes())
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      std::cout << node.get_name(style) << " -> " << edge.get_fanout().get_name(style) << " through "
                << edge.get_mux_input().get_name(style) << "\n";
}
