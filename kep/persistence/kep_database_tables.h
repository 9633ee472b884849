#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/detail/kep_table.h"
#include "kep/detail/kep_unfolding.h"

#include <cstdint>

/// A database as a file keeps it: tables of rows, with numbers instead of pointers. Rows are made of whole
/// words of 8 bytes and hold no bytes but those of their fields, so that files may hold them as they are.
///
/// Modules, ports, instances and nets have the numbers and indices that they have in the model; NONE stands
/// for none. A name is told by where it begins among the bytes of names of its section, each of which ends in
/// a NUL.

struct KEP_MODEL_TABLES {
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  struct MODULE {
    enum MARK : std::uint8_t { IP_ROOT = 1, TRAIT_0 = 2, BLC_BIDIR_BUFFER = 4, FOREIGN = 8, DEVICE_TOP = 16 };
    std::uint32_t m_key = 0;
    std::uint32_t m_name = 0;
    std::uint32_t m_equivalents = NONE; ///< number of the group
    std::uint32_t m_num_ports = 0;
    std::uint32_t m_num_instances = 0;
    std::uint32_t m_num_nets = 0;
    std::uint8_t m_view = 0;
    std::uint8_t m_marks = 0;
    std::uint8_t m_unused[6] = {};
  };
  struct PORT {
    std::uint32_t m_name = 0;
    std::uint32_t m_blc_icd_port_name = 0;
    std::int32_t m_blc_re_index = 0;
    std::uint32_t m_net = NONE;
    std::uint8_t m_direction = 0;
    std::uint8_t m_unused[7] = {};
  };
  struct INSTANCE {
    enum MARK : std::uint8_t { INST_HEADER = 1, TRAIT_0 = 2, BLC_ATOM = 4, BLC_INSERTED_BUFFER = 8 };
    std::uint32_t m_name = 0;
    std::uint32_t m_master = 0;
    std::uint8_t m_marks = 0;
    std::uint8_t m_unused[7] = {};
  };
  static_assert(sizeof(MODULE) == 32 && sizeof(PORT) == 24 && sizeof(INSTANCE) == 16);

  std::uint32_t m_top = 0;
  std::uint8_t m_db_type = 0;
  KEP_TABLE<char> m_names;
  KEP_TABLE<MODULE> m_modules;
  // Module by module.
  KEP_TABLE<PORT> m_ports;
  KEP_TABLE<INSTANCE> m_instances;
  KEP_TABLE<std::uint32_t> m_net_names;
  KEP_TABLE<std::uint32_t> m_inst_port_nets; ///< instance by instance
};

/// What a tool stated about the model.
struct KEP_DESCRIPTION_TABLES {
  static constexpr std::uint32_t NONE = ~std::uint32_t{0};

  struct MUX {
    std::uint32_t m_module = 0;
    std::uint32_t m_is_skip = 0;
  };
  struct SKIP_EXCEPTION {
    std::uint32_t m_mux = 0;
    std::uint32_t m_module = 0;
    std::uint32_t m_instance = 0;
    std::uint32_t m_unused = 0;
  };
  struct ARC {
    std::uint32_t m_input = 0;
    std::uint32_t m_output = 0;
    std::uint32_t m_mux = NONE;
    std::uint32_t m_unused = 0;
  };
  struct FLYOVER {
    std::uint32_t m_input = 0;
    std::uint32_t m_output = 0;
  };
  struct INSERTED_NODE {
    std::uint32_t m_port = 0;
    std::uint32_t m_name = 0;
  };
  struct WIRE_TYPE {
    std::uint32_t m_path[4] = {}; ///< the words of the relative path
    std::uint32_t m_name = 0;
    std::uint32_t m_flags = 0;
  };
  struct SPARE_ROW {
    std::uint32_t m_occurrence = 0; ///< the inner occurrence that holds the instance
    std::uint32_t m_instance = 0;
    std::uint32_t m_is_spare_row = 0;
    std::uint32_t m_unused = 0;
  };

  bool m_is_initialized = false;
  std::uint32_t m_pattern = 0; ///< name
  KEP_TABLE<char> m_names;
  KEP_TABLE<std::uint32_t> m_routing_roots; ///< modules
  KEP_TABLE<MUX> m_muxes;
  KEP_TABLE<SKIP_EXCEPTION> m_skip_exceptions;
  KEP_TABLE<ARC> m_arcs;
  KEP_TABLE<FLYOVER> m_flyovers;
  KEP_TABLE<std::uint8_t> m_port_marks;      ///< by number of the port; none behind the last one marked
  KEP_TABLE<std::uint8_t> m_tunnels;         ///< likewise by module
  KEP_TABLE<std::uint32_t> m_not_template;   ///< modules
  KEP_TABLE<INSERTED_NODE> m_inserted_nodes; ///< by port
  KEP_TABLE<WIRE_TYPE> m_wire_types;         ///< by the words of the path
  KEP_TABLE<SPARE_ROW> m_spare_rows;         ///< by occurrence and instance
};

/// The named tables of relative paths.
struct KEP_PATH_TABLES {
  struct TABLE {
    std::uint32_t m_name = 0;
    std::uint32_t m_num_modules = 0;
  };
  struct MODULE {
    std::uint32_t m_module = 0;
    std::uint32_t m_num_paths = 0;
  };
  struct PATH {
    std::uint32_t m_words[4] = {};
  };
  KEP_TABLE<char> m_names;
  KEP_TABLE<TABLE> m_tables;
  KEP_TABLE<MODULE> m_modules; ///< table by table
  KEP_TABLE<PATH> m_paths;     ///< module by module
};

/// The finished graph. All tables are empty where none was built.
struct KEP_GRAPH_TABLES {
  /// A list of which each distinct word is kept once.
  struct FOLDED_WORDS {
    std::uint32_t m_width = 1;          ///< bytes of a number
    KEP_TABLE<unsigned char> m_numbers; ///< none where words are kept as they are
    KEP_TABLE<KEP_SEEN_WORD> m_words;
  };

  // Places (KEP_OCCURRENCE_PLACES, KEP_NODE_PLACES).
  KEP_TABLE<KEP_MARK_BLOCK> m_placed_occurrences;
  KEP_TABLE<std::uint32_t> m_places;
  KEP_TABLE<std::uint32_t> m_occurrences;
  KEP_TABLE<std::uint32_t> m_first_nodes;
  KEP_TABLE<std::uint32_t> m_near_places;
  KEP_TABLE<KEP_MARK_BLOCK> m_lacking;
  KEP_TABLE<std::uint32_t> m_first_ranks;
  KEP_TABLE<std::uint32_t> m_ranks;
  KEP_TABLE<std::uint32_t> m_first_keys;
  KEP_TABLE<std::uint32_t> m_keys;
  // Edges (KEP_ROUTING_GRAPH_STORAGE).
  KEP_TABLE<std::uint32_t> m_pages;
  std::uint32_t m_width_of_shapes = 1;
  KEP_TABLE<unsigned char> m_shapes_of_nodes;
  KEP_TABLE<KEP_NODE_SHAPE> m_shapes;
  KEP_TABLE<KEP_SEEN_WORD> m_fanouts;
  FOLDED_WORDS m_mux_inputs;
  FOLDED_WORDS m_fanins;
  std::uint64_t m_num_templates = 0;
  std::uint64_t m_num_edges = 0;
  std::uint64_t m_num_real_edges = 0;

  bool is_built() const { return !m_first_nodes.empty(); }
};

struct KEP_DATABASE_TABLES {
  KEP_MODEL_TABLES m_model;
  KEP_TABLE<KEP_OCCURRENCE> m_positions; ///< of KEP_UNFOLDING
  KEP_DESCRIPTION_TABLES m_description;
  KEP_PATH_TABLES m_paths;
  KEP_GRAPH_TABLES m_graph;
};
