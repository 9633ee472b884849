#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_primitives.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <vector>

namespace primitives {

inline constexpr const char* MODEL_TEXT = R"(
  module MUX group=mux view=LOGICAL ip_root
    ports >i >j <o
  module MUX_TWIN group=mux view=LOGICAL_TWIN ip_root
    ports >i >j <o
  module MUX_BLC group=mux view=BLC ip_root
    ports >i >j <o
  module PLAIN
    ports >i >j <o
  module TRAITED trait_0
    ports >i <o
  module BUFFER bidir_buffer
    ports =a =b
  module BLOCK
    inst x_mux_x PLAIN
    inst other PLAIN
  module TOP top group=top
    inst a PLAIN
    inst b PLAIN
    inst block BLOCK
    inst block_2 BLOCK
    inst m MUX
  module TOP_TWIN group=top view=LOGICAL_TWIN
    inst block BLOCK
    inst t_mux PLAIN
  module TOP_BLC group=top view=BLC
    inst c_mux PLAIN
)";

/// A model whose description a test states in `m_store` before it makes the tables of it.
class Primitives : public testing::Test {
protected:
  explicit Primitives(const char* text = MODEL_TEXT) : m_model(text) {}

  KEP_PORT* port(const char* text) const { return m_model.port(text); }
  KEP_MODULE* module(const char* key) const { return m_model.module(key); }
  KEP_INSTANCE* instance(const char* text) const { return m_model.instance(text); }
  KEP_INST_PORT* inst_port(const char* text) const { return m_model.inst_port(text); }

  KEP_ROUTING_MUX* add_mux(const char* key, bool skip, std::initializer_list<const char*> inputs) {
    KEP_ROUTING_MUX* mux = KEP_ROUTING_MUX::allocate(m_db, module(key), skip);
    for (const char* input : inputs) {
      KEP_ROUTING_ARC::allocate(m_db, module(key)->find_port(input), module(key)->find_port("o"), mux);
    }
    return mux;
  }
  /// The tables of the description as it stands now.
  KEP_RG_PRIMITIVES digest() {
    m_cache.emplace(m_db);
    return KEP_RG_PRIMITIVES(m_db, &*m_cache);
  }
  static std::vector<const KEP_MODULE*> stop_modules(const KEP_RG_PRIMITIVES& primitives) {
    const auto range = primitives.iter_stop_modules();
    return {range.begin(), range.end()};
  }

  NAMED_MODEL m_model;
  KEP_DB* m_db = m_model.db();
  KEP_ROUTING_PRIMITIVE* m_store = m_db->get_routing_template_graph()->get_routing_primitive();
  std::optional<KEP_DB_ROUTING_PRIMITIVE_CACHE> m_cache;
};

} // namespace primitives
