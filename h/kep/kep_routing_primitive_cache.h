#pragma once

/// @file
/// The description of a database, indexed by module and by port.

#include "kep/kep_routing_primitive.h"

class KEP_MODULE_ROUTING_MUX_ITER : public KEP_POINTER_ITER<KEP_MODULE_ROUTING_MUX_ITER, KEP_ROUTING_MUX> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};

/// An index over the description of a database, by module and by port. Muxes, arcs and flyovers are those
/// that stood in the store when the cache was made and those that were added to the cache since; marks are
/// read from the store itself. One thread writes; any number read once nobody writes. The database must
/// outlive the cache.
class KEP_EXPORT KEP_DB_ROUTING_PRIMITIVE_CACHE {
public:
  /// Indexes what the store of the database holds.
  explicit KEP_DB_ROUTING_PRIMITIVE_CACHE(const KEP_DB* db);
  ~KEP_DB_ROUTING_PRIMITIVE_CACHE();
  KEP_DB_ROUTING_PRIMITIVE_CACHE(const KEP_DB_ROUTING_PRIMITIVE_CACHE&) = delete;
  KEP_DB_ROUTING_PRIMITIVE_CACHE& operator=(const KEP_DB_ROUTING_PRIMITIVE_CACHE&) = delete;

  ///@{
  /// For what was added to the store since. Not null; the last one of a module or port comes last.
  void add_routing_mux(KEP_ROUTING_MUX* mux);
  void add_routing_arc(KEP_ROUTING_ARC* arc);
  ///@}
  /// No question of the cache is about flyovers: nothing is kept of it.
  void add_routing_flyover(KEP_ROUTING_FLYOVER* flyover);

  /// False for null.
  bool has_routing_muxes(const KEP_MODULE* module) const {
    return module && !m_muxes[module->get_number()].empty();
  }
  /// The muxes of this one module, which must not be null, in the order in which they were added.
  boost::iterator_range<KEP_MODULE_ROUTING_MUX_ITER> iter_routing_muxes(const KEP_MODULE* module) const {
    return kep_pointer_range<KEP_MODULE_ROUTING_MUX_ITER>(m_muxes[module->get_number()]);
  }
  /// The arcs with that input, null if none.
  const std::vector<const KEP_ROUTING_ARC*>* find_arc_outputs(const KEP_PORT* input) const {
    return input ? m_arcs_by_input[input->get_number()].get() : nullptr;
  }
  /// The arcs with that output, null if none.
  const std::vector<const KEP_ROUTING_ARC*>* find_arc_inputs(const KEP_PORT* output) const {
    return output ? m_arcs_by_output[output->get_number()].get() : nullptr;
  }
  ///@{
  /// Some arc has the port as its input, or as its output.
  bool is_arc_input(const KEP_PORT* port) const { return find_arc_outputs(port) != nullptr; }
  bool is_arc_output(const KEP_PORT* port) const { return find_arc_inputs(port) != nullptr; }
  ///@}
  /// The first arc that joins the two, null if none.
  KEP_ROUTING_ARC* find_routing_arc(KEP_PORT* input, KEP_PORT* output) const;

  ///@{
  /// As the store answers.
  bool is_insert_node(const KEP_PORT* port) const { return m_store->is_insert_node(port); }
  bool is_remove_node(const KEP_PORT* port) const { return m_store->is_remove_node(port); }
  bool is_not_template(const KEP_MODULE* module) const { return m_store->is_not_template(module); }
  bool is_merge_disabled(const KEP_PORT* port) const { return m_store->is_merge_disabled(port); }
  ///@}
  /// The port alone, in its own module, has a wire type.
  bool has_wire_type(const KEP_PORT* port) const;
  /// The name of that type; empty when there is none.
  std::string get_wire_type(const KEP_PORT* port) const;
  ///@{
  /// The hipi type of the port, NONE for null.
  KEP_ROUTING_PRIMITIVE_HIPI get_hipi_type(const KEP_PORT* port) const {
    return m_store->get_hipi_type(port);
  }
  bool is_hipi(const KEP_PORT* port, KEP_ROUTING_PRIMITIVE_HIPI hipi) const {
    return m_store->get_hipi_type(port) == hipi;
  }
  ///@}

private:
  using ARCS = std::vector<const KEP_ROUTING_ARC*>;
  const KEP_ROUTING_PRIMITIVE* m_store;
  std::vector<std::vector<KEP_ROUTING_MUX*>> m_muxes;  // by module number
  std::vector<std::unique_ptr<ARCS>> m_arcs_by_input;  // by port number
  std::vector<std::unique_ptr<ARCS>> m_arcs_by_output; // by port number
};
