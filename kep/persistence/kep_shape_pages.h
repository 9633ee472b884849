#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/persistence/kep_database_tables.h"
#include "kep/persistence/kep_place_kinds.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The pages of a graph in a file, with the places that have each.
class KEP_SHAPE_PAGES {
public:
  /// Places whose nodes have the same shapes, in order.
  struct PAGE {
    std::uint32_t m_first_rank; ///< among the shapes of nodes
    std::uint32_t m_num_ranks;
    std::uint32_t m_num_places;
    std::uint32_t m_first_place; ///< among the places by page
  };

  /// Tests that every page, and every shape that stands in one, is there; KEP_DB_ERROR where not.
  KEP_SHAPE_PAGES(const KEP_PLACE_KINDS& kinds, const KEP_GRAPH_TABLES& tables);

  /// In the order of their first places.
  const std::vector<PAGE>& get() const { return m_pages; }
  std::uint32_t get_shape(const PAGE& page, std::uint32_t rank) const {
    return m_shapes_of_nodes.get(page.m_first_rank + std::size_t{rank});
  }
  std::span<const std::uint32_t> get_places(const PAGE& page) const {
    return {m_places_by_page.data() + page.m_first_place, page.m_num_places};
  }

private:
  void check_shapes() const;
  void list_pages();
  void check_pages_apart() const;

  const KEP_PLACE_KINDS& m_kinds;
  const KEP_GRAPH_TABLES& m_tables;
  std::size_t m_num_ranks;
  KEP_PACKED_NUMBERS m_shapes_of_nodes;
  std::vector<PAGE> m_pages;
  std::vector<std::uint32_t> m_places_by_page;
};
