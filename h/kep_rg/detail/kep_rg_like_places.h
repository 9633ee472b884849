#pragma once

#include "kep/detail/kep_place_layout.h"
#include "kep/kep_db.h"
#include "kep_rg/kep_rg_primitives.h"

#include <cstdint>
#include <vector>

/// What tells whether the answer of a leaf search may serve like places (docs/glossary.md): where the last
/// place of a module before another is, and on which nets a search asks where it stands. Filled before the
/// edge phase; then any number of threads may read.
class KEP_RG_EXPORT KEP_RG_LIKE_PLACES {
public:
  /// For a device whose answers are never kept.
  KEP_RG_LIKE_PLACES() = default;
  /// The layout outlives the object, like the database and the primitives.
  KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives, const KEP_PLACE_LAYOUT& layout);

  /// Answers are kept at all.
  bool is_used() const { return m_unfolding != nullptr; }

  /// An inner occurrence at or below another one.
  struct PLACE {
    std::uint32_t m_occurrence;
    std::uint32_t m_top;
  };
  /// The last like place before a place: the top is another occurrence of its module. Both are
  /// KEP_UNFOLDING::ABOVE_TOP if there is none.
  PLACE find_previous(const PLACE& place) const;
  /// The numbers by which nodes are in order.
  const KEP_PLACE_LAYOUT& get_layout() const { return *m_layout; }

  /// On some net of the device a search may ask for the attributes of an instance, to take a flyover or not.
  bool has_attributes() const { return m_primitives != nullptr; }
  /// A search up from the driver asks for those of its instance, whatever net it walks: what is behind its
  /// own inst port may be flown to. Where there are attributes, like the next one.
  bool asks_at_start(const KEP_INST_PORT& driver) const;
  /// A search that comes to the net from elsewhere asks there.
  bool is_flyover_net(const KEP_NET& net) const;

private:
  class LINKER;

  const KEP_UNFOLDING* m_unfolding = nullptr;
  const KEP_PLACE_LAYOUT* m_layout = nullptr;
  const KEP_RG_PRIMITIVES* m_primitives = nullptr; // null where no instance has attributes
  // By inner occurrence: the last one of the same module before it, in the order of the nodes, or ABOVE_TOP.
  std::vector<std::uint32_t> m_previous;
};
