#include "kep/persistence/kep_place_kinds.h"

#include "kep/common/kep_parts.h"
#include "kep/graph/kep_node_word.h"
#include "kep/graph/kep_occurrence_places.h"
#include "kep/persistence/kep_table_rules.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <span>

using KEP_TABLE_RULES::require;

namespace {

constexpr std::size_t PLACES_AT_A_TIME = 1 << 14;
constexpr std::uint32_t NO_OCCURRENCE = KEP_OCCURRENCE_PLACES::NONE;

std::size_t get_num_blocks(std::size_t size) {
  return size / KEP_MARK_BLOCK::NUM_BITS + 1;
}

/// No file can tell beforehand what has one hash: that hangs on where the owner stands.
std::uint64_t make_hash(const void* owner, std::uint32_t number, std::span<const std::uint32_t> numbers) {
  std::uint64_t hash = reinterpret_cast<std::uintptr_t>(owner) + number;
  for (const std::uint32_t each : numbers)
    hash = (hash ^ each) * 0x9e3779b97f4a7c15U + (hash >> 32);
  return hash;
}

} // namespace

KEP_PLACE_KINDS::KEP_PLACE_KINDS(const KEP_DATABASE_TABLES& tables)
    : m_positions(tables.m_positions), m_tables(tables.m_graph),
      m_num_modules(static_cast<std::uint32_t>(tables.m_model.m_modules.size() + 1)) {
  const std::size_t num_places = m_tables.m_occurrences.size();
  require(num_places != 0 && num_places < NO_OCCURRENCE, "there are no places, or too many");
  require(m_tables.m_first_nodes.size() == num_places + 1, "not every place has a first node");
  count_inst_ports(tables.m_model);
  check_occurrences();
  check_keys(tables.m_model.m_ports.size());
  find_kinds();
  check_near_places();
}

void KEP_PLACE_KINDS::count_inst_ports(const KEP_MODEL_TABLES& model) {
  m_num_inst_ports.reserve(m_num_modules);
  KEP_TABLE_RULES::CUTTER instances(model.m_instances.size());
  for (const KEP_MODEL_TABLES::MODULE& module : model.m_modules) {
    const KEP_MODEL_TABLES::INSTANCE* instance =
        model.m_instances.data() + instances.cut(module.m_num_instances);
    std::uint64_t count = 0;
    for (std::uint32_t i = 0; i != module.m_num_instances; ++i, ++instance) {
      require(instance->m_master < model.m_modules.size(), "an instance has no master");
      count += model.m_modules[instance->m_master].m_num_ports;
    }
    require(count <= model.m_inst_port_nets.size() && count < std::uint64_t{1} << 31,
            "inst ports have no nets");
    m_num_inst_ports.push_back(static_cast<std::uint32_t>(count));
  }
  m_num_inst_ports.push_back(0);
}

/// Occurrences with a place and places with an occurrence are the same pairs.
void KEP_PLACE_KINDS::check_occurrences() const {
  const KEP_TABLE<KEP_MARK_BLOCK>& blocks = m_tables.m_placed_occurrences;
  require(blocks.size() == get_num_blocks(m_positions.size()), "not every occurrence has a mark");
  std::uint64_t num_placed = 0;
  for (const KEP_MARK_BLOCK& block : blocks) {
    require(block.m_num_before == num_placed, "marked occurrences are counted wrongly");
    num_placed += block.get_count();
  }
  const std::uint64_t behind_last = blocks.back().m_bits >> m_positions.size() % KEP_MARK_BLOCK::NUM_BITS;
  require(behind_last == 0 && num_placed == m_tables.m_places.size(),
          "not every marked occurrence has a place");
  const auto num_occurrences = static_cast<std::uint64_t>(
      std::count_if(m_tables.m_occurrences.begin(), m_tables.m_occurrences.end(),
                    [](std::uint32_t occurrence) { return occurrence != NO_OCCURRENCE; }));
  require(num_occurrences == num_placed, "not every place is that of an occurrence");
  kep_for_parts(blocks.size(), PLACES_AT_A_TIME / KEP_MARK_BLOCK::NUM_BITS,
                [&](std::size_t begin, std::size_t end) {
                  for (std::size_t i = begin; i != end; ++i)
                    check_occurrence_block(i, blocks[i].m_num_before);
                });
  require(blocks[0].has(KEP_UNFOLDING::ABOVE_TOP) && m_tables.m_places[0] == KEP_NODE_WORD::BOUNDARY,
          "place 0 is not that of the boundary nodes");
}

void KEP_PLACE_KINDS::check_occurrence_block(std::size_t block, std::uint32_t num_before) const {
  const auto first = static_cast<std::uint32_t>(block * KEP_MARK_BLOCK::NUM_BITS);
  for (std::uint64_t bits = m_tables.m_placed_occurrences[block].m_bits; bits != 0; bits &= bits - 1) {
    const std::uint32_t occurrence = first + static_cast<std::uint32_t>(std::countr_zero(bits));
    const std::uint32_t place = m_tables.m_places[num_before++];
    require(place < m_tables.m_occurrences.size() && m_tables.m_occurrences[place] == occurrence,
            "an occurrence stands at the place of another");
  }
}

/// Keys of a module go up, and each is an inst port or, above the tops, a port.
void KEP_PLACE_KINDS::check_keys(std::size_t num_ports) const {
  const KEP_TABLE<std::uint32_t>& first_keys = m_tables.m_first_keys;
  require(first_keys.size() == m_num_modules + std::size_t{1} && first_keys[0] == 0 &&
              first_keys.back() == m_tables.m_keys.size(),
          "not every module has keys");
  for (std::uint32_t module = 0; module != m_num_modules; ++module) {
    const bool is_boundary = module + 1 == m_num_modules;
    const std::uint64_t num_keys = 2 * (is_boundary ? num_ports : std::size_t{m_num_inst_ports[module]});
    require(first_keys[module] <= first_keys[module + 1], "keys of a module end before they begin");
    require(first_keys[module + 1] <= m_tables.m_keys.size(), "keys of a module are not there");
    for (std::uint32_t i = first_keys[module]; i != first_keys[module + 1]; ++i) {
      const std::uint32_t key = m_tables.m_keys[i];
      require(key < num_keys && (i == first_keys[module] || m_tables.m_keys[i - 1] < key),
              "a key of a module is not there, or in no order");
      require(!is_boundary || !KEP_NODE_WORD::is_hipi(key), "a boundary node is a hipi twin");
    }
  }
}

/// By module: the first one with the same keys and as many inst ports, so that all that edges name of one is
/// there of the other.
std::vector<std::uint32_t> KEP_PLACE_KINDS::find_kinds_of_modules() const {
  const auto get_keys = [this](std::uint32_t module) {
    return std::span(m_tables.m_keys).subspan(m_tables.m_first_keys[module], get_num_ranks(module));
  };
  std::vector<std::uint32_t> kinds;
  kinds.reserve(m_num_modules);
  std::unordered_multimap<std::uint64_t, std::uint32_t> known;
  for (std::uint32_t module = 0; module != m_num_modules; ++module) {
    const std::uint64_t hash = make_hash(this, get_num_inst_ports(module), get_keys(module));
    const auto [first, last] = known.equal_range(hash);
    const auto same = std::find_if(first, last, [&](const auto& each) {
      const std::span<const std::uint32_t> own = get_keys(module);
      const std::span<const std::uint32_t> other = get_keys(each.second);
      return get_num_inst_ports(module) == get_num_inst_ports(each.second) && module + 1 != m_num_modules &&
             std::equal(own.begin(), own.end(), other.begin(), other.end());
    });
    kinds.push_back(same == last ? module : same->second);
    if (same == last) known.emplace(hash, module);
  }
  return kinds;
}

void KEP_PLACE_KINDS::find_kinds() {
  require(m_tables.m_first_nodes[0] == 0, "the first node is not number 0");
  const std::vector<std::uint32_t> kinds_of_modules = find_kinds_of_modules();
  const auto num_places = static_cast<std::uint32_t>(m_tables.m_occurrences.size());
  m_kinds.reserve(num_places);
  for (std::uint32_t place = 0; place != num_places; ++place) {
    const std::uint32_t first = m_tables.m_first_nodes[place];
    const std::uint32_t end = m_tables.m_first_nodes[place + std::size_t{1}];
    require(first <= end, "the nodes of a place end before they begin");
    if (first == end) {
      m_kinds.push_back(EMPTY);
      continue;
    }
    const std::uint32_t occurrence = m_tables.m_occurrences[place];
    require(occurrence != NO_OCCURRENCE, "nodes stand where there is no place");
    const std::uint32_t own = m_positions[occurrence].m_module;
    require(own < m_num_modules && (own + 1 == m_num_modules) == (occurrence == KEP_UNFOLDING::ABOVE_TOP),
            "nodes stand at a place of no module");
    const std::uint32_t module = kinds_of_modules[own];
    require(end - first <= get_num_ranks(module), "more nodes stand at a place than its module has keys");
    m_kinds.push_back(end - first == get_num_ranks(module) ? module
                                                           : add_lacking(module, place, end - first));
  }
  require(m_num_listed_ranks == m_tables.m_ranks.size() && m_num_lacking == m_tables.m_first_ranks.size(),
          "ranks are listed of places that lack none");
  check_lacking_marks();
}

std::uint32_t KEP_PLACE_KINDS::get_max_num_ranks() const {
  std::uint32_t most = 0;
  for_modules([&](std::uint32_t kind) { most = std::max(most, get_num_ranks(kind)); });
  return most;
}

/// Gives the kind of a place that lacks nodes.
std::uint32_t KEP_PLACE_KINDS::add_lacking(std::uint32_t module, std::uint32_t place,
                                           std::uint32_t num_nodes) {
  const KEP_TABLE<KEP_MARK_BLOCK>& marks = m_tables.m_lacking;
  const std::uint32_t block = place / KEP_MARK_BLOCK::NUM_BITS;
  require(block < marks.size() && marks[block].has(place), "a place that lacks nodes is not marked");
  require(m_num_lacking < m_tables.m_first_ranks.size() &&
              m_tables.m_first_ranks[m_num_lacking] == m_num_listed_ranks &&
              num_nodes <= m_tables.m_ranks.size() - m_num_listed_ranks,
          "the ranks of a place are not listed");
  const std::span<const std::uint32_t> ranks =
      std::span(m_tables.m_ranks).subspan(m_num_listed_ranks, num_nodes);
  const bool goes_up = std::adjacent_find(ranks.begin(), ranks.end(), std::greater_equal<>()) == ranks.end();
  require(goes_up && ranks.back() < get_num_ranks(module), "the ranks of a place are in no order");
  m_num_listed_ranks += num_nodes;
  ++m_num_lacking;
  return find_or_make_lacking(module, ranks);
}

std::uint32_t KEP_PLACE_KINDS::find_or_make_lacking(std::uint32_t module,
                                                    std::span<const std::uint32_t> ranks) {
  const std::uint64_t hash = make_hash(this, module, ranks);
  const auto [first, last] = m_lacking_by_hash.equal_range(hash);
  const auto known = std::find_if(first, last, [&](const auto& each) {
    const LACKING& other = m_lacking[each.second];
    return other.m_module == module &&
           std::equal(ranks.begin(), ranks.end(), other.m_ranks.begin(), other.m_ranks.end());
  });
  if (known != last) return m_num_modules + known->second;
  require(m_lacking.size() < EMPTY - m_num_modules, "too many places lack nodes");
  m_lacking_by_hash.emplace(hash, static_cast<std::uint32_t>(m_lacking.size()));
  std::uint32_t num_full = 0;
  while (num_full != ranks.size() && ranks[num_full] == num_full)
    ++num_full;
  m_lacking.push_back({module, num_full, ranks});
  return m_num_modules + static_cast<std::uint32_t>(m_lacking.size() - 1);
}

/// Those that lack some are marked: no others, since there are as many.
void KEP_PLACE_KINDS::check_lacking_marks() const {
  const KEP_TABLE<KEP_MARK_BLOCK>& blocks = m_tables.m_lacking;
  if (blocks.empty()) return;
  require(blocks.size() == get_num_blocks(m_tables.m_occurrences.size()), "not every place has a mark");
  std::uint64_t num_lacking = 0;
  for (const KEP_MARK_BLOCK& block : blocks) {
    require(block.m_num_before == num_lacking, "places that lack nodes are counted wrongly");
    num_lacking += block.get_count();
  }
  require(num_lacking == m_num_lacking, "a place is marked that lacks no node");
}

void KEP_PLACE_KINDS::check_near_places() const {
  constexpr std::uint32_t STEP = 1U << KEP_NUMBERED_PLACES::NEAR_BITS;
  const KEP_TABLE<std::uint32_t>& first_nodes = m_tables.m_first_nodes;
  const KEP_TABLE<std::uint32_t>& near_places = m_tables.m_near_places;
  const std::uint32_t num_nodes = first_nodes.back();
  require(num_nodes != KEP_NUMBERED_PLACES::NONE, "there are too many nodes");
  require(near_places.size() == (num_nodes == 0 ? 0 : (num_nodes - 1) / STEP + std::size_t{2}),
          "not every place is near one that is listed");
  kep_for_parts(near_places.size(), PLACES_AT_A_TIME, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i != end; ++i) {
      const std::uint32_t place = near_places[i];
      const std::uint64_t node = std::min<std::uint64_t>(i * STEP, num_nodes - 1);
      require(place < m_kinds.size() && first_nodes[place] <= node &&
                  node < first_nodes[place + std::size_t{1}],
              "a listed place is not that of its node");
    }
  });
}
