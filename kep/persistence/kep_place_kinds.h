#pragma once

#include "kep/persistence/kep_database_tables.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

/// Which nodes stand at the places of a graph in a file. Places are of one kind where the same nodes stand
/// and as many inst ports are there. Most have a node for each key of their module, which gives its number to
/// the kind; places that lack nodes are of others. It goes by the tables of model and positions as they
/// stand, which others test meanwhile.
class KEP_PLACE_KINDS {
public:
  static constexpr std::uint32_t EMPTY = ~std::uint32_t{0}; ///< the kind of a place without nodes

  /// Tests all that tells of places, and throws KEP_DB_ERROR where it is not sound.
  explicit KEP_PLACE_KINDS(const KEP_DATABASE_TABLES& tables);

  std::uint32_t get_num_places() const { return static_cast<std::uint32_t>(m_kinds.size()); }
  std::uint32_t get_kind(std::uint32_t place) const { return m_kinds[place]; }
  /// Of any number: EMPTY where it is that of no place.
  std::uint32_t find_kind(std::uint32_t place) const {
    return place < m_kinds.size() ? m_kinds[place] : EMPTY;
  }
  /// A node of each rank below this stands at places of the kind.
  std::uint32_t get_num_full_ranks(std::uint32_t kind) const {
    if (kind < m_num_modules) return m_tables.m_first_keys[kind + 1] - m_tables.m_first_keys[kind];
    return kind == EMPTY ? 0 : m_lacking[kind - m_num_modules].m_num_full_ranks;
  }
  /// Of all kinds.
  std::uint32_t get_max_num_ranks() const;
  /// Calls `use` with the number of each module: the kind of places where all its nodes stand, or like it.
  template <class USE>
  void for_modules(const USE& use) const {
    for (std::uint32_t kind = 0; kind != m_num_modules; ++kind)
      use(kind);
  }
  bool is_lacking(std::uint32_t kind) const { return kind >= m_num_modules && kind != EMPTY; }
  /// The number of a module of places of the kind; boundary nodes have one of their own.
  std::uint32_t get_module(std::uint32_t kind) const {
    return is_lacking(kind) ? m_lacking[kind - m_num_modules].m_module : kind;
  }
  std::uint32_t get_num_ranks(std::uint32_t kind) const {
    const std::uint32_t module = get_module(kind);
    return m_tables.m_first_keys[module + 1] - m_tables.m_first_keys[module];
  }
  /// Of a kind that lacks some.
  std::span<const std::uint32_t> get_listed_ranks(std::uint32_t kind) const {
    return m_lacking[kind - m_num_modules].m_ranks;
  }
  /// A node of that rank stands at the places of the kind.
  bool has_node(std::uint32_t kind, std::uint32_t rank) const {
    if (kind == EMPTY || rank >= get_num_ranks(kind)) return false;
    if (!is_lacking(kind)) return true;
    const std::span<const std::uint32_t> ranks = get_listed_ranks(kind);
    return std::binary_search(ranks.begin(), ranks.end(), rank);
  }
  /// The key of a node of the kind.
  std::uint32_t get_key(std::uint32_t kind, std::uint32_t rank) const {
    return m_tables.m_keys[m_tables.m_first_keys[get_module(kind)] + std::size_t{rank}];
  }
  /// Of the module; boundary nodes have none.
  std::uint32_t get_num_inst_ports(std::uint32_t kind) const { return m_num_inst_ports[get_module(kind)]; }
  /// There is such an inst port at the occurrence.
  bool has_inst_port(std::uint32_t occurrence, std::uint32_t inst_port) const {
    if (occurrence >= m_positions.size()) return false;
    const std::uint32_t module = m_positions[occurrence].m_module;
    return module < m_num_modules && inst_port < m_num_inst_ports[module];
  }

private:
  struct LACKING {
    std::uint32_t m_module;
    std::uint32_t m_num_full_ranks;
    std::span<const std::uint32_t> m_ranks;
  };

  void count_inst_ports(const KEP_MODEL_TABLES& model);
  void check_occurrences() const;
  void check_occurrence_block(std::size_t block, std::uint32_t num_before) const;
  void check_keys(std::size_t num_ports) const;
  std::vector<std::uint32_t> find_kinds_of_modules() const;
  void find_kinds();
  std::uint32_t find_or_make_lacking(std::uint32_t kind_of_module, std::span<const std::uint32_t> ranks);
  std::uint32_t add_lacking(std::uint32_t module, std::uint32_t place, std::uint32_t num_nodes);
  void check_lacking_marks() const;
  void check_near_places() const;

  const KEP_TABLE<KEP_OCCURRENCE>& m_positions;
  const KEP_GRAPH_TABLES& m_tables;
  std::uint32_t m_num_modules;                 // and one for boundary nodes
  std::vector<std::uint32_t> m_num_inst_ports; // by module
  std::vector<std::uint32_t> m_kinds;          // by place
  std::vector<LACKING> m_lacking;              // by kind
  std::unordered_multimap<std::uint64_t, std::uint32_t> m_lacking_by_hash;
  std::size_t m_num_lacking = 0; // places
  std::size_t m_num_listed_ranks = 0;
};
