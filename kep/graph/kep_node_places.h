#pragma once

#include "kep/detail/kep_numbered_places.h"
#include "kep/detail/kep_table.h"
#include "kep/detail/kep_unfolding.h"
#include "kep/graph/kep_node_census.h"
#include "kep/graph/kep_occurrence_places.h"
#include "kep/kep_export.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Where the nodes of a graph stand, in the order of their words: which keys of each module are nodes
/// somewhere, and which of them at each place of the module. A regular device takes a few words a place; only
/// where some key is no node the ranks are listed. Read-only once it is made.
class KEP_NODE_PLACES {
public:
  static constexpr std::uint32_t NONE = KEP_NUMBERED_PLACES::NONE;

  struct TABLES {
    KEP_TABLE<std::uint32_t> m_first_nodes; ///< by place, and one more
    // As KEP_NUMBERED_PLACES tells them.
    KEP_TABLE<std::uint32_t> m_near_places;
    KEP_TABLE<KEP_MARK_BLOCK> m_lacking;
    KEP_TABLE<std::uint32_t> m_first_ranks;
    KEP_TABLE<std::uint32_t> m_ranks;
    KEP_TABLE<std::uint32_t> m_first_keys; ///< by module, boundary nodes behind all, and one more
    KEP_TABLE<std::uint32_t> m_keys;       ///< sorted within a module
  };

  /// The nodes of the census, in that order.
  KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding, std::shared_ptr<const KEP_OCCURRENCE_PLACES> order,
                  const KEP_NODE_CENSUS& census);
  /// As such tables tell them.
  KEP_NODE_PLACES(const KEP_UNFOLDING& unfolding, std::shared_ptr<const KEP_OCCURRENCE_PLACES> order,
                  TABLES tables);

  const KEP_OCCURRENCE_PLACES& get_occurrence_places() const { return *m_order; }

  std::uint32_t get_num_nodes() const { return m_tables.m_first_nodes.back(); }
  std::uint32_t get_num_places() const {
    return static_cast<std::uint32_t>(m_tables.m_first_nodes.size() - 1);
  }
  /// The number of the first node of a place, by place, and one more.
  const KEP_TABLE<std::uint32_t>& get_first_nodes() const { return m_tables.m_first_nodes; }
  std::uint32_t get_num_nodes(std::uint32_t place) const {
    return m_tables.m_first_nodes[place + std::size_t{1}] - m_tables.m_first_nodes[place];
  }
  /// The keys of the place's module.
  std::uint32_t get_num_ranks(std::uint32_t place) const {
    const std::uint32_t module = get_module(place);
    return m_tables.m_first_keys[module + 1] - m_tables.m_first_keys[module];
  }
  std::uint32_t get_key(std::uint32_t place, std::uint32_t rank) const { return get_keys(place)[rank]; }
  /// By rank.
  const std::uint32_t* get_keys(std::uint32_t place) const {
    return m_tables.m_keys.data() + m_tables.m_first_keys[get_module(place)];
  }
  /// The rank of a key, or NONE. A node need not stand there.
  std::uint32_t find_rank(std::uint32_t place, std::uint32_t key) const {
    return find_rank_in(get_module(place), key);
  }
  std::uint32_t find_rank(const KEP_MODULE& module, std::uint32_t key) const {
    return find_rank_in(module.get_number(), key);
  }
  /// The number of the node of that rank, or NONE.
  std::uint32_t find_node(std::uint32_t place, std::uint32_t rank) const {
    return get_num_nodes(place) == 0 ? NONE : get_numbers().find_number(place, rank);
  }
  /// The rank of a node of the place.
  std::uint32_t get_rank(std::uint32_t place, std::uint32_t node) const {
    return get_numbers().get_rank(place, node);
  }
  /// The ranks of the nodes of the place, in order; null where the place has a node of each rank, or none.
  const std::uint32_t* find_ranks(std::uint32_t place) const { return get_numbers().find_ranks(place); }
  /// A node of each rank stands at the place.
  bool has_all_ranks(std::uint32_t place) const { return get_num_nodes(place) != 0 && !find_ranks(place); }
  /// The place of a node.
  std::uint32_t find_place(std::uint32_t node) const { return get_numbers().find_place(node); }

  /// All that is asked by the numbers of nodes.
  KEP_NUMBERED_PLACES get_numbers() const {
    return {m_tables.m_first_nodes.data(), m_tables.m_near_places.data(),
            m_tables.m_lacking.empty() ? nullptr : m_tables.m_lacking.data(), m_tables.m_first_ranks.data(),
            m_tables.m_ranks.data()};
  }

  /// Some node is a hipi twin.
  bool has_hipi() const { return m_has_hipi; }
  const TABLES& get_tables() const { return m_tables; }
  std::uint64_t get_memory_bytes() const;

private:
  static constexpr std::uint32_t BUCKET_BITS = 6;

  /// The number of the module; boundary nodes have that of entry 0.
  std::uint32_t get_module(std::uint32_t place) const {
    return m_unfolding->get(m_order->get_occurrence(place)).m_module;
  }
  std::uint32_t find_rank_in(std::uint32_t module, std::uint32_t key) const;
  void add_up_nodes(const KEP_NODE_CENSUS& census);
  void list_keys(const KEP_NODE_CENSUS& census);
  void list_buckets();
  void list_ranks(const KEP_NODE_CENSUS& census);
  void list_near_places();

  const KEP_UNFOLDING* m_unfolding;
  std::shared_ptr<const KEP_OCCURRENCE_PLACES> m_order;
  TABLES m_tables;
  bool m_has_hipi = false;
  std::vector<std::uint32_t> m_first_bucket; // by module, and one more
  std::vector<std::uint32_t> m_buckets;      // of keys with equal upper bits: the first rank; and one more
};
