#pragma once

#include "kep/comparison/kep_diff_groups.h"
#include "kep/comparison/kep_path_classes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <unordered_map>
#include <vector>

/// How the places of a class differ, told by members and ranks: good for all classes that differ alike.
struct KEP_DIFF_PATTERN {
  struct NODE {
    std::uint32_t m_member;
    std::uint32_t m_rank;
    friend auto operator<=>(const NODE&, const NODE&) = default;
  };
  struct EDGE {
    std::uint32_t m_member; ///< of the node that it comes from
    std::uint32_t m_rank;
    std::uint32_t m_index; ///< among all fanouts
    friend auto operator<=>(const EDGE&, const EDGE&) = default;
  };

  std::array<std::vector<NODE>, 2> m_nodes; ///< by side; sorted, as are edges
  std::array<std::vector<EDGE>, 2> m_edges;
  KEP_DIFF_GROUPS m_groups;        ///< of one class; while classes are compared
  std::uint64_t m_num_classes = 0; ///< that differ so
};

/// That a place differs, and how.
struct KEP_PLACE_DIFFERENCE {
  static constexpr std::uint32_t ALL = ~std::uint32_t{0}; ///< all of it is gone, or new

  std::uint32_t m_place;
  std::uint32_t m_pattern;
  std::uint32_t m_member;
};

/// Compares classes. What it found lies in its members; each thread has one of its own.
class KEP_CLASS_COMPARER {
public:
  KEP_CLASS_COMPARER(const KEP_PATH_CLASSES& classes, const KEP_COMPARED_GRAPH* const graphs[2])
      : m_classes(classes), m_graphs{graphs[0], graphs[1]} {}

  void compare(std::uint32_t path_class);

  std::vector<KEP_PLACE_DIFFERENCE> m_places[2];
  std::vector<KEP_DIFF_PATTERN> m_patterns;
  KEP_DIFF_GROUPS m_groups; // of places of which all differs

private:
  struct MEMBER {
    std::uint32_t m_member;
    std::uint32_t m_place;
    std::uint32_t m_module;
    const KEP_COMPARED_GRAPH::PAGE* m_page;
  };
  struct SOURCE {
    std::uint64_t m_name;
    std::uint32_t m_member; // index in m_members
    std::uint32_t m_rank;
    std::uint32_t m_shape;
  };
  struct NAMED_EDGE {
    std::uint32_t m_class;
    std::uint32_t m_mux_class;
    std::uint64_t m_name;
    std::uint64_t m_mux_name; // 0 without a mux input
    bool m_is_redundant;
    std::uint32_t m_source; // index in m_sources
    std::uint32_t m_index;

    auto get_text() const { return std::tie(m_class, m_name, m_mux_class, m_mux_name, m_is_redundant); }
  };
  struct HASH {
    std::size_t operator()(const std::vector<std::uint32_t>& words) const;
  };
  static constexpr std::uint32_t ALIKE = ~std::uint32_t{0};

  void list_members(unsigned side, std::uint32_t path_class);
  void add_whole_places(unsigned side, std::uint32_t path_class);
  void make_key(std::uint32_t path_class);
  void add_directions(unsigned side);
  void add_class_words(unsigned side, std::uint32_t path_class);
  std::uint32_t find_class(unsigned side, const KEP_EDGE_DIRECTION& direction, std::uint32_t place) const;
  std::uint32_t find_class_of_place(unsigned side, std::uint32_t place) const {
    return m_classes.find_class(side, m_graphs[side]->get_occurrence(place));
  }
  bool has_node(unsigned side, std::uint32_t path_class, std::uint64_t name) const;

  std::uint32_t compare_members(std::uint32_t path_class);
  bool find_whether_edges_are_like(std::uint32_t path_class) const;
  void list_sources(unsigned side);
  bool is_like_list(const KEP_NODE_SHAPE& first, const KEP_NODE_SHAPE& second) const;
  void compare_sources(std::size_t first[2], std::size_t end[2]);
  void list_edges(unsigned side, std::size_t first, std::size_t end);
  void add_node(unsigned side, const SOURCE& source);
  void add_edge(unsigned side, const NAMED_EDGE& edge);
  KEP_DIFF_GROUP_KEY get_group(unsigned side, const NAMED_EDGE& edge) const;

  const KEP_PATH_CLASSES& m_classes;
  const KEP_COMPARED_GRAPH* m_graphs[2];
  std::unordered_map<std::vector<std::uint32_t>, std::uint32_t, HASH> m_found; // patterns by keys
  std::size_t m_num_key_words = 0;
  // Of the class at hand.
  std::uint32_t m_class = 0;
  std::vector<MEMBER> m_members[2];
  std::vector<std::uint32_t> m_key;
  std::vector<std::uint64_t> m_directed; // classes and where they stand in the key
  std::vector<SOURCE> m_sources[2];
  std::vector<NAMED_EDGE> m_edges[2];
  bool m_are_edges_like = false; // equal words are equal edges
  KEP_DIFF_PATTERN m_pattern;
};
