#include "kep_io/database/kep_database_sections.h"

#include "kep_io/database/kep_message_tables.h"

using KEP_MESSAGE_TABLES::get;
using KEP_MESSAGE_TABLES::put;

// A row of a table and of a list are the same bytes; put() and get() test their sizes.

void kep_put_section(const KEP_MODEL_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Model::Builder to) {
  to.setTop(tables.m_top);
  to.setDbType(tables.m_db_type);
  put(tables.m_names, max_chunk_bytes, [&to](unsigned count) { return to.initNames(count); });
  put(tables.m_modules, max_chunk_bytes, [&to](unsigned count) { return to.initModules(count); });
  put(tables.m_ports, max_chunk_bytes, [&to](unsigned count) { return to.initPorts(count); });
  put(tables.m_instances, max_chunk_bytes, [&to](unsigned count) { return to.initInstances(count); });
  put(tables.m_net_names, max_chunk_bytes, [&to](unsigned count) { return to.initNetNames(count); });
  put(tables.m_inst_port_nets, max_chunk_bytes, [&to](unsigned count) { return to.initInstPortNets(count); });
}

KEP_MODEL_TABLES kep_get_section(KEP_CAPNP::Model::Reader from) {
  KEP_MODEL_TABLES tables;
  tables.m_top = from.getTop();
  tables.m_db_type = from.getDbType();
  tables.m_names = get<char>(from.getNames());
  tables.m_modules = get<KEP_MODEL_TABLES::MODULE>(from.getModules());
  tables.m_ports = get<KEP_MODEL_TABLES::PORT>(from.getPorts());
  tables.m_instances = get<KEP_MODEL_TABLES::INSTANCE>(from.getInstances());
  tables.m_net_names = get<std::uint32_t>(from.getNetNames());
  tables.m_inst_port_nets = get<std::uint32_t>(from.getInstPortNets());
  return tables;
}

void kep_put_section(const KEP_TABLE<KEP_OCCURRENCE>& positions, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Positions::Builder to) {
  put(positions, max_chunk_bytes, [&to](unsigned count) { return to.initOccurrences(count); });
}

KEP_TABLE<KEP_OCCURRENCE> kep_get_section(KEP_CAPNP::Positions::Reader from) {
  return get<KEP_OCCURRENCE>(from.getOccurrences());
}

void kep_put_section(const KEP_DESCRIPTION_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Description::Builder to) {
  to.setIsInitialized(tables.m_is_initialized);
  to.setPattern(tables.m_pattern);
  put(tables.m_names, max_chunk_bytes, [&to](unsigned count) { return to.initNames(count); });
  put(tables.m_routing_roots, max_chunk_bytes, [&to](unsigned count) { return to.initRoutingRoots(count); });
  put(tables.m_muxes, max_chunk_bytes, [&to](unsigned count) { return to.initMuxes(count); });
  put(tables.m_skip_exceptions, max_chunk_bytes,
      [&to](unsigned count) { return to.initSkipExceptions(count); });
  put(tables.m_arcs, max_chunk_bytes, [&to](unsigned count) { return to.initArcs(count); });
  put(tables.m_flyovers, max_chunk_bytes, [&to](unsigned count) { return to.initFlyovers(count); });
  put(tables.m_port_marks, max_chunk_bytes, [&to](unsigned count) { return to.initPortMarks(count); });
  put(tables.m_tunnels, max_chunk_bytes, [&to](unsigned count) { return to.initTunnels(count); });
  put(tables.m_not_template, max_chunk_bytes, [&to](unsigned count) { return to.initNotTemplate(count); });
  put(tables.m_inserted_nodes, max_chunk_bytes,
      [&to](unsigned count) { return to.initInsertedNodes(count); });
  put(tables.m_wire_types, max_chunk_bytes, [&to](unsigned count) { return to.initWireTypes(count); });
  put(tables.m_spare_rows, max_chunk_bytes, [&to](unsigned count) { return to.initSpareRows(count); });
}

KEP_DESCRIPTION_TABLES kep_get_section(KEP_CAPNP::Description::Reader from) {
  KEP_DESCRIPTION_TABLES tables;
  tables.m_is_initialized = from.getIsInitialized();
  tables.m_pattern = from.getPattern();
  tables.m_names = get<char>(from.getNames());
  tables.m_routing_roots = get<std::uint32_t>(from.getRoutingRoots());
  tables.m_muxes = get<KEP_DESCRIPTION_TABLES::MUX>(from.getMuxes());
  tables.m_skip_exceptions = get<KEP_DESCRIPTION_TABLES::SKIP_EXCEPTION>(from.getSkipExceptions());
  tables.m_arcs = get<KEP_DESCRIPTION_TABLES::ARC>(from.getArcs());
  tables.m_flyovers = get<KEP_DESCRIPTION_TABLES::FLYOVER>(from.getFlyovers());
  tables.m_port_marks = get<std::uint8_t>(from.getPortMarks());
  tables.m_tunnels = get<std::uint8_t>(from.getTunnels());
  tables.m_not_template = get<std::uint32_t>(from.getNotTemplate());
  tables.m_inserted_nodes = get<KEP_DESCRIPTION_TABLES::INSERTED_NODE>(from.getInsertedNodes());
  tables.m_wire_types = get<KEP_DESCRIPTION_TABLES::WIRE_TYPE>(from.getWireTypes());
  tables.m_spare_rows = get<KEP_DESCRIPTION_TABLES::SPARE_ROW>(from.getSpareRows());
  return tables;
}

void kep_put_section(const KEP_PATH_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Paths::Builder to) {
  put(tables.m_names, max_chunk_bytes, [&to](unsigned count) { return to.initNames(count); });
  put(tables.m_tables, max_chunk_bytes, [&to](unsigned count) { return to.initTables(count); });
  put(tables.m_modules, max_chunk_bytes, [&to](unsigned count) { return to.initModules(count); });
  put(tables.m_paths, max_chunk_bytes, [&to](unsigned count) { return to.initPaths(count); });
}

KEP_PATH_TABLES kep_get_section(KEP_CAPNP::Paths::Reader from) {
  KEP_PATH_TABLES tables;
  tables.m_names = get<char>(from.getNames());
  tables.m_tables = get<KEP_PATH_TABLES::TABLE>(from.getTables());
  tables.m_modules = get<KEP_PATH_TABLES::MODULE>(from.getModules());
  tables.m_paths = get<KEP_PATH_TABLES::PATH>(from.getPaths());
  return tables;
}

namespace {

void put_words(const KEP_GRAPH_TABLES::FOLDED_WORDS& words, std::size_t max_chunk_bytes,
               KEP_CAPNP::Words::Builder to) {
  to.setWidth(static_cast<std::uint8_t>(words.m_width));
  put(words.m_numbers, max_chunk_bytes, [&to](unsigned count) { return to.initNumbers(count); });
  put(words.m_words, max_chunk_bytes, [&to](unsigned count) { return to.initWords(count); });
}

KEP_GRAPH_TABLES::FOLDED_WORDS get_words(KEP_CAPNP::Words::Reader from) {
  return {from.getWidth(), get<unsigned char>(from.getNumbers()), get<KEP_SEEN_WORD>(from.getWords())};
}

} // namespace

void kep_put_section(const KEP_GRAPH_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Graph::Builder to) {
  to.setWidthOfShapes(static_cast<std::uint8_t>(tables.m_width_of_shapes));
  to.setNumTemplates(tables.m_num_templates);
  to.setNumEdges(tables.m_num_edges);
  to.setNumRealEdges(tables.m_num_real_edges);
  put(tables.m_placed_occurrences, max_chunk_bytes,
      [&to](unsigned count) { return to.initPlacedOccurrences(count); });
  put(tables.m_places, max_chunk_bytes, [&to](unsigned count) { return to.initPlaces(count); });
  put(tables.m_occurrences, max_chunk_bytes, [&to](unsigned count) { return to.initOccurrences(count); });
  put(tables.m_first_nodes, max_chunk_bytes, [&to](unsigned count) { return to.initFirstNodes(count); });
  put(tables.m_near_places, max_chunk_bytes, [&to](unsigned count) { return to.initNearPlaces(count); });
  put(tables.m_lacking, max_chunk_bytes, [&to](unsigned count) { return to.initLacking(count); });
  put(tables.m_first_ranks, max_chunk_bytes, [&to](unsigned count) { return to.initFirstRanks(count); });
  put(tables.m_ranks, max_chunk_bytes, [&to](unsigned count) { return to.initRanks(count); });
  put(tables.m_first_keys, max_chunk_bytes, [&to](unsigned count) { return to.initFirstKeys(count); });
  put(tables.m_keys, max_chunk_bytes, [&to](unsigned count) { return to.initKeys(count); });
  put(tables.m_pages, max_chunk_bytes, [&to](unsigned count) { return to.initPages(count); });
  put(tables.m_shapes_of_nodes, max_chunk_bytes,
      [&to](unsigned count) { return to.initShapesOfNodes(count); });
  put(tables.m_shapes, max_chunk_bytes, [&to](unsigned count) { return to.initShapes(count); });
  put(tables.m_fanouts, max_chunk_bytes, [&to](unsigned count) { return to.initFanouts(count); });
  put_words(tables.m_mux_inputs, max_chunk_bytes, to.initMuxInputs());
  put_words(tables.m_fanins, max_chunk_bytes, to.initFanins());
}

KEP_GRAPH_TABLES kep_get_section(KEP_CAPNP::Graph::Reader from) {
  KEP_GRAPH_TABLES tables;
  tables.m_width_of_shapes = from.getWidthOfShapes();
  tables.m_num_templates = from.getNumTemplates();
  tables.m_num_edges = from.getNumEdges();
  tables.m_num_real_edges = from.getNumRealEdges();
  tables.m_placed_occurrences = get<KEP_MARK_BLOCK>(from.getPlacedOccurrences());
  tables.m_places = get<std::uint32_t>(from.getPlaces());
  tables.m_occurrences = get<std::uint32_t>(from.getOccurrences());
  tables.m_first_nodes = get<std::uint32_t>(from.getFirstNodes());
  tables.m_near_places = get<std::uint32_t>(from.getNearPlaces());
  tables.m_lacking = get<KEP_MARK_BLOCK>(from.getLacking());
  tables.m_first_ranks = get<std::uint32_t>(from.getFirstRanks());
  tables.m_ranks = get<std::uint32_t>(from.getRanks());
  tables.m_first_keys = get<std::uint32_t>(from.getFirstKeys());
  tables.m_keys = get<std::uint32_t>(from.getKeys());
  tables.m_pages = get<std::uint32_t>(from.getPages());
  tables.m_shapes_of_nodes = get<unsigned char>(from.getShapesOfNodes());
  tables.m_shapes = get<KEP_NODE_SHAPE>(from.getShapes());
  tables.m_fanouts = get<KEP_SEEN_WORD>(from.getFanouts());
  tables.m_mux_inputs = get_words(from.getMuxInputs());
  tables.m_fanins = get_words(from.getFanins());
  return tables;
}
