#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace parse {

/// MUX in all four views, two of them BLC; LONE and PLAIN in one view.
class Parse : public testing::Test {
protected:
  KEP_PORT* port(const char* text) const { return m_model.port(text); }
  KEP_MODULE* module(const char* key) const { return m_model.module(key); }

  /// The keys of the modules of all arcs, in their order in the store.
  std::vector<std::string> modules_of_arcs() const {
    std::vector<std::string> keys;
    for (const KEP_ROUTING_ARC* arc : m_store->iter_routing_arcs(false))
      keys.emplace_back(arc->get_input()->get_parent()->get_key());
    return keys;
  }
  /// "KEY:port" of every port with a hipi mark, in the order of the design.
  std::vector<std::string> marked_ports() const {
    std::vector<std::string> names;
    for (const KEP_MODULE* each : m_db->iter_modules(true)) {
      for (const KEP_PORT* p : each->iter_ports()) {
        if (m_store->get_hipi_type(p) != KEP_ROUTING_PRIMITIVE_HIPI::NONE)
          names.push_back(std::string(each->get_key()) + ":" + p->get_plain_name());
      }
    }
    return names;
  }
  std::vector<const KEP_MODULE*> roots() const {
    std::vector<const KEP_MODULE*> modules;
    for (const KEP_MODULE* each : m_store->iter_routing_roots(false))
      modules.push_back(each);
    return modules;
  }
  std::vector<const KEP_ROUTING_MUX*> muxes(const char* key, const KEP_RG_PARSE& parse) const {
    std::vector<const KEP_ROUTING_MUX*> found;
    for (const KEP_ROUTING_MUX* mux : parse.find_routing_primitive_cache()->iter_routing_muxes(module(key)))
      found.push_back(mux);
    return found;
  }

  const NAMED_MODEL m_model{R"(
    module MUX name=MUX group=mux view=LOGICAL ip_root
      ports >i >j <o
    module MUX_BLC name=MUX group=mux view=BLC ip_root
      ports >i >j <o
    module MUX_BLC_2 name=MUX group=mux view=BLC ip_root
      ports >i >j <o
    module MUX_TWIN name=MUX group=mux view=LOGICAL_TWIN ip_root
      ports >i >j <o
    module MUX_VIEW_1 name=MUX group=mux view=VIEW_1 ip_root
      ports >i >j <o
    module LONE ip_root
      ports >i <o
    module PLAIN
      ports >i <o
    module TOP top
      inst m MUX
      inst l LONE
  )"};
  KEP_DB* m_db = m_model.db();
  KEP_ROUTING_PRIMITIVE* m_store = m_db->get_routing_template_graph()->get_routing_primitive();
};

} // namespace parse
