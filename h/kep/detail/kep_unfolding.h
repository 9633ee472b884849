#pragma once

#include "kep/detail/kep_table.h"
#include "kep/kep_design.h"

#include <cstdint>
#include <vector>

/// The positions of the unfolded hierarchy, as numbers.
///
/// All inner occurrences (docs/glossary.md: occurrence, slot) stand in one array, the inner children of one
/// side by side, so that every step of an unfolded value is arithmetic and a few loads. Any other occurrence
/// has no entry: it is named by the inner occurrence above it and its slot there.
///
/// Entry 0 stands above the tops: its slots are the top module and its equivalents in other views.
///
/// Numbers: in depth-first order every occurrence, inner or not, has a 64-bit number. The number of an
/// occurrence less the number of an ancestor depends on the ancestor's module alone.

/// A place that can stand below any occurrence of a module: one of its instances, in one view of the master.
struct KEP_SLOT {
  static constexpr unsigned NOT_INNER = ~0U;

  KEP_MODULE* m_module = nullptr; ///< the master in that view
  std::uint64_t m_number = 0; ///< what to add to the number of an occurrence for the occurrence in this slot
  unsigned m_inner_rank = NOT_INNER; ///< the place among the module's inner slots
  unsigned m_instance = 0;           ///< index of the instance
};

struct KEP_OCCURRENCE {
  std::uint64_t m_number = 0;
  std::uint32_t m_parent = 0; ///< entry of the inner occurrence above
  std::uint32_t m_slot = 0;   ///< the slot in the parent's module
  std::uint32_t m_first_child = 0;
  std::uint32_t m_module = 0; ///< its number; that of one more for entry 0
};
static_assert(sizeof(KEP_OCCURRENCE) == 24, "files hold entries as they are");

class KEP_EXPORT KEP_UNFOLDING {
public:
  /// The entry that stands above the tops.
  static constexpr std::uint32_t ABOVE_TOP = 0;

  KEP_UNFOLDING() = default;
  KEP_UNFOLDING(const KEP_UNFOLDING&) = delete;
  KEP_UNFOLDING& operator=(const KEP_UNFOLDING&) = delete;

  const KEP_OCCURRENCE& get(std::uint32_t occurrence) const { return m_occurrences[occurrence]; }
  std::uint32_t size() const { return static_cast<std::uint32_t>(m_occurrences.size()); }
  KEP_DB* get_db() const { return m_db; }
  /// Null for entry 0.
  KEP_MODULE* get_module(const KEP_OCCURRENCE& occurrence) const {
    return m_modules_and_null[occurrence.m_module];
  }
  KEP_MODULE* get_module(std::uint32_t occurrence) const { return get_module(m_occurrences[occurrence]); }
  const KEP_SLOT& get_slot(std::uint32_t occurrence, std::uint32_t slot) const {
    const KEP_MODULE* module = get_module(occurrence);
    return module ? module->get_slots()[slot] : m_top_slots[slot];
  }
  /// The inner occurrence in a slot; the slot must be inner.
  std::uint32_t get_child(std::uint32_t occurrence, const KEP_SLOT& slot) const {
    return m_occurrences[occurrence].m_first_child + slot.m_inner_rank;
  }
  /// The number of the occurrence in a slot, inner or not.
  std::uint64_t get_number(std::uint32_t occurrence, const KEP_SLOT& slot) const {
    return m_occurrences[occurrence].m_number + slot.m_number;
  }
  const std::vector<KEP_SLOT>& get_top_slots() const { return m_top_slots; }

  static constexpr unsigned NO_SLOT = ~0U;
  /// The slot, in the instance's parent, in which `module` stands as its master; NO_SLOT if it is none of its
  /// views.
  static unsigned find_slot(const KEP_INSTANCE* instance, const KEP_MODULE* module);
  /// The slot of the module at or below which the occurrence with that number, counted from the module,
  /// stands.
  static unsigned find_slot_of_number(const KEP_MODULE* module, std::uint64_t number);

  /// Appends the names of the instances from the top down to the inner occurrence, each followed by the
  /// separator.
  void append_path(std::uint32_t occurrence, char separator, std::string& name) const;

  /// Modules and ports of the design by their numbers.
  const std::vector<KEP_MODULE*>& get_modules() const { return m_modules; }
  const std::vector<KEP_PORT*>& get_ports() const { return m_ports; }

private:
  friend class KEP_DATABASE_LISTER;
  friend class KEP_MODEL_FREEZER;
  KEP_DB* m_db = nullptr;
  KEP_TABLE<KEP_OCCURRENCE> m_occurrences;
  std::vector<KEP_SLOT> m_top_slots;
  std::vector<KEP_MODULE*> m_modules;
  std::vector<KEP_MODULE*> m_modules_and_null;
  std::vector<KEP_PORT*> m_ports;
};

/// Where a module or a port stands: the inner occurrence above and the slot in it, in one word.
struct KEP_SLOT_POSITION {
  static constexpr std::uint64_t pack(std::uint32_t occurrence, std::uint32_t slot) {
    return static_cast<std::uint64_t>(occurrence) << 32 | slot;
  }
  static constexpr std::uint32_t occurrence(std::uint64_t position) {
    return static_cast<std::uint32_t>(position >> 32);
  }
  static constexpr std::uint32_t slot(std::uint64_t position) { return static_cast<std::uint32_t>(position); }
};
