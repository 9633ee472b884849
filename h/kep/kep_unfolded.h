#pragma once

#include "kep/detail/kep_unfolded_value.h"
#include "kep/detail/kep_unfolding.h"
#include "kep/kep_relative_path.h"
#include "kep/kep_view_type_rank.h"

#include <cstdint>
#include <functional>
#include <string>

/// @file
/// The unfolded model: every object named by where it stands below the top (docs/glossary.md: unfolded, uip,
/// full name).
///
/// Each of the five values is two words, a position and the folded object there. They own nothing, are copied
/// as plain memory and are valid as long as the database. A null m_object means that there is none, and every
/// operation on such an empty value is total: it gives an empty value, an empty range, null, false or "".
/// Making, comparing, hashing and stepping a value allocates nothing, takes no lock and costs no search. Any
/// number of threads may read.
///
/// A position is opaque: an inner occurrence for an instance, an inst port and a net; an inner occurrence and
/// a slot in it for a module and a port.

class KEP_UNFOLDED_INST_PORT;
class KEP_UNFOLDED_INSTANCE;
class KEP_UNFOLDED_NET;
class KEP_UNFOLDED_PORT;

class KEP_UNFOLDED_MODULE_INSTANCE_ITER;
class KEP_UNFOLDED_INSTANCE_INST_PORT_ITER;
class KEP_UNFOLDED_NET_PORT_ITER;
class KEP_UNFOLDED_NET_INST_PORT_ITER;

/// A module at a position: one occurrence of it.
class KEP_EXPORT KEP_UNFOLDED_MODULE : public KEP_UNFOLDED_VALUE<KEP_UNFOLDED_MODULE, KEP_MODULE> {
public:
  KEP_UNFOLDED_MODULE() = default;
  /// A position is what another value of this database gave; the pair is not checked.
  KEP_UNFOLDED_MODULE(std::uint64_t position, KEP_MODULE* module) : KEP_UNFOLDED_VALUE(position, module) {}

  /// The instance at this position whose master this module is; empty at the top.
  inline KEP_UNFOLDED_INSTANCE get_unfolded_instance() const;
  /// The instances inside, in the order of the model.
  inline boost::iterator_range<KEP_UNFOLDED_MODULE_INSTANCE_ITER> iter_instances() const;
  /// Empty when there is no such port.
  inline KEP_UNFOLDED_PORT get_unfolded_port_by_index(unsigned index) const;
  /// The module in which the path's port lies, below this one. Empty for an invalid path and for one that
  /// starts in another module. For any port `p` below `m`, `m + (p - m)` equals `p.get_parent()`.
  KEP_UNFOLDED_MODULE operator+(const KEP_RELATIVE_PATH& path) const;
};

/// An instance at a position.
class KEP_EXPORT KEP_UNFOLDED_INSTANCE : public KEP_UNFOLDED_VALUE<KEP_UNFOLDED_INSTANCE, KEP_INSTANCE> {
public:
  KEP_UNFOLDED_INSTANCE() = default;
  /// A position is what another value of this database gave; the pair is not checked.
  KEP_UNFOLDED_INSTANCE(std::uint64_t position, KEP_INSTANCE* instance)
      : KEP_UNFOLDED_VALUE(position, instance) {}

  /// The full name from the top, the top module left out: `a/b`.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  /// The module that holds this instance at this position: the step upward.
  inline KEP_UNFOLDED_MODULE get_parent() const;
  ///@{
  /// The master in the first view of the rank that has one: the step downward.
  inline KEP_UNFOLDED_MODULE get_module(const KEP_VIEW_TYPE_RANK& rank) const;
  inline KEP_UNFOLDED_MODULE get_module(KEP_VIEW_TYPE view) const;
  ///@}
  /// In the order of the ports of the plain master.
  inline boost::iterator_range<KEP_UNFOLDED_INSTANCE_INST_PORT_ITER> iter_inst_ports() const;
  ///@{
  /// The inst port of this instance at this position: by the index of its port, empty when there is none; of
  /// the folded inst port, which must be one of this instance.
  inline KEP_UNFOLDED_INST_PORT get_unfolded_inst_port_by_index(unsigned index) const;
  inline KEP_UNFOLDED_INST_PORT get_unfolding_of_inst_port(KEP_INST_PORT* inst_port) const;
  ///@}
  /// The innermost instance, this one included, whose plain master is an IP root; empty if there is none.
  KEP_UNFOLDED_INSTANCE get_ip_root_instance() const;
};

/// A port of a module at a position: the inside of a connection.
class KEP_EXPORT KEP_UNFOLDED_PORT : public KEP_UNFOLDED_VALUE<KEP_UNFOLDED_PORT, KEP_PORT> {
public:
  KEP_UNFOLDED_PORT() = default;
  /// A position is what another value of this database gave; the pair is not checked.
  KEP_UNFOLDED_PORT(std::uint64_t position, KEP_PORT* port) : KEP_UNFOLDED_VALUE(position, port) {}

  /// The full name from the top: `a/b:p`, and `:p` for a port of the top.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  /// The module that the port belongs to, at this position.
  inline KEP_UNFOLDED_MODULE get_parent() const;
  /// The net on the inside, in the port's own module.
  inline KEP_UNFOLDED_NET get_unfolded_net() const;
  /// The uip on the outside, in the enclosing module; empty for a port of the top: the step upward through a
  /// port.
  inline KEP_UNFOLDED_INST_PORT get_unfolded_inst_port() const;
  /// The path from `module` down to this port. `module` must be the parent of the port or above it, else the
  /// path is invalid. The result is the same at every occurrence of `module`.
  KEP_RELATIVE_PATH operator-(const KEP_UNFOLDED_MODULE& module) const;
};

/// A uip (unfolded inst port), the unit of routing: an inst port of an instance at its position.
class KEP_EXPORT KEP_UNFOLDED_INST_PORT : public KEP_UNFOLDED_VALUE<KEP_UNFOLDED_INST_PORT, KEP_INST_PORT> {
public:
  KEP_UNFOLDED_INST_PORT() = default;
  /// A position is what another value of this database gave; the pair is not checked.
  KEP_UNFOLDED_INST_PORT(std::uint64_t position, KEP_INST_PORT* inst_port)
      : KEP_UNFOLDED_VALUE(position, inst_port) {}

  /// The database of this position; null for the empty value.
  KEP_DB* get_db() const;
  /// The full name from the top: `a/b:p`.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  /// Appends the same, without a text of its own.
  void append_name(const KEP_NAME_STYLE& style, std::string& name) const;
  /// The instance that it belongs to.
  inline KEP_UNFOLDED_INSTANCE get_unfolded_instance() const;
  /// The net on the outside, in the instance's parent module.
  inline KEP_UNFOLDED_NET get_unfolded_net() const;
  /// The port on the inside, in the master of the first view of the rank that has one: the step downward.
  inline KEP_UNFOLDED_PORT get_unfolded_port(const KEP_VIEW_TYPE_RANK& rank) const;
};

/// A net at a position.
class KEP_EXPORT KEP_UNFOLDED_NET : public KEP_UNFOLDED_VALUE<KEP_UNFOLDED_NET, KEP_NET> {
public:
  KEP_UNFOLDED_NET() = default;
  /// A position is what another value of this database gave; the pair is not checked.
  KEP_UNFOLDED_NET(std::uint64_t position, KEP_NET* net) : KEP_UNFOLDED_VALUE(position, net) {}

  /// By position, and within one module occurrence by the order of its nets.
  bool operator<(const KEP_UNFOLDED_NET& other) const {
    return m_position != other.m_position ? m_position < other.m_position
                                          : std::less<>()(m_object, other.m_object);
  }
  /// The full name from the top: `a/n` for a net `n` in instance `a`.
  std::string get_name(const KEP_NAME_STYLE& style) const;
  /// The ports of the net's module on this net.
  inline boost::iterator_range<KEP_UNFOLDED_NET_PORT_ITER> iter_ports() const;
  /// The uips on this net.
  inline boost::iterator_range<KEP_UNFOLDED_NET_INST_PORT_ITER> iter_inst_ports() const;
};

static_assert(sizeof(KEP_UNFOLDED_INST_PORT) == 16 && std::is_trivially_copyable_v<KEP_UNFOLDED_INST_PORT>,
              "unfolded values are two words, copied as plain memory");

class KEP_INSTANCE_INST_PORT_ITER : public KEP_ELEMENT_ITER<KEP_INSTANCE_INST_PORT_ITER, KEP_INST_PORT> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};
class KEP_UNFOLDED_MODULE_INSTANCE_ITER
    : public KEP_UNFOLDED_ITER<KEP_UNFOLDED_MODULE_INSTANCE_ITER, KEP_UNFOLDED_INSTANCE,
                               KEP_MODULE_INSTANCE_ITER> {
  using KEP_UNFOLDED_ITER::KEP_UNFOLDED_ITER;
};
class KEP_UNFOLDED_INSTANCE_INST_PORT_ITER
    : public KEP_UNFOLDED_ITER<KEP_UNFOLDED_INSTANCE_INST_PORT_ITER, KEP_UNFOLDED_INST_PORT,
                               KEP_INSTANCE_INST_PORT_ITER> {
  using KEP_UNFOLDED_ITER::KEP_UNFOLDED_ITER;
};
class KEP_UNFOLDED_NET_INST_PORT_ITER
    : public KEP_UNFOLDED_ITER<KEP_UNFOLDED_NET_INST_PORT_ITER, KEP_UNFOLDED_INST_PORT,
                               KEP_NET_INST_PORT_ITER> {
  using KEP_UNFOLDED_ITER::KEP_UNFOLDED_ITER;
};
class KEP_UNFOLDED_NET_PORT_ITER
    : public KEP_UNFOLDED_ITER<KEP_UNFOLDED_NET_PORT_ITER, KEP_UNFOLDED_PORT, KEP_NET_PORT_ITER> {
  using KEP_UNFOLDED_ITER::KEP_UNFOLDED_ITER;
};

#include "kep/detail/kep_unfolded_inline.h"
