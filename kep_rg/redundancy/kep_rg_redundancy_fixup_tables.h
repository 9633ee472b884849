#pragma once

#include "kep/kep_routing_primitive.h"
#include "kep_rg/kep_rg_relative_port.h"

#include <set>
#include <vector>

/// The two rewrite tables of redundancy data, made from the arcs of a description.
class KEP_RG_REDUNDANCY_FIXUP_TABLES {
public:
  explicit KEP_RG_REDUNDANCY_FIXUP_TABLES(KEP_ROUTING_PRIMITIVE* routing_primitive);

  /// From a port of a nested module with live arcs, named from the enclosing module with live arcs, to the
  /// port of the latter that is wired down to it through levels without arcs.
  const KEP_RG_RELATIVE_PORT_TO_PORT& get_inner_to_outer() const { return m_inner_to_outer; }
  /// From an arc's output to its input, on the same level; of several arcs the first decides.
  const KEP_RG_RELATIVE_PORT_TO_PORT& get_output_to_input() const { return m_output_to_input; }

private:
  void find_mux_modules();
  void fill_inner_to_outer();
  void descend(const KEP_PORT* port, KEP_PORT* outer);
  void fill_output_to_input();

  KEP_ROUTING_PRIMITIVE* m_routing_primitive;
  std::set<KEP_MODULE*> m_mux_modules; // those that hold live arcs
  KEP_RG_RELATIVE_PORT_TO_PORT m_inner_to_outer;
  KEP_RG_RELATIVE_PORT_TO_PORT m_output_to_input;
  std::vector<KEP_INSTANCE*> m_instance_stack; // of the descent
};
