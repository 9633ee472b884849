#include "tools/kep-rg/generate/generate_options.h"

#include "tools/kep-rg/generate/generate_check.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using LIMITS = GENERATE_LIMITS;

CLI::Validator range(std::uint64_t low, std::uint64_t high) {
  return CLI::Range(low, high);
}

/// Numbers in one argument, with a comma between them.
CLI::Option* add_list(CLI::App& app, const std::string& name, std::vector<std::uint32_t>& values,
                      std::uint32_t high, const std::string& help) {
  return app.add_option(name, values, help)
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(range(1, high))
      ->type_name("N[,N...]")
      ->capture_default_str();
}

template <class VALUE>
CLI::Option* add_number(CLI::App& app, const std::string& name, VALUE& value, std::uint64_t low,
                        std::uint64_t high, const std::string& help) {
  return app.add_option(name, value, help)->check(range(low, high))->type_name("N")->capture_default_str();
}

/// A word for a value; the words stand in the order of the values.
template <class VALUE, std::size_t COUNT>
CLI::Option* add_choice(CLI::App& app, const std::string& name, VALUE& value,
                        const std::array<const char*, COUNT>& words, const std::string& help) {
  const auto choose = [&value, &words](const std::string& word) {
    value = static_cast<VALUE>(std::find(words.begin(), words.end(), word) - words.begin());
  };
  return app.add_option_function<std::string>(name, choose, help)
      ->check(CLI::IsMember(std::vector<std::string>(words.begin(), words.end())).description(""))
      ->type_name(fmt::format("{}", fmt::join(words, "|")))
      ->default_str(words[static_cast<std::size_t>(value)]);
}

void add_form(CLI::App& app, GENERATE_OPTIONS& options) {
  add_choice(
      app, "--form", options.m_form, GENERATE_FORM_NAMES,
      "tiles: copies of a tile; grids: blocks of each kind side by side in the top; one module of muxes "
      "that read any others (random) or those next to them (near), that drive and read one net (net), or "
      "of which each drives all behind it (chain)");
  add_choice(app, "--order", options.m_order, GENERATE_ORDER_NAMES, "order of the blocks of --form grids");
  add_number(app, "--inputs", options.m_inputs, 1, LIMITS::MAX_INPUTS,
             "inputs of a mux of --form random and near");
}

void add_size(CLI::App& app, GENERATE_OPTIONS& options) {
  CLI::Option* levels = add_number(app, "--levels", options.m_levels, 1, LIMITS::MAX_LEVELS,
                                   "levels of copies above the tile; the last is the device");
  CLI::Option* columns =
      add_list(app, "--columns", options.m_columns, LIMITS::MAX_CELLS,
               "columns of a level, in copies of the level below; one number for all levels or one for "
               "each, lowest first");
  CLI::Option* rows = add_list(app, "--rows", options.m_rows, LIMITS::MAX_CELLS, "rows of a level, likewise");
  app.add_option(
         "--nodes", options.m_nodes,
         "pick levels, columns and rows for about so many routing nodes; needed for one module of muxes")
      ->check(range(1, LIMITS::MAX_NODES))
      ->type_name("N")
      ->excludes(levels)
      ->excludes(columns)
      ->excludes(rows);
}

void add_tile(CLI::App& app, GENERATE_OPTIONS& options) {
  add_number(app, "--width", options.m_width, LIMITS::MIN_WIDTH, LIMITS::MAX_WIDTH,
             "wires that start at each side of a tile");
  add_list(app, "--lengths", options.m_lengths, LIMITS::MAX_LENGTH,
           "lengths of the wires in tiles, dealt in turn");
  add_number(app, "--switch-inputs", options.m_switch_inputs, LIMITS::MIN_SWITCH_INPUTS, LIMITS::MAX_INPUTS,
             "inputs of a mux of the switch block");
  add_number(app, "--connect-inputs", options.m_connect_inputs, 1, LIMITS::MAX_INPUTS,
             "inputs of a mux of a connection block; at most --width");
  add_number(app, "--luts", options.m_luts, 1, LIMITS::MAX_LUTS,
             "look-up tables of a logic block, along its carry chain");
}

void add_features(CLI::App& app, GENERATE_OPTIONS& options) {
  add_number(app, "--redundant", options.m_redundant, 0, LIMITS::MAX_REDUNDANT,
             "percent of the mux inputs that stand twice (ports \"r\"), for redundancy data to mark");
  add_number(app, "--hipi", options.m_hipi, 0, 100,
             "percent of the wires that are driven by a hipi mux, of type 1, 2 and 3 in turn");
  add_number(
      app, "--skip", options.m_skip, 0, 100,
      "percent of the wires that start behind a skip mux; every third is an exception, a mux with a node");
  add_number(app, "--tunnels", options.m_tunnels, 0, LIMITS::MAX_TUNNELS,
             "chains of a tunnel source, a through module and a target in a tile");
  add_number(app, "--spare-rows", options.m_spare_rows, 0, LIMITS::MAX_SPARE_ROWS,
             "rows of tiles, evenly spread, that the carry chain and three of four vertical wires fly over");
  app.add_flag("--top-ports", options.m_top_ports,
               "make the border tracks routed ports of the top; otherwise they turn back at the border");
  add_number(app, "--seed", options.m_seed, 0, UINT64_MAX,
             "another seed, other connections of the same number");
}

/// An option that says nothing about the form chosen is a mistake.
void check_form(const CLI::App& app, const GENERATE_OPTIONS& options) {
  using FORMS = std::set<GENERATE_FORM>;
  using enum GENERATE_FORM;
  const FORMS tiles = {TILES};
  const FORMS fabrics = {TILES, GRIDS};
  const FORMS networks = {RANDOM, NEAR};
  const std::map<std::string, FORMS> options_of_forms = {{"--levels", tiles},
                                                         {"--redundant", tiles},
                                                         {"--hipi", tiles},
                                                         {"--skip", tiles},
                                                         {"--tunnels", tiles},
                                                         {"--spare-rows", tiles},
                                                         {"--top-ports", tiles},
                                                         {"--redundancy", tiles},
                                                         {"--columns", fabrics},
                                                         {"--rows", fabrics},
                                                         {"--width", fabrics},
                                                         {"--lengths", fabrics},
                                                         {"--switch-inputs", fabrics},
                                                         {"--connect-inputs", fabrics},
                                                         {"--luts", fabrics},
                                                         {"--order", {GRIDS}},
                                                         {"--inputs", networks},
                                                         {"--seed", {TILES, GRIDS, RANDOM, NEAR}}};
  const std::string form = GENERATE_FORM_NAMES[static_cast<std::size_t>(options.m_form)];
  for (const auto& [option, forms] : options_of_forms)
    if (app.get_option(option)->count() != 0 && !forms.contains(options.m_form))
      throw CLI::ValidationError(option, "not an option of --form " + form);
  if (!fabrics.contains(options.m_form) && app.get_option("--nodes")->count() == 0)
    throw CLI::ValidationError("--form " + form, "needs --nodes");
}

} // namespace

void add_generate_options(CLI::App& app, GENERATE_OPTIONS& options) {
  app.add_option("--model", options.m_model, "file for the device model")->required()->type_name("FILE");
  app.add_option("--routing", options.m_routing, "file for the routing description")
      ->required()
      ->type_name("FILE");
  app.add_option("--redundancy", options.m_redundancy,
                 "file for redundancy data that marks the second inputs of --redundant")
      ->type_name("FILE");
  add_form(app, options);
  add_size(app, options);
  add_tile(app, options);
  add_features(app, options);
  app.parse_complete_callback([&app, &options] { check_form(app, options); });
}
