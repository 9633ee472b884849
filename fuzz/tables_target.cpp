// The tables that a database file holds, in which some values are changed: whatever is restored of them can
// be walked, checked, traced and built again. What a file adds to them, its form and its checksums, is left
// to the target `database`.

#include "fuzz/check_device.h"
#include "fuzz/device.h"
#include "fuzz/fuzz.h"
#include "fuzz/walk.h"
#include "kep/persistence/kep_database_lister.h"
#include "kep/persistence/kep_database_restorer.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"

#include <cstring>
#include <type_traits>
#include <utility>

namespace {

/// The device of the other targets with redundancy data, wire types and a pattern, so that no table is empty.
std::unique_ptr<KEP_DB> make_database() {
  std::unique_ptr<KEP_DB> db = test_model::make_db(FUZZ::DEVICE);
  KEP_RG_PARSE parse(db.get());
  const std::string description = std::string(FUZZ::DESCRIPTION) +
                                  R"({"op": "add_wire_type", "name": "w", "module": "TOP", "path": "t0/b/u:o"}
{"op": "add_remove_node", "module": "MUX", "view": "BLC", "port": "a"}
{"op": "add_tunnel_type", "module": "FLY", "tunnel": 2}
{"op": "add_module_is_not_template", "module": "TILE"}
{"op": "set_skip_paths", "module": "FAR", "instance": "m", "skip": true}
{"op": "set_non_template_mux_skip_path_inst_name_pattern", "pattern": "z"}
)";
  kep_read_routing_text(db.get(), parse, description, "r.jsonl");
  KEP_RG_PARSE_REDUNDANCY parser(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, 1);
  kep_read_redundancy_text(db.get(), parser, "module_name: TILE\n0 m:b\n1 d/m:b\n", "r.txt");
  FUZZ::build_and_prove(*db, 1);
  return db;
}

/// Calls use(table) with each table, in an order that inputs rely on.
template <class USE>
void for_each_table(KEP_DATABASE_TABLES& tables, const USE& use) {
  const auto use_all = [&use](auto&... each) { (use(each), ...); };
  KEP_MODEL_TABLES& model = tables.m_model;
  use_all(model.m_names, model.m_modules, model.m_ports, model.m_instances, model.m_net_names,
          model.m_inst_port_nets, tables.m_positions);
  KEP_DESCRIPTION_TABLES& stated = tables.m_description;
  use_all(stated.m_names, stated.m_routing_roots, stated.m_muxes, stated.m_skip_exceptions, stated.m_arcs,
          stated.m_flyovers, stated.m_port_marks, stated.m_tunnels, stated.m_not_template,
          stated.m_inserted_nodes, stated.m_wire_types, stated.m_spare_rows);
  KEP_PATH_TABLES& paths = tables.m_paths;
  use_all(paths.m_names, paths.m_tables, paths.m_modules, paths.m_paths);
  KEP_GRAPH_TABLES& graph = tables.m_graph;
  use_all(graph.m_placed_occurrences, graph.m_places, graph.m_occurrences, graph.m_first_nodes,
          graph.m_near_places, graph.m_lacking, graph.m_first_ranks, graph.m_ranks, graph.m_first_keys,
          graph.m_keys, graph.m_pages, graph.m_shapes_of_nodes, graph.m_shapes, graph.m_fanouts,
          graph.m_mux_inputs.m_numbers, graph.m_mux_inputs.m_words, graph.m_fanins.m_numbers,
          graph.m_fanins.m_words);
}

/// Likewise with each number that stands alone.
template <class USE>
void for_each_number(KEP_DATABASE_TABLES& tables, const USE& use) {
  const auto use_all = [&use](auto&... each) { (use(each), ...); };
  KEP_GRAPH_TABLES& graph = tables.m_graph;
  use_all(tables.m_model.m_top, tables.m_model.m_db_type, tables.m_description.m_pattern,
          graph.m_width_of_shapes, graph.m_mux_inputs.m_width, graph.m_fanins.m_width, graph.m_num_templates,
          graph.m_num_edges, graph.m_num_real_edges);
}

/// One change, as an input tells it.
struct CHANGE {
  enum KIND : std::uint8_t { SET, ADD, COPY, CUT, DOUBLE, NUM_KINDS };

  std::uint8_t m_table;
  std::uint8_t m_kind;
  std::uint16_t m_at;
  std::uint32_t m_value;
};
static_assert(sizeof(CHANGE) == 8);

/// Rows as the bytes of 32-bit words that they are made of, or of single bytes.
template <class T>
void change(KEP_TABLE<T>& table, const CHANGE& change) {
  using UNIT = std::conditional_t<sizeof(T) % sizeof(std::uint32_t) == 0, std::uint32_t, std::uint8_t>;
  std::vector<T> rows(table.begin(), table.end());
  if (rows.empty()) rows.resize(1);
  const std::size_t num_units = rows.size() * sizeof(T) / sizeof(UNIT);
  auto* bytes = reinterpret_cast<unsigned char*>(rows.data());
  const auto at = [&](std::size_t unit) { return bytes + unit % num_units * sizeof(UNIT); };
  UNIT unit{};
  std::memcpy(&unit, at(change.m_at), sizeof(UNIT));
  switch (change.m_kind % CHANGE::NUM_KINDS) {
  case CHANGE::SET:
    unit = static_cast<UNIT>(change.m_value);
    break;
  case CHANGE::ADD:
    unit = static_cast<UNIT>(unit + change.m_value);
    break;
  case CHANGE::COPY:
    std::memcpy(&unit, at(change.m_value), sizeof(UNIT));
    break;
  case CHANGE::CUT:
    rows.resize(change.m_at % rows.size());
    table = std::move(rows);
    return;
  default:
    rows.push_back(rows[change.m_at % rows.size()]);
    table = std::move(rows);
    return;
  }
  std::memcpy(at(change.m_at), &unit, sizeof(UNIT));
  table = std::move(rows);
}

void change(KEP_DATABASE_TABLES& tables, const CHANGE& what) {
  unsigned number = 0;
  for_each_table(tables, [&](auto& table) {
    if (number++ == what.m_table) change(table, what);
  });
  for_each_number(tables, [&](auto& value) {
    if (number++ == what.m_table) value = static_cast<std::remove_reference_t<decltype(value)>>(what.m_value);
  });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  static const std::unique_ptr<KEP_DB> original = make_database();
  static const std::string original_text = FUZZ::WALK(*original).get_text();
  KEP_DATABASE_TABLES tables = KEP_DATABASE_LISTER(*original).list();
  for (std::size_t at = 0; at + sizeof(CHANGE) <= size; at += sizeof(CHANGE)) {
    CHANGE what;
    std::memcpy(&what, data + at, sizeof(CHANGE));
    change(tables, what);
  }
  std::unique_ptr<KEP_DB> db;
  try {
    db = KEP_DATABASE_RESTORER(tables, nullptr).restore();
  } catch (const KEP_DB_ERROR&) {
    require(size >= sizeof(CHANGE), "unchanged tables are restored");
    return 0;
  }
  const std::string text = FUZZ::WALK(*db).get_text();
  if (size < sizeof(CHANGE)) require_equal(text, original_text, "unchanged tables give the same device");
  FUZZ::check_device(*db, text == original_text);
  return 0;
}
