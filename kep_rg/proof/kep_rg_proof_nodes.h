#pragma once

#include "kep/kep_db.h"
#include "kep_rg/kep_rg_part.h"
#include "kep_rg/proof/kep_rg_proof_facts.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

/// Which nodes should stand, by the folded model and the description alone.
///
/// What stands at an inst port is nearly always the same at every place of its module: it is read once for
/// each folded inst port. The places say which modules are come to at all, and what a spare row, a wire type
/// or an IP root that is used again changes.
///
/// Memory is a byte for each inner occurrence and one or two for each folded inst port that is come to. Made
/// by one thread, then read by any number.
class KEP_RG_PROOF_NODES {
public:
  explicit KEP_RG_PROOF_NODES(const KEP_RG_PROOF_FACTS& facts);

  /// A plain node stands at the uip.
  bool is_node(const KEP_UNFOLDED_INST_PORT& uip) const {
    const WALK walk = m_walks[uip.m_position];
    const MARK mark = get_mark(uip, walk);
    return (mark == MARK::ALWAYS && !walk.m_asks) || (mark >= MARK::ALWAYS && stays(uip, mark, walk));
  }
  /// And a hipi node beside it.
  bool has_twin(const KEP_UNFOLDED_INST_PORT& uip) const {
    return m_facts.is_hipi_tm(uip.m_object->get_port()) && is_node(uip);
  }
  bool is_boundary_node(const KEP_PORT* port) const { return port->get_parent() == m_boundary; }

  /// The same nodes stand at inner occurrences with the same number; none at one that may differ from all.
  std::optional<std::uint32_t> find_likeness(std::uint32_t occurrence) const {
    const WALK walk = m_walks[occurrence];
    const std::uint32_t module = m_unfolding.get(occurrence).m_module;
    if (walk.m_way == WAY::NONE || walk.m_asks || get_marks(walk.m_way)[module].m_has_typed)
      return std::nullopt;
    return 2 * module + (walk.m_way == WAY::IN_BLC ? 1 : 0);
  }
  /// The first and the end of the inner occurrences that fall to a part: such that it has its share of folded
  /// inst ports at which nodes may stand. Looks at every inner occurrence.
  std::pair<std::uint32_t, std::uint32_t> find_occurrences(const KEP_RG_PART& part) const;
  /// Calls `visit(port)` for each boundary node.
  template <class VISIT>
  void visit_boundary(VISIT visit) const {
    if (m_boundary)
      for (const KEP_PORT* port : m_boundary->iter_ports())
        visit(port);
  }
  /// Calls `visit(uip)` for each plain node at an inner occurrence, in the order of its inst ports.
  template <class VISIT>
  void visit_nodes(std::uint32_t occurrence, VISIT visit) const {
    const WALK walk = m_walks[occurrence];
    if (walk.m_way == WAY::NONE) return;
    const KEP_MODULE* module = m_unfolding.get_module(occurrence);
    for (unsigned i = 0; i != module->get_num_inst_ports(); ++i)
      if (const KEP_UNFOLDED_INST_PORT uip(occurrence, module->get_inst_port_by_number(i)); is_node(uip))
        visit(uip);
  }

private:
  using KIND = KEP_RG_PROOF_FACTS::KIND;
  /// How a walk from the top that makes nodes comes to an occurrence.
  enum class WAY : unsigned char { NONE, ORDINARY, IN_BLC };
  struct WALK {
    WAY m_way : 2 = WAY::NONE;
    bool m_asks : 1 = false;          // what stands here hangs on the place as well: by the next two
    bool m_lacks_modules : 1 = false; // in a further use of an IP root, some of whose modules are empty
    bool m_in_spare_row : 1 = false;
    bool m_has_nodes : 1 = false; // here or below; only used while empty modules are searched
  };
  static_assert(sizeof(WALK) == 1, "one an inner occurrence");

  /// What stands at a folded inst port.
  enum class MARK : unsigned char {
    NEVER,
    EXCLUDED,       ///< nothing, but the module counts as one with nodes
    EXCLUDED_TYPED, ///< the same where it has a wire type
    ALWAYS,         ///< a node, but for spare rows and empty modules
    TYPED,          ///< the same where it has a wire type
  };
  struct MARKS {
    std::vector<MARK> m_marks; // by the inst port's number
    bool m_has_typed = false;
    bool m_has_untyped = false;
  };

  MARK get_mark(const KEP_UNFOLDED_INST_PORT& uip, WALK walk) const {
    if (walk.m_way == WAY::NONE) return MARK::NEVER;
    const unsigned module = uip.m_object->get_inst()->get_parent()->get_number();
    return get_marks(walk.m_way)[module].m_marks[uip.m_object->get_number()];
  }
  const std::vector<MARKS>& get_marks(WAY way) const { return way == WAY::IN_BLC ? m_in_blc : m_ordinary; }

  void read_ways();
  WAY find_way(const KEP_OCCURRENCE& at) const;
  bool find_spare_row(const KEP_OCCURRENCE& at) const;
  void read_marks(const KEP_MODULE* module, WAY way);
  MARK read_mark(const KEP_INST_PORT* inst_port, const KEP_MODULE* master, WAY way) const;
  MARK read_candidate(const KEP_INST_PORT* inst_port, const KEP_MODULE* master) const;
  bool is_excluded(const KEP_INST_PORT* inst_port, const KEP_MODULE* master) const;
  bool is_on_skip_arc(const KEP_INST_PORT* inst_port, const KEP_PORT* port) const;
  bool stays(const KEP_UNFOLDED_INST_PORT& uip, MARK mark, WALK walk) const;
  bool is_in_spare_row(const KEP_UNFOLDED_INST_PORT& uip, WALK walk) const;

  void pass_over_empty_modules();
  std::map<const KEP_MODULE*, std::uint32_t> find_first_uses() const;
  void tell_what_has_nodes();
  bool has_own_nodes(std::uint32_t occurrence) const;
  void find_empty_modules(const KEP_MODULE* root, std::uint32_t first_use);
  void pass_over(const std::map<const KEP_MODULE*, std::uint32_t>& first_uses);
  bool is_empty_below(std::uint32_t occurrence, const KEP_MODULE* module) const;

  const KEP_RG_PROOF_FACTS& m_facts;
  const KEP_UNFOLDING& m_unfolding;
  const KEP_LEGACY_API* m_attributes = nullptr; // null where no instance has any
  std::uint32_t m_top_slot = 0;                 // of the top that nodes are made from
  const KEP_MODULE* m_boundary = nullptr;       // whose ports are boundary nodes
  std::vector<WALK> m_walks;                    // by inner occurrence
  std::vector<MARKS> m_ordinary;                // by module number, of those that are come to
  std::vector<MARKS> m_in_blc;
  // With an IP root: a module below that has no nodes at the root's first use, and is passed over at others.
  std::set<std::pair<const KEP_MODULE*, const KEP_MODULE*>> m_empty_modules;
};
