#include "kep_rg/proof/kep_rg_proof_groups.h"

#include <algorithm>

/// One depth-first search over nets, with a stack of its own. A net on whose way no earlier net of the
/// stack was met closes a group of all nets that stand above it.
class KEP_RG_PROOF_GROUPS::SEARCH {
public:
  explicit SEARCH(KEP_RG_PROOF_GROUPS& groups)
      : m_groups(groups), m_steps(groups.m_steps), m_lowest(groups.m_groups.size()) {}

  void search(const KEP_UNFOLDED_NET& from) {
    if (m_lowest[m_groups.get_number(from)] != UNSEEN) return;
    open(from);
    while (!m_frames.empty()) {
      FRAME& frame = m_frames.back();
      if (frame.m_next_step == m_reached.m_steps.size()) {
        close();
        continue;
      }
      const KEP_UNFOLDED_NET net = m_reached.m_steps[frame.m_next_step++].m_net;
      const std::uint32_t lowest = m_lowest[m_groups.get_number(net)];
      if (lowest == UNSEEN)
        open(net);
      else
        lower(frame, lowest);
    }
  }

private:
  static constexpr std::uint32_t UNSEEN = 0;
  static constexpr std::uint32_t GROUPED = ~0U;

  void lower(const FRAME& frame, std::uint32_t lowest) {
    std::uint32_t& own = m_lowest[frame.m_number];
    own = std::min(own, lowest);
  }

  void open(const KEP_UNFOLDED_NET& net) {
    const std::uint64_t number = m_groups.get_number(net);
    const std::size_t first = m_reached.m_steps.size();
    m_steps.expand(net, m_reached);
    const bool has_ends =
        !m_reached.m_ends.empty() || !m_reached.m_top_ports.empty() || m_reached.m_order_matters;
    m_reached.m_ends.clear();
    m_reached.m_top_ports.clear();
    m_reached.m_order_matters = false;
    m_lowest[number] = ++m_last_index;
    m_frames.push_back({net, number, m_last_index, first, first, has_ends});
    m_open_nets.push_back(net);
  }

  void close() {
    const FRAME frame = m_frames.back();
    m_frames.pop_back();
    const std::uint32_t lowest = m_lowest[frame.m_number];
    if (lowest == frame.m_index) group(frame);
    m_reached.m_steps.resize(frame.m_first_step);
    if (!m_frames.empty()) lower(m_frames.back(), m_lowest[frame.m_number]);
  }

  void group(const FRAME& frame) {
    const WORD word = get_word(frame.m_net);
    if (m_open_nets.back() == frame.m_net) {
      m_open_nets.pop_back();
      m_lowest[frame.m_number] = GROUPED;
      m_groups.m_groups[frame.m_number] = frame.m_has_ends ? word : pass_over(frame, word);
      return;
    }
    if (m_groups.m_next.empty()) m_groups.m_next = KEP_ZERO_PAGES<WORD>(m_groups.m_groups.size());
    WORD next = word;
    for (bool is_last = false; !is_last; m_open_nets.pop_back()) {
      const KEP_UNFOLDED_NET net = m_open_nets.back();
      const std::uint64_t number = m_groups.get_number(net);
      m_lowest[number] = GROUPED;
      m_groups.m_groups[number] = word;
      m_groups.m_next[number] = next;
      next = get_word(net);
      is_last = net == frame.m_net;
    }
  }

  /// The one group behind a net without ends; the net itself when there are several.
  WORD pass_over(const FRAME& frame, WORD word) const {
    WORD behind = NOTHING;
    for (std::size_t i = frame.m_first_step; i != m_reached.m_steps.size(); ++i) {
      const KEP_UNFOLDED_NET& net = m_reached.m_steps[i].m_net;
      if (net == frame.m_net) continue;
      const WORD group = m_groups.m_groups[m_groups.get_number(net)];
      if (group == NOTHING || group == behind) continue;
      if (behind != NOTHING) return word;
      behind = group;
    }
    return behind;
  }

  KEP_RG_PROOF_GROUPS& m_groups;
  const KEP_RG_PROOF_STEPS& m_steps;
  KEP_ZERO_PAGES<std::uint32_t> m_lowest; // by net: the lowest index met behind it, or one of the constants
  std::uint32_t m_last_index = 0;
  std::vector<FRAME> m_frames;
  std::vector<KEP_UNFOLDED_NET> m_open_nets; // in no group yet
  KEP_RG_PROOF_STEPS::REACHED m_reached;     // the steps of all frames
};

KEP_RG_PROOF_GROUPS::KEP_RG_PROOF_GROUPS(const KEP_RG_PROOF_STEPS& steps)
    : m_steps(steps), m_unfolding(steps.get_facts().get_db()->get_unfolding()) {
  m_first_net.reserve(m_unfolding.size());
  std::uint64_t num_nets = 0;
  for (std::uint32_t occurrence = 0; occurrence != m_unfolding.size(); ++occurrence) {
    m_first_net.push_back(num_nets);
    const KEP_MODULE* module = m_unfolding.get_module(occurrence);
    if (module) num_nets += module->get_num_nets();
  }
  m_groups = KEP_ZERO_PAGES<WORD>(num_nets);
}

void KEP_RG_PROOF_GROUPS::join(const std::function<void(const LOOK&)>& visit_nets) {
  SEARCH search(*this);
  visit_nets([&search](const KEP_UNFOLDED_NET& net) { search.search(net); });
}

KEP_UNFOLDED_NET KEP_RG_PROOF_GROUPS::get_net(WORD word) const {
  if (word == NOTHING) return {};
  const auto occurrence = static_cast<std::uint32_t>(word >> 32);
  const KEP_MODULE* module = m_unfolding.get_module(occurrence);
  return {occurrence, module->get_net_by_index(static_cast<std::uint32_t>(word))};
}
