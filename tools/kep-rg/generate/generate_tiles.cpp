#include "tools/kep-rg/generate/generate_tiles.h"

#include "tools/kep-rg/generate/generate_levels.h"
#include "tools/kep-rg/generate/generate_tile.h"
#include "tools/kep-rg/generate/generate_wires.h"

#include <memory>
#include <string>

namespace {

/// The routing nodes of the whole device.
std::uint64_t count_nodes(const GENERATE_OPTIONS& options, const GENERATE_TILE& tile,
                          const GENERATE_LEVELS& levels) {
  const std::uint64_t spare_tiles = std::uint64_t{options.m_spare_rows} * levels.get_columns();
  return (levels.get_num_tiles() - spare_tiles) * tile.m_nodes + spare_tiles * tile.m_spare_nodes +
         (options.m_top_ports ? levels.get_num_top_ports() : 0);
}

/// Redundancy data that marks the second of each pair of like inputs, tile by tile.
std::string make_redundancy(const GENERATE_TILE& tile) {
  std::string text = std::string("module_name: ") + GENERATE_TILE::KEY + '\n';
  for (const std::string& input : tile.m_redundant_inputs)
    text += "1 " + input + '\n';
  return text;
}

} // namespace

GENERATE_RESULT make_generate_tiles(const GENERATE_OPTIONS& options) {
  const GENERATE_WIRES wires(options);
  const auto tile = std::make_shared<GENERATE_TILE>(make_generate_tile(options, wires));
  const GENERATE_LEVELS levels(options, *tile, wires.m_tracks);
  levels.describe_spare_rows(options.m_spare_rows, tile->m_description);
  const auto write = [tile, levels](KEP_MODEL_WRITER& writer) {
    for (const KEP_MODEL_MODULE& module : tile->m_modules)
      writer.write(module);
    levels.write(writer);
  };
  return {.m_write_model = write,
          .m_routing = tile->m_description.get_text(),
          .m_redundancy = make_redundancy(*tile),
          .m_text = levels.get_text(),
          .m_nodes = count_nodes(options, *tile, levels)};
}
