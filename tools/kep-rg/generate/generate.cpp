#include "tools/kep-rg/generate/generate.h"

#include "kep_report/kep_report.h"
#include "tools/kep-rg/generate/generate_check.h"
#include "tools/kep-rg/generate/generate_levels.h"
#include "tools/kep-rg/generate/generate_tile.h"
#include "tools/kep-rg/generate/generate_wires.h"
#include "tools/kep-rg/output/atomic_file.h"
#include "tools/kep-rg/output/check_files.h"
#include "tools/kep-rg/output/interrupts.h"

#include <fmt/format.h>

#include <optional>
#include <ostream>
#include <string>

namespace {

/// The routing nodes of the whole device.
std::uint64_t count_nodes(const GENERATE_OPTIONS& options, const GENERATE_TILE& tile,
                          const GENERATE_LEVELS& levels) {
  const std::uint64_t spare_tiles = std::uint64_t{options.spare_rows} * levels.get_columns();
  return (levels.get_num_tiles() - spare_tiles) * tile.nodes + spare_tiles * tile.spare_nodes +
         (options.top_ports ? levels.get_num_top_ports() : 0);
}

/// Redundancy data that marks the second of each pair of like inputs, tile by tile.
void write_redundancy(std::ostream& out, const GENERATE_TILE& tile) {
  out << "module_name: " << GENERATE_TILE::KEY << '\n';
  for (const std::string& input : tile.redundant_inputs)
    out << "1 " << input << '\n';
}

} // namespace

void generate(const GENERATE_OPTIONS& options, const std::string& model_path,
              const std::string& routing_path) {
  check_generate_options(options);
  check_files({}, {model_path, routing_path, options.redundancy});
  const GENERATE_WIRES wires(options);
  GENERATE_TILE tile = make_generate_tile(options, wires);
  const GENERATE_LEVELS levels(options, tile, wires.tracks);
  levels.describe_spare_rows(options.spare_rows, tile.description);

  ATOMIC_FILE model(model_path);
  ATOMIC_FILE routing(routing_path);
  KEP_MODEL_WRITER writer(model.out(), "kep-rg generate");
  for (const KEP_MODEL_MODULE& module : tile.modules)
    writer.write(module);
  levels.write(writer);
  writer.finish();
  routing.out() << tile.description.get_text();
  std::optional<ATOMIC_FILE> redundancy;
  if (!options.redundancy.empty()) {
    redundancy.emplace(options.redundancy);
    write_redundancy(redundancy->out(), tile);
    redundancy->close();
  }
  model.close();
  routing.close();
  const INTERRUPT_DELAY together;
  model.commit();
  routing.commit();
  if (redundancy) redundancy->commit();

  if (model_path == ATOMIC_FILE::STANDARD_OUTPUT || routing_path == ATOMIC_FILE::STANDARD_OUTPUT ||
      options.redundancy == ATOMIC_FILE::STANDARD_OUTPUT)
    return;
  const std::string text =
      fmt::format("generate: {}, {} nodes", levels.get_text(), count_nodes(options, tile, levels));
  KEP_REPORT::print_info(text.c_str());
}
