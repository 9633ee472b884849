#pragma once

#include "kep/common/kep_zero_pages.h"
#include "kep_rg/proof/kep_rg_proof_steps.h"

#include <cstdint>
#include <functional>
#include <vector>

/// The nets of a device, joined to groups that reach each other, in the ordinary mode. A net from which
/// nothing but one other group is reached stands for that group, one from which nothing is reached for none.
/// A net that was not looked at is a group of its own: what is behind it is found all the same, step by step.
///
/// Takes about 20 bytes for each net that is looked at, and 8 for each inner occurrence. The steps must
/// outlive the object.
class KEP_RG_PROOF_GROUPS {
public:
  /// Looks at none yet.
  explicit KEP_RG_PROOF_GROUPS(const KEP_RG_PROOF_STEPS& steps);

  using LOOK = std::function<void(const KEP_UNFOLDED_NET&)>;
  /// Looks at some nets and all that are reached from them: `visit_nets(look)` calls `look(net)` for each.
  void join(const std::function<void(const LOOK&)>& visit_nets);

  /// A net of the group from which everything is reached that is reached from this one; empty for nothing.
  KEP_UNFOLDED_NET find_group(const KEP_UNFOLDED_NET& net) const {
    const WORD group = m_groups[get_number(net)];
    return group == ITSELF ? net : get_net(group);
  }
  /// The next net of the same group, round and round.
  KEP_UNFOLDED_NET get_next(const KEP_UNFOLDED_NET& net) const {
    const WORD next = m_next.empty() ? ITSELF : m_next[get_number(net)];
    return next == ITSELF ? net : get_net(next);
  }

private:
  using WORD = std::uint64_t; // an inner occurrence and the place of a net in its module; or one of these:
  static constexpr WORD ITSELF = 0; // nothing is connected above the tops
  static constexpr WORD NOTHING = ~WORD{0};

  struct FRAME {
    KEP_UNFOLDED_NET m_net;
    std::uint64_t m_number;
    std::uint32_t m_index;
    std::size_t m_first_step;
    std::size_t m_next_step;
    bool m_has_ends; // or something else that keeps the net from being passed over
  };
  class SEARCH;

  static WORD get_word(const KEP_UNFOLDED_NET& net) {
    return net.m_position << 32 | net.m_object->get_index();
  }
  std::uint64_t get_number(const KEP_UNFOLDED_NET& net) const {
    return m_first_net[net.m_position] + net.m_object->get_index();
  }
  KEP_UNFOLDED_NET get_net(WORD word) const;

  const KEP_RG_PROOF_STEPS& m_steps;
  const KEP_UNFOLDING& m_unfolding;
  std::vector<std::uint64_t> m_first_net; // by occurrence
  KEP_ZERO_PAGES<WORD> m_groups;          // by net
  KEP_ZERO_PAGES<WORD> m_next;            // by net; empty while every group is one net
};
