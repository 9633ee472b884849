#pragma once

#include "kep/kep_unfolded.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// @file
/// The persisted description of a device (docs/glossary.md): muxes and their arcs, flyovers, and marks on
/// modules and ports. It belongs to the database, is written by one thread while a device is described and
/// then read by any number. Absence is null, 0, false or an empty range; nothing here throws. Everything is
/// enumerated in the order in which it was added.

class KEP_ROUTING_ARC;
class KEP_ROUTING_MUX;

class KEP_ROUTING_MUX_ROUTING_ARC_ITER
    : public KEP_POINTER_ITER<KEP_ROUTING_MUX_ROUTING_ARC_ITER, KEP_ROUTING_ARC> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};
class KEP_ROUTING_MUX_INSTANCE_ITER : public KEP_POINTER_ITER<KEP_ROUTING_MUX_INSTANCE_ITER, KEP_INSTANCE> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};

/// A mux of one module: a group of arcs that are, or are not, skip paths together.
class KEP_EXPORT KEP_ROUTING_MUX {
public:
  /// A new mux of the module in the store of the database, which owns it.
  static KEP_ROUTING_MUX* allocate(KEP_DB* db, KEP_MODULE* module, bool skip);

  /// The module whose ports its arcs join.
  KEP_MODULE* get_module() const { return m_module; }
  /// The arcs make no node: a signal goes straight through, but on the exception instances.
  bool get_skip() const { return m_skip; }
  /// The exception instances stay.
  void set_skip(bool skip) { m_skip = skip; }
  /// The first arc of this mux between the two ports, null if none.
  KEP_ROUTING_ARC* find_routing_arc(const KEP_PORT* input, const KEP_PORT* output) const;
  /// In the order in which they were added.
  boost::iterator_range<KEP_ROUTING_MUX_ROUTING_ARC_ITER> iter_routing_arcs() const {
    return kep_pointer_range<KEP_ROUTING_MUX_ROUTING_ARC_ITER>(m_arcs);
  }
  /// An instance may be entered more than once.
  void add_skip_exception_instance(KEP_INSTANCE* instance);
  /// All of them.
  void remove_skip_exception_instances();
  /// In constant time.
  bool is_skip_exception_instance(const KEP_INSTANCE* instance) const {
    return m_skip_exception_set.count(instance) != 0;
  }
  ///@{
  /// The exception instances in the order in which they came, one that came twice twice.
  bool has_skip_exception_instances() const { return !m_skip_exceptions.empty(); }
  unsigned long long get_num_skip_exception_instance() const { return m_skip_exceptions.size(); }
  boost::iterator_range<KEP_ROUTING_MUX_INSTANCE_ITER> iter_skip_exception_instances() const {
    return kep_pointer_range<KEP_ROUTING_MUX_INSTANCE_ITER>(m_skip_exceptions);
  }
  ///@}

private:
  friend class KEP_ROUTING_ARC;
  friend class KEP_ROUTING_PRIMITIVE;
  KEP_ROUTING_MUX(KEP_MODULE* module, bool skip) : m_module(module), m_skip(skip) {}

  KEP_MODULE* m_module;
  bool m_skip;
  std::vector<KEP_ROUTING_ARC*> m_arcs;
  std::vector<KEP_INSTANCE*> m_skip_exceptions;                       // in the order in which they came
  std::unordered_set<const KEP_INSTANCE*> m_skip_exception_set;       // the same, for look-ups
  std::unordered_map<std::uint64_t, KEP_ROUTING_ARC*> m_arc_by_ports; // first arc between two port numbers
};

/// A way through a mux, from an input port to an output port of its module.
class KEP_EXPORT KEP_ROUTING_ARC {
public:
  /// A new arc in the store of the database, which owns it. `mux` may be null.
  static KEP_ROUTING_ARC* allocate(KEP_DB* db, KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_MUX* mux);

  ///@{
  /// Its two ports, of one module.
  KEP_PORT* get_input() const { return m_input; }
  KEP_PORT* get_output() const { return m_output; }
  ///@}
  /// Null for an arc without a mux.
  KEP_ROUTING_MUX* get_parent() const { return m_mux; }
  /// The arc is a skip path on this instance: the mux's flag, inverted on its exception instances.
  bool is_skip(KEP_INSTANCE* instance) const;
  /// The arc is a skip path on every instance.
  bool is_always_skip() const;

private:
  friend class KEP_ROUTING_PRIMITIVE;
  KEP_ROUTING_ARC(KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_MUX* mux)
      : m_input(input), m_output(output), m_mux(mux) {}

  KEP_PORT* m_input;
  KEP_PORT* m_output;
  KEP_ROUTING_MUX* m_mux;
};

/// A jump from an input port to an output port, taken on instances in a spare row.
class KEP_EXPORT KEP_ROUTING_FLYOVER {
public:
  /// A new flyover in the store of the database, which owns it.
  static KEP_ROUTING_FLYOVER* allocate(KEP_DB* db, KEP_PORT* input, KEP_PORT* output);
  ///@{
  /// Its two ports, of one module.
  KEP_PORT* get_input() const { return m_input; }
  KEP_PORT* get_output() const { return m_output; }
  ///@}

private:
  friend class KEP_ROUTING_PRIMITIVE;
  KEP_ROUTING_FLYOVER(KEP_PORT* input, KEP_PORT* output) : m_input(input), m_output(output) {}
  KEP_PORT* m_input;
  KEP_PORT* m_output;
};

/// The type of a wire: a name and what it says of the ports that bear it.
class KEP_WIRE_TYPE {
public:
  /// Any name, any flags.
  KEP_WIRE_TYPE(std::string name, unsigned char flags) : m_name(std::move(name)), m_flags(flags) {}
  /// What the description calls it.
  const std::string& get_name() const { return m_name; }
  /// Bit 1 (value 2): a port of this type becomes a node in a spare row too.
  unsigned char get_flags() const { return m_flags; }

private:
  std::string m_name;
  unsigned char m_flags;
};

class KEP_BYTE1_TRAIT_MODULE_ITER : public KEP_POINTER_ITER<KEP_BYTE1_TRAIT_MODULE_ITER, KEP_MODULE> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};
class KEP_ROUTING_PRIMITIVE_ROUTING_MUX_ITER
    : public KEP_HIER_TABLE_ITER<KEP_ROUTING_PRIMITIVE_ROUTING_MUX_ITER, KEP_ROUTING_MUX> {
  using KEP_HIER_TABLE_ITER::KEP_HIER_TABLE_ITER;
};
class KEP_ROUTING_PRIMITIVE_ROUTING_ARC_ITER
    : public KEP_HIER_TABLE_ITER<KEP_ROUTING_PRIMITIVE_ROUTING_ARC_ITER, KEP_ROUTING_ARC> {
  using KEP_HIER_TABLE_ITER::KEP_HIER_TABLE_ITER;
};
class KEP_ROUTING_PRIMITIVE_ROUTING_FLYOVER_ITER
    : public KEP_HIER_TABLE_ITER<KEP_ROUTING_PRIMITIVE_ROUTING_FLYOVER_ITER, KEP_ROUTING_FLYOVER> {
  using KEP_HIER_TABLE_ITER::KEP_HIER_TABLE_ITER;
};

/// The store of a database's description: muxes, arcs and flyovers, which it owns, and marks.
class KEP_EXPORT KEP_ROUTING_PRIMITIVE {
public:
  /// BLC, then LOGICAL: a module described as a BLC is walked as one, everything else in the logical view.
  static const KEP_VIEW_TYPE_RANK s_standard_view_type_rank;

  /// An empty store. Each database has its own: KEP_ROUTING::GRAPH::get_routing_primitive().
  explicit KEP_ROUTING_PRIMITIVE(KEP_DB* db);
  ~KEP_ROUTING_PRIMITIVE();
  KEP_ROUTING_PRIMITIVE(const KEP_ROUTING_PRIMITIVE&) = delete;
  KEP_ROUTING_PRIMITIVE& operator=(const KEP_ROUTING_PRIMITIVE&) = delete;

  /// True once anything was written, or initialize() was called: a description may well be empty.
  bool is_initialized() const { return m_is_initialized; }
  /// Says that there is a description, be it empty.
  void initialize() { m_is_initialized = true; }
  /// The standard rank.
  const KEP_VIEW_TYPE_RANK& get_view_type_rank() const { return s_standard_view_type_rank; }

  ///@{
  /// Marks a module or port, which must not be null. Adding twice is harmless.
  void add_routing_root(KEP_MODULE* module);
  void add_insert_node(KEP_PORT* port, const std::string& name);
  void add_remove_node(KEP_PORT* port);
  void add_is_not_template(KEP_MODULE* module);
  void add_is_merge_disabled(KEP_PORT* port);
  ///@}
  ///@{
  /// Gives a port its hipi type, a module its tunnel type. A later type replaces an earlier one.
  void add_hipi(KEP_PORT* port, KEP_ROUTING_PRIMITIVE_HIPI hipi);
  void add_tunnel_type(KEP_MODULE* module, KEP_ROUTING_PRIMITIVE_TUNNEL tunnel);
  ///@}
  /// Arcs are skip paths on the instances whose name holds the pattern; an empty one means none.
  void set_non_template_mux_skip_path_inst_name_pattern(const std::string& pattern);
  /// Gives the port at the end of `path`, which must be valid, a wire type. Of two types on one path the
  /// later holds.
  void add_wire_type(const KEP_RELATIVE_PATH& path, const std::string& name, unsigned char flags);

  ///@{
  /// The marks; false for null.
  bool is_insert_node(const KEP_PORT* port) const { return get_port_marks(port) & INSERT_NODE; }
  bool is_remove_node(const KEP_PORT* port) const { return get_port_marks(port) & REMOVE_NODE; }
  bool is_merge_disabled(const KEP_PORT* port) const { return get_port_marks(port) & MERGE_DISABLED; }
  bool is_not_template(const KEP_MODULE* module) const;
  ///@}
  /// The name under which the node was inserted, null if it was not.
  const std::string* find_insert_node_name(const KEP_PORT* port) const;
  /// NONE for a port without a type and for null.
  KEP_ROUTING_PRIMITIVE_HIPI get_hipi_type(const KEP_PORT* port) const {
    return static_cast<KEP_ROUTING_PRIMITIVE_HIPI>(get_port_marks(port) & HIPI_MASK);
  }
  /// 0 for a module without an entry and for null.
  KEP_ROUTING_PRIMITIVE_TUNNEL get_tunnel_type(const KEP_MODULE* module) const {
    return module && module->get_number() < m_tunnels.size() ? m_tunnels[module->get_number()]
                                                             : KEP_ROUTING_PRIMITIVE_TUNNEL::NONE;
  }
  /// Empty when never set.
  std::string get_non_template_mux_skip_path_inst_name_pattern() const { return m_pattern; }

  /// The wire type at a position, by the port that the uip's inst port mirrors: for every ancestor of the
  /// uip, from the top down, the path from it to the port is asked for, and last the port alone in its own
  /// module. The first answer holds. Null if there is none.
  const KEP_WIRE_TYPE* find_wire_type(const KEP_UNFOLDED_INST_PORT& uip) const;
  /// The type of exactly this path from the module, null if there is none.
  const KEP_WIRE_TYPE* find_wire_type(const KEP_MODULE* module, const KEP_RELATIVE_PATH& path) const;
  /// Some path that has a wire type ends at the port.
  bool ends_wire_type_path(const KEP_PORT* port) const { return get_port_marks(port) & ENDS_WIRE_TYPE_PATH; }

  ///@{
  /// All that was added, in its order. The flags are accepted and change nothing.
  boost::iterator_range<KEP_BYTE1_TRAIT_MODULE_ITER> iter_routing_roots(bool) const {
    return kep_pointer_range<KEP_BYTE1_TRAIT_MODULE_ITER>(m_routing_roots);
  }
  boost::iterator_range<KEP_ROUTING_PRIMITIVE_ROUTING_MUX_ITER> iter_routing_muxes(bool) const {
    return kep_pointer_range<KEP_ROUTING_PRIMITIVE_ROUTING_MUX_ITER>(m_muxes);
  }
  boost::iterator_range<KEP_ROUTING_PRIMITIVE_ROUTING_ARC_ITER> iter_routing_arcs(bool) const {
    return kep_pointer_range<KEP_ROUTING_PRIMITIVE_ROUTING_ARC_ITER>(m_arcs);
  }
  boost::iterator_range<KEP_ROUTING_PRIMITIVE_ROUTING_FLYOVER_ITER> iter_routing_flyovers(bool) const {
    return kep_pointer_range<KEP_ROUTING_PRIMITIVE_ROUTING_FLYOVER_ITER>(m_flyovers);
  }
  ///@}

private:
  friend class KEP_DATABASE_LISTER;
  friend class KEP_DATABASE_RESTORER;
  friend class KEP_ROUTING_MUX;
  friend class KEP_ROUTING_ARC;
  friend class KEP_ROUTING_FLYOVER;

  // Marks of a port, in one byte by port number: the hot look-ups of a build are one load.
  static constexpr unsigned char HIPI_MASK = 3;
  static constexpr unsigned char INSERT_NODE = 4;
  static constexpr unsigned char REMOVE_NODE = 8;
  static constexpr unsigned char MERGE_DISABLED = 16;
  static constexpr unsigned char ENDS_WIRE_TYPE_PATH = 32;

  unsigned char get_port_marks(const KEP_PORT* port) const {
    return port && port->get_number() < m_port_marks.size() ? m_port_marks[port->get_number()] : 0;
  }
  unsigned char& port_marks(const KEP_PORT* port);

  KEP_DB* m_db;
  bool m_is_initialized = false;
  std::string m_pattern;
  std::vector<KEP_MODULE*> m_routing_roots;
  std::vector<bool> m_is_routing_root;   // by module number
  std::vector<KEP_ROUTING_MUX*> m_muxes; // owned, as are the next two
  std::vector<KEP_ROUTING_ARC*> m_arcs;
  std::vector<KEP_ROUTING_FLYOVER*> m_flyovers;
  std::vector<unsigned char> m_port_marks;             // by port number
  std::vector<KEP_ROUTING_PRIMITIVE_TUNNEL> m_tunnels; // by module number
  std::vector<bool> m_not_template;                    // by module number
  std::unordered_map<const KEP_PORT*, std::string> m_insert_node_names;
  std::unordered_map<KEP_RELATIVE_PATH, std::unique_ptr<KEP_WIRE_TYPE>> m_wire_types;
};
