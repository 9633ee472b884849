#pragma once

#include "fuzz/fuzz.h"
#include "kep/kep_db.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_proof.h"
#include "tests/support/graph_text.h"
#include "tests/support/model_fixture.h"

#include <memory>
#include <string>

/// The device that descriptions, redundancy data and paths are read for: three tiles in a ring, each with a
/// mux that has a twin and an equivalent in the BLC view, a feed-through, and a logic block whose BLC view
/// holds what its logical view lacks.
namespace FUZZ {

inline constexpr const char* DEVICE = R"(
  module MUX group=mux
    ports >a >b <o
  module MUX_BLC group=mux name=MUX view=BLC
    ports >a >b <o
  module MUX_TWIN group=mux name=MUX view=LOGICAL_TWIN
    ports >a >b <o
  module V view=VIEW_1
    ports >p
  module FLY
    ports >i <j =s
  module BUF bidir_buffer
    ports =x =y
  module LAB group=lab ip_root
    ports >p <q =x
    inst m MUX header
    net n p m.a
    net k m.o q
  module LAB_BLC group=lab name=LAB view=BLC ip_root
    ports >p <q =x
    inst u MUX header
    inst w MUX header atom
    inst r BUF
    net n p u.a
    net l u.o w.b
    net k w.o q
    net y r.x x
  module FAR foreign
    ports >i <o
    inst m MUX header
    net n i m.b
    net k m.o o
  module TILE
    ports >n <s =t
    inst m MUX header
    inst f FLY header
    inst b LAB
    inst d FAR
    net i n m.a b.p
    net j m.o f.i d.i
    net k f.j b.x s
    net l b.q m.b
    net o d.o t
  module TOP top type=1
    ports >in <out
    inst t0 TILE
    inst t1 TILE
    inst t2 TILE
    net r0 in t0.n t2.s
    net r1 t0.s t1.n
    net r2 t1.s t2.n out
    net w t0.t t1.t t2.t
)";

/// Arcs for all muxes of it, and one statement of most other kinds.
inline constexpr const char* DESCRIPTION =
    R"({"op": "add_port_edge", "module": "MUX", "input": "a", "output": "o", "hipi": 1}
{"op": "add_port_edge", "module": "MUX", "input": "b", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "view": "BLC", "input": "a", "output": "o"}
{"op": "add_port_edge", "module": "MUX", "view": "BLC", "input": "b", "output": "o"}
{"op": "add_routing_flyover", "module": "FLY", "input": "i", "output": "j"}
{"op": "add_routing_root", "module": "LAB", "root_view": "BLC"}
{"op": "add_inserted_node", "module": "FLY", "port": "j", "name": "j"}
{"op": "set_spare_row", "instance": "t1"}
)";

/// Builds the graph of a database; the whole graph in words, or why there is none. What was built is proven.
inline std::string build_and_prove(KEP_DB& db, int num_threads) {
  KEP_RG_BUILD build(&db, KEP_RG_BUILD_PARAMS().set_num_threads(num_threads));
  const std::string refusal = build.find_refusal();
  if (!refusal.empty()) return "refused: " + refusal;
  try {
    build.build();
  } catch (const KEP_DB_ERROR& error) {
    return std::string("refused: ") + error.what();
  }
  const std::string text = test_model::whole_graph(db);
  require(KEP_RG_PROOF(&db).run(num_threads).is_sound(), "the graph is proven:\n" + text);
  return text;
}

} // namespace FUZZ
