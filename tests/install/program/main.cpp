// A program of somebody else's, in C++17: describes a ring of two tiles, builds its graph, keeps it in a
// file, opens that and prints the edges.
#include "kep/kep_boost_graph.h"
#include "kep/kep_db_builder.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_report/kep_report_sink.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"

#include <iostream>
#include <string_view>

int main(int, char** arguments) {
  KEP_REPORT::set_sink(KEP_REPORT::STREAM::INFO, [](std::string_view) {});
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  builder.add_port(mux, "a", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(mux, "o", KEP_PORT_DIRECTION::OUTPUT);
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  KEP_INSTANCE_PROPERTIES properties;
  properties.m_has_inst_header = true;
  const KEP_INSTANCE_ID left = builder.add_instance(top, "left", mux, properties);
  const KEP_INSTANCE_ID right = builder.add_instance(top, "right", mux, properties);
  const KEP_NET_ID nets[] = {builder.add_net(top, "there"), builder.add_net(top, "back")};
  builder.connect(top, left, 1, nets[0]);
  builder.connect(top, right, 0, nets[0]);
  builder.connect(top, right, 1, nets[1]);
  builder.connect(top, left, 0, nets[1]);
  try {
    const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
    KEP_MODULE* module = db->find_modules("MUX", KEP_VIEW_TYPE::LOGICAL, true).front();
    KEP_RG_PARSE(db.get()).add_port_edge(module->find_port("a"), module->find_port("o"));
    KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS()).build();
    kep_write_database(*db, {}, arguments[1]);
    const auto opened = kep_open_database(arguments[1]);
    const auto& graph = *opened->get_routing_template_graph();
    for (const auto& edge : boost::make_iterator_range(edges(KEP_ROUTING::NUMBERED_GRAPH(graph))))
      std::cout << graph.get_node(edge.get_source()).get_name({}) << " -> "
                << graph.get_node(edge.get_target()).get_name({}) << "\n";
    kep_open_database("nowhere.kdb");
  } catch (const KEP_IO_ERROR& error) { // must be known across libraries
    std::cout << error.what() << "\n";
  }
}
