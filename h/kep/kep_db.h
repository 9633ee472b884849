#pragma once

/// @file
/// The root of a device, which owns all of it.

#include "kep/kep_unfolded.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace KEP_ROUTING {
class GRAPH;
}

/// What `kep` refuses for a reason that lies in the data: a model that breaks a rule, a graph past its
/// limits. The text names the place and the reason in one line.
class KEP_EXPORT KEP_DB_ERROR : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// What is told of one unfolded instance.
class KEP_UNFOLDED_INSTANCE_ATTRIBUTES {
public:
  /// The instance lies in a spare row (docs/glossary.md says who asks for it).
  bool is_spare_row() const { return m_is_spare_row; }

private:
  friend class KEP_LEGACY_API;
  bool m_is_spare_row = false;
};

/// The service object of a database: attributes of single unfolded instances. Written while a device is
/// described, by one thread; then read by any number.
class KEP_EXPORT KEP_LEGACY_API {
public:
  KEP_LEGACY_API();
  ~KEP_LEGACY_API();
  KEP_LEGACY_API(const KEP_LEGACY_API&) = delete;
  KEP_LEGACY_API& operator=(const KEP_LEGACY_API&) = delete;

  /// Whether any instance has some.
  bool has_instance_attributes() const;
  /// Null when the instance has none.
  KEP_UNFOLDED_INSTANCE_ATTRIBUTES* get_attributes(const KEP_UNFOLDED_INSTANCE& instance) const;
  /// At some of its places, not necessarily at all.
  bool has_attributes_somewhere(const KEP_INSTANCE* instance) const;
  /// Says whether the instance lies in a spare row; the last call for an instance holds.
  void set_spare_row(const KEP_UNFOLDED_INSTANCE& instance, bool is_spare_row);

private:
  friend class KEP_DATABASE_LISTER;
  struct TABLE;
  std::unique_ptr<TABLE> m_table;
};

/// Over the modules of a database.
class KEP_DB_MODULE_ITER : public KEP_HIER_TABLE_ITER<KEP_DB_MODULE_ITER, KEP_MODULE> {
  using KEP_HIER_TABLE_ITER::KEP_HIER_TABLE_ITER;
};

/// The root of a device: its modules, one top for each view, the tables of relative paths, the description of
/// its routing primitives and its routing graph. Made by KEP_DB_BUILDER, complete from the first moment; the
/// folded model never changes. Every object that it hands out belongs to it. Any number of threads may read;
/// what can be written (attributes, relative paths, description, graph) is written by one while no other
/// reads it.
///
/// Modules may lie in another database than the one loaded (foreign modules, docs/glossary.md). Such a
/// database is made along with this one, is owned by it, and shares its numbering and its unfolded hierarchy;
/// the flags of iter_modules and find_modules say whether its modules count.
class KEP_EXPORT KEP_DB {
public:
  ~KEP_DB();
  KEP_DB(const KEP_DB&) = delete;
  KEP_DB& operator=(const KEP_DB&) = delete;

  /// The designated top for DEFAULT_VIEW; else the top itself or its first equivalent in that view; else
  /// null.
  KEP_MODULE* get_top_module(KEP_VIEW_TYPE view) const;
  /// The same module at its position; empty where there is none.
  KEP_UNFOLDED_MODULE get_top_unfolded_module(KEP_VIEW_TYPE view) const;
  ///@{
  /// What the model says of its top.
  KEP_DB_TYPE get_db_type() const { return m_db_type; }
  bool is_device_top() const { return m_is_device_top; }
  ///@}
  /// The modules in the order of the design; with `all`, those of the foreign database too.
  boost::iterator_range<KEP_DB_MODULE_ITER> iter_modules(bool all) const;
  /// The modules of that name in that view, in the order of the design; with `all`, foreign ones too.
  /// DEFAULT_VIEW finds none.
  std::vector<KEP_MODULE*> find_modules(std::string_view name, KEP_VIEW_TYPE view, bool all) const;
  /// Never null.
  KEP_LEGACY_API* get_legacy_api() const { return m_legacy_api.get(); }
  /// Never null; the object stays the same while graphs come and go. A foreign database shares it.
  KEP_ROUTING::GRAPH* get_routing_template_graph() const { return m_graph; }

  /// The unfolded instances under that path of instance names from the top, joined by "/": one for each
  /// choice of views of the masters on the way. Empty if there is none.
  std::vector<KEP_UNFOLDED_INSTANCE> find_unfolded_instances(const std::string& path) const;

  /// A table of that name; the handle is not valid if there is none.
  KEP_INDEXED_RELATIVE_PATHS get_relative_paths(const char* name) const;
  /// The same, with an empty table where there was none. By one thread, while no other uses the tables.
  KEP_INDEXED_RELATIVE_PATHS find_or_create_relative_paths(const char* name);

  /// The positions of all that is unfolded, as numbers.
  const KEP_UNFOLDING& get_unfolding() const { return *m_unfolding; }

private:
  friend class KEP_DATABASE_LISTER;
  friend class KEP_DATABASE_RESTORER;
  friend class KEP_MODEL_FREEZER;
  struct STORAGE;
  KEP_DB();

  std::unique_ptr<STORAGE> m_storage; // first: modules and names outlive all that refers to them
  std::unique_ptr<KEP_LEGACY_API> m_legacy_api;
  const KEP_UNFOLDING* m_unfolding = nullptr;
  KEP_ROUTING::GRAPH* m_graph = nullptr;
  KEP_DB_TYPE m_db_type = KEP_DB_TYPE::REDUNDANCY;
  bool m_is_device_top = false;
};
