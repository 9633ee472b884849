#include "kep/persistence/kep_shape_pages.h"

#include "kep/common/kep_parts.h"
#include "kep/persistence/kep_packed_rules.h"

#include <algorithm>
#include <limits>
#include <utility>

using KEP_TABLE_RULES::require;

namespace {

constexpr std::size_t RANKS_AT_A_TIME = 1 << 16;

} // namespace

KEP_SHAPE_PAGES::KEP_SHAPE_PAGES(const KEP_PLACE_KINDS& kinds, const KEP_GRAPH_TABLES& tables)
    : m_kinds(kinds), m_tables(tables),
      m_num_ranks(KEP_PACKED_RULES::get_size(tables.m_shapes_of_nodes, tables.m_width_of_shapes)),
      m_shapes_of_nodes(
          KEP_PACKED_RULES::get_numbers(tables.m_shapes_of_nodes, tables.m_width_of_shapes, m_num_ranks)) {
  require(m_num_ranks <= std::numeric_limits<std::uint32_t>::max(),
          "there are more nodes than can be numbered");
  require(tables.m_pages.size() == kinds.get_num_places(), "not every place has a page");
  check_shapes();
  list_pages();
  check_pages_apart();
}

/// All of them, those of no page and the one behind the last, too: whoever reads edge after edge looks ahead.
void KEP_SHAPE_PAGES::check_shapes() const {
  kep_for_parts(m_num_ranks + 1, RANKS_AT_A_TIME, [&](std::size_t begin, std::size_t end) {
    std::uint32_t largest = 0;
    for (std::size_t i = begin; i != end; ++i)
      largest = std::max(largest, m_shapes_of_nodes.get(i));
    require(largest < m_tables.m_shapes.size(), "a shape is not there");
  });
  for (const std::uint32_t first : m_tables.m_pages)
    require(first <= m_num_ranks, "a page is not there");
}

/// Places by their pages.
void KEP_SHAPE_PAGES::list_pages() {
  constexpr std::uint32_t NO_PAGE = ~std::uint32_t{0};
  std::vector<std::uint32_t> page_at(m_num_ranks, NO_PAGE);
  const auto for_places = [&](const auto& use) {
    for (std::uint32_t place = 0; place != m_kinds.get_num_places(); ++place)
      if (m_kinds.get_kind(place) != KEP_PLACE_KINDS::EMPTY) use(place, m_tables.m_pages[place]);
  };
  for_places([&](std::uint32_t place, std::uint32_t first) {
    const std::uint32_t num_ranks = m_kinds.get_num_ranks(m_kinds.get_kind(place));
    require(num_ranks <= m_num_ranks - first, "a page is not there");
    if (page_at[first] == NO_PAGE) {
      page_at[first] = static_cast<std::uint32_t>(m_pages.size());
      m_pages.push_back({first, num_ranks, 0, 0});
    }
    PAGE& page = m_pages[page_at[first]];
    require(page.m_num_ranks == num_ranks, "places of unlike modules share a page");
    ++page.m_num_places;
  });
  std::uint32_t num_places = 0;
  for (PAGE& page : m_pages)
    page.m_first_place = std::exchange(num_places, num_places + std::exchange(page.m_num_places, 0));
  m_places_by_page.resize(num_places);
  for_places([&](std::uint32_t place, std::uint32_t first) {
    PAGE& page = m_pages[page_at[first]];
    m_places_by_page[page.m_first_place + page.m_num_places++] = place;
  });
}

/// Each rank is of one page, so that pages don't name more nodes than there are bytes.
void KEP_SHAPE_PAGES::check_pages_apart() const {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> pages;
  pages.reserve(m_pages.size());
  for (const PAGE& page : m_pages)
    pages.emplace_back(page.m_first_rank, page.m_num_ranks);
  if (!std::is_sorted(pages.begin(), pages.end())) std::sort(pages.begin(), pages.end());
  for (std::size_t i = 1; i < pages.size(); ++i)
    require(pages[i].first - pages[i - 1].first >= pages[i - 1].second, "pages overlap");
}
