#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_primitive.h"

#include <boost/range/iterator_range.hpp>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

/// What the description of a device says of its modules, ports and instances: the proof's own digest, read
/// from the model and the store of routing primitives alone, so that a fault in what a build makes of them
/// does not show here as well. Made by one thread, then read by any number.
class KEP_RG_PROOF_FACTS {
public:
  using ARCS = boost::iterator_range<const KEP_ROUTING_ARC* const*>;
  using PORTS = std::vector<const KEP_PORT*>;

  /// What a module is to a walk from the top that makes nodes.
  enum class KIND : unsigned char {
    ENTERED,  ///< nothing but the way to what stands inside
    STOP,     ///< holds muxes; nothing inside counts
    BLC_ROOT, ///< a routing root in the BLC view
    UNROUTED, ///< an IP root that is no routing root
  };

  explicit KEP_RG_PROOF_FACTS(const KEP_DB* db);

  const KEP_DB* get_db() const { return m_db; }
  const KEP_ROUTING_PRIMITIVE& get_store() const { return *m_store; }
  const KEP_VIEW_TYPE_RANK& get_rank() const { return m_store->get_view_type_rank(); }
  /// The top that nodes are made from: in the first view of the rank that has one.
  KEP_UNFOLDED_MODULE find_routing_top() const;

  /// The arcs with that input, and with that output, in the order of the store.
  ARCS iter_arcs_from(const KEP_PORT* port) const { return m_arcs_from.get(port); }
  ARCS iter_arcs_to(const KEP_PORT* port) const { return m_arcs_to.get(port); }
  bool has_muxes(const KEP_MODULE* module) const { return get(module) & HAS_MUXES; }

  KIND get_kind(const KEP_MODULE* module) const;
  /// Every connection from outside ends at its ports.
  bool is_stop_module(const KEP_MODULE* module) const { return get(module) & STOPS; }
  bool has_port_list(const KEP_MODULE* module) const { return get(module) & HAS_PORT_LIST; }
  /// The port takes part in routing: one of a mux, of a BLC routing root or of a foreign module.
  bool is_in_port_list(const KEP_PORT* port) const { return get(port) & IN_PORT_LIST; }
  /// An output of a skip mux that has no exceptions.
  bool is_ignored(const KEP_PORT* port) const { return get(port) & IGNORED; }
  /// Every connection ends here.
  bool ends_connections(const KEP_PORT* port) const { return get(port) & INSERTED; }
  /// The port counts as inserted for its own module. Of two sets of ports that a module gets, one of its own
  /// and one by way of its logical equivalent, only the first counts here, and so for removed ones.
  bool is_inserted(const KEP_PORT* port) const { return get(port) & INSERTED_IN_MODULE; }
  bool is_removed(const KEP_PORT* port) const { return get(port) & REMOVED_IN_MODULE; }
  /// An output of a skip mux on one of its exceptions.
  bool is_inserted(const KEP_INST_PORT* inst_port) const { return get(inst_port) & INST_INSERTED; }
  bool is_hipi_tm(const KEP_PORT* port) const {
    const KEP_ROUTING_PRIMITIVE_HIPI type = m_store->get_hipi_type(port);
    return type == KEP_ROUTING_PRIMITIVE_HIPI::M || type == KEP_ROUTING_PRIMITIVE_HIPI::T;
  }
  /// Not all inst ports of the port are alike.
  bool varies_by_instance(const KEP_PORT* port) const { return get(port) & HAS_INST_FACTS; }
  /// The name of the instance holds the pattern of muxes that are skip paths.
  bool holds_skip_pattern(const KEP_INSTANCE* instance) const;

  /// Some skip path or flyover may begin at inst ports of the port.
  bool begins_some_path(const KEP_PORT* port) const { return get(port) & BEGINS_PATH; }
  /// Where skip paths lead from the inst port, as ports of the master; null for nowhere.
  const PORTS* find_skip_outputs(const KEP_INST_PORT* inst_port) const;
  /// Where a flyover leads from the port in a spare row; null for nowhere.
  const KEP_PORT* find_flyover_output(const KEP_PORT* port) const;

private:
  enum PORT_FLAG : unsigned char {
    IN_PORT_LIST = 1,
    IGNORED = 2,
    INSERTED = 4,
    INSERTED_IN_MODULE = 8,
    REMOVED = 16,
    REMOVED_IN_MODULE = 32,
    BEGINS_PATH = 64,
    HAS_INST_FACTS = 128, // some inst port of it has flags of its own
  };
  enum INST_PORT_FLAG : unsigned char { INST_INSERTED = 1, DOES_NOT_SKIP = 2 };
  enum MODULE_FLAG : unsigned char {
    STOPS = 1,
    HAS_PORT_LIST = 2,
    HAS_MUXES = 4,
    ROUTING_ROOT = 8,
    INSERTED_KNOWN = 16,
    REMOVED_KNOWN = 32,
  };

  /// Arcs sorted by one of their ports.
  class ARC_TABLE {
  public:
    template <class GET_PORT>
    void fill(const KEP_DB* db, const KEP_ROUTING_PRIMITIVE& store, GET_PORT get_port);
    ARCS get(const KEP_PORT* port) const {
      const std::uint32_t* first = m_first.data() + port->get_number();
      return {m_arcs.data() + first[0], m_arcs.data() + first[1]};
    }

  private:
    std::vector<std::uint32_t> m_first; // by port number, and one behind the last
    std::vector<const KEP_ROUTING_ARC*> m_arcs;
  };

  unsigned get(const KEP_PORT* port) const { return m_port_flags[port->get_number()]; }
  unsigned get(const KEP_MODULE* module) const { return m_module_flags[module->get_number()]; }
  unsigned get(const KEP_INST_PORT* inst_port) const {
    if (!(get(inst_port->get_port()) & HAS_INST_FACTS)) return 0;
    const auto found = m_inst_port_flags.find(inst_port);
    return found == m_inst_port_flags.end() ? 0U : found->second;
  }
  void set(const KEP_PORT* port, unsigned flags) {
    m_port_flags[port->get_number()] = static_cast<unsigned char>(m_port_flags[port->get_number()] | flags);
  }
  void set(const KEP_MODULE* module, unsigned flags) {
    unsigned char& own = m_module_flags[module->get_number()];
    own = static_cast<unsigned char>(own | flags);
  }
  void set(const KEP_INST_PORT* inst_port, unsigned flags) {
    set(inst_port->get_port(), HAS_INST_FACTS);
    unsigned char& own = m_inst_port_flags[inst_port];
    own = static_cast<unsigned char>(own | flags);
  }

  void read_flyovers();
  void read_mux(const KEP_ROUTING_MUX& mux);
  void read_skip_arc(const KEP_ROUTING_MUX& mux, const KEP_ROUTING_ARC& arc);
  void read_module(const KEP_MODULE* module);
  void enter(const KEP_MODULE* module, const PORTS& ports, unsigned flag, unsigned flag_in_module,
             MODULE_FLAG known);
  void read_blc_roots();
  void read_pattern();
  void read_pattern_below(const KEP_MODULE* module, std::vector<bool>& visited);
  void read_foreign_masters();
  void make_foreign_stop(const KEP_MODULE* module);
  void add_inst_path(const KEP_INSTANCE* instance, const KEP_ROUTING_ARC& arc);

  const KEP_DB* m_db;
  const KEP_ROUTING_PRIMITIVE* m_store;
  std::string m_pattern;
  ARC_TABLE m_arcs_from;
  ARC_TABLE m_arcs_to;
  std::vector<unsigned char> m_port_flags;   // by port number
  std::vector<unsigned char> m_module_flags; // by module number
  std::unordered_map<const KEP_INST_PORT*, unsigned char> m_inst_port_flags;
  std::unordered_map<const KEP_PORT*, PORTS> m_skip_outputs;           // on every instance but exceptions
  std::unordered_map<const KEP_INST_PORT*, PORTS> m_inst_skip_outputs; // on one instance alone
  std::unordered_map<const KEP_PORT*, const KEP_PORT*> m_flyovers;
};
