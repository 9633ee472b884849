#include "tools/kep-rg/generate/generate.h"

#include "kep_report/kep_report.h"
#include "tools/kep-rg/generate/generate_check.h"
#include "tools/kep-rg/generate/generate_levels.h"
#include "tools/kep-rg/generate/generate_tile.h"
#include "tools/kep-rg/generate/generate_wires.h"
#include "tools/kep-rg/output/atomic_file.h"
#include "tools/kep-rg/output/check_files.h"

#include <fmt/format.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace {

/// The routing nodes of the whole device.
std::uint64_t count_nodes(const GENERATE_OPTIONS& options, const GENERATE_TILE& tile,
                          const GENERATE_LEVELS& levels) {
  const std::uint64_t spare_tiles = std::uint64_t{options.m_spare_rows} * levels.get_columns();
  return (levels.get_num_tiles() - spare_tiles) * tile.m_nodes + spare_tiles * tile.m_spare_nodes +
         (options.m_top_ports ? levels.get_num_top_ports() : 0);
}

/// Redundancy data that marks the second of each pair of like inputs, tile by tile.
void write_redundancy(std::ostream& out, const GENERATE_TILE& tile) {
  out << "module_name: " << GENERATE_TILE::KEY << '\n';
  for (const std::string& input : tile.m_redundant_inputs)
    out << "1 " << input << '\n';
}

} // namespace

void generate(const GENERATE_OPTIONS& options) {
  check_generate_options(options);
  check_files({}, {options.m_model, options.m_routing, options.m_redundancy});
  const GENERATE_WIRES wires(options);
  GENERATE_TILE tile = make_generate_tile(options, wires);
  const GENERATE_LEVELS levels(options, tile, wires.m_tracks);
  levels.describe_spare_rows(options.m_spare_rows, tile.m_description);

  ATOMIC_FILE model(options.m_model);
  ATOMIC_FILE routing(options.m_routing);
  KEP_MODEL_WRITER writer(model.out(), "kep-rg generate");
  for (const KEP_MODEL_MODULE& module : tile.m_modules)
    writer.write(module);
  levels.write(writer);
  writer.finish();
  routing.out() << tile.m_description.get_text();
  std::vector<ATOMIC_FILE*> files{&model, &routing};
  std::optional<ATOMIC_FILE> redundancy;
  if (!options.m_redundancy.empty()) {
    files.insert(files.begin(), &redundancy.emplace(options.m_redundancy));
    write_redundancy(redundancy->out(), tile);
  }
  commit_together(files);

  if (options.m_model == ATOMIC_FILE::STANDARD_OUTPUT || options.m_routing == ATOMIC_FILE::STANDARD_OUTPUT ||
      options.m_redundancy == ATOMIC_FILE::STANDARD_OUTPUT)
    return;
  const std::string text =
      fmt::format("generate: {}, {} nodes", levels.get_text(), count_nodes(options, tile, levels));
  KEP_REPORT::print_info(text.c_str());
}
