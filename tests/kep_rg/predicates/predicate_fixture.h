#pragma once

#include "kep/kep_flat_utils.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_primitives.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// A model for the tests of the predicates. A test states facts in `m_store`, then makes the tables.
class Predicate : public testing::Test {
protected:
  KEP_PORT* port(const char* text) const { return m_model.port(text); }
  KEP_MODULE* module(const char* key) const { return m_model.module(key); }
  KEP_UNFOLDED_INST_PORT uip(const char* name) const { return m_model.uip(name); }

  KEP_ROUTING_MUX* add_mux(const char* key, bool skip) {
    KEP_ROUTING_MUX* mux = KEP_ROUTING_MUX::allocate(m_db, module(key), skip);
    KEP_ROUTING_ARC::allocate(m_db, module(key)->find_port("i"), module(key)->find_port("o"), mux);
    return mux;
  }
  /// The tables of the description as it stands at the first call.
  KEP_RG_PRIMITIVES& primitives() {
    if (!m_primitives) {
      m_cache.emplace(m_db);
      m_primitives.emplace(m_db, &*m_cache);
    }
    return *m_primitives;
  }
  static std::vector<std::string> names(const std::vector<KEP_UNFOLDED_INST_PORT>& uips) {
    std::vector<std::string> result;
    for (const KEP_UNFOLDED_INST_PORT& each : uips)
      result.push_back(test_model::name_of(each));
    return result;
  }
  static KEP_GET_LEAF_PARAMS params(bool honour_tunnels) {
    KEP_GET_LEAF_PARAMS result;
    result.m_view_type_rank = KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank;
    result.m_honour_tunnels = honour_tunnels;
    return result;
  }

  const NAMED_MODEL m_model{R"(
    module PLAIN
      ports >i >j <o =b
    module ROOT group=root ip_root
      ports >i <o
    module ROOT_BLC group=root view=BLC ip_root
      ports >i <o
    module UNROUTED ip_root
      ports >i <o
    module BUFFER view=BLC bidir_buffer
      ports =a <o
    module VIEWED view=VIEW_1
      ports >i <o
    module TOP top
      ports >in
      inst p PLAIN
      inst q PLAIN
      inst r ROOT
      inst buf BUFFER
      inst buf_2 BUFFER
      inst v VIEWED
      inst u UNROUTED
      net n in p.i q.o p.o r.i buf.a buf_2.o
      net other q.i r.o v.o
  )"};
  KEP_DB* m_db = m_model.db();
  KEP_ROUTING_PRIMITIVE* m_store = m_db->get_routing_template_graph()->get_routing_primitive();
  const KEP_UNFOLDED_INST_PORT m_no_uip{};
  const KEP_UNFOLDED_PORT m_no_port{};

private:
  std::optional<KEP_DB_ROUTING_PRIMITIVE_CACHE> m_cache;
  std::optional<KEP_RG_PRIMITIVES> m_primitives;
};
