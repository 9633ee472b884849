#include "kep/graph_building/kep_fanin_finder.h"

#include "kep/common/kep_tsan.h"
#include "kep/graph/kep_node_word.h"
#include "kep_report/kep_report_progress.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <optional>

namespace {

constexpr std::uint32_t MAX_FANINS = std::numeric_limits<unsigned short>::max();
// A node that drives so many is seen from everywhere: named by its place, its targets still look alike.
constexpr std::uint32_t MANY_FANOUTS = 256;
// Sources that one thread gathers at a time: of a small graph some bytes a node, and never more than stay in
// the caches.
constexpr std::uint64_t MIN_SOURCES = 1 << 17;
constexpr std::uint64_t MAX_SOURCES = 1 << 21;

} // namespace

void KEP_FANIN_FINDER::find_reaches() {
  m_list_reaches.reserve(m_fanouts.m_templates.size());
  for (const KEP_EDGE_TEMPLATE& list : m_fanouts.m_templates) {
    LIST_REACH& reach = m_list_reaches.emplace_back();
    for (std::uint32_t edge = 0; edge != list.m_num_edges; ++edge) {
      const KEP_SEEN_WORD& target = m_words[list.m_first_entry + edge];
      if (target.is_absolute()) {
        const std::uint32_t place = KEP_NODE_WORD::place(target.get_word(0));
        reach.m_absolute.add({place, place});
      } else {
        const auto difference = static_cast<std::int32_t>(KEP_NODE_WORD::place(target.m_bits));
        reach.m_nearest = std::min(reach.m_nearest, difference);
        reach.m_farthest = std::max(reach.m_farthest, difference);
      }
    }
  }
  const std::vector<std::uint32_t>& first_nodes = m_places.get_first_nodes();
  m_reaches.resize(m_places.get_num_places());
  m_block_reaches.resize((m_reaches.size() + BLOCK - 1) / BLOCK);
  for (std::uint32_t own = 0; own != m_places.get_num_places(); ++own) {
    PLACE_REACH& reach = m_reaches[own];
    for (std::uint32_t node = first_nodes[own]; node != first_nodes[own + 1]; ++node) {
      const LIST_REACH& of_list = m_list_reaches[m_fanouts.m_of_nodes[node]];
      reach.m_absolute.add(of_list.m_absolute);
      if (of_list.m_nearest <= of_list.m_farthest)
        reach.m_relative.add({own + static_cast<std::uint32_t>(of_list.m_nearest),
                              own + static_cast<std::uint32_t>(of_list.m_farthest)});
    }
    m_block_reaches[own / BLOCK].m_relative.add(reach.m_relative);
    m_block_reaches[own / BLOCK].m_absolute.add(reach.m_absolute);
  }
}

/// Each edge whose target stands in that range of places, in the order of the sources: `begin(source,
/// fanouts)` gives what to visit the edges of a source with, or what is false for none of them; that is
/// called with the target.
template <class BEGIN>
void KEP_FANIN_FINDER::visit_edges(std::uint32_t first_place, std::uint32_t last_place,
                                   const BEGIN& begin) const {
  const std::vector<std::uint32_t>& first_nodes = m_places.get_first_nodes();
  const std::uint32_t range = last_place - first_place;
  for (std::uint32_t own = 0; own < m_places.get_num_places(); ++own) {
    if (own % BLOCK == 0 && !m_block_reaches[own / BLOCK].meets(first_place, last_place)) {
      own += BLOCK - 1;
      continue;
    }
    if (!m_reaches[own].meets(first_place, last_place)) continue;
    for (std::uint32_t node = first_nodes[own]; node != first_nodes[own + 1]; ++node) {
      const std::uint32_t list = m_fanouts.m_of_nodes[node];
      if (!m_list_reaches[list].meets(own, first_place, last_place)) continue;
      const KEP_EDGE_TEMPLATE& fanouts = m_fanouts.m_templates[list];
      const auto visit = begin(KEP_NODE_WORD::make(own, m_places.get_rank(own, node)), fanouts);
      if (!visit) continue;
      const KEP_SEEN_WORD* seen = m_words.data() + fanouts.m_first_entry;
      for (const KEP_SEEN_WORD* end = seen + fanouts.m_num_edges; seen != end; ++seen) {
        const std::uint64_t word = seen->get_word(own);
        const std::uint32_t place = KEP_NODE_WORD::place(word);
        if (place - first_place <= range) (*visit)(m_places.find_node(place, KEP_NODE_WORD::rank(word)));
      }
    }
  }
}

void KEP_FANIN_FINDER::count(std::vector<std::uint32_t>& num_fanins) {
  const std::uint32_t num_places = m_places.get_num_places();
  num_fanins.assign(m_places.get_num_nodes(), 0);
  const std::uint32_t num_parts =
      std::min<std::uint32_t>(static_cast<std::uint32_t>(tbb::this_task_arena::max_concurrency()), 64);
  // Each part counts the edges to its own places.
  const auto first_of = [&](std::uint32_t part) {
    return static_cast<std::uint32_t>(std::uint64_t{num_places} * part / num_parts);
  };
  KEP_TSAN::before_loop();
  tbb::parallel_for(std::uint32_t{0}, num_parts, [&](std::uint32_t part) {
    if (first_of(part) == first_of(part + 1)) return;
    KEP_TSAN::begin_body();
    const auto visit = [&](std::uint32_t target) { ++num_fanins[target]; };
    visit_edges(first_of(part), first_of(part + 1) - 1,
                [&](std::uint64_t, const KEP_EDGE_TEMPLATE&) { return &visit; });
    KEP_TSAN::end_body();
  });
  KEP_TSAN::after_loop();
  const auto overfull = std::find_if(num_fanins.begin(), num_fanins.end(),
                                     [](std::uint32_t count) { return count > MAX_FANINS; });
  if (overfull == num_fanins.end()) return;
  m_overfull_node = static_cast<std::uint32_t>(overfull - num_fanins.begin());
  m_overfull_count = *overfull;
}

std::vector<KEP_FANIN_FINDER::PART> KEP_FANIN_FINDER::cut(const std::vector<std::uint32_t>& num_fanins,
                                                          std::uint64_t at_a_time) const {
  const auto num_threads = static_cast<std::uint64_t>(tbb::this_task_arena::max_concurrency());
  if (at_a_time == 0)
    at_a_time = std::clamp<std::uint64_t>(num_fanins.size() / num_threads, MIN_SOURCES, MAX_SOURCES);
  std::vector<PART> parts;
  PART part{0, 0, 0};
  for (; part.m_end != num_fanins.size(); ++part.m_end) {
    if (part.m_num_edges != 0 && part.m_num_edges + num_fanins[part.m_end] > at_a_time) {
      parts.push_back(part);
      part = {part.m_end, part.m_end, 0};
    }
    part.m_num_edges += num_fanins[part.m_end];
  }
  if (part.m_begin != part.m_end) parts.push_back(part);
  return parts;
}

void KEP_FANIN_FINDER::collect(const PART& part, bool hipi, std::vector<std::uint32_t>& next,
                               std::vector<KEP_FANIN_ENTRY>& sources) const {
  const std::uint32_t num_nodes = part.m_end - part.m_begin;
  const auto begin = [&](std::uint64_t source, const KEP_EDGE_TEMPLATE& fanouts) {
    const std::uint32_t own = KEP_NODE_WORD::place(source);
    const bool is_absolute = m_places.get_order().get_occurrence(own) <= m_num_top_occurrences ||
                             fanouts.m_num_edges >= MANY_FANOUTS;
    const auto add = [&sources, &next, &part, num_nodes,
                      seen = source | (is_absolute ? KEP_SEEN_WORD::ABSOLUTE : 0)](std::uint32_t target) {
      if (target - part.m_begin < num_nodes) sources[next[target - part.m_begin]++].m_node = {seen};
    };
    const bool is_wanted =
        !m_has_hipi || (own != KEP_NODE_WORD::BOUNDARY &&
                        KEP_NODE_WORD::is_hipi(m_places.get_key(own, KEP_NODE_WORD::rank(source)))) == hipi;
    return is_wanted ? std::optional(add) : std::nullopt;
  };
  visit_edges(m_places.find_place(part.m_begin), m_places.find_place(part.m_end - 1), begin);
}

void KEP_FANIN_FINDER::gather(const PART& part, KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table,
                              std::vector<std::uint32_t>& of_nodes) const {
  std::vector<std::uint32_t> next(part.m_end - part.m_begin); // where the next source of a node goes
  std::exclusive_scan(of_nodes.begin() + part.m_begin, of_nodes.begin() + part.m_end, next.begin(), 0U);
  std::vector<KEP_FANIN_ENTRY> sources(part.m_num_edges);
  if (m_has_hipi) collect(part, true, next, sources);
  collect(part, false, next, sources);

  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>::RECENT recent;
  std::uint32_t begin = 0;
  std::uint32_t own = m_places.find_place(part.m_begin);
  for (std::uint32_t node = part.m_begin; node != part.m_end; ++node) {
    while (node >= m_places.get_first_nodes()[own + 1])
      ++own;
    const std::uint32_t end = next[node - part.m_begin];
    for (std::uint32_t at = begin; at != end; ++at)
      if (KEP_SEEN_WORD& source = sources[at].m_node; !source.is_absolute())
        source = KEP_SEEN_WORD::see(source.m_bits, own);
    const auto count = static_cast<std::uint16_t>(end - begin);
    of_nodes[node] =
        count == 0 ? KEP_TEMPLATE_LISTS::NONE : table.add({sources.data() + begin, count, count}, recent);
    begin = end;
  }
}

std::vector<std::uint32_t> KEP_FANIN_FINDER::find(KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table,
                                                  std::uint64_t at_a_time) {
  find_reaches();
  std::vector<std::uint32_t> of_nodes; // numbers of fanins at first
  count(of_nodes);
  if (m_overfull_node != NONE) return of_nodes;
  m_has_hipi = m_places.has_hipi();
  const std::vector<PART> parts = cut(of_nodes, at_a_time);
  KEP_REPORT_PROGRESS progress("reverse edges", of_nodes.size());
  KEP_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, parts.size(), [&](std::size_t part) {
    KEP_TSAN::begin_body();
    gather(parts[part], table, of_nodes);
    progress.add(parts[part].m_end - parts[part].m_begin);
    KEP_TSAN::end_body();
  });
  KEP_TSAN::after_loop();
  return of_nodes;
}
