#pragma once

/// @file
/// Paths from a module to a port below it, and the tables in which a database keeps them.

#include "kep/kep_design.h"

#include <boost/container_hash/hash.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Names a port below a module without saying where that module stands (docs/glossary.md). A value of four
/// words with nothing behind them: the module it starts in, the difference of the occurrences' numbers (two
/// words), the port. Equal chains have equal words, and all words zero is the invalid path, which a
/// default-constructed path is.
class KEP_EXPORT KEP_RELATIVE_PATH {
public:
  KEP_RELATIVE_PATH() = default;

  /// The path of a port below a chain of instances, outermost first. An empty chain gives a port of its own
  /// module. Invalid when the chain does not hang together: each instance must be held by a master, in some
  /// view, of the one before, and the port must belong to one of the last.
  static KEP_RELATIVE_PATH create(const std::vector<KEP_INSTANCE*>& chain, const KEP_PORT* port);

  /// The path is valid.
  explicit operator bool() const { return m_words[3] != 0; }
  /// Two paths of one database are equal when they lead from one module by one chain to one port.
  bool operator==(const KEP_RELATIVE_PATH& other) const { return m_words == other.m_words; }

  /// The port at the end, null for the invalid path.
  KEP_PORT* get_port(const KEP_DB* db) const;
  /// The module the path starts in, null for the invalid path.
  KEP_MODULE* get_module(const KEP_DB* db) const;
  /// The instances from that module down, outermost first.
  std::vector<KEP_INSTANCE*> get_instances(const KEP_DB* db) const;

  /// What a path is made of, for a hash or an order of its own.
  const std::array<std::uint32_t, 4>& get_words() const { return m_words; }

private:
  friend class KEP_DATABASE_RESTORER;
  friend class KEP_UNFOLDED_MODULE;
  friend class KEP_UNFOLDED_PORT;
  KEP_RELATIVE_PATH(const KEP_MODULE* module, std::uint64_t difference, const KEP_PORT* port)
      : m_words{module->get_number(), static_cast<std::uint32_t>(difference >> 32),
                static_cast<std::uint32_t>(difference), port->get_number() + 1} {}
  std::uint64_t get_difference() const { return static_cast<std::uint64_t>(m_words[1]) << 32 | m_words[2]; }

  std::array<std::uint32_t, 4> m_words{};
};

/// boost::hash_combine over the four words in order, from a seed of 0.
inline std::size_t hash_value(const KEP_RELATIVE_PATH& path) {
  std::size_t seed = 0;
  for (const std::uint32_t word : path.get_words())
    boost::hash_combine(seed, word);
  return seed;
}

/// @cond
template <>
struct std::hash<KEP_RELATIVE_PATH> {
  std::size_t operator()(const KEP_RELATIVE_PATH& path) const noexcept { return hash_value(path); }
};
/// @endcond

/// A path as a table stores it.
class KEP_PERSISTENT_RELATIVE_PATH {
public:
  /// Keeps a copy.
  explicit KEP_PERSISTENT_RELATIVE_PATH(const KEP_RELATIVE_PATH& path) : m_path(path) {}
  /// The path that was stored.
  const KEP_RELATIVE_PATH& get_path() const { return m_path; }

private:
  KEP_RELATIVE_PATH m_path;
};

class KEP_RELATIVE_PATH_TABLE; // what stands behind the handles; belongs to the database
struct KEP_MODULE_RELATIVE_PATHS;

/// A handle on the paths that one table stores for one module. One thread at a time.
class KEP_EXPORT KEP_MODULE_RELATIVE_PATH_MAP {
public:
  /// Where there is no map there are no paths, and none can be added.
  bool exists() const { return m_paths != nullptr; }
  /// Room for so many paths. The flag is accepted and changes nothing.
  void reserve(std::size_t count, bool);
  /// Stores the path of the port below the chain, which starts in the module of this map. A path that is
  /// there already is not stored again. Gives the stored path; null when the chain does not hang together or
  /// starts elsewhere.
  const KEP_PERSISTENT_RELATIVE_PATH* add_path(const std::vector<KEP_INSTANCE*>& chain, const KEP_PORT* port);
  /// How many paths there are.
  std::size_t size() const;
  /// Path number i, below size(), in the order in which they were added.
  const KEP_PERSISTENT_RELATIVE_PATH* get_path(std::size_t i) const;

private:
  friend class KEP_INDEXED_RELATIVE_PATHS;
  explicit KEP_MODULE_RELATIVE_PATH_MAP(KEP_MODULE_RELATIVE_PATHS* paths) : m_paths(paths) {}
  KEP_MODULE_RELATIVE_PATHS* m_paths;
};

/// A handle on one named table of relative paths of a database. One thread at a time; the table outlives
/// every handle.
class KEP_EXPORT KEP_INDEXED_RELATIVE_PATHS {
public:
  /// There is such a table. Without one there are no paths, and none can be added.
  bool valid() const { return m_table != nullptr; }
  /// Creates nothing: the map of a module without paths does not exist.
  KEP_MODULE_RELATIVE_PATH_MAP find_path_mappings_for_module(const KEP_MODULE* module) const;
  /// A null module gets a map that does not exist.
  KEP_MODULE_RELATIVE_PATH_MAP find_or_create_paths_for_module(const KEP_MODULE* module);
  /// The modules that have paths, in the order in which their maps were made.
  std::vector<const KEP_MODULE*> get_modules() const;

private:
  friend class KEP_DB;
  explicit KEP_INDEXED_RELATIVE_PATHS(KEP_RELATIVE_PATH_TABLE* table) : m_table(table) {}
  KEP_RELATIVE_PATH_TABLE* m_table;
};
