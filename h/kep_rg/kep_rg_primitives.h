#pragma once

/// @file
/// The digest of a description, by which a graph is built.

#include "kep/kep_routing_primitive_cache.h"
#include "kep_rg/kep_rg_export.h"

#include <boost/iterator/iterator_facade.hpp>
#include <boost/range/iterator_range_core.hpp>

#include <map>
#include <set>
#include <string>
#include <vector>

/// Walks an ordered set of pointers.
template <class DERIVED, class VALUE>
class KEP_RG_POINTER_SET_ITER
    : public boost::iterator_facade<DERIVED, const VALUE*, boost::forward_traversal_tag, const VALUE*> {
public:
  KEP_RG_POINTER_SET_ITER() = default;
  /// At that element.
  explicit KEP_RG_POINTER_SET_ITER(typename std::set<const VALUE*>::const_iterator at) : m_at(at) {}

private:
  friend class boost::iterator_core_access;
  const VALUE* dereference() const { return *m_at; }
  bool equal(const KEP_RG_POINTER_SET_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }

  typename std::set<const VALUE*>::const_iterator m_at{};
};
class KEP_RG_PRIMITIVES_MODULE_ITER
    : public KEP_RG_POINTER_SET_ITER<KEP_RG_PRIMITIVES_MODULE_ITER, KEP_MODULE> {
  using KEP_RG_POINTER_SET_ITER::KEP_RG_POINTER_SET_ITER;
};
class KEP_RG_PRIMITIVES_INSTANCE_ITER
    : public KEP_RG_POINTER_SET_ITER<KEP_RG_PRIMITIVES_INSTANCE_ITER, KEP_INSTANCE> {
  using KEP_RG_POINTER_SET_ITER::KEP_RG_POINTER_SET_ITER;
};

/// The read-only digest of a description that a build and a trace work with: which modules stop a walk, which
/// ports of a module take part in routing, and where a signal passes a mux without a node (a skip path). It
/// is keyed on the folded model.
///
/// Stop modules, skip paths and exception instances, inserted, removed and ignored ports are those of
/// docs/glossary.md.
///
/// The constructor digests everything once. Keys must belong to the database, which must outlive the object,
/// as must the cache. The mutators are for the time before the first parallel phase; from then on any number
/// of threads may read. What is absent is null or false; null is never a key.
class KEP_RG_EXPORT KEP_RG_PRIMITIVES {
public:
  ///@{
  /// How ports are handed out: a set in the order of their indices, or a list in the order in which they
  /// came.
  using PORT_SET = std::set<const KEP_PORT*, KEP_PORT_INDEX_COMPARE>;
  using PORTS = std::vector<const KEP_PORT*>;
  using INST_PORTS = std::vector<const KEP_INST_PORT*>;
  ///@}

  /// Digests the description of the database by this cache of it.
  KEP_RG_PRIMITIVES(const KEP_DB* db, const KEP_DB_ROUTING_PRIMITIVE_CACHE* cache);

  ///@{
  /// Where a skip path leads from an arc input: in every instance; on this instance alone; and, for an
  /// instance that is an exception of its skip mux, where it would have led.
  inline const PORTS* find_skip_path_outputs(const KEP_PORT* input) const;
  inline const INST_PORTS* find_skip_path_inst_outputs(const KEP_INST_PORT* input) const;
  inline const INST_PORTS* find_dont_skip_path_inst_outputs(const KEP_INST_PORT* input) const;
  ///@}
  /// The output of the flyover from that input.
  inline const KEP_PORT* find_skip_path_sparerow_map(const KEP_PORT* input) const;
  /// False: neither a skip path nor a flyover begins at any inst port of the port.
  bool begins_some_path(const KEP_PORT* port) const {
    return get_flags(port) & (SKIP_PATH | INST_PATH | SPARE_ROW);
  }

  /// The ports at which instances of the module have inserted nodes, or null.
  const PORT_SET* get_inserted_ports(const KEP_MODULE* module) const;
  /// The ports of a primitive module that take part in routing. KEP_RUNTIME_ERROR for any other module.
  const PORT_SET& get_module_to_ports(KEP_MODULE* module) const;
  /// The same, or null.
  const PORT_SET* find_module_to_ports(const KEP_MODULE* module) const {
    const auto found = m_module_to_ports.find(module);
    return found == m_module_to_ports.end() ? nullptr : &found->second;
  }
  /// The description inserts a node at the port.
  bool has_inserted_port(const KEP_PORT* port) const { return get_flags(port) & INSERTED; }
  /// The inserted ports entered for the port's module hold it.
  bool is_inserted_port(KEP_PORT* port) const { return get_flags(port) & INSERTED_IN_MODULE; }
  /// The removed ports entered for its module hold it.
  bool is_removed_port(KEP_PORT* port) const { return get_flags(port) & REMOVED_IN_MODULE; }
  /// An output on an exception instance of a skip mux.
  inline bool is_inserted_inst_port(KEP_INST_PORT* inst_port) const;
  /// Such an output may be an inst port of this port.
  bool may_be_inserted_inst_port(const KEP_PORT* port) const { return get_flags(port) & INST_INSERTED; }
  /// Any of these three.
  bool is_inserted(KEP_INST_PORT* inst_port) const {
    KEP_PORT* port = inst_port->get_port();
    return has_inserted_port(port) || is_inserted_port(port) || is_inserted_inst_port(inst_port);
  }
  ///@{
  /// docs/glossary.md: routing root, BLC bidirectional buffer, ignored port.
  bool is_routing_root(const KEP_MODULE* module) const { return get_flags(module) & ROUTING_ROOT; }
  bool is_blc_bidir_buffer(const KEP_MODULE* module) const { return get_flags(module) & BLC_BIDIR_BUFFER; }
  bool port_is_ignored(const KEP_PORT* port) const { return get_flags(port) & IGNORED; }
  ///@}
  /// True for every instance, null included: the digest keeps no list of instances that are never muxes, so
  /// whoever asks takes any of them for one.
  bool is_sometimes_mux_instance(KEP_INSTANCE*) const { return true; }

  ///@{
  /// Where walks end. Their order hangs on the run: nothing that can be seen may come of it.
  boost::iterator_range<KEP_RG_PRIMITIVES_MODULE_ITER> iter_stop_modules() const {
    return {KEP_RG_PRIMITIVES_MODULE_ITER(m_stop_modules.begin()),
            KEP_RG_PRIMITIVES_MODULE_ITER(m_stop_modules.end())};
  }
  boost::iterator_range<KEP_RG_PRIMITIVES_INSTANCE_ITER> iter_stop_instances() const {
    return {KEP_RG_PRIMITIVES_INSTANCE_ITER(m_stop_instances.begin()),
            KEP_RG_PRIMITIVES_INSTANCE_ITER(m_stop_instances.end())};
  }
  ///@}

  /// The wire type at this place, or null.
  const KEP_WIRE_TYPE* find_wire_type(const KEP_UNFOLDED_INST_PORT& uip) const {
    return m_routing_primitive->find_wire_type(uip);
  }
  /// Whether an inst port of the port has a wire type hangs on its place.
  bool has_wire_type_by_place(const KEP_PORT* port) const {
    return m_routing_primitive->ends_wire_type_path(port) &&
           !m_routing_primitive->find_wire_type(port->get_parent(), KEP_RELATIVE_PATH::create({}, port));
  }
  ///@{
  /// The hipi type of the port, and whether it is this one, m, t, p, or one of t and m.
  KEP_ROUTING_PRIMITIVE_HIPI get_hipi_type(const KEP_PORT* port) const {
    return m_routing_primitive_cache->get_hipi_type(port);
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
  bool is_hipi_tm_port(const KEP_PORT* port) const {
    const KEP_ROUTING_PRIMITIVE_HIPI hipi = get_hipi_type(port);
    return hipi == KEP_ROUTING_PRIMITIVE_HIPI::M || hipi == KEP_ROUTING_PRIMITIVE_HIPI::T;
  }
  ///@}
  /// NONE for a module without one and for null.
  KEP_ROUTING_PRIMITIVE_TUNNEL get_tunnel_type(const KEP_MODULE* module) const {
    return m_routing_primitive->get_tunnel_type(module);
  }
  /// The icd name where the port has one, else its name; empty for null.
  std::string get_blc_icd_port_name(const KEP_PORT* port) const;

  ///@{
  /// Each appends `output` to the outputs of `input`.
  void add_skip_path_port(const KEP_PORT* input, const KEP_PORT* output);
  void add_skip_path_inst_port(const KEP_INST_PORT* input, const KEP_INST_PORT* output);
  void add_dont_skip_path_inst_port(const KEP_INST_PORT* input, const KEP_INST_PORT* output);
  ///@}
  /// As add_skip_path_inst_port; KEP_RUNTIME_ERROR when one of the two is null.
  void add_skip_path(KEP_INST_PORT* input, KEP_INST_PORT* output);
  /// Makes every arc of the instance's master a skip path on this instance, but those that are one already
  /// and those of muxes with exceptions.
  void add_skip_paths(KEP_INSTANCE* instance);

private:
  friend class KEP_RG_TEST_ACCESS;
  using MODULE_PORTS = std::map<const KEP_MODULE*, PORT_SET>;
  using ARCS_BY_MODULE = std::vector<std::vector<const KEP_ROUTING_ARC*>>; // by module number

  // What the tables hold of a port or a module, in one byte by its number. The hot questions of a build are
  // answered by one load, or told by it that a table need not be searched. Whatever writes a table sets the
  // flag that goes with it.
  enum PORT_FLAG : unsigned char {
    SKIP_PATH = 1,           // a key of m_skip_path_ports
    INST_PATH = 2,           // some inst port of it is a key of one of the two tables of inst ports
    SPARE_ROW = 4,           // a key of m_skip_path_sparerow_map
    INSERTED = 8,            // in m_all_inserted_ports
    INSERTED_IN_MODULE = 16, // in the entry of its module in m_module_to_inserted_ports
    REMOVED_IN_MODULE = 32,  // in the entry of its module in m_module_to_removed_ports
    IGNORED = 64,            // in m_ignored_ports
    INST_INSERTED = 128,     // some inst port of it is in m_inserted_inst_ports
  };
  enum MODULE_FLAG : unsigned char {
    ROUTING_ROOT = 1,     // in m_routing_roots
    BLC_BIDIR_BUFFER = 2, // in m_blc_bidir_buffers
  };
  unsigned get_flags(const KEP_PORT* port) const {
    return port && port->get_number() < m_port_flags.size() ? m_port_flags[port->get_number()] : 0U;
  }
  unsigned get_flags(const KEP_INST_PORT* inst_port) const {
    return inst_port ? get_flags(inst_port->get_port()) : 0U;
  }
  unsigned get_flags(const KEP_MODULE* module) const {
    return module && module->get_number() < m_module_flags.size() ? m_module_flags[module->get_number()] : 0U;
  }
  void set_flag(const KEP_PORT* port, PORT_FLAG flag) { m_port_flags[port->get_number()] |= flag; }
  void set_flag(const KEP_MODULE* module, MODULE_FLAG flag) { m_module_flags[module->get_number()] |= flag; }

  // The steps of the constructor, in their order. digest_muxes reads m_all_inserted_ports, which
  // digest_modules fills after it: the order is part of what the tables mean.
  void digest_flyovers();
  void digest_muxes();
  void digest_arc(const KEP_ROUTING_MUX& mux, const KEP_ROUTING_ARC& arc);
  void digest_modules();
  void digest_routing_roots();
  void digest_blc_routing_roots();
  void digest_non_template_muxes();
  void digest_foreign_masters();

  /// Beside get_inserted_ports, to read the table by; a build asks the flags.
  const PORT_SET* get_removed_ports(const KEP_MODULE* module) const;
  void enter_inserted_ports(const KEP_MODULE* module, const PORT_SET& ports);
  void enter_removed_ports(const KEP_MODULE* module, const PORT_SET& ports);
  void add_ignored_port(const KEP_PORT* port);
  void add_non_template_skip_paths(const KEP_MODULE* module, std::set<const KEP_MODULE*>& visited,
                                   const ARCS_BY_MODULE& arcs);
  void add_skip_path_of_arc(KEP_INSTANCE* instance, const KEP_ROUTING_ARC& arc);
  void add_stop_module_and_ports_internal(KEP_MODULE* module);

  const KEP_DB* m_db;
  KEP_ROUTING_PRIMITIVE* m_routing_primitive;
  const KEP_DB_ROUTING_PRIMITIVE_CACHE* m_routing_primitive_cache;
  MODULE_PORTS m_module_to_ports;
  PORT_SET m_all_inserted_ports;
  MODULE_PORTS m_module_to_inserted_ports;
  PORT_SET m_all_removed_ports;
  MODULE_PORTS m_module_to_removed_ports;
  std::set<const KEP_MODULE*> m_stop_modules;
  std::set<const KEP_INSTANCE*>
      m_stop_instances; // the predicates read it; no statement of a description fills it
  std::set<const KEP_MODULE*> m_routing_roots;
  std::map<const KEP_PORT*, PORTS> m_skip_path_ports;
  std::map<const KEP_INST_PORT*, INST_PORTS> m_skip_path_inst_ports;
  std::map<const KEP_INST_PORT*, INST_PORTS> m_dont_skip_path_inst_ports;
  std::map<const KEP_PORT*, const KEP_PORT*> m_skip_path_sparerow_map;
  std::set<const KEP_PORT*> m_ignored_ports;
  std::set<const KEP_INST_PORT*> m_inserted_inst_ports;
  std::set<const KEP_MODULE*> m_blc_bidir_buffers;

  std::vector<unsigned char> m_port_flags;
  std::vector<unsigned char> m_module_flags;
};

inline const KEP_RG_PRIMITIVES::PORTS*
KEP_RG_PRIMITIVES::find_skip_path_outputs(const KEP_PORT* input) const {
  if (!(get_flags(input) & SKIP_PATH)) return nullptr;
  return &m_skip_path_ports.find(input)->second;
}

inline const KEP_RG_PRIMITIVES::INST_PORTS*
KEP_RG_PRIMITIVES::find_skip_path_inst_outputs(const KEP_INST_PORT* input) const {
  if (!(get_flags(input) & INST_PATH)) return nullptr;
  const auto found = m_skip_path_inst_ports.find(input);
  return found == m_skip_path_inst_ports.end() ? nullptr : &found->second;
}

inline const KEP_RG_PRIMITIVES::INST_PORTS*
KEP_RG_PRIMITIVES::find_dont_skip_path_inst_outputs(const KEP_INST_PORT* input) const {
  if (!(get_flags(input) & INST_PATH)) return nullptr;
  const auto found = m_dont_skip_path_inst_ports.find(input);
  return found == m_dont_skip_path_inst_ports.end() ? nullptr : &found->second;
}

inline const KEP_PORT* KEP_RG_PRIMITIVES::find_skip_path_sparerow_map(const KEP_PORT* input) const {
  if (!(get_flags(input) & SPARE_ROW)) return nullptr;
  return m_skip_path_sparerow_map.find(input)->second;
}

inline bool KEP_RG_PRIMITIVES::is_inserted_inst_port(KEP_INST_PORT* inst_port) const {
  return (get_flags(inst_port) & INST_INSERTED) && m_inserted_inst_ports.count(inst_port) != 0;
}
