#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// What tells whether the answer of a leaf search may serve like places (docs/glossary.md): where the next
/// place of a module is, and on which nets a search asks where it stands. Filled before the edge phase; then
/// any number of threads may read.
class KEP_RG_EXPORT KEP_RG_LIKE_PLACES {
public:
  static constexpr std::uint64_t NO_END = std::numeric_limits<std::uint64_t>::max();

  /// For a device whose answers are never kept.
  KEP_RG_LIKE_PLACES() = default;
  KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives);

  /// Answers are kept at all.
  bool is_used() const { return m_unfolding != nullptr; }
  /// False: no place like that of the driver below `top` comes before the end of the range, which is told by
  /// the number of its last node's occurrence: nodes stand in depth-first order. An empty `top` is the master
  /// of the driver's instance.
  bool may_come_again(const KEP_UNFOLDED_INST_PORT& driver, const KEP_UNFOLDED_MODULE& top,
                      std::uint64_t last_number) const;

  /// An inner occurrence at or below another one.
  struct PLACE {
    std::uint32_t m_occurrence;
    std::uint32_t m_top;
  };
  /// The last like place before a place: the top is another occurrence of its module. Both are
  /// KEP_UNFOLDING::ABOVE_TOP if there is none.
  PLACE find_previous(const PLACE& place) const;

  /// A search up from the driver asks for the attributes of its instance, whatever net it walks: what is
  /// behind its own inst port may be flown to.
  bool asks_at_start(const KEP_INST_PORT& driver) const;
  /// On some net of the device a search depends on its place.
  bool has_flyover_nets() const { return !m_flyover_nets.empty(); }
  /// A search that comes to the net from elsewhere asks for the attributes of an instance there, to take a
  /// flyover or not.
  bool is_flyover_net(const KEP_NET* net) const {
    const std::vector<bool>& nets = m_flyover_nets[net->get_parent()->get_number()];
    return !nets.empty() && nets[net->get_index()];
  }

private:
  void link_occurrences();
  void find_flyover_nets(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives);

  const KEP_UNFOLDING* m_unfolding = nullptr;
  const KEP_RG_PRIMITIVES* m_primitives = nullptr; // null where no instance has attributes
  std::vector<std::uint32_t> m_next;             // by inner occurrence: the next one of the same module, or 0
  std::vector<std::uint32_t> m_previous;         // likewise
  std::vector<std::vector<bool>> m_flyover_nets; // by module number, then by net; empty where there are none
};
