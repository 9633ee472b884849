#pragma once

#include "kep/kep_db_cache.h"
#include "kep/kep_relative_path.h"
#include "kep/kep_view_type_rank.h"
#include "kep_rg/kep_rg_export.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

/// @file
/// Ports named from a module down, by a chain of instances and a port, without saying where the module
/// stands; groups of them, and tables that rewrite them. All are values that hold pointers into the folded
/// model, which must outlive them.

class KEP_RG_RELATIVE_PORT_INSTANCE_ITER
    : public KEP_POINTER_ITER<KEP_RG_RELATIVE_PORT_INSTANCE_ITER, KEP_INSTANCE> {
  using KEP_POINTER_ITER::KEP_POINTER_ITER;
};

/// One such port. With an empty chain it is a port of the top module itself; else it also stands for the inst
/// port of the last instance that mirrors the port.
///
/// Each instance of the chain lies in the master of the one before, in its view through the rank where that
/// is an IP root. The port is one of the plain master of the last instance.
class KEP_RG_EXPORT KEP_RG_RELATIVE_PORT {
public:
  KEP_RG_RELATIVE_PORT() = default;

  /// Appends an instance. Asserts that it lies in the master of the last one.
  void add(KEP_INSTANCE* instance, const KEP_VIEW_TYPE_RANK& rank);
  /// Sets the port. KEP_RUNTIME_ERROR when it is none of the last instance's plain master; the object is then
  /// unchanged.
  void add(KEP_PORT* port);
  /// Replaces the content by what the text says below `top`: names split at any run of "/" and ":", of which
  /// the last names a port and all others instances, which are tried first. False when it names nothing; the
  /// content then means nothing. The cache may be null.
  bool parse(KEP_MODULE* top, std::string_view text, const KEP_VIEW_TYPE_RANK& rank, KEP_DB_CACHE* cache);
  /// Empties the object and keeps its storage.
  void clear();

  /// `a/b:p`; `:p` with an empty chain, `a/b` without a port.
  std::string get_name() const;
  /// 32 bits taken from the pointers: equal relative ports have equal hashes, and runs differ.
  long hash() const;
  /// The same chain and the same port.
  bool operator==(const KEP_RG_RELATIVE_PORT& other) const {
    return m_port == other.m_port && m_instances == other.m_instances;
  }
  /// By the pointers of the chain, then of the port. An empty chain ties with every chain, so that only the
  /// ports decide.
  bool operator<(const KEP_RG_RELATIVE_PORT& other) const;
  /// The same port, and the other chain is a tail of this one.
  bool ends_with(const KEP_RG_RELATIVE_PORT& other) const;

  /// The inst port that this stands for; null without a chain or a port.
  KEP_INST_PORT* get_inst_port() const;
  /// The module that the chain starts in; that of the port without a chain; null without either.
  KEP_MODULE* get_top() const;
  ///@{
  /// The port, null before one is set, and the chain, outermost first; never null.
  KEP_PORT* get_port() const { return m_port; }
  const std::vector<KEP_INSTANCE*>* get_instances() const { return &m_instances; }
  ///@}
  /// The number of instances.
  std::size_t size() const { return m_instances.size(); }
  /// The chain, outermost first.
  boost::iterator_range<KEP_RG_RELATIVE_PORT_INSTANCE_ITER> iter_instances() const {
    return kep_pointer_range<KEP_RG_RELATIVE_PORT_INSTANCE_ITER>(m_instances);
  }

private:
  friend class KEP_RG_RELATIVE_PORT_TO_PORT;
  friend class KEP_RG_REDUNDANCY_FIXUP_TABLES;
  friend class KEP_RG_TEST_ACCESS;
  KEP_RG_RELATIVE_PORT(const std::vector<KEP_INSTANCE*>& instances, KEP_PORT* port)
      : m_instances(instances), m_port(port) {}
  KEP_MODULE* back_master(KEP_MODULE* top, const KEP_VIEW_TYPE_RANK& rank) const;
  void pop_back(std::size_t count, KEP_PORT* port);

  std::vector<KEP_INSTANCE*> m_instances; // outermost first
  KEP_PORT* m_port = nullptr;
};

class KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER
    : public KEP_ELEMENT_ITER<KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER,
                              const KEP_RG_RELATIVE_PORT> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};
class KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER
    : public KEP_ELEMENT_ITER<KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER,
                              const KEP_RG_RELATIVE_PORT> {
  using KEP_ELEMENT_ITER::KEP_ELEMENT_ITER;
};

/// A group of relative ports below one module, in order of arrival, duplicates too.
class KEP_RG_EXPORT KEP_RG_MODULE_RELATIVE_PORTS {
public:
  ///@{
  /// Appends a copy, or takes it over. Asserts that it starts in the module of the group, which the first
  /// entry with a top decides.
  void add(const KEP_RG_RELATIVE_PORT* r_port);
  void add(KEP_RG_RELATIVE_PORT&& r_port);
  ///@}
  /// Makes this group the union of itself and the other, each distinct entry once, in order of arrival.
  void set_union(const KEP_RG_MODULE_RELATIVE_PORTS* other);
  /// Empties the group, which may then start in another module.
  void clear();

  /// How many entries there are.
  std::size_t size() const { return m_relative_ports.size(); }
  /// Null while the group has no entry with a top.
  KEP_MODULE* get_top() const { return m_top; }
  /// In order of arrival. Good until the group changes.
  boost::iterator_range<KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER> iter_relative_ports() const {
    using ITER = KEP_RG_MODULE_RELATIVE_PORTS_RG_RELATIVE_PORT_ITER;
    return {ITER(m_relative_ports.data()), ITER(m_relative_ports.data() + m_relative_ports.size())};
  }

private:
  friend class KEP_RG_PARSE_REDUNDANCY;
  /// Replaces the content by entries that are known to start in one module.
  void assign(std::vector<KEP_RG_RELATIVE_PORT>&& relative_ports) {
    m_top = relative_ports.empty() ? nullptr : relative_ports.front().get_top();
    m_relative_ports = std::move(relative_ports);
  }
  void check_top(const KEP_RG_RELATIVE_PORT* r_port);

  KEP_MODULE* m_top = nullptr;
  std::vector<KEP_RG_RELATIVE_PORT> m_relative_ports;
};

/// A rewrite table: for a relative port, which port of the level where it begins stands in its place. Applied
/// to a longer relative port, a rule removes the tail that it fits and puts its port there. Filled by one
/// thread, then read by any number.
class KEP_RG_EXPORT KEP_RG_RELATIVE_PORT_TO_PORT {
public:
  KEP_RG_RELATIVE_PORT_TO_PORT();
  ~KEP_RG_RELATIVE_PORT_TO_PORT();
  KEP_RG_RELATIVE_PORT_TO_PORT(const KEP_RG_RELATIVE_PORT_TO_PORT&) = delete;
  /// Both objects then share the rules of `other`, and only one of them may be destroyed.
  KEP_RG_RELATIVE_PORT_TO_PORT& operator=(const KEP_RG_RELATIVE_PORT_TO_PORT& other) = default;

  /// Adds a rule; the first value of a key stays. KEP_RUNTIME_ERROR when `value` does not lie in the key's
  /// top.
  void add(const KEP_RG_RELATIVE_PORT* key, KEP_PORT* value);
  /// The value of exactly that key, or null.
  KEP_PORT* find(const KEP_RG_RELATIVE_PORT* key) const;
  /// Rewrites one relative port by the longest rule that fits. False, and `out` untouched, when none does.
  /// For a chain of exactly one instance the rules for a port alone are not asked: a port that redundancy
  /// data marks on a mux standing in the module itself stays as it is marked, and builds rely on that.
  bool apply(KEP_RG_RELATIVE_PORT* out, const KEP_RG_RELATIVE_PORT* in) const;
  /// Appends a group to `out`, each entry rewritten where a rule fits; gives the number of those.
  std::size_t apply(KEP_RG_MODULE_RELATIVE_PORTS* out, const KEP_RG_MODULE_RELATIVE_PORTS* in) const;
  /// Every key in order of arrival, repeated ones too.
  boost::iterator_range<KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER> iter_relative_ports() const {
    using ITER = KEP_RG_RELATIVE_PORT_TO_PORT_RG_RELATIVE_PORT_ITER;
    return {ITER(m_keys->data()), ITER(m_keys->data() + m_keys->size())};
  }

private:
  using PORT_MAP = std::unordered_map<KEP_PORT*, KEP_PORT*>;
  using INST_PORT_MAP = std::unordered_map<KEP_INST_PORT*, KEP_PORT*>;
  using INNER_MAP = std::map<KEP_RG_RELATIVE_PORT, KEP_PORT*>;
  using DEEP_MAP = std::map<KEP_INST_PORT*, INNER_MAP>;
  bool apply_deep(KEP_RG_RELATIVE_PORT* out, const KEP_RG_RELATIVE_PORT* in) const;
  static bool rewrite(KEP_RG_RELATIVE_PORT* out, const KEP_RG_RELATIVE_PORT* in, std::size_t count,
                      KEP_PORT* port);

  // Owned; pointers, so that an assignment shares them.
  PORT_MAP* m_port_map;           // keys with an empty chain
  INST_PORT_MAP* m_inst_port_map; // keys with a chain of one
  DEEP_MAP* m_deep_map;           // longer keys
  std::vector<KEP_RG_RELATIVE_PORT>* m_keys;
};
