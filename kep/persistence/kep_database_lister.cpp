#include "kep/persistence/kep_database_lister.h"

#include "kep/database/kep_db_storage.h"
#include "kep/graph/kep_routing_graph_storage.h"
#include "kep/persistence/kep_name_table.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t NO_ROW = KEP_MODEL_TABLES::NONE;

std::uint32_t get_net_number(const KEP_NET* net) {
  return net ? net->get_index() : NO_ROW;
}

/// A row for each element.
template <class FROM, class MAKE>
auto list_rows(const FROM& from, const MAKE& make) {
  std::vector<decltype(make(*from.begin()))> rows;
  rows.reserve(from.size());
  for (const auto& each : from)
    rows.push_back(make(each));
  return rows;
}

/// The rows of one module after the other.
class MODEL_LISTER {
public:
  void add(const KEP_MODULE& module, bool is_foreign, bool is_device_top, std::uint32_t equivalents);
  KEP_MODEL_TABLES take() {
    KEP_MODEL_TABLES tables;
    tables.m_names = m_names.take();
    tables.m_modules = std::move(m_modules);
    tables.m_ports = std::move(m_ports);
    tables.m_instances = std::move(m_instances);
    tables.m_net_names = std::move(m_net_names);
    tables.m_inst_port_nets = std::move(m_inst_port_nets);
    return tables;
  }

private:
  void add_contents(const KEP_MODULE& module);

  KEP_NAME_TABLE m_names;
  std::vector<KEP_MODEL_TABLES::MODULE> m_modules;
  std::vector<KEP_MODEL_TABLES::PORT> m_ports;
  std::vector<KEP_MODEL_TABLES::INSTANCE> m_instances;
  std::vector<std::uint32_t> m_net_names;
  std::vector<std::uint32_t> m_inst_port_nets;
};

void MODEL_LISTER::add(const KEP_MODULE& module, bool is_foreign, bool is_device_top,
                       std::uint32_t equivalents) {
  using ROW = KEP_MODEL_TABLES::MODULE;
  ROW& row = m_modules.emplace_back();
  row.m_key = m_names.add(module.get_key());
  row.m_name = m_names.add(module.get_plain_name());
  row.m_equivalents = equivalents;
  row.m_num_ports = module.get_num_ports();
  row.m_num_instances = module.get_num_instances();
  row.m_num_nets = module.get_num_nets();
  row.m_view = static_cast<std::uint8_t>(module.get_view_type());
  const auto mark = [&row](bool is_set, ROW::MARK bit) {
    if (is_set) row.m_marks = static_cast<std::uint8_t>(row.m_marks | bit);
  };
  mark(module.has_trait(KEP_MODULE::TRAIT::IP_ROOT), ROW::IP_ROOT);
  mark(module.has_trait(KEP_MODULE::TRAIT::TRAIT_0), ROW::TRAIT_0);
  mark(module.get_is_blc_bidir_buffer(), ROW::BLC_BIDIR_BUFFER);
  mark(is_foreign, ROW::FOREIGN);
  mark(is_device_top, ROW::DEVICE_TOP);
  add_contents(module);
}

void MODEL_LISTER::add_contents(const KEP_MODULE& module) {
  for (const KEP_PORT* port : module.iter_ports()) {
    KEP_MODEL_TABLES::PORT& row = m_ports.emplace_back();
    row.m_name = m_names.add(port->get_plain_name());
    row.m_blc_icd_port_name = m_names.add(port->get_plain_blc_icd_port_name());
    row.m_blc_re_index = port->get_blc_re_index();
    row.m_net = get_net_number(port->get_net());
    row.m_direction = static_cast<std::uint8_t>(
        port->is_input() ? KEP_PORT_DIRECTION::INPUT
                         : (port->is_output() ? KEP_PORT_DIRECTION::OUTPUT : KEP_PORT_DIRECTION::BIDIR));
  }
  for (const KEP_INSTANCE* instance : module.iter_instances()) {
    using ROW = KEP_MODEL_TABLES::INSTANCE;
    ROW& row = m_instances.emplace_back();
    row.m_name = m_names.add(instance->get_plain_name());
    row.m_master = instance->get_module()->get_number();
    row.m_marks =
        static_cast<std::uint8_t>((instance->get_inst_header() ? ROW::INST_HEADER : 0) |
                                  (instance->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0) ? ROW::TRAIT_0 : 0) |
                                  (instance->is_blc_atom() ? ROW::BLC_ATOM : 0) |
                                  (instance->get_blc_is_inserted_buffer() ? ROW::BLC_INSERTED_BUFFER : 0));
  }
  for (const KEP_NET* net : module.iter_nets())
    m_net_names.push_back(m_names.add(net->get_plain_name()));
  for (unsigned i = 0; i != module.get_num_inst_ports(); ++i)
    m_inst_port_nets.push_back(get_net_number(module.get_inst_port_by_number(i)->get_net()));
}

KEP_GRAPH_TABLES::FOLDED_WORDS list_words(const KEP_FOLDED_WORD_LIST& list) {
  return {list.get_numbers().get_width(), list.get_numbers().get_bytes().get_lent(),
          list.get_words().get_lent()};
}

} // namespace

KEP_DATABASE_TABLES KEP_DATABASE_LISTER::list() const {
  return {list_model(), m_db.get_unfolding().m_occurrences.get_lent(), list_description(), list_paths(),
          list_graph()};
}

KEP_MODEL_TABLES KEP_DATABASE_LISTER::list_model() const {
  const KEP_MODULE* top = m_db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  // Groups by the first of their modules.
  std::unordered_map<const void*, std::uint32_t> groups;
  MODEL_LISTER lister;
  for (const KEP_MODULE* module : m_db.get_unfolding().get_modules()) {
    const void* group = module->get_equivalents();
    const std::uint32_t number =
        group ? groups.try_emplace(group, static_cast<std::uint32_t>(groups.size())).first->second : NO_ROW;
    lister.add(*module, module->get_db() != &m_db, module == top && m_db.is_device_top(), number);
  }
  KEP_MODEL_TABLES tables = lister.take();
  tables.m_top = top->get_number();
  tables.m_db_type = static_cast<std::uint8_t>(m_db.get_db_type());
  return tables;
}

KEP_DESCRIPTION_TABLES KEP_DATABASE_LISTER::list_description() const {
  const KEP_ROUTING_PRIMITIVE& store = m_db.m_graph->m_routing_primitive;
  KEP_DESCRIPTION_TABLES tables;
  KEP_NAME_TABLE names;
  tables.m_is_initialized = store.m_is_initialized;
  tables.m_pattern = names.add(store.m_pattern);

  tables.m_routing_roots =
      list_rows(store.m_routing_roots, [](const KEP_MODULE* module) { return module->get_number(); });

  std::unordered_map<const KEP_ROUTING_MUX*, std::uint32_t> mux_numbers;
  std::vector<KEP_DESCRIPTION_TABLES::MUX> muxes;
  muxes.reserve(store.m_muxes.size());
  std::vector<KEP_DESCRIPTION_TABLES::SKIP_EXCEPTION> exceptions;
  for (const KEP_ROUTING_MUX* mux : store.m_muxes) {
    const auto number = static_cast<std::uint32_t>(muxes.size());
    mux_numbers.emplace(mux, number);
    muxes.push_back({mux->get_module()->get_number(), mux->get_skip()});
    for (const KEP_INSTANCE* instance : mux->iter_skip_exception_instances())
      exceptions.push_back({number, instance->get_parent()->get_number(), instance->get_index()});
  }
  tables.m_muxes = std::move(muxes);
  tables.m_skip_exceptions = std::move(exceptions);

  tables.m_arcs = list_rows(store.m_arcs, [&](const KEP_ROUTING_ARC* arc) {
    return KEP_DESCRIPTION_TABLES::ARC{arc->get_input()->get_number(), arc->get_output()->get_number(),
                                       arc->get_parent() ? mux_numbers.at(arc->get_parent()) : NO_ROW, 0};
  });
  tables.m_flyovers = list_rows(store.m_flyovers, [](const KEP_ROUTING_FLYOVER* flyover) {
    return KEP_DESCRIPTION_TABLES::FLYOVER{flyover->get_input()->get_number(),
                                           flyover->get_output()->get_number()};
  });
  list_marks(store, tables, names);
  list_spare_rows(tables);
  tables.m_names = names.take();
  return tables;
}

void KEP_DATABASE_LISTER::list_marks(const KEP_ROUTING_PRIMITIVE& store, KEP_DESCRIPTION_TABLES& tables,
                                     KEP_NAME_TABLE& names) const {
  tables.m_port_marks = store.m_port_marks;
  tables.m_tunnels = list_rows(
      store.m_tunnels, [](KEP_ROUTING_PRIMITIVE_TUNNEL tunnel) { return static_cast<std::uint8_t>(tunnel); });
  std::vector<std::uint32_t> not_template;
  for (std::uint32_t i = 0; i != store.m_not_template.size(); ++i)
    if (store.m_not_template[i]) not_template.push_back(i);
  tables.m_not_template = std::move(not_template);

  // Sorted before names are added, whose order shows.
  auto inserted = list_rows(store.m_insert_node_names, [](const auto& each) {
    return std::pair<std::uint32_t, const std::string*>(each.first->get_number(), &each.second);
  });
  std::sort(inserted.begin(), inserted.end());
  tables.m_inserted_nodes = list_rows(inserted, [&names](const auto& each) {
    return KEP_DESCRIPTION_TABLES::INSERTED_NODE{each.first, names.add(*each.second)};
  });
  auto types = list_rows(store.m_wire_types, [](const auto& each) {
    return std::pair<std::array<std::uint32_t, 4>, const KEP_WIRE_TYPE*>(each.first.get_words(),
                                                                         each.second.get());
  });
  std::sort(types.begin(), types.end());
  tables.m_wire_types = list_rows(types, [&names](const auto& each) {
    KEP_DESCRIPTION_TABLES::WIRE_TYPE row;
    std::copy(each.first.begin(), each.first.end(), row.m_path);
    row.m_name = names.add(each.second->get_name());
    row.m_flags = each.second->get_flags();
    return row;
  });
}

void KEP_DATABASE_LISTER::list_spare_rows(KEP_DESCRIPTION_TABLES& tables) const {
  auto rows = list_rows(m_db.m_legacy_api->m_table->m_attributes, [](const auto& each) {
    const auto& [instance, attributes] = each;
    return KEP_DESCRIPTION_TABLES::SPARE_ROW{static_cast<std::uint32_t>(instance.m_position),
                                             instance.m_object->get_index(), attributes.is_spare_row(), 0};
  });
  std::sort(rows.begin(), rows.end(), [](const auto& left, const auto& right) {
    return std::pair(left.m_occurrence, left.m_instance) < std::pair(right.m_occurrence, right.m_instance);
  });
  tables.m_spare_rows = std::move(rows);
}

KEP_PATH_TABLES KEP_DATABASE_LISTER::list_paths() const {
  KEP_NAME_TABLE names;
  std::vector<KEP_PATH_TABLES::TABLE> tables;
  std::vector<KEP_PATH_TABLES::MODULE> modules;
  std::vector<KEP_PATH_TABLES::PATH> paths;
  for (const auto& [name, table] : m_db.m_storage->m_tables) {
    tables.push_back({names.add(name), static_cast<std::uint32_t>(table.get_all().size())});
    for (const KEP_MODULE_RELATIVE_PATHS& of_module : table.get_all()) {
      modules.push_back(
          {of_module.m_module->get_number(), static_cast<std::uint32_t>(of_module.m_paths.size())});
      for (const KEP_PERSISTENT_RELATIVE_PATH& path : of_module.m_paths) {
        const auto& words = path.get_path().get_words();
        std::copy(words.begin(), words.end(), paths.emplace_back().m_words);
      }
    }
  }
  return {names.take(), std::move(tables), std::move(modules), std::move(paths)};
}

KEP_GRAPH_TABLES KEP_DATABASE_LISTER::list_graph() const {
  const KEP_ROUTING_GRAPH_STORAGE* storage = m_db.m_graph->m_storage.get();
  if (!storage) return {};
  const auto& order = storage->m_places->get_occurrence_places().get_tables();
  const KEP_NODE_PLACES::TABLES& places = storage->m_places->get_tables();
  return {order.m_marks.get_lent(),
          order.m_places.get_lent(),
          order.m_occurrences.get_lent(),
          places.m_first_nodes.get_lent(),
          places.m_near_places.get_lent(),
          places.m_lacking.get_lent(),
          places.m_first_ranks.get_lent(),
          places.m_ranks.get_lent(),
          places.m_first_keys.get_lent(),
          places.m_keys.get_lent(),
          storage->m_pages.get_lent(),
          storage->m_shapes_of_nodes.get_width(),
          storage->m_shapes_of_nodes.get_bytes().get_lent(),
          storage->m_shapes.get_lent(),
          storage->m_fanouts.get_lent(),
          list_words(storage->m_mux_inputs),
          list_words(storage->m_fanins),
          storage->m_num_templates,
          storage->m_num_edges,
          storage->m_num_real_edges};
}
