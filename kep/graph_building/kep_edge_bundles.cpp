#include "kep/graph_building/kep_edge_bundles.h"

#include "kep/common/kep_parts.h"
#include "kep/graph/kep_node_word.h"
#include "kep/kep_db.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// A node that drives so many is seen from everywhere: named by its place, its targets still look alike.
constexpr std::uint32_t MANY_FANOUTS = 256;
// Bundles of so many edges are cut, so that threads share them and none takes much memory to be turned.
constexpr std::uint64_t MAX_BUNDLE_EDGES = 1 << 18;

constexpr std::uint32_t LOWER_ABSOLUTE = static_cast<std::uint32_t>(KEP_SEEN_WORD::ABSOLUTE);

template <class TABLE>
std::vector<std::uint32_t> get_numbers(const TABLE& table) {
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t number = 0; number != table.get_number_limit(); ++number)
    if (table.has(number)) numbers.push_back(number);
  return numbers;
}

} // namespace

KEP_EDGE_BUNDLES::KEP_EDGE_BUNDLES(const KEP_NODE_PLACES& places, const KEP_TEMPLATE_LISTS& fanouts,
                                   const std::vector<KEP_SEEN_WORD>& words, std::uint32_t num_top_occurrences,
                                   std::uint32_t max_sources)
    : m_places(places), m_fanouts(fanouts), m_num_top_occurrences(num_top_occurrences),
      m_max_sources(max_sources) {
  const KEP_FANOUT_RUNS runs(fanouts, words);
  make_blocks();
  find_ways(runs);
  turn_bundles(runs);
}

void KEP_EDGE_BUNDLES::make_blocks() {
  if (m_places.has_hipi()) add_blocks();
  m_num_hipi_blocks = m_blocks.size();
  add_blocks();
  kep_for_parts(m_blocks.size(), 64, [&](std::size_t begin, std::size_t end) {
    std::vector<BLOCK_ENTRY> entries;
    KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::RECENT recent;
    for (std::size_t block = begin; block != end; ++block)
      number_block(m_blocks[block], block < m_num_hipi_blocks, entries, recent);
  });
  std::erase_if(m_blocks, [](const BLOCK& block) { return block.m_ways == KEP_NODE_PLACES::NONE; });
}

void KEP_EDGE_BUNDLES::add_blocks() {
  const KEP_TABLE<std::uint32_t>& first_nodes = m_places.get_first_nodes();
  for (std::uint32_t place = 0; place != m_places.get_num_places(); ++place)
    for (std::uint32_t node = first_nodes[place]; node < first_nodes[place + 1]; node += m_max_sources)
      m_blocks.push_back({place, node, KEP_NODE_PLACES::NONE});
}

/// A block without edges gets no number.
void KEP_EDGE_BUNDLES::number_block(BLOCK& block, bool hipi, std::vector<BLOCK_ENTRY>& entries,
                                    KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::RECENT& recent) {
  const std::uint32_t place = block.m_place;
  const bool is_top = m_places.get_occurrence_places().get_occurrence(place) <= m_num_top_occurrences;
  const bool may_be_hipi = m_places.has_hipi() && place != KEP_NODE_WORD::BOUNDARY;
  const std::uint32_t first = m_places.get_first_nodes()[place];
  const std::uint32_t end =
      std::min(block.m_first_node + m_max_sources, m_places.get_first_nodes()[place + 1]);
  const std::uint32_t* const ranks = m_places.find_ranks(place);
  entries.clear();
  for (std::uint32_t node = block.m_first_node; node != end; ++node) {
    const std::uint32_t list = m_fanouts.m_of_nodes[node];
    const std::uint32_t rank = ranks ? ranks[node - first] : node - first;
    if (list == 0 || (may_be_hipi && KEP_NODE_WORD::is_hipi(m_places.get_key(place, rank))) != hipi) continue;
    entries.push_back({(rank + 1) | (is_top ? LOWER_ABSOLUTE : 0), list});
  }
  const auto count = static_cast<std::uint16_t>(entries.size());
  if (count != 0) block.m_ways = m_distinct_blocks.add({entries.data(), count, count}, recent);
}

/// Finds the ways of one block after another.
class KEP_EDGE_BUNDLES::WAY_FINDER {
public:
  WAY_FINDER(KEP_EDGE_BUNDLES& bundles, const KEP_FANOUT_RUNS& runs)
      : m_bundles(bundles), m_runs(runs), m_next(runs.get_direction_limit()) {}

  std::vector<WAY> find(const KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::LIST& block) {
    sort_by_direction(block);
    std::vector<WAY> ways;
    std::uint32_t begin = 0;
    for (const std::uint32_t direction : m_directions) {
      const std::uint32_t end = std::exchange(m_next[direction], 0);
      while (begin != end) {
        const std::uint32_t cut = find_cut(begin, end);
        const auto count = static_cast<std::uint16_t>(cut - begin);
        const std::uint32_t bundle =
            m_bundles.m_bundles.add({m_entries.data() + begin, count, count}, m_recent);
        ways.push_back({m_runs.get_direction(direction), bundle});
        begin = cut;
      }
    }
    ways.shrink_to_fit();
    return ways;
  }

private:
  /// Sources stay in their order.
  void sort_by_direction(const KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::LIST& block) {
    m_directions.clear();
    visit(block, [&](const BLOCK_ENTRY&, const KEP_FANOUT_RUNS::RUN& run) {
      if (m_next[run.m_direction]++ == 0) m_directions.push_back(run.m_direction);
    });
    std::uint32_t begin = 0;
    for (const std::uint32_t direction : m_directions)
      begin += std::exchange(m_next[direction], begin);
    m_entries.resize(begin);
    visit(block, [&](const BLOCK_ENTRY& entry, const KEP_FANOUT_RUNS::RUN& run) {
      m_entries[m_next[run.m_direction]++] = {entry.m_source, run.m_targets};
    });
  }
  template <class VISIT>
  void visit(const KEP_TEMPLATE_TABLE<BLOCK_ENTRY>::LIST& block, const VISIT& visit_run) {
    m_num_edges = 0;
    for (BLOCK_ENTRY entry : std::span(block.m_entries, block.m_num_edges)) {
      const std::uint32_t num_edges = m_bundles.m_fanouts.m_templates[entry.m_list].m_num_edges;
      m_num_edges += num_edges;
      if (num_edges >= MANY_FANOUTS) entry.m_source |= LOWER_ABSOLUTE;
      for (const KEP_FANOUT_RUNS::RUN& run : m_runs.get_runs(entry.m_list))
        visit_run(entry, run);
    }
  }
  /// Where a bundle that begins there ends at the latest: at the limits, or where sources are told another
  /// way.
  std::uint32_t find_cut(std::uint32_t begin, std::uint32_t end) const {
    end = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(end, std::uint64_t{begin} + m_bundles.m_max_sources));
    const auto is_absolute = [this](std::uint32_t at) {
      return (m_entries[at].m_source & LOWER_ABSOLUTE) != 0;
    };
    std::uint64_t num_edges = 0; // those of sources with the same targets once
    std::uint32_t cut = begin;
    while (++cut != end && is_absolute(cut) == is_absolute(begin)) {
      if (m_num_edges < MAX_BUNDLE_EDGES || m_entries[cut].m_targets == m_entries[cut - 1].m_targets)
        continue;
      num_edges += m_runs.get_num_targets(m_entries[cut].m_targets);
      if (num_edges > MAX_BUNDLE_EDGES) break;
    }
    return cut;
  }

  KEP_EDGE_BUNDLES& m_bundles;
  const KEP_FANOUT_RUNS& m_runs;
  std::vector<std::uint32_t> m_next;       // by direction, 0 between blocks: where its next source goes
  std::vector<std::uint32_t> m_directions; // of the block
  std::vector<KEP_BUNDLE_ENTRY> m_entries; // by direction
  std::uint64_t m_num_edges = 0;           // of the block
  KEP_TEMPLATE_TABLE<KEP_BUNDLE_ENTRY>::RECENT m_recent;
};

void KEP_EDGE_BUNDLES::find_ways(const KEP_FANOUT_RUNS& runs) {
  const std::vector<std::uint32_t> blocks = get_numbers(m_distinct_blocks);
  m_ways.resize(m_distinct_blocks.get_number_limit());
  kep_for_parts(blocks.size(), 4, [&](std::size_t begin, std::size_t end) {
    WAY_FINDER finder(*this, runs);
    for (std::size_t i = begin; i != end; ++i)
      m_ways[blocks[i]] = finder.find(m_distinct_blocks.get(blocks[i]));
  });
  m_distinct_blocks.clear();
}

void KEP_EDGE_BUNDLES::turn_bundles(const KEP_FANOUT_RUNS& runs) {
  const std::vector<std::uint32_t> bundles = get_numbers(m_bundles);
  m_turned.resize(m_bundles.get_number_limit());
  kep_for_parts(bundles.size(), 1, [&](std::size_t begin, std::size_t end) {
    KEP_BUNDLE_TURNER turner(runs);
    for (std::size_t i = begin; i != end; ++i)
      m_turned[bundles[i]] = turner.turn(m_bundles.get(bundles[i]));
  });
  m_bundles.clear();
  join_lists(bundles);
}

/// Puts the lists side by side, so that a list is one number.
void KEP_EDGE_BUNDLES::join_lists(const std::vector<std::uint32_t>& bundles) {
  std::vector<std::size_t> begins{0};
  for (const std::uint32_t bundle : bundles)
    begins.push_back(begins.back() + m_turned[bundle].m_lists.size());
  if (begins.back() > std::numeric_limits<std::uint32_t>::max())
    throw KEP_DB_ERROR(
        fmt::format("the routing graph has {} sources between unlike pairs of places, more than "
                    "the 4294967295 that it can have",
                    begins.back()));
  m_lists.resize(begins.back());
  kep_for_parts(bundles.size(), 64, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i != end; ++i) {
      KEP_TURNED_BUNDLE& bundle = m_turned[bundles[i]];
      std::copy(bundle.m_lists.begin(), bundle.m_lists.end(),
                m_lists.begin() + static_cast<std::ptrdiff_t>(begins[i]));
      std::vector<std::uint32_t>().swap(bundle.m_lists);
      for (TARGET& target : bundle.m_targets)
        target.m_list += static_cast<std::uint32_t>(begins[i]);
    }
  });
}
