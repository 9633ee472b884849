#include "kep/comparison/kep_compared_graph.h"

#include "kep/graph/kep_mux_input_word.h"
#include "kep/graph/kep_node_word.h"
#include "kep/kep_cancelled.h"

#include <algorithm>
#include <utility>

namespace {

const KEP_NODE_PLACES* get_places(const KEP_ROUTING_GRAPH_STORAGE* storage) {
  return storage ? storage->m_places.get() : nullptr;
}

} // namespace

KEP_COMPARED_GRAPH::KEP_COMPARED_GRAPH(const KEP_DB& db, KEP_NAME_NUMBERS& names)
    : m_db(db), m_tables(db.get_routing_template_graph()->m_tables),
      m_places(get_places(db.get_routing_template_graph()->m_storage.get())) {
  name_instances_and_ports(names);
  if (!m_places) return;
  name_nodes();
  list_pages();
}

std::uint32_t KEP_COMPARED_GRAPH::find_place(std::uint32_t occurrence) const {
  if (!m_places) return NONE;
  const std::uint32_t place = m_places->get_occurrence_places().get_place(occurrence);
  return place == KEP_OCCURRENCE_PLACES::NONE || m_places->get_num_nodes(place) == 0 ? NONE : place;
}

void KEP_COMPARED_GRAPH::name_instances_and_ports(KEP_NAME_NUMBERS& names) {
  const std::vector<KEP_MODULE*>& modules = get_unfolding().get_modules();
  m_first_instances.reserve(modules.size());
  m_port_names.reserve(get_unfolding().get_ports().size());
  for (const KEP_PORT* port : get_unfolding().get_ports())
    m_port_names.push_back(names.get(port->get_plain_name()));
  for (const KEP_MODULE* module : modules) {
    kep_throw_if_cancelled();
    m_first_instances.push_back(static_cast<std::uint32_t>(m_instance_names.size()));
    for (const KEP_INSTANCE* instance : module->iter_instances())
      m_instance_names.push_back(names.get(instance->get_plain_name()));
  }
}

void KEP_COMPARED_GRAPH::name_nodes() {
  const KEP_NODE_PLACES::TABLES& tables = m_places->get_tables();
  const std::vector<KEP_MODULE*>& modules = get_unfolding().get_modules();
  m_node_names.reserve(tables.m_keys.size());
  m_ranks_by_name.resize(tables.m_keys.size());
  for (std::uint32_t module = 0; module + 1 != tables.m_first_keys.size(); ++module) {
    const std::uint32_t first = tables.m_first_keys[module];
    const std::uint32_t end = tables.m_first_keys[module + 1];
    for (std::uint32_t i = first; i != end; ++i) {
      const std::uint32_t key = tables.m_keys[i];
      const std::uint32_t number = KEP_NODE_WORD::inst_port(key);
      if (module == modules.size()) {
        m_node_names.push_back(KEP_PORT_NAME::make(0, m_port_names[number]));
        continue;
      }
      const std::uint64_t name = get_name(*modules[module]->get_inst_port_by_number(number));
      m_node_names.push_back(KEP_NODE_WORD::is_hipi(key) ? KEP_PORT_NAME::make_hipi(name) : name);
    }
    for (std::uint32_t i = first; i != end; ++i)
      m_ranks_by_name[i] = i - first;
    const std::uint64_t* names = m_node_names.data() + first;
    std::sort(m_ranks_by_name.begin() + first, m_ranks_by_name.begin() + end,
              [names](std::uint32_t left, std::uint32_t right) {
                return std::pair(names[left], left) < std::pair(names[right], right);
              });
  }
}

void KEP_COMPARED_GRAPH::list_pages() {
  std::unordered_map<std::uint64_t, std::uint32_t> numbers;
  m_pages_of_places.assign(m_places->get_num_places(), NONE);
  for (std::uint32_t place = 0; place != m_places->get_num_places(); ++place) {
    if (m_places->get_num_nodes(place) == 0) continue;
    const std::uint32_t first_shape = m_tables.m_pages[place];
    const std::uint32_t num_ranks = m_places->get_num_ranks(place);
    const auto [found, is_new] = numbers.try_emplace(std::uint64_t{first_shape} << 32 | num_ranks,
                                                     static_cast<std::uint32_t>(m_pages.size()));
    if (is_new) {
      kep_throw_if_cancelled();
      m_pages.push_back(make_page(first_shape, num_ranks));
    }
    m_pages_of_places[place] = found->second;
  }
  m_directions_of_lists.clear();
}

KEP_COMPARED_GRAPH::PAGE KEP_COMPARED_GRAPH::make_page(std::uint32_t first_shape, std::uint32_t num_ranks) {
  PAGE page;
  page.m_first_shape = first_shape;
  page.m_num_ranks = num_ranks;
  std::vector<std::uint32_t> sets;
  sets.reserve(num_ranks);
  for (std::uint32_t rank = 0; rank != num_ranks; ++rank) {
    const std::uint32_t number = get_shape_number(page, rank);
    if (number == KEP_EDGE_TABLES::NO_NODE) {
      page.m_has_all_nodes = false;
      continue;
    }
    const KEP_NODE_SHAPE& shape = m_tables.m_shapes[number];
    page.m_counts.add({1, shape.m_num_real, std::uint64_t{shape.m_num_fanouts} - shape.m_num_real});
    sets.push_back(get_directions_of_list(shape));
  }
  std::sort(sets.begin(), sets.end());
  sets.erase(std::unique(sets.begin(), sets.end()), sets.end());
  DIRECTIONS all;
  for (const std::uint32_t set : sets)
    all.insert(all.end(), m_directions[set]->begin(), m_directions[set]->end());
  page.m_directions = number_directions(std::move(all));
  return page;
}

std::uint32_t KEP_COMPARED_GRAPH::number_directions(DIRECTIONS directions) {
  std::sort(directions.begin(), directions.end());
  directions.erase(std::unique(directions.begin(), directions.end()), directions.end());
  const auto [found, is_new] = m_directions_numbers.try_emplace(
      std::move(directions), static_cast<std::uint32_t>(m_directions.size()));
  if (is_new) m_directions.push_back(&found->first);
  return found->second;
}

std::uint32_t KEP_COMPARED_GRAPH::get_directions_of_list(const KEP_NODE_SHAPE& shape) {
  const auto [found, is_new] =
      m_directions_of_lists.try_emplace(std::uint64_t{shape.m_first_fanout} << 32 | shape.m_num_fanouts, 0);
  if (!is_new) return found->second;
  using DIRECTION = KEP_EDGE_DIRECTION;
  DIRECTIONS directions;
  const auto add = [&directions](const DIRECTION& direction) {
    if (directions.empty() || directions.back() != direction) directions.push_back(direction);
  };
  for (std::uint32_t i = 0; i != shape.m_num_fanouts; ++i) {
    const std::uint32_t position = shape.m_first_fanout + i;
    const KEP_SEEN_WORD word = m_tables.m_fanouts[position];
    add({word.is_absolute() ? DIRECTION::PLACE : DIRECTION::RELATIVE,
         KEP_NODE_WORD::place(word.get_word(0))});
    const std::uint64_t mux_input = m_tables.m_mux_inputs[position].m_bits;
    if (mux_input != KEP_MUX_INPUT_WORD::NONE && KEP_MUX_INPUT_WORD::far_occurrence(mux_input) != 0)
      add({DIRECTION::OCCURRENCE, KEP_MUX_INPUT_WORD::far_occurrence(mux_input)});
  }
  return found->second = number_directions(std::move(directions)); // no list comes in between
}

bool KEP_COMPARED_GRAPH::has_node(std::uint32_t place, std::uint64_t name) const {
  const std::uint32_t module = get_module_at(get_occurrence(place));
  const std::uint64_t* names = get_node_names(module);
  const std::uint32_t* begin = m_ranks_by_name.data() + get_first_keys()[module];
  const std::uint32_t* end = begin + get_num_ranks(module);
  const PAGE& page = get_page_at(place);
  const std::uint32_t* at = std::lower_bound(
      begin, end, name, [names](std::uint32_t rank, std::uint64_t wanted) { return names[rank] < wanted; });
  for (; at != end && names[*at] == name; ++at)
    if (get_shape_number(page, *at) != KEP_EDGE_TABLES::NO_NODE) return true;
  return false;
}
