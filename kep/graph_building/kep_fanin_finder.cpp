#include "kep/graph_building/kep_fanin_finder.h"

#include "kep/common/kep_parts.h"
#include "kep/graph/kep_node_word.h"
#include "kep_report/kep_report_progress.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <span>

namespace {

constexpr std::uint32_t MAX_FANINS = std::numeric_limits<unsigned short>::max();
constexpr std::uint32_t MAX_SOURCES = 1 << 15; // of a bundle
constexpr std::uint32_t MAX_PIECES = 1 << 17;  // that one thread has at hand: they stay in its caches

} // namespace

/// Puts the fanins of targets of one place after another together.
class KEP_FANIN_FINDER::GATHERER {
public:
  GATHERER(KEP_FANIN_FINDER& finder, const KEP_EDGE_BUNDLES& bundles,
           KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table, std::vector<std::uint32_t>& of_nodes)
      : m_finder(finder), m_bundles(bundles), m_table(table), m_of_nodes(of_nodes), m_rows(NUM_ROWS) {}

  void gather(const PART& part) {
    sort_by_target(part);
    std::uint32_t begin = 0;
    for (std::uint32_t target = part.m_begin; target != part.m_end; ++target) {
      const std::uint32_t end = m_next[target - part.m_begin];
      if (begin == end) continue;
      const std::uint32_t node = m_finder.m_places.find_node(part.m_place, target - 1);
      m_of_nodes[node] = find_list(node, {m_pieces.data() + begin, m_pieces.data() + end});
      begin = end;
    }
  }

private:
  /// What one bundle adds to the fanins of a target: the place of its sources as it is seen, and the list.
  using PIECE = std::uint64_t;
  /// Pieces that came together, and the template that they made; NONE where they were too many.
  struct ROW {
    std::uint32_t m_hash = 0;
    std::uint32_t m_first_piece = 0;
    std::uint32_t m_num_pieces = 0;
    std::uint32_t m_template = NONE;
  };
  static constexpr std::size_t NUM_ROWS = 1 << 14;
  static constexpr std::size_t MAX_KNOWN_PIECES = std::size_t{2} * MAX_PIECES;

  void sort_by_target(const PART& part) {
    m_next.assign(part.m_end - part.m_begin + std::size_t{1}, 0);
    visit(part, [&](const ARRIVAL&, const KEP_EDGE_BUNDLES::TARGET& target) {
      ++m_next[target.m_target - part.m_begin + std::size_t{1}];
    });
    std::partial_sum(m_next.begin(), m_next.end(), m_next.begin());
    m_pieces.resize(m_next.back());
    visit(part, [&](const ARRIVAL& arrival, const KEP_EDGE_BUNDLES::TARGET& target) {
      m_pieces[m_next[target.m_target - part.m_begin]++] =
          std::uint64_t{arrival.m_seen_place} << 32 | target.m_list;
    });
  }
  template <class VISIT>
  void visit(const PART& part, const VISIT& visit_target) const {
    const auto comes_before = [](const KEP_EDGE_BUNDLES::TARGET& target, std::uint32_t number) {
      return target.m_target < number;
    };
    for (std::size_t i = m_finder.m_first_arrival[part.m_place];
         i != m_finder.m_first_arrival[part.m_place + std::size_t{1}]; ++i) {
      const ARRIVAL& arrival = m_finder.m_arrivals[i];
      const std::vector<KEP_EDGE_BUNDLES::TARGET>& targets = m_bundles.get_targets(arrival.m_bundle);
      auto target = targets.begin();
      if (target->m_target < part.m_begin)
        target = std::lower_bound(target, targets.end(), part.m_begin, comes_before);
      for (; target != targets.end() && target->m_target < part.m_end; ++target)
        visit_target(arrival, *target);
    }
  }

  /// Nodes of the same pieces have the same list.
  std::uint32_t find_list(std::uint32_t node, std::span<const PIECE> pieces) {
    std::uint64_t mixed = pieces.size();
    for (const PIECE piece : pieces)
      mixed = KEP_TEMPLATE_HASH::mix(piece, mixed);
    ROW& row = m_rows[mixed % NUM_ROWS];
    const auto hash = static_cast<std::uint32_t>(mixed >> 32);
    if (row.m_hash == hash && row.m_num_pieces == pieces.size() &&
        std::equal(pieces.begin(), pieces.end(), m_known_pieces.begin() + row.m_first_piece))
      return row.m_template;
    if (m_known_pieces.size() + pieces.size() > MAX_KNOWN_PIECES) {
      m_known_pieces.clear();
      m_rows.assign(NUM_ROWS, {});
    }
    row = {hash, static_cast<std::uint32_t>(m_known_pieces.size()), static_cast<std::uint32_t>(pieces.size()),
           add_list(node, pieces)};
    m_known_pieces.insert(m_known_pieces.end(), pieces.begin(), pieces.end());
    return row.m_template;
  }
  std::uint32_t add_list(std::uint32_t node, std::span<const PIECE> pieces) {
    m_sources.clear();
    for (const PIECE piece : pieces)
      for (const std::uint32_t source : m_bundles.get_sources(static_cast<std::uint32_t>(piece)))
        m_sources.push_back({{piece >> 32 << 32 | source}});
    if (m_sources.size() > MAX_FANINS) {
      m_finder.tell_overfull(node, static_cast<std::uint32_t>(m_sources.size()));
      return NONE;
    }
    const auto count = static_cast<std::uint16_t>(m_sources.size());
    return m_table.add({m_sources.data(), count, count}, m_recent);
  }

  KEP_FANIN_FINDER& m_finder;
  const KEP_EDGE_BUNDLES& m_bundles;
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& m_table;
  std::vector<std::uint32_t>& m_of_nodes;
  std::vector<std::uint32_t> m_next; // by target: where its next piece goes
  std::vector<PIECE> m_pieces;
  std::vector<ROW> m_rows; // by hash
  std::vector<PIECE> m_known_pieces;
  std::vector<KEP_FANIN_ENTRY> m_sources;
  KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>::RECENT m_recent;
};

void KEP_FANIN_FINDER::find_arrivals(const KEP_EDGE_BUNDLES& bundles) {
  const auto visit = [&](const auto& visit_way) {
    for (const KEP_EDGE_BUNDLES::BLOCK& block : bundles.get_blocks())
      for (const KEP_EDGE_BUNDLES::WAY& way : bundles.get_ways(block))
        visit_way(block.m_place, KEP_NODE_WORD::place(way.m_direction.get_word(block.m_place)), way.m_bundle);
  };
  m_first_arrival.assign(m_places.get_num_places() + std::size_t{1}, 0);
  visit([&](std::uint32_t, std::uint32_t to, std::uint32_t) { ++m_first_arrival[to + std::size_t{1}]; });
  std::partial_sum(m_first_arrival.begin(), m_first_arrival.end(), m_first_arrival.begin());
  m_arrivals.resize(m_first_arrival.back());
  std::vector<std::size_t> next(m_first_arrival.begin(), m_first_arrival.end() - 1);
  visit([&](std::uint32_t from, std::uint32_t to, std::uint32_t bundle) {
    const std::uint32_t source = bundles.get_sources(bundles.get_targets(bundle).front().m_list).front();
    m_arrivals[next[to]++] = {(source & KEP_SEEN_WORD::ABSOLUTE) != 0 ? from : from - to, bundle};
  });
}

/// A row that is too long to be compared has a place of its own.
void KEP_FANIN_FINDER::find_models() {
  KEP_TEMPLATE_TABLE<ARRIVAL> rows;
  m_models.assign(m_places.get_num_places(), NONE); // numbers of rows at first
  kep_for_parts(m_models.size(), 256, [&](std::size_t begin, std::size_t end) {
    KEP_TEMPLATE_TABLE<ARRIVAL>::RECENT recent;
    for (std::size_t place = begin; place != end; ++place) {
      const std::size_t size = m_first_arrival[place + 1] - m_first_arrival[place];
      if (size == 0 || size > std::numeric_limits<std::uint16_t>::max()) continue;
      const auto count = static_cast<std::uint16_t>(size);
      m_models[place] = rows.add({m_arrivals.data() + m_first_arrival[place], count, count}, recent);
    }
  });
  std::vector<std::uint32_t> first_places(rows.get_number_limit(), NONE);
  for (std::uint32_t place = 0; place != m_models.size(); ++place) {
    if (m_first_arrival[place] == m_first_arrival[place + 1]) continue;
    std::uint32_t& model = m_models[place];
    if (model == NONE) {
      model = place;
      continue;
    }
    std::uint32_t& first_place = first_places[model];
    if (first_place == NONE) first_place = place;
    model = first_place;
  }
}

/// The models, and where one has too many targets for one thread, parts of it.
std::vector<KEP_FANIN_FINDER::PART> KEP_FANIN_FINDER::cut(const KEP_EDGE_BUNDLES& bundles,
                                                          std::uint32_t at_a_time) const {
  std::vector<PART> parts;
  for (std::uint32_t place = 0; place != m_models.size(); ++place) {
    if (m_models[place] != place) continue;
    std::uint64_t num_targets = 0;
    for (std::size_t i = m_first_arrival[place]; i != m_first_arrival[place + 1]; ++i)
      num_targets += bundles.get_targets(m_arrivals[i].m_bundle).size();
    const std::uint64_t num_parts = (num_targets + at_a_time - 1) / at_a_time;
    const std::uint32_t num_ranks = m_places.get_num_ranks(place);
    const auto begin_of = [&](std::uint64_t part) {
      return static_cast<std::uint32_t>(1 + num_ranks * part / num_parts);
    };
    for (std::uint64_t part = 0; part != num_parts; ++part)
      parts.push_back({place, begin_of(part), begin_of(part + 1)});
  }
  return parts;
}

/// Its module may be another one, with more ranks or less; all that has fanins stands at both.
void KEP_FANIN_FINDER::take_from_model(std::uint32_t place, std::vector<std::uint32_t>& of_nodes) const {
  const std::uint32_t model = m_models[place];
  if (model == NONE || model == place) return;
  const std::uint32_t first = m_places.get_first_nodes()[place];
  const std::uint32_t num_ranks = m_places.get_num_ranks(model);
  if (m_places.has_all_ranks(place) && m_places.has_all_ranks(model)) {
    std::copy_n(of_nodes.begin() + m_places.get_first_nodes()[model],
                std::min(num_ranks, m_places.get_num_nodes(place)), of_nodes.begin() + first);
    return;
  }
  for (std::uint32_t node = first; node != m_places.get_first_nodes()[place + 1]; ++node) {
    const std::uint32_t rank = m_places.get_rank(place, node);
    if (rank >= num_ranks) break;
    const std::uint32_t like = m_places.find_node(model, rank);
    if (like != KEP_NODE_PLACES::NONE) of_nodes[node] = of_nodes[like];
  }
}

void KEP_FANIN_FINDER::tell_overfull(std::uint32_t node, std::uint32_t count) {
  const tbb::spin_mutex::scoped_lock lock(m_overfull_mutex);
  if (node >= m_overfull_node) return;
  m_overfull_node = node;
  m_overfull_count = count;
}

std::vector<std::uint32_t> KEP_FANIN_FINDER::find(KEP_TEMPLATE_TABLE<KEP_FANIN_ENTRY>& table,
                                                  std::uint32_t at_a_time) {
  KEP_REPORT_PROGRESS progress("reverse edges", m_places.get_num_nodes());
  if (at_a_time == 0) at_a_time = MAX_PIECES;
  const KEP_EDGE_BUNDLES bundles(m_places, m_fanouts, m_words, m_num_top_occurrences,
                                 std::min(at_a_time, MAX_SOURCES));
  find_arrivals(bundles);
  find_models();
  std::vector<std::uint32_t> of_nodes(m_places.get_num_nodes(), KEP_TEMPLATE_LISTS::NONE);
  const std::vector<PART> parts = cut(bundles, at_a_time);
  kep_for_parts(parts.size(), 1, [&](std::size_t begin, std::size_t end) {
    GATHERER gatherer(*this, bundles, table, of_nodes);
    for (std::size_t part = begin; part != end; ++part)
      gatherer.gather(parts[part]);
  });
  const KEP_TABLE<std::uint32_t>& first_nodes = m_places.get_first_nodes();
  kep_for_parts(m_models.size(), 256, [&](std::size_t begin, std::size_t end) {
    for (std::size_t place = begin; place != end; ++place)
      take_from_model(static_cast<std::uint32_t>(place), of_nodes);
    progress.add(first_nodes[end] - first_nodes[begin]);
  });
  return of_nodes;
}
