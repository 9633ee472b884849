#include "kep/persistence/kep_graph_verifier.h"

#include "kep/common/kep_parts.h"
#include "kep/persistence/kep_packed_rules.h"
#include "kep/persistence/kep_place_kinds.h"
#include "kep/persistence/kep_seen_lists.h"
#include "kep/persistence/kep_seen_mux_inputs.h"
#include "kep/persistence/kep_shape_pages.h"
#include "kep/persistence/kep_table_rules.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <span>
#include <utility>
#include <vector>

using KEP_TABLE_RULES::require;

namespace {

constexpr std::size_t PAGES_AT_A_TIME = 4;
constexpr std::uint32_t FEW_PLACES = 4; // of a page: it does not pay to sort what its nodes see

/// So many words; each number is that of one.
KEP_FOLDED_WORDS get_words(const KEP_GRAPH_TABLES::FOLDED_WORDS& words, std::size_t size) {
  KEP_PACKED_RULES::check_width(words.m_width);
  if (words.m_numbers.empty()) {
    require(words.m_words.size() == size, "words of edges are missing");
    return {{}, words.m_words.data()};
  }
  const KEP_PACKED_NUMBERS numbers = KEP_PACKED_RULES::get_numbers(words.m_numbers, words.m_width, size);
  std::uint32_t largest = 0;
  for (std::size_t i = 0; i != size; ++i)
    largest = std::max(largest, numbers.get(i));
  require(size == 0 || largest < words.m_words.size(), "a word of an edge is not there");
  return {numbers, words.m_words.data()};
}

/// Of a list of edges that has one word or a number each.
std::size_t get_size(const KEP_GRAPH_TABLES::FOLDED_WORDS& words) {
  return words.m_numbers.empty() ? words.m_words.size()
                                 : KEP_PACKED_RULES::get_size(words.m_numbers, words.m_width);
}

class EDGES {
public:
  EDGES(const KEP_PLACE_KINDS& kinds, const KEP_GRAPH_TABLES& tables);
  void check();

private:
  using PAGE = KEP_SHAPE_PAGES::PAGE;
  struct SETS {
    std::uint32_t m_fanouts;
    std::uint32_t m_fanins;
    KEP_SEEN_MUX_INPUTS::RANGE m_mux_inputs; ///< the doubtful ones
  };
  /// A doubtful one, by its difference.
  using MUX_INPUT = std::pair<std::uint32_t, std::uint32_t>;
  /// What a thread has at hand: by set, the number of what it was tested for last, plus one, twice, and one
  /// more if it is sound there.
  struct WORK {
    std::vector<std::uint64_t> m_fanouts;
    std::vector<std::uint64_t> m_fanins;
    std::vector<KEP_SEEN_LISTS::DIRECTION> m_directions;
    std::vector<MUX_INPUT> m_mux_inputs;
    std::uint64_t m_num_steps = 0; // that were not counted yet
  };

  std::vector<std::uint32_t> find_first_places() const;
  void list_shapes();
  void add_fanouts(const std::vector<std::uint32_t>& first_places);
  void add_fanins(const std::vector<std::uint32_t>& first_places);
  void check_page(std::uint32_t number, WORK& work);
  void check_ranks(const PAGE& page);
  void check_place(const PAGE& page, std::uint32_t place, WORK& work);
  bool is_sound(const KEP_SEEN_LISTS& lists, std::uint32_t set, std::uint32_t place,
                std::vector<std::uint64_t>& known, WORK& work);
  void list_directions(const PAGE& page, WORK& work);
  static void join(std::vector<KEP_SEEN_LISTS::DIRECTION>& directions);
  static void join(std::vector<MUX_INPUT>& mux_inputs);
  template <class LIST, class ADD>
  void gather(const PAGE& page, LIST& list, const ADD& add) const;
  void list_mux_inputs(const PAGE& page, WORK& work);
  void check_places(const PAGE& page, WORK& work);
  bool is_sound(const KEP_SEEN_LISTS::DIRECTION& direction, std::span<const MUX_INPUT> mux_inputs,
                std::uint32_t kind) const;
  void count_steps(std::uint64_t count, WORK& work);
  std::uint32_t get_shape(const PAGE& page, std::uint32_t rank) const {
    return m_pages.get_shape(page, rank);
  }
  std::span<const std::uint32_t> get_places(const PAGE& page) const { return m_pages.get_places(page); }

  const KEP_PLACE_KINDS& m_kinds;
  const KEP_GRAPH_TABLES& m_tables;
  KEP_SEEN_MUX_INPUTS m_mux_inputs;
  KEP_SEEN_LISTS m_fanouts;
  KEP_SEEN_LISTS m_fanins;
  KEP_SHAPE_PAGES m_pages;
  std::vector<SETS> m_sets; // by shape
  std::atomic<std::uint64_t> m_num_edges = 0;
  std::atomic<std::uint64_t> m_num_real_edges = 0;
  std::atomic<std::uint64_t> m_num_steps = 0;
  std::uint64_t m_max_steps;
};

EDGES::EDGES(const KEP_PLACE_KINDS& kinds, const KEP_GRAPH_TABLES& tables)
    : m_kinds(kinds), m_tables(tables),
      m_mux_inputs(kinds, tables.m_fanouts.data(), get_words(tables.m_mux_inputs, tables.m_fanouts.size()),
                   tables.m_fanouts.size()),
      m_fanouts(kinds, {{}, tables.m_fanouts.data()}, tables.m_fanouts.size()),
      m_fanins(kinds, get_words(tables.m_fanins, get_size(tables.m_fanins)), get_size(tables.m_fanins)),
      m_pages(kinds, tables) {
  // Few bytes may name so many edges that to test them takes hours. Graphs take far fewer steps.
  constexpr std::uint64_t STEPS_OF_A_BYTE = 1024;
  constexpr std::uint64_t STEPS_OF_ANY = std::uint64_t{1} << 26;
  const std::uint64_t num_bytes = tables.m_pages.get_memory_bytes() +
                                  tables.m_shapes_of_nodes.get_memory_bytes() +
                                  tables.m_shapes.get_memory_bytes() + tables.m_fanouts.get_memory_bytes();
  m_max_steps = STEPS_OF_ANY + STEPS_OF_A_BYTE * num_bytes;
}

void EDGES::check() {
  list_shapes();
  kep_for_parts(m_pages.get().size(), PAGES_AT_A_TIME, [this](std::size_t begin, std::size_t end) {
    WORK work;
    work.m_fanouts.resize(m_fanouts.get_num_sets());
    work.m_fanins.resize(m_fanins.get_num_sets());
    for (std::size_t page = begin; page != end; ++page)
      check_page(static_cast<std::uint32_t>(page), work);
  });
  require(m_num_edges == m_tables.m_num_edges && m_num_real_edges == m_tables.m_num_real_edges &&
              m_fanouts.get_num_lists() == m_tables.m_num_templates,
          "the edges are not as many as told");
}

/// By shape: a place that has it. Pages are in the order of places.
std::vector<std::uint32_t> EDGES::find_first_places() const {
  std::vector<std::uint32_t> first_places(m_tables.m_shapes.size(), m_kinds.get_num_places());
  for (const PAGE& page : m_pages.get())
    for (std::uint32_t rank = 0; rank != page.m_num_ranks; ++rank) {
      std::uint32_t& first_place = first_places[get_shape(page, rank)];
      first_place = std::min(first_place, get_places(page).front());
    }
  return first_places;
}

void EDGES::list_shapes() {
  const KEP_TABLE<KEP_NODE_SHAPE>& shapes = m_tables.m_shapes;
  require(!shapes.empty() && shapes[0].m_num_fanouts == 0 && shapes[0].m_num_fanins == 0 &&
              shapes[0].m_num_real == 0,
          "the shape of no node has edges");
  m_sets.resize(shapes.size());
  const std::vector<std::uint32_t> first_places = find_first_places();
  kep_for_parts(2, 1, [&](std::size_t begin, std::size_t end) { // both ends of edges at a time
    if (begin == 0) add_fanouts(first_places);
    if (end == 2) add_fanins(first_places);
  });
}

void EDGES::add_fanouts(const std::vector<std::uint32_t>& first_places) {
  for (std::size_t i = 0; i != m_sets.size(); ++i) {
    const KEP_NODE_SHAPE& shape = m_tables.m_shapes[i];
    const auto [set, has_absolute] =
        m_fanouts.add(shape.m_first_fanout, shape.m_num_fanouts, first_places[i]);
    require(shape.m_num_real <= shape.m_num_fanouts, "a node has more real edges than edges");
    require(shape.m_has_absolute == has_absolute, "a shape does not tell how its edges are told");
    m_sets[i].m_fanouts = set;
    m_sets[i].m_mux_inputs = m_mux_inputs.get_doubtful(shape.m_first_fanout, shape.m_num_fanouts);
  }
}

void EDGES::add_fanins(const std::vector<std::uint32_t>& first_places) {
  for (std::size_t i = 0; i != m_sets.size(); ++i) {
    const KEP_NODE_SHAPE& shape = m_tables.m_shapes[i];
    m_sets[i].m_fanins = m_fanins.add(shape.m_first_fanin, shape.m_num_fanins, first_places[i]).m_set;
  }
}

void EDGES::check_page(std::uint32_t number, WORK& work) {
  const PAGE& page = m_pages.get()[number];
  check_ranks(page);
  if (page.m_num_places > FEW_PLACES) {
    list_directions(page, work);
    list_mux_inputs(page, work);
    return check_places(page, work);
  }
  for (const std::uint32_t place : get_places(page))
    check_place(page, place, work);
}

/// A shape stands where a node does, and nowhere else.
void EDGES::check_ranks(const PAGE& page) {
  std::uint64_t num_edges = 0;
  std::uint64_t num_real_edges = 0;
  std::uint32_t num_shapes = 0;
  for (std::uint32_t rank = 0; rank != page.m_num_ranks; ++rank) {
    const std::uint32_t shape = get_shape(page, rank);
    num_shapes += shape != KEP_EDGE_TABLES::NO_NODE;
    num_edges += m_tables.m_shapes[shape].m_num_fanouts;
    num_real_edges += m_tables.m_shapes[shape].m_num_real;
  }
  m_num_edges += num_edges * page.m_num_places;
  m_num_real_edges += num_real_edges * page.m_num_places;
  for (const std::uint32_t place : get_places(page)) {
    const std::uint32_t kind = m_kinds.get_kind(place);
    bool has_shapes = num_shapes == page.m_num_ranks;
    if (m_kinds.is_lacking(kind)) {
      const std::span<const std::uint32_t> ranks = m_kinds.get_listed_ranks(kind);
      has_shapes =
          num_shapes == ranks.size() && std::all_of(ranks.begin(), ranks.end(), [&](std::uint32_t rank) {
            return get_shape(page, rank) != KEP_EDGE_TABLES::NO_NODE;
          });
    }
    require(has_shapes, "a node has no shape");
  }
}

/// Node by node.
void EDGES::check_place(const PAGE& page, std::uint32_t place, WORK& work) {
  for (std::uint32_t rank = 0; rank != page.m_num_ranks; ++rank) {
    const std::uint32_t number = get_shape(page, rank);
    const KEP_NODE_SHAPE& shape = m_tables.m_shapes[number];
    const SETS& sets = m_sets[number];
    if (!is_sound(m_fanouts, sets.m_fanouts, place, work.m_fanouts, work)) {
      count_steps(shape.m_num_fanouts, work);
      m_fanouts.check(shape.m_first_fanout, shape.m_num_fanouts, place);
    }
    count_steps(sets.m_mux_inputs.size() + std::uint64_t{1}, work);
    m_mux_inputs.check(sets.m_mux_inputs, place);
    if (!is_sound(m_fanins, sets.m_fanins, place, work.m_fanins, work)) {
      count_steps(shape.m_num_fanins, work);
      m_fanins.check(shape.m_first_fanin, shape.m_num_fanins, place);
    }
  }
}

/// Found out once for the nodes of a place.
bool EDGES::is_sound(const KEP_SEEN_LISTS& lists, std::uint32_t set, std::uint32_t place,
                     std::vector<std::uint64_t>& known, WORK& work) {
  const std::uint64_t number = place + std::uint64_t{1};
  if (known[set] >> 1 != number) {
    count_steps(static_cast<std::uint64_t>(lists.end(set) - lists.begin(set)) + 1, work);
    known[set] = number << 1 | (lists.is_sound(set, place) ? 1 : 0);
  }
  return (known[set] & 1) != 0;
}

/// Each difference once, with the highest rank.
void EDGES::join(std::vector<KEP_SEEN_LISTS::DIRECTION>& directions) {
  std::sort(directions.begin(), directions.end(), [](const auto& left, const auto& right) {
    return std::pair(left.m_difference, right.m_max_rank) < std::pair(right.m_difference, left.m_max_rank);
  });
  const auto is_same = [](const auto& left, const auto& right) {
    return left.m_difference == right.m_difference;
  };
  directions.erase(std::unique(directions.begin(), directions.end(), is_same), directions.end());
}

void EDGES::join(std::vector<MUX_INPUT>& mux_inputs) {
  std::sort(mux_inputs.begin(), mux_inputs.end());
  mux_inputs.erase(std::unique(mux_inputs.begin(), mux_inputs.end()), mux_inputs.end());
}

/// Calls `add(node)` for the nodes of a page, which adds to the list; this never gets much longer than with
/// each element once.
template <class LIST, class ADD>
void EDGES::gather(const PAGE& page, LIST& list, const ADD& add) const {
  constexpr std::size_t FEW = 1 << 16;
  list.clear();
  std::size_t limit = FEW;
  for (std::uint32_t rank = 0; rank != page.m_num_ranks; ++rank) {
    add(get_shape(page, rank));
    if (list.size() < limit) continue;
    join(list);
    limit = std::max(FEW, 2 * list.size());
  }
  join(list);
}

/// What the nodes of a page lead to.
void EDGES::list_directions(const PAGE& page, WORK& work) {
  std::vector<KEP_SEEN_LISTS::DIRECTION>& directions = work.m_directions;
  const auto add = [&directions](std::uint32_t difference, std::uint32_t rank) {
    if (!directions.empty() && directions.back().m_difference == difference)
      directions.back().m_max_rank = std::max(directions.back().m_max_rank, rank);
    else
      directions.push_back({difference, 0, rank});
  };
  gather(page, directions, [&](std::uint32_t number) {
    const KEP_NODE_SHAPE& shape = m_tables.m_shapes[number];
    count_steps(std::uint64_t{shape.m_num_fanouts} + shape.m_num_fanins, work);
    m_fanouts.visit(shape.m_first_fanout, shape.m_num_fanouts, add);
    m_fanins.visit(shape.m_first_fanin, shape.m_num_fanins, add);
  });
}

/// Those of the nodes of a page. One that is told absolutely is tested here.
void EDGES::list_mux_inputs(const PAGE& page, WORK& work) {
  gather(page, work.m_mux_inputs, [&](std::uint32_t number) {
    const KEP_SEEN_MUX_INPUTS::RANGE doubtful = m_sets[number].m_mux_inputs;
    count_steps(doubtful.size(), work);
    for (std::uint32_t i = doubtful.m_begin; i != doubtful.m_end; ++i) {
      const KEP_SEEN_WORD word = m_mux_inputs.get_fanout(i);
      if (word.is_absolute())
        m_mux_inputs.check_kind(i, m_kinds.find_kind(kep_get_seen_place(word)));
      else
        work.m_mux_inputs.emplace_back(kep_get_seen_place(word), i);
    }
  });
}

/// Of a page that many places have: direction by direction, and once where several places in turn see a place
/// of one kind there. Places at which that does not tell enough are tested node by node.
void EDGES::check_places(const PAGE& page, WORK& work) {
  const std::span<const std::uint32_t> places = get_places(page);
  std::vector<bool> is_doubtful(places.size());
  bool are_doubtful = false;
  auto mux_input = work.m_mux_inputs.begin();
  for (const KEP_SEEN_LISTS::DIRECTION& direction : work.m_directions) {
    const auto end = std::find_if(mux_input, work.m_mux_inputs.end(),
                                  [&](const auto& each) { return each.first != direction.m_difference; });
    count_steps(places.size(), work);
    std::uint32_t last = KEP_PLACE_KINDS::EMPTY; // none yet
    for (std::size_t i = 0; i != places.size(); ++i) {
      const std::uint32_t kind = m_kinds.find_kind(places[i] + direction.m_difference);
      if (kind == last && kind != KEP_PLACE_KINDS::EMPTY) continue;
      count_steps(static_cast<std::uint64_t>(end - mux_input), work);
      if (is_sound(direction, {mux_input, end}, kind))
        last = kind;
      else
        is_doubtful[i] = are_doubtful = true;
    }
    mux_input = end;
  }
  if (!are_doubtful) return;
  for (std::size_t i = 0; i != places.size(); ++i)
    if (is_doubtful[i]) check_place(page, places[i], work);
}

/// All that is seen in a direction is there, and at places of that kind. Mux inputs that are not are refused.
bool EDGES::is_sound(const KEP_SEEN_LISTS::DIRECTION& direction, std::span<const MUX_INPUT> mux_inputs,
                     std::uint32_t kind) const {
  if (direction.m_max_rank >= m_kinds.get_num_full_ranks(kind)) return false;
  for (const auto& [difference, number] : mux_inputs)
    m_mux_inputs.check_kind(number, kind);
  return true;
}

/// Many at a time, since all threads count.
void EDGES::count_steps(std::uint64_t count, WORK& work) {
  constexpr std::uint64_t MANY = 1 << 16;
  work.m_num_steps += count;
  if (work.m_num_steps < MANY) return;
  m_num_steps += std::exchange(work.m_num_steps, 0);
  require(m_num_steps <= m_max_steps, "so few bytes can't tell so many edges");
}

} // namespace

void kep_verify_graph(const KEP_DATABASE_TABLES& tables) {
  const KEP_GRAPH_TABLES& graph = tables.m_graph;
  constexpr std::size_t MOST = std::numeric_limits<std::uint32_t>::max();
  require(graph.m_fanouts.size() <= MOST && get_size(graph.m_fanins) <= MOST,
          "there are more edges than can be numbered");
  const KEP_PLACE_KINDS kinds(tables);
  EDGES(kinds, graph).check();
}
