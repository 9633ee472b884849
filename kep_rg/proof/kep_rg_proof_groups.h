#pragma once

#include "kep_rg/proof/kep_rg_proof_steps.h"

#include <cstdint>
#include <vector>

/// The nets of a whole device, joined to groups that reach each other, in the ordinary mode. A net from which
/// nothing but one other group is reached stands for that group, one from which nothing is reached for none.
class KEP_RG_PROOF_GROUPS {
public:
  explicit KEP_RG_PROOF_GROUPS(const KEP_RG_PROOF_STEPS& steps);

  /// A net of the group from which everything is reached that is reached from this one; empty for nothing.
  KEP_UNFOLDED_NET find_group(const KEP_UNFOLDED_NET& net) const {
    return get_net(m_groups[get_number(net)]);
  }
  /// The next net of the same group, round and round.
  KEP_UNFOLDED_NET get_next(const KEP_UNFOLDED_NET& net) const {
    return m_next.empty() ? net : get_net(m_next[get_number(net)]);
  }

private:
  using WORD = std::uint64_t; // an inner occurrence and the place of a net in its module; or one of these:
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
  void start_next();

  const KEP_UNFOLDING* m_unfolding;
  std::vector<std::uint64_t> m_first_net; // by occurrence
  std::vector<WORD> m_groups;             // by net
  std::vector<WORD> m_next;               // by net; empty while every group is one net
};
