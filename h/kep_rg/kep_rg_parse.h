#pragma once

/// @file
/// Stating what of a device is routing.

#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/kep_rg_export.h"

#include <string>
#include <unordered_set>

/// The description front end: a tool states here which ports are joined by an arc, which modules are routing
/// roots, which ports are inserted nodes, and so on, before any graph is built. What each of these means to a
/// graph stands in docs/glossary.md; a routing file has a statement for each (docs/formats.md).
///
/// Every fact goes at once into the description of the database, and is copied to the module's equivalents in
/// other views by a rule of its own for each kind of fact, so that a device is described once. Ports
/// correspond across views by index. A call that fails leaves behind what it wrote before it failed.
///
/// Pointers must belong to the database, which must outlive the object. A null pointer is an assertion that
/// names the operation, except where an operation says what it does with null; what is asked about null is
/// false, empty or none. One thread calls.
class KEP_RG_EXPORT KEP_RG_PARSE {
public:
  /// Writes into the store of this database; indexes what is in it already.
  explicit KEP_RG_PARSE(KEP_DB* db);
  ~KEP_RG_PARSE();
  KEP_RG_PARSE(const KEP_RG_PARSE&) = delete;
  /// Member by member: both objects then share the cache of `other`, and only one of them may be destroyed.
  KEP_RG_PARSE& operator=(const KEP_RG_PARSE& other) = default;

  ///@{
  /// Adds an arc between two ports of one module, to the module's first mux without exception instances or
  /// else to a new mux, whose skip flag is `flag`. An arc that is there already stays the only one.
  ///
  /// Arcs of a LOGICAL module are copied to its LOGICAL_TWIN equivalents, those of a BLC module to its
  /// LOGICAL ones. A hipi type other than 0 marks both ports, and those of the LOGICAL_TWIN and BLC
  /// equivalents.
  void add_port_edge(KEP_PORT* input, KEP_PORT* output);
  void add_port_edge(KEP_PORT* input, KEP_PORT* output, bool flag);
  void add_port_edge(KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_PRIMITIVE_HIPI hipi, bool flag);
  ///@}
  /// Copied to LOGICAL_TWIN equivalents.
  void add_routing_flyover(KEP_PORT* input, KEP_PORT* output);
  /// LOGICAL registers the module itself, BLC all its BLC equivalents and not the module; any other view, or
  /// no BLC equivalent, is refused. The module must be an IP root.
  void add_routing_root(KEP_MODULE* routing_root, unsigned char view_type);
  /// The mark is kept on the BLC module where there is one, else on the port's own, and nowhere else.
  void add_inserted_node(const std::string& name, KEP_PORT* port);
  /// A type other than 0 is copied to BLC equivalents.
  void add_tunnel_type(KEP_MODULE* module, KEP_ROUTING_PRIMITIVE_TUNNEL tunnel);
  /// A mark that no build reads. Copied to LOGICAL_TWIN and BLC equivalents.
  void add_module_is_not_template(KEP_MODULE* module);
  /// A mark that no build reads. Copied to LOGICAL_TWIN equivalents. Null is refused.
  void disable_merge(KEP_PORT* output_port);

  /// Marks the arcs of all muxes of the module and of its equivalents as skip paths, or as none. A mux whose
  /// mark changes forgets its exception instances. A LOGICAL module without muxes is refused.
  void set_skip_paths(KEP_MODULE* module, bool skip);
  /// The same for one instance, which becomes an exception of every mux of its master that is marked
  /// otherwise. Refused when the master has no mux, and at a mux that is marked so already and has
  /// exceptions.
  void set_skip_paths(KEP_INSTANCE* instance, bool skip);
  /// The arcs of the port's whole module, whichever port it is. Null is refused.
  void add_skip_paths_to_output_port(KEP_PORT* output_port);
  /// Arcs are skip paths on the instances whose name holds the pattern; an empty pattern means none.
  void set_non_template_mux_skip_path_inst_name_pattern(const std::string& pattern) {
    m_routing_primitive->set_non_template_mux_skip_path_inst_name_pattern(pattern);
  }

  ///@{
  /// What it works with; the cache belongs to the object.
  const KEP_DB* get_db() const { return m_db; }
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* find_routing_primitive_cache() const {
    return m_routing_primitive_cache;
  }
  ///@}
  /// Adds every routing root to `roots`, which keeps what it held.
  void find_routing_roots(std::unordered_set<const KEP_MODULE*>& roots) const;
  ///@{
  /// What was stated so far, by this object and before it.
  bool is_inserted_node(const KEP_PORT* port) const {
    return m_routing_primitive_cache->is_insert_node(port);
  }
  bool has_wire_type(const KEP_PORT* port) const { return m_routing_primitive_cache->has_wire_type(port); }
  std::string get_wire_type(const KEP_PORT* port) const {
    return m_routing_primitive_cache->get_wire_type(port);
  }
  bool get_module_is_not_template(KEP_MODULE* module) const {
    return m_routing_primitive_cache->is_not_template(module);
  }
  bool is_disable_merge(KEP_PORT* port) const { return m_routing_primitive_cache->is_merge_disabled(port); }
  KEP_ROUTING_PRIMITIVE_TUNNEL get_tunnel_type(KEP_MODULE* module) {
    return m_routing_primitive->get_tunnel_type(module);
  }
  std::string get_non_template_mux_skip_path_inst_name_pattern() {
    return m_routing_primitive->get_non_template_mux_skip_path_inst_name_pattern();
  }
  bool is_hipi_port(const KEP_PORT* port, KEP_ROUTING_PRIMITIVE_HIPI hipi) const {
    return m_routing_primitive_cache->is_hipi(port, hipi);
  }
  bool is_hipi_m_port(const KEP_PORT* port) const {
    return is_hipi_port(port, KEP_ROUTING_PRIMITIVE_HIPI::M);
  }
  bool is_hipi_t_port(const KEP_PORT* port) const {
    return is_hipi_port(port, KEP_ROUTING_PRIMITIVE_HIPI::T);
  }
  bool is_hipi_p_port(const KEP_PORT* port) const {
    return is_hipi_port(port, KEP_ROUTING_PRIMITIVE_HIPI::P);
  }
  bool is_hipi_tm_port(const KEP_PORT* port) const { return is_hipi_m_port(port) || is_hipi_t_port(port); }
  ///@}

private:
  void add_port_edge_internal(KEP_PORT* port_in, KEP_PORT* port_out, bool flag);
  void add_hipi_to_ports(KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_PRIMITIVE_HIPI hipi);
  void set_skip_paths_internal(KEP_MODULE* module, bool skip);

  KEP_DB* m_db;
  KEP_ROUTING_PRIMITIVE* m_routing_primitive;
  KEP_DB_ROUTING_PRIMITIVE_CACHE* m_routing_primitive_cache; // owned
};
