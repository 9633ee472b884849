#pragma once

#include "kep/detail/kep_iterator.h"
#include "kep/kep_types.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// @file
/// The folded model: each module once, however often it is instantiated. Modules, instances, masters, inst
/// ports, nets and traits are those of docs/glossary.md. A module is in exactly one view; port i of a module
/// is port i of its equivalents, and of the inst ports of its instances.
///
/// All of it is made by KEP_DB_BUILDER, belongs to its KEP_DB, and never changes: pointers stay valid as long
/// as the database, and any number of threads may read. Absence is a null pointer or an empty vector or
/// range; nothing here throws. Everything that returns one object is constant-time, but for the two look-ups
/// by name, which hash.

class KEP_MODULE_PORT_ITER : public KEP_ELEMENT_ITER<KEP_MODULE_PORT_ITER, KEP_PORT> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};
class KEP_MODULE_INSTANCE_ITER : public KEP_ELEMENT_ITER<KEP_MODULE_INSTANCE_ITER, KEP_INSTANCE> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};
class KEP_MODULE_NET_ITER : public KEP_ELEMENT_ITER<KEP_MODULE_NET_ITER, KEP_NET> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};
class KEP_NET_PORT_ITER : public KEP_POINTER_ITER<KEP_NET_PORT_ITER, KEP_PORT> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};
class KEP_NET_INST_PORT_ITER : public KEP_POINTER_ITER<KEP_NET_INST_PORT_ITER, KEP_INST_PORT> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};

/// Of a port of a module, as seen from outside.
enum class KEP_PORT_DIRECTION : unsigned char { INPUT, OUTPUT, BIDIR };

/// The inst header of an instance (docs/glossary.md). Only whether there is one is known of it.
class KEP_INST_HEADER {};

/// A port of a module.
class KEP_EXPORT KEP_PORT {
public:
  ///@{
  /// Its name in its module.
  std::string get_name(KEP_NAME_STYLE style) const;
  const char* get_plain_name() const { return m_name; }
  ///@}
  /// The module that it belongs to.
  KEP_MODULE* get_parent() const { return m_parent; }
  /// Its place among the ports of its module, from 0.
  unsigned get_index() const { return m_index; }
  /// The net inside the module, null if nothing is behind the port.
  KEP_NET* get_net() const { return m_net; }
  ///@{
  /// Its direction, as seen from outside of the module.
  bool is_input() const { return m_direction == KEP_PORT_DIRECTION::INPUT; }
  bool is_output() const { return m_direction == KEP_PORT_DIRECTION::OUTPUT; }
  bool is_bidir() const { return m_direction == KEP_PORT_DIRECTION::BIDIR; }
  ///@}
  /// -1 when the port has none (docs/glossary.md: BLC re-index).
  int get_blc_re_index() const { return m_blc_re_index; }
  ///@{
  /// Empty when the port has none (docs/glossary.md: BLC icd name).
  std::string get_blc_icd_port_name() const { return m_blc_icd_port_name; }
  const char* get_plain_blc_icd_port_name() const { return m_blc_icd_port_name; }
  ///@}
  /// The port's number among all ports of the design, from 0.
  unsigned get_number() const { return m_number; }

private:
  friend class KEP_MODEL_FREEZER;
  KEP_MODULE* m_parent = nullptr;
  KEP_NET* m_net = nullptr;
  const char* m_name = "";
  const char* m_blc_icd_port_name = "";
  unsigned m_index = 0;
  unsigned m_number = 0;
  int m_blc_re_index = -1;
  KEP_PORT_DIRECTION m_direction = KEP_PORT_DIRECTION::INPUT;
};

/// A port of an instance: where a net of the parent module is connected.
class KEP_EXPORT KEP_INST_PORT {
public:
  /// Never null.
  KEP_INSTANCE* get_inst() const { return m_inst; }
  /// The port of the plain master that this inst port mirrors.
  inline KEP_PORT* get_port() const;
  ///@{
  /// The direction of that port.
  bool is_input() const { return get_port()->is_input(); }
  bool is_output() const { return get_port()->is_output(); }
  bool is_bidir() const { return get_port()->is_bidir(); }
  ///@}
  /// The net outside the instance, in its parent module; null if unconnected.
  KEP_NET* get_net() const { return m_net; }
  /// The index of the port that this inst port mirrors.
  inline unsigned get_index() const;
  /// The number among all inst ports of the parent module: instances in order, within one in port order.
  inline unsigned get_number() const;

private:
  friend class KEP_MODEL_FREEZER;
  // Freezing sets both, of many at once: they are not cleared before.
  KEP_INSTANCE* m_inst;
  KEP_NET* m_net;
};
static_assert(sizeof(KEP_INST_PORT) == 2 * sizeof(void*),
              "devices have hundreds of millions of folded inst ports");

/// An instance inside a module: a place for another module, its master.
class KEP_EXPORT KEP_INSTANCE {
public:
  /// The trait that node creation asks of instances inside a BLC (docs/glossary.md: trait).
  enum class TRAIT : unsigned char { TRAIT_0 = 0 };

  ///@{
  /// The name inside the parent, one level only.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  const char* get_plain_name() const { return m_name; }
  ///@}
  /// The module that it stands in.
  KEP_MODULE* get_parent() const { return m_parent; }
  /// The plain master.
  KEP_MODULE* get_module() const { return m_module; }
  /// The plain master when it has that view, else its first equivalent there, else null.
  inline KEP_MODULE* get_module(KEP_VIEW_TYPE view) const;
  ///@{
  /// The plain master must have the index; the port may be that of an equivalent, too.
  KEP_INST_PORT* get_inst_port_by_index(unsigned index) const { return m_inst_ports + index; }
  KEP_INST_PORT* get_inst_port_for_port(const KEP_PORT* port) const {
    return m_inst_ports + port->get_index();
  }
  ///@}
  /// Null without one. All that have one share it.
  KEP_INST_HEADER* get_inst_header() const;
  /// Whether the model gives it that trait.
  bool has_trait(TRAIT) const { return m_has_trait_0; }
  ///@{
  /// docs/glossary.md: BLC atom and BLC inserted buffer.
  bool is_blc_atom() const { return m_is_blc_atom; }
  bool get_blc_is_inserted_buffer() const { return m_is_blc_inserted_buffer; }
  ///@}
  /// The plain master lies in the same database as the parent.
  inline bool module_in_same_db() const;
  /// The instance's place in its parent, from 0.
  inline unsigned get_index() const;

private:
  friend class KEP_MODEL_FREEZER;
  friend class KEP_INST_PORT;
  friend class KEP_MODULE;
  friend class KEP_UNFOLDED_INSTANCE;
  friend class KEP_UNFOLDING;
  KEP_MODULE* m_parent = nullptr;
  KEP_MODULE* m_module = nullptr;
  const char* m_name = "";
  KEP_INST_PORT* m_inst_ports = nullptr;
  unsigned m_first_slot = 0;
  bool m_has_inst_header = false;
  bool m_has_trait_0 = false;
  bool m_is_blc_atom = false;
  bool m_is_blc_inserted_buffer = false;
};

/// A net of a module, with its members in the order of the model.
class KEP_EXPORT KEP_NET {
public:
  ///@{
  /// Its name in its module, which other nets may have, too.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  const char* get_plain_name() const { return m_name; }
  ///@}
  /// The module that it belongs to.
  KEP_MODULE* get_parent() const { return m_parent; }
  /// The ports of the module on this net, in port order.
  boost::iterator_range<KEP_NET_PORT_ITER> iter_ports() const {
    return {KEP_NET_PORT_ITER(m_ports), KEP_NET_PORT_ITER(m_ports + m_num_ports)};
  }
  /// The inst ports on this net: instances in order, within one in the master's port order.
  boost::iterator_range<KEP_NET_INST_PORT_ITER> iter_inst_ports() const {
    return {KEP_NET_INST_PORT_ITER(m_inst_ports), KEP_NET_INST_PORT_ITER(m_inst_ports + m_num_inst_ports)};
  }
  ///@{
  /// The same members as arrays.
  unsigned get_num_ports() const { return m_num_ports; }
  unsigned get_num_inst_ports() const { return m_num_inst_ports; }
  KEP_PORT* const* get_ports() const { return m_ports; }
  KEP_INST_PORT* const* get_inst_ports() const { return m_inst_ports; }
  ///@}
  /// The net's place in its module, from 0.
  inline unsigned get_index() const;

private:
  friend class KEP_MODEL_FREEZER;
  KEP_MODULE* m_parent = nullptr;
  const char* m_name = "";
  KEP_PORT* const* m_ports = nullptr;
  KEP_INST_PORT* const* m_inst_ports = nullptr;
  unsigned m_num_ports = 0;
  unsigned m_num_inst_ports = 0;
};

/// A module in one view: its ports, and instances and nets inside it.
class KEP_EXPORT KEP_MODULE {
public:
  /// Marks of a module that node creation asks for.
  enum class TRAIT : unsigned char {
    TRAIT_0 = 0, ///< on a BLC module: keeps some of its inst ports from becoming nodes
    IP_ROOT = 5, ///< only such a module can be a routing root
  };

  KEP_MODULE();
  ~KEP_MODULE();
  KEP_MODULE(const KEP_MODULE&) = delete;
  KEP_MODULE& operator=(const KEP_MODULE&) = delete;

  ///@{
  /// Its name, which its equivalents may have, too. The second form replaces the text and keeps its memory.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  void get_name(std::string& name, const KEP_NAME_STYLE& style) const;
  const char* get_plain_name() const { return m_name; }
  ///@}
  /// The key under which the builder was given the module; unique in the design.
  const char* get_key() const { return m_key; }
  /// Never DEFAULT_VIEW.
  KEP_VIEW_TYPE get_view_type() const { return m_view_type; }
  ///@{
  /// How many the module itself holds; inst ports are those of its instances.
  unsigned get_num_ports() const { return m_num_ports; }
  unsigned get_num_instances() const { return m_num_instances; }
  unsigned get_num_inst_ports() const { return m_num_inst_ports; }
  unsigned get_num_nets() const { return m_num_nets; }
  ///@}
  /// Whether the model gives it that trait.
  bool has_trait(TRAIT trait) const { return trait == TRAIT::IP_ROOT ? m_is_ip_root : m_has_trait_0; }
  /// The module is a BLC bidirectional buffer (docs/glossary.md).
  bool get_is_blc_bidir_buffer() const { return m_is_blc_bidir_buffer; }
  /// The module is the top, or a view of it.
  bool is_top_module_or_equiv() const { return m_is_top_module_or_equiv; }
  /// The database that the module lies in.
  KEP_DB* get_db() const { return m_db; }
  /// The module's number in the design, from 0, in the order in which the builder was given the modules.
  unsigned get_number() const { return m_number; }

  ///@{
  /// By name, null if absent.
  KEP_PORT* find_port(std::string_view name) const;
  KEP_INSTANCE* find_instance(std::string_view name) const;
  ///@}
  /// Null when there is no such port.
  KEP_PORT* get_port_by_index(unsigned index) const {
    return index < m_num_ports ? m_ports.get() + index : nullptr;
  }
  ///@{
  /// The index or number must be there.
  KEP_INST_PORT* get_inst_port_by_number(unsigned number) const { return m_inst_ports.get() + number; }
  KEP_INSTANCE* get_instance_by_index(unsigned index) const { return m_instances.get() + index; }
  KEP_NET* get_net_by_index(unsigned index) const { return m_nets.get() + index; }
  ///@}
  ///@{
  /// In the order of the model, which is that of their indices.
  boost::iterator_range<KEP_MODULE_PORT_ITER> iter_ports() const {
    return {KEP_MODULE_PORT_ITER(m_ports.get()), KEP_MODULE_PORT_ITER(m_ports.get() + m_num_ports)};
  }
  boost::iterator_range<KEP_MODULE_INSTANCE_ITER> iter_instances() const {
    return {KEP_MODULE_INSTANCE_ITER(m_instances.get()),
            KEP_MODULE_INSTANCE_ITER(m_instances.get() + m_num_instances)};
  }
  boost::iterator_range<KEP_MODULE_NET_ITER> iter_nets() const {
    return {KEP_MODULE_NET_ITER(m_nets.get()), KEP_MODULE_NET_ITER(m_nets.get() + m_num_nets)};
  }
  ///@}

  /// The module itself when it has that view or none in particular is asked for, else the first equivalent
  /// there, else null.
  KEP_MODULE* find_view(KEP_VIEW_TYPE view) const { return m_views[static_cast<unsigned>(view)]; }
  ///@{
  /// Every equivalent in that view, the module itself left out, in the order of the design.
  std::vector<KEP_MODULE*> get_equivalent_modules(KEP_VIEW_TYPE view) const;
  unsigned get_num_equivalent_modules(KEP_VIEW_TYPE view) const;
  ///@}
  /// The whole group, this module too; null without one.
  const std::vector<KEP_MODULE*>* get_equivalents() const { return m_equivalents; }

  // What positions are made of (h/kep/detail/kep_unfolding.h); whoever steps over unfolded values needs none
  // of it.
  ///@{
  /// The slots of the module, instance by instance; within one the plain master first, then the other views.
  const KEP_SLOT* get_slots() const { return m_slots.get(); }
  unsigned get_num_slots() const { return m_num_slots; }
  ///@}
  /// One for an occurrence of the module itself, and the sizes below all of its slots.
  std::uint64_t get_size() const { return m_size; }
  /// The module holds instances or nets, so its occurrences are inner occurrences.
  bool is_inner() const { return m_num_instances != 0 || m_num_nets != 0; }
  /// That of the database; one for all its modules.
  const KEP_UNFOLDING* get_unfolding() const { return m_unfolding; }

private:
  friend class KEP_MODEL_FREEZER;
  friend class KEP_INST_PORT;
  friend class KEP_INSTANCE;
  friend class KEP_NET;
  friend class KEP_UNFOLDING;
  friend class KEP_UNFOLDED_INSTANCE;

  static constexpr unsigned char NO_SLOT = 0xff;

  KEP_DB* m_db = nullptr;
  const KEP_UNFOLDING* m_unfolding = nullptr;
  std::unique_ptr<KEP_PORT[]> m_ports;
  std::unique_ptr<KEP_INSTANCE[]> m_instances;
  std::unique_ptr<KEP_INST_PORT[]> m_inst_ports;
  std::unique_ptr<KEP_NET[]> m_nets;
  std::unique_ptr<KEP_SLOT[]> m_slots;
  KEP_MODULE* m_views[KEP_NUM_MODULE_VIEWS + 1] = {}; // by view; the last for DEFAULT_VIEW
  // The place of a view's slot among the slots of an instance of this module, or NO_SLOT.
  unsigned char m_view_slots[KEP_NUM_MODULE_VIEWS + 1] = {NO_SLOT, NO_SLOT, NO_SLOT, NO_SLOT, NO_SLOT};
  KEP_VIEW_TYPE m_view_type = KEP_VIEW_TYPE::LOGICAL;
  bool m_is_ip_root = false;
  bool m_has_trait_0 = false;
  bool m_is_blc_bidir_buffer = false;
  bool m_is_top_module_or_equiv = false;
  unsigned m_number = 0;
  unsigned m_num_ports = 0;
  unsigned m_num_instances = 0;
  unsigned m_num_inst_ports = 0;
  unsigned m_num_nets = 0;
  unsigned m_num_slots = 0;
  std::uint64_t m_size = 0;
  const char* m_name = "";
  const char* m_key = "";
  const std::vector<KEP_MODULE*>* m_equivalents =
      nullptr;                              // the whole group, this module too; null without a group
  std::unique_ptr<KEP_PORT*[]> m_net_ports; // members of all nets, net by net
  std::unique_ptr<KEP_INST_PORT*[]> m_net_inst_ports;
  std::vector<unsigned> m_port_names; // hash tables: index + 1, or 0
  std::vector<unsigned> m_instance_names;
};

/// Orders ports by index, and ports of equal index by the number of their module. So an ordered set of ports
/// holds each port once, whatever its module.
struct KEP_PORT_INDEX_COMPARE {
  /// True when `left` comes first. Neither may be null.
  bool operator()(const KEP_PORT* left, const KEP_PORT* right) const {
    if (left->get_index() != right->get_index()) return left->get_index() < right->get_index();
    return left->get_number() < right->get_number();
  }
};

inline unsigned KEP_INST_PORT::get_index() const {
  return static_cast<unsigned>(this - m_inst->m_inst_ports);
}
inline KEP_PORT* KEP_INST_PORT::get_port() const {
  return m_inst->m_module->m_ports.get() + get_index();
}
inline unsigned KEP_INST_PORT::get_number() const {
  return static_cast<unsigned>(this - m_inst->m_parent->m_inst_ports.get());
}
inline unsigned KEP_NET::get_index() const {
  return static_cast<unsigned>(this - m_parent->m_nets.get());
}
inline KEP_MODULE* KEP_INSTANCE::get_module(KEP_VIEW_TYPE view) const {
  return m_module->find_view(view);
}
inline bool KEP_INSTANCE::module_in_same_db() const {
  return m_parent->m_db == m_module->m_db;
}
inline unsigned KEP_INSTANCE::get_index() const {
  return static_cast<unsigned>(this - m_parent->m_instances.get());
}
