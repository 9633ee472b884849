#include "kep/persistence/kep_database_restorer.h"

#include "kep/common/kep_loop.h"
#include "kep/database/kep_db_storage.h"
#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/persistence/kep_graph_verifier.h"
#include "kep/persistence/kep_table_rules.h"

#include <tbb/parallel_invoke.h>

#include <algorithm>
#include <exception>
#include <span>
#include <utility>
#include <vector>

using KEP_TABLE_RULES::CUTTER;
using KEP_TABLE_RULES::in_section;
using KEP_TABLE_RULES::NAMES;
using KEP_TABLE_RULES::require;

namespace {

template <class STEP>
std::exception_ptr catch_failure(const STEP& step) {
  try {
    step();
    return nullptr;
  } catch (...) {
    return std::current_exception();
  }
}

KEP_FOLDED_WORD_LIST make_words(const KEP_GRAPH_TABLES::FOLDED_WORDS& words) {
  return {KEP_PACKED_NUMBER_LIST(words.m_numbers.get_lent(), words.m_width), words.m_words.get_lent()};
}

} // namespace

std::unique_ptr<KEP_DB> KEP_DATABASE_RESTORER::restore() {
  // Both at a time. A failure that left one of them would stop the loops of the other halfway, and silently.
  std::exception_ptr model_failure;
  std::exception_ptr graph_failure;
  const auto restore_all_but_graph = [&] {
    model_failure = catch_failure([this] {
      in_section("model", [this] { restore_model(); });
      in_section("description", [this] { restore_description(); });
      in_section("paths", [this] { restore_paths(); });
    });
  };
  const auto verify_graph = [&] {
    graph_failure = catch_failure([this] {
      in_section("graph", [this] {
        if (m_tables.m_graph.is_built()) kep_verify_graph(m_tables);
      });
    });
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_invoke(restore_all_but_graph, verify_graph, context);
  });
  for (const std::exception_ptr& failure : {model_failure, graph_failure})
    if (failure) std::rethrow_exception(failure);
  restore_graph();
  m_db->m_storage->m_lender = m_lender;
  return std::move(m_db);
}

KEP_MODULE& KEP_DATABASE_RESTORER::get_module(std::uint32_t number) const {
  const std::vector<KEP_MODULE*>& modules = m_db->get_unfolding().get_modules();
  require(number < modules.size(), "a module is not there");
  return *modules[number];
}

KEP_PORT& KEP_DATABASE_RESTORER::get_port(std::uint32_t number) const {
  const std::vector<KEP_PORT*>& ports = m_db->get_unfolding().get_ports();
  require(number < ports.size(), "a port is not there");
  return *ports[number];
}

void KEP_DATABASE_RESTORER::restore_description() {
  const KEP_DESCRIPTION_TABLES& tables = m_tables.m_description;
  KEP_ROUTING_PRIMITIVE& store = m_db->m_graph->m_routing_primitive;
  NAMES names(std::span(tables.m_names), tables.m_inserted_nodes.size() + tables.m_wire_types.size());
  for (const std::uint32_t module : tables.m_routing_roots)
    store.add_routing_root(&get_module(module));
  restore_muxes();
  restore_marks();
  restore_named(names);
  restore_spare_rows();
  store.m_pattern = names.get(tables.m_pattern);
  store.m_is_initialized = tables.m_is_initialized;
}

void KEP_DATABASE_RESTORER::restore_muxes() {
  const KEP_DESCRIPTION_TABLES& tables = m_tables.m_description;
  std::vector<KEP_ROUTING_MUX*> muxes;
  muxes.reserve(tables.m_muxes.size());
  for (const KEP_DESCRIPTION_TABLES::MUX& row : tables.m_muxes)
    muxes.push_back(KEP_ROUTING_MUX::allocate(m_db.get(), &get_module(row.m_module), row.m_is_skip != 0));
  for (const KEP_DESCRIPTION_TABLES::SKIP_EXCEPTION& row : tables.m_skip_exceptions) {
    const KEP_MODULE& module = get_module(row.m_module);
    require(row.m_mux < muxes.size() && row.m_instance < module.get_num_instances(),
            "an exception from skip paths is not there");
    muxes[row.m_mux]->add_skip_exception_instance(module.get_instance_by_index(row.m_instance));
  }
  for (const KEP_DESCRIPTION_TABLES::ARC& row : tables.m_arcs) {
    require(row.m_mux < muxes.size() || row.m_mux == KEP_DESCRIPTION_TABLES::NONE, "a mux is not there");
    KEP_PORT& input = get_port(row.m_input);
    KEP_PORT& output = get_port(row.m_output);
    KEP_ROUTING_MUX* mux = row.m_mux == KEP_DESCRIPTION_TABLES::NONE ? nullptr : muxes[row.m_mux];
    require(input.get_parent() == output.get_parent() && (!mux || mux->get_module() == input.get_parent()),
            "an arc is not inside one module");
    KEP_ROUTING_ARC::allocate(m_db.get(), &input, &output, mux);
  }
  for (const KEP_DESCRIPTION_TABLES::FLYOVER& row : tables.m_flyovers) {
    KEP_PORT& input = get_port(row.m_input);
    KEP_PORT& output = get_port(row.m_output);
    require(input.get_parent() == output.get_parent(), "a flyover is not inside one module");
    KEP_ROUTING_FLYOVER::allocate(m_db.get(), &input, &output);
  }
}

void KEP_DATABASE_RESTORER::restore_marks() {
  const KEP_DESCRIPTION_TABLES& tables = m_tables.m_description;
  KEP_ROUTING_PRIMITIVE& store = m_db->m_graph->m_routing_primitive;
  constexpr unsigned char PLAIN_MARKS = KEP_ROUTING_PRIMITIVE::HIPI_MASK |
                                        KEP_ROUTING_PRIMITIVE::REMOVE_NODE |
                                        KEP_ROUTING_PRIMITIVE::MERGE_DISABLED;
  const std::size_t num_modules = m_db->get_unfolding().get_modules().size();
  require(tables.m_port_marks.size() <= m_db->get_unfolding().get_ports().size(),
          "a marked port is not there");
  for (const std::uint8_t marks : tables.m_port_marks)
    store.m_port_marks.push_back(marks & PLAIN_MARKS); // the others come with what they tell of
  require(tables.m_tunnels.size() <= num_modules, "a module of a tunnel is not there");
  for (const std::uint8_t tunnel : tables.m_tunnels) {
    require(tunnel <= static_cast<std::uint8_t>(KEP_ROUTING_PRIMITIVE_TUNNEL::TARGET),
            "there is no such part of a tunnel");
    store.m_tunnels.push_back(static_cast<KEP_ROUTING_PRIMITIVE_TUNNEL>(tunnel));
  }
  for (const std::uint32_t module : tables.m_not_template)
    store.add_is_not_template(&get_module(module));
}

/// What bears a name.
void KEP_DATABASE_RESTORER::restore_named(NAMES& names) {
  const KEP_DESCRIPTION_TABLES& tables = m_tables.m_description;
  KEP_ROUTING_PRIMITIVE& store = m_db->m_graph->m_routing_primitive;
  for (const KEP_DESCRIPTION_TABLES::INSERTED_NODE& row : tables.m_inserted_nodes)
    store.add_insert_node(&get_port(row.m_port), names.get(row.m_name));
  for (const KEP_DESCRIPTION_TABLES::WIRE_TYPE& row : tables.m_wire_types) {
    require(row.m_flags <= 0xff, "a wire type has flags that are not there");
    store.add_wire_type(get_path(row.m_path), names.get(row.m_name), static_cast<unsigned char>(row.m_flags));
  }
}

void KEP_DATABASE_RESTORER::restore_spare_rows() {
  const KEP_UNFOLDING& unfolding = m_db->get_unfolding();
  for (const KEP_DESCRIPTION_TABLES::SPARE_ROW& row : m_tables.m_description.m_spare_rows) {
    require(row.m_occurrence < unfolding.size(), "an instance of a spare row is not there");
    const KEP_MODULE* module = unfolding.get_module(row.m_occurrence);
    require(module && row.m_instance < module->get_num_instances(),
            "an instance of a spare row is not there");
    m_db->m_legacy_api->set_spare_row({row.m_occurrence, module->get_instance_by_index(row.m_instance)},
                                      row.m_is_spare_row != 0);
  }
}

KEP_RELATIVE_PATH KEP_DATABASE_RESTORER::get_path(const std::uint32_t* words) const {
  KEP_RELATIVE_PATH path;
  std::copy_n(words, path.m_words.size(), path.m_words.begin());
  require(words[3] != 0, "a path leads nowhere");
  const KEP_PORT& port = get_port(words[3] - 1);
  const KEP_MODULE* module = &get_module(words[0]);
  std::uint64_t difference = path.get_difference();
  require(difference < module->get_size(), "a path leads nowhere");
  while (difference != 0) {
    const KEP_SLOT& slot = module->get_slots()[KEP_UNFOLDING::find_slot_of_number(module, difference)];
    difference -= slot.m_number;
    module = slot.m_module;
  }
  require(port.get_parent() == module, "a path leads to a port that is not there");
  return path;
}

void KEP_DATABASE_RESTORER::restore_paths() {
  const KEP_PATH_TABLES& tables = m_tables.m_paths;
  NAMES names(std::span(tables.m_names), tables.m_tables.size());
  CUTTER modules(tables.m_modules.size());
  CUTTER paths(tables.m_paths.size());
  for (const KEP_PATH_TABLES::TABLE& row : tables.m_tables) {
    KEP_RELATIVE_PATH_TABLE& table = m_db->m_storage->m_tables[names.get(row.m_name)];
    const std::size_t first = modules.cut(row.m_num_modules);
    for (std::size_t i = first; i != first + row.m_num_modules; ++i) {
      const KEP_PATH_TABLES::MODULE& of_module = tables.m_modules[i];
      const std::size_t first_path = paths.cut(of_module.m_num_paths);
      restore_paths_of_module(of_module, tables.m_paths.data() + first_path,
                              *table.find_or_create(&get_module(of_module.m_module)));
    }
  }
  modules.finish();
  paths.finish();
}

void KEP_DATABASE_RESTORER::restore_paths_of_module(const KEP_PATH_TABLES::MODULE& row,
                                                    const KEP_PATH_TABLES::PATH* paths,
                                                    KEP_MODULE_RELATIVE_PATHS& to) {
  to.m_index.reserve(to.m_index.size() + row.m_num_paths);
  for (std::uint32_t i = 0; i != row.m_num_paths; ++i) {
    require(paths[i].m_words[0] == row.m_module, "a path starts in another module");
    const KEP_RELATIVE_PATH path = get_path(paths[i].m_words);
    const KEP_PERSISTENT_RELATIVE_PATH*& stored = to.m_index[path];
    if (!stored) stored = &to.m_paths.emplace_back(path);
  }
}

/// Of tables that were tested.
void KEP_DATABASE_RESTORER::restore_graph() {
  const KEP_GRAPH_TABLES& tables = m_tables.m_graph;
  if (!tables.is_built()) return;
  auto storage = std::make_unique<KEP_ROUTING_GRAPH_STORAGE>();
  auto order = std::make_shared<const KEP_OCCURRENCE_PLACES>(KEP_OCCURRENCE_PLACES::TABLES{
      tables.m_placed_occurrences.get_lent(), tables.m_places.get_lent(), tables.m_occurrences.get_lent()});
  storage->m_places = std::make_shared<const KEP_NODE_PLACES>(
      m_db->get_unfolding(), std::move(order),
      KEP_NODE_PLACES::TABLES{tables.m_first_nodes.get_lent(), tables.m_near_places.get_lent(),
                              tables.m_lacking.get_lent(), tables.m_first_ranks.get_lent(),
                              tables.m_ranks.get_lent(), tables.m_first_keys.get_lent(),
                              tables.m_keys.get_lent()});
  storage->m_pages = tables.m_pages.get_lent();
  storage->m_shapes_of_nodes =
      KEP_PACKED_NUMBER_LIST(tables.m_shapes_of_nodes.get_lent(), tables.m_width_of_shapes);
  storage->m_shapes = tables.m_shapes.get_lent();
  storage->m_fanouts = tables.m_fanouts.get_lent();
  storage->m_mux_inputs = make_words(tables.m_mux_inputs);
  storage->m_fanins = make_words(tables.m_fanins);
  storage->m_num_templates = tables.m_num_templates;
  storage->m_num_edges = tables.m_num_edges;
  storage->m_num_real_edges = tables.m_num_real_edges;
  m_db->m_graph->publish(std::move(storage));
}
