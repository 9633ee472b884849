#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/persistence/kep_place_kinds.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Whether the mux inputs of the edges of a graph in a file are there. Nearly all are told by the difference
/// of their inst port from that of the target. Nodes of most ranks have inst ports so far from the first and
/// the last one, at places of whatever kind, that no edge to them can name another; edges to the others are
/// *doubtful*, and tested one by one.
class KEP_SEEN_MUX_INPUTS {
public:
  /// Of so many fanouts. Tests mux inputs that are told without their target, and throws KEP_DB_ERROR where
  /// one is not there.
  KEP_SEEN_MUX_INPUTS(const KEP_PLACE_KINDS& kinds, const KEP_SEEN_WORD* fanouts,
                      const KEP_FOLDED_WORDS& mux_inputs, std::size_t size);

  struct RANGE {
    std::uint32_t m_begin = 0;
    std::uint32_t m_end = 0;
    std::uint32_t size() const { return m_end - m_begin; }
  };
  /// The doubtful edges of a list.
  RANGE get_doubtful(std::uint32_t first, std::uint32_t count) const;
  /// Tests these as a place sees them, where their targets are. KEP_DB_ERROR where one is not sound.
  void check(RANGE doubtful, std::uint32_t place) const;
  // One by one.
  KEP_SEEN_WORD get_fanout(std::uint32_t doubtful) const { return m_fanouts[m_doubtful[doubtful]]; }
  /// Where its target is of that kind, and there.
  void check_kind(std::uint32_t doubtful, std::uint32_t kind) const;

private:
  /// Of all edges to nodes of a rank: signed differences.
  struct REACH {
    std::int32_t m_least = 0;
    std::int32_t m_most = 0;
    bool m_is_named = false;
  };

  bool is_near(std::uint32_t position) const;
  std::int32_t get_difference(std::uint32_t position) const {
    return static_cast<std::int32_t>(m_mux_inputs[position].m_bits);
  }
  void check_far(std::uint32_t position) const;
  std::vector<bool> find_doubtful_ranks(const std::vector<REACH>& reaches) const;

  const KEP_PLACE_KINDS& m_kinds;
  const KEP_SEEN_WORD* m_fanouts;
  KEP_FOLDED_WORDS m_mux_inputs;
  std::vector<std::uint32_t> m_doubtful; // positions, in order
};
