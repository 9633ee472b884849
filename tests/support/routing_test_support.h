#pragma once

#include "kep/kep_routing_graph.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/io_test_support.h"

/// A small device, and descriptions of it.
class ROUTED_DEVICE {
public:
  /// TOP holds two tiles, TILE a mux m and a block b; the block's master LAB is an IP root whose BLC view
  /// holds a cell u that the logical view lacks. MUX has equivalents in the BLC view and in the twin.
  static constexpr const char* MODEL = R"({"modules": {
    "MUX": {"attributes": {"kep_equivalents": "mux"},
            "ports": {"i": {"direction": "input", "bits": [2, 3]}, "o": {"direction": "output", "bits": [4]}}},
    "MUX_BLC": {"attributes": {"kep_equivalents": "mux", "kep_name": "MUX", "kep_view": "BLC"},
            "ports": {"i": {"direction": "input", "bits": [2, 3]}, "o": {"direction": "output", "bits": [4]}}},
    "MUX_TWIN": {"attributes": {"kep_equivalents": "mux", "kep_name": "MUX", "kep_view": "LOGICAL_TWIN"},
            "ports": {"i": {"direction": "input", "bits": [2, 3]}, "o": {"direction": "output", "bits": [4]}}},
    "MUX_V1": {"attributes": {"kep_name": "V", "kep_view": "VIEW_1"},
            "ports": {"p": {"direction": "input", "bits": [2]}}},
    "LAB": {"attributes": {"kep_equivalents": "lab", "kep_ip_root": 1},
            "ports": {"p": {"direction": "input", "bits": [2]}}, "cells": {"l": {"type": "MUX"}}},
    "LAB_BLC": {"attributes": {"kep_equivalents": "lab", "kep_name": "LAB", "kep_view": "BLC", "kep_ip_root": 1},
            "ports": {"p": {"direction": "input", "bits": [2]}}, "cells": {"u": {"type": "MUX"}}},
    "LONE": {"attributes": {"kep_ip_root": 1}, "ports": {"p": {"direction": "input", "bits": [2]}}},
    "TILE": {"ports": {"w": {"direction": "inout", "bits": [2]}, "m": {"direction": "input", "bits": [3]}},
             "cells": {"m": {"type": "MUX", "connections": {"o": [2]}}, "b": {"type": "LAB"}}},
    "TOP": {"attributes": {"top": 1}, "cells": {"t0": {"type": "TILE"}, "t1": {"type": "TILE"}}}}})";

  ROUTED_DEVICE() : m_db(kep_read_model_text(MODEL, "m.json")), m_parse(m_db.get()) {}

  void read(const std::string& text) { kep_read_routing_text(m_db.get(), m_parse, text, "r.jsonl"); }
  std::string refusal(const std::string& text) {
    return refusal_of([&] { read(text); });
  }

  KEP_DB* db() { return m_db.get(); }
  KEP_RG_PARSE& parse() { return m_parse; }
  const KEP_ROUTING_PRIMITIVE* store() const {
    return m_db->get_routing_template_graph()->get_routing_primitive();
  }
  KEP_MODULE* module(const std::string& key) const {
    return const_cast<KEP_MODULE*>(module_of_key(*m_db, key));
  }
  KEP_PORT* port(const std::string& key, const char* name) const { return module(key)->find_port(name); }
  /// The arcs of a module's muxes, as INPUT>OUTPUT; a mux is in parentheses, with ! before it if it is a skip
  /// mux.
  std::string muxes(const std::string& key) const {
    std::string text;
    for (const KEP_ROUTING_MUX* mux :
         m_parse.find_routing_primitive_cache()->iter_routing_muxes(module(key))) {
      text += mux->get_skip() ? "!(" : "(";
      for (const KEP_ROUTING_ARC* arc : mux->iter_routing_arcs())
        text +=
            std::string(" ") + arc->get_input()->get_plain_name() + ">" + arc->get_output()->get_plain_name();
      for (const KEP_INSTANCE* instance : mux->iter_skip_exception_instances())
        text += std::string(" not ") + instance->get_parent()->get_key() + "." + instance->get_plain_name();
      text += " )";
    }
    return text;
  }

private:
  std::unique_ptr<KEP_DB> m_db;
  KEP_RG_PARSE m_parse;
};
