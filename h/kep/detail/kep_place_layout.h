#pragma once

#include "kep/detail/kep_unfolding.h"

#include <cstdint>
#include <vector>

/// Numbers of places, made for folding: where what stands below one occurrence of a module lies from there.
/// Places are told by differences in a finished graph, so a device folds as well as like steps between like
/// blocks are like differences. Siblings whose names hold numbers, such as `x3y4`, are put on a grid of their
/// own if that makes connections more alike; all others follow each other as the model lists them. What holds
/// no nodes takes no number. Blocks on a grid have the same numbers in whatever order they are listed.
/// Read-only once it is made.
class KEP_EXPORT KEP_PLACE_LAYOUT {
public:
  /// `holds_nodes`: by module number, whether some occurrence of it holds a node.
  KEP_PLACE_LAYOUT(const KEP_UNFOLDING& unfolding, std::vector<bool> holds_nodes);

  bool holds_nodes(const KEP_MODULE& module) const { return m_holds_nodes[module.get_number()]; }
  /// So many numbers belong to an occurrence of the module and to what is below it, those of no place
  /// included. 0: no node stands there.
  std::uint64_t get_extent(const KEP_MODULE& module) const { return m_modules[module.get_number()].m_extent; }
  /// All numbers are below this. Number 0 is the place of the boundary nodes.
  std::uint32_t get_num_places() const { return static_cast<std::uint32_t>(m_num_places); }
  /// The first number of an inner occurrence of some extent: its own if it holds nodes.
  std::uint32_t get_first_place(std::uint32_t occurrence) const { return m_first_places[occurrence]; }
  /// The first number of the occurrence in a slot of some extent, less that of the occurrence above.
  std::uint32_t get_offset(const KEP_MODULE& module, std::uint32_t slot) const {
    return m_offsets[m_modules[module.get_number()].m_first_slot + slot];
  }

private:
  static constexpr std::uint64_t UNKNOWN = ~std::uint64_t{0};
  struct OF_MODULE {
    std::uint64_t m_extent = UNKNOWN;
    std::uint32_t m_first_slot = 0; // its offsets begin there
  };

  void lay_out(bool with_gaps);
  void find_first_places();
  std::uint64_t lay_out_module(const KEP_MODULE& module, bool with_gaps);

  const KEP_UNFOLDING* m_unfolding;
  std::vector<bool> m_holds_nodes;
  std::vector<std::uint32_t> m_num_occurrences; // by module number; while it is made
  std::vector<OF_MODULE> m_modules;             // by module number
  std::vector<std::uint32_t> m_offsets;         // of the slots of modules with places below
  std::vector<std::uint32_t> m_top_offsets;
  std::uint64_t m_num_places = 0;
  std::vector<std::uint32_t> m_first_places; // by inner occurrence
};
