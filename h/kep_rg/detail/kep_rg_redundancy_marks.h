#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_export.h"

#include <cstdint>
#include <unordered_set>
#include <vector>

/// Answers from two bits for each folded inst port whether a uip is in a set. Redundancy marks most inst
/// ports at every place where they stand or at none; only those of the others are searched in the set.
class KEP_RG_EXPORT KEP_RG_REDUNDANCY_MARKS {
public:
  using UIPS = std::unordered_set<KEP_UNFOLDED_INST_PORT>;

  /// Of an empty set.
  KEP_RG_REDUNDANCY_MARKS() = default;
  /// Of a set that outlives the object and does not change any more.
  KEP_RG_REDUNDANCY_MARKS(const KEP_DB& db, const UIPS& uips);

  bool contains(const KEP_UNFOLDED_INST_PORT& uip) const {
    if (m_marks.empty()) return false;
    const KEP_MODULE* parent = uip.m_object->get_inst()->get_parent();
    switch (m_marks[m_first_mark[parent->get_number()] + uip.m_object->get_number()]) {
    case MARK::NOWHERE:
      return false;
    case MARK::EVERYWHERE:
      return true;
    case MARK::SOMEWHERE:
      break;
    }
    return m_uips->count(uip) != 0;
  }

  /// Some uip of the inst port is in the set.
  bool is_somewhere(const KEP_INST_PORT* inst_port) const {
    if (m_marks.empty()) return false;
    const KEP_MODULE* parent = inst_port->get_inst()->get_parent();
    return m_marks[m_first_mark[parent->get_number()] + inst_port->get_number()] != MARK::NOWHERE;
  }

private:
  enum class MARK : unsigned char { NOWHERE, SOMEWHERE, EVERYWHERE };

  const UIPS* m_uips = nullptr;
  std::vector<std::uint64_t> m_first_mark; // by module number
  std::vector<MARK> m_marks;               // by inst port, module after module; empty for an empty set
};
