#include "kep/persistence/kep_seen_mux_inputs.h"

#include "kep/graph/kep_mux_input_word.h"
#include "kep/graph/kep_node_word.h"
#include "kep/persistence/kep_seen_lists.h"
#include "kep/persistence/kep_table_rules.h"

#include <algorithm>

using KEP_TABLE_RULES::require;

namespace {

constexpr const char* NO_MUX_INPUT = "a mux input of an edge is not there";

} // namespace

KEP_SEEN_MUX_INPUTS::KEP_SEEN_MUX_INPUTS(const KEP_PLACE_KINDS& kinds, const KEP_SEEN_WORD* fanouts,
                                         const KEP_FOLDED_WORDS& mux_inputs, std::size_t size)
    : m_kinds(kinds), m_fanouts(fanouts), m_mux_inputs(mux_inputs) {
  std::vector<REACH> reaches(kinds.get_max_num_ranks());
  for (std::uint32_t i = 0; i != size; ++i) {
    const std::uint32_t rank = kep_get_seen_rank(fanouts[i]);
    if (!is_near(i)) {
      check_far(i);
      continue;
    }
    require(rank < reaches.size(), NO_MUX_INPUT);
    REACH& reach = reaches[rank];
    reach.m_least = reach.m_is_named ? std::min(reach.m_least, get_difference(i)) : get_difference(i);
    reach.m_most = reach.m_is_named ? std::max(reach.m_most, get_difference(i)) : get_difference(i);
    reach.m_is_named = true;
  }
  const std::vector<bool> is_doubtful = find_doubtful_ranks(reaches);
  for (std::uint32_t i = 0; i != size; ++i)
    if (is_near(i) && is_doubtful[kep_get_seen_rank(fanouts[i])]) m_doubtful.push_back(i);
}

bool KEP_SEEN_MUX_INPUTS::is_near(std::uint32_t position) const {
  const std::uint64_t word = m_mux_inputs[position].m_bits;
  return word != KEP_MUX_INPUT_WORD::NONE && KEP_MUX_INPUT_WORD::far_occurrence(word) == 0;
}

void KEP_SEEN_MUX_INPUTS::check_far(std::uint32_t position) const {
  const std::uint64_t word = m_mux_inputs[position].m_bits;
  require(word == KEP_MUX_INPUT_WORD::NONE || m_kinds.has_inst_port(KEP_MUX_INPUT_WORD::far_occurrence(word),
                                                                    KEP_MUX_INPUT_WORD::inst_port(word)),
          NO_MUX_INPUT);
}

/// Some kind of place has a node of the rank to which some edge names an inst port that is not there.
std::vector<bool> KEP_SEEN_MUX_INPUTS::find_doubtful_ranks(const std::vector<REACH>& reaches) const {
  std::vector<bool> is_doubtful(reaches.size());
  m_kinds.for_modules([&](std::uint32_t kind) {
    const std::int64_t num_inst_ports = m_kinds.get_num_inst_ports(kind);
    for (std::uint32_t rank = 0; rank != m_kinds.get_num_ranks(kind); ++rank) {
      const std::int64_t own = KEP_NODE_WORD::inst_port(m_kinds.get_key(kind, rank));
      const REACH& reach = reaches[rank];
      if (reach.m_is_named && (own + reach.m_least < 0 || own + reach.m_most >= num_inst_ports))
        is_doubtful[rank] = true;
    }
  });
  return is_doubtful;
}

KEP_SEEN_MUX_INPUTS::RANGE KEP_SEEN_MUX_INPUTS::get_doubtful(std::uint32_t first, std::uint32_t count) const {
  const auto begin = std::lower_bound(m_doubtful.begin(), m_doubtful.end(), first);
  const auto end = std::lower_bound(begin, m_doubtful.end(), first + count);
  return {static_cast<std::uint32_t>(begin - m_doubtful.begin()),
          static_cast<std::uint32_t>(end - m_doubtful.begin())};
}

void KEP_SEEN_MUX_INPUTS::check(RANGE doubtful, std::uint32_t place) const {
  for (std::uint32_t i = doubtful.m_begin; i != doubtful.m_end; ++i) {
    const KEP_SEEN_WORD word = get_fanout(i);
    check_kind(i, m_kinds.find_kind(kep_get_seen_place(word) + (word.is_absolute() ? 0 : place)));
  }
}

void KEP_SEEN_MUX_INPUTS::check_kind(std::uint32_t doubtful, std::uint32_t kind) const {
  const std::int64_t own =
      KEP_NODE_WORD::inst_port(m_kinds.get_key(kind, kep_get_seen_rank(get_fanout(doubtful))));
  const std::int64_t number = own + get_difference(m_doubtful[doubtful]);
  require(number >= 0 && number < m_kinds.get_num_inst_ports(kind), NO_MUX_INPUT);
}
