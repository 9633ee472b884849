#pragma once

/// @file
/// Look-ups that are made once and then asked often: names, parents, redundant inputs.

#include "kep/kep_db.h"

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

/// A look-up of names. The model's own look-ups hash already, so this one forwards to them; it is kept for
/// tools that pass one. One thread at a time.
class KEP_EXPORT KEP_DB_CACHE {
public:
  /// View and flag are accepted and change nothing.
  KEP_DB_CACHE(KEP_VIEW_TYPE view, bool flag);
  virtual ~KEP_DB_CACHE();

  /// Called once before use. Nothing has to be prepared: the unfolded hierarchy is laid out when a model is
  /// frozen.
  void initialize_unfolding(const KEP_DB* db, const std::string& name, bool flag);
  ///@{
  /// By name, null if absent.
  KEP_INSTANCE* find_instance(const KEP_MODULE* module, const std::string& name);
  KEP_PORT* find_port(const KEP_MODULE* module, const std::string& name);
  ///@}
};

/// Which slots of which modules hold a module: the hierarchy seen upward. Filled once, then read.
class KEP_EXPORT KEP_DB_PARENTS_CACHE {
public:
  /// A slot that holds a module.
  struct PARENT {
    const KEP_MODULE* m_module; ///< null for a slot above the top
    unsigned m_slot;            ///< its index among the module's slots
  };

  /// Fills the cache. The database must outlive it.
  void initialize(KEP_DB* db);
  /// The slots of the module, in the order of the design.
  const std::vector<PARENT>& get_parents(const KEP_MODULE* module) const;

private:
  std::vector<std::vector<PARENT>> m_parents; // by module number
};

/// Over the uips of a set.
class KEP_EXPORT KEP_UNFOLDED_INST_PORT_USET_ITER
    : public boost::iterator_facade<KEP_UNFOLDED_INST_PORT_USET_ITER, KEP_UNFOLDED_INST_PORT,
                                    boost::forward_traversal_tag, KEP_UNFOLDED_INST_PORT> {
public:
  /// What it steps over.
  using BASE = std::unordered_set<KEP_UNFOLDED_INST_PORT>::const_iterator;
  KEP_UNFOLDED_INST_PORT_USET_ITER() = default;
  /// At that element.
  explicit KEP_UNFOLDED_INST_PORT_USET_ITER(BASE at) : m_at(at) {}

private:
  friend class boost::iterator_core_access;
  KEP_UNFOLDED_INST_PORT dereference() const { return *m_at; }
  bool equal(const KEP_UNFOLDED_INST_PORT_USET_ITER& other) const { return m_at == other.m_at; }
  void increment() { ++m_at; }
  BASE m_at;
};

/// A hash set of uips. Its order means nothing.
class KEP_EXPORT KEP_UNFOLDED_INST_PORT_USET {
public:
  /// Makes room for so many uips in all.
  void reserve(std::size_t count) { m_uips.reserve(count); }
  /// How many uips are in it.
  std::size_t size() const { return m_uips.size(); }
  /// False when it is in the set already.
  bool insert(const KEP_UNFOLDED_INST_PORT& uip) { return m_uips.insert(uip).second; }
  /// Good until the next insert.
  boost::iterator_range<KEP_UNFOLDED_INST_PORT_USET_ITER> iter() const {
    return {KEP_UNFOLDED_INST_PORT_USET_ITER(m_uips.begin()), KEP_UNFOLDED_INST_PORT_USET_ITER(m_uips.end())};
  }

private:
  std::unordered_set<KEP_UNFOLDED_INST_PORT> m_uips;
};

/// The redundant inputs of a device (docs/glossary.md: redundancy), from the table of relative paths named
/// "redundancy".
class KEP_EXPORT KEP_DB_REDUNDANCY_CACHE {
public:
  /// The flag is accepted and changes nothing.
  explicit KEP_DB_REDUNDANCY_CACHE(bool flag);

  /// Both must outlive the cache.
  void initialize(KEP_DB* db, const KEP_DB_PARENTS_CACHE* parents);
  /// Adds every uip below `top` that redundancy marks, at every occurrence of the table's modules in whatever
  /// view of a master it stands, and gives the number of uips that were new. Occurrences are found upward
  /// through the parents, so the cost goes with what is marked and not with the device.
  std::size_t add_redundant_ports(KEP_UNFOLDED_INST_PORT_USET* uips, KEP_UNFOLDED_MODULE top) const;

private:
  KEP_DB* m_db = nullptr;
  const KEP_DB_PARENTS_CACHE* m_parents = nullptr;
};
