#include "tools/kep-rg/generate/generate.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_report/kep_report.h"
#include "tools/kep-rg/generate/generate_check.h"
#include "tools/kep-rg/generate/generate_flat.h"
#include "tools/kep-rg/generate/generate_grids.h"
#include "tools/kep-rg/generate/generate_tiles.h"
#include "tools/kep-rg/output/check_files.h"

#include <fmt/format.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace {

GENERATE_RESULT make(const GENERATE_OPTIONS& options) {
  if (options.m_form == GENERATE_FORM::TILES) return make_generate_tiles(options);
  if (options.m_form == GENERATE_FORM::GRIDS) return make_generate_grids(options);
  return make_generate_flat(options);
}

} // namespace

void generate(const GENERATE_OPTIONS& options) {
  check_generate_options(options);
  check_files({}, {options.m_model, options.m_routing, options.m_redundancy});
  const GENERATE_RESULT result = make(options);

  KEP_ATOMIC_FILE model(options.m_model);
  KEP_ATOMIC_FILE routing(options.m_routing);
  KEP_MODEL_WRITER writer(model.out(), "kep-rg generate");
  result.m_write_model(writer);
  writer.finish();
  routing.out() << result.m_routing;
  std::vector<KEP_ATOMIC_FILE*> files{&model, &routing};
  std::optional<KEP_ATOMIC_FILE> redundancy;
  if (!options.m_redundancy.empty()) {
    files.insert(files.begin(), &redundancy.emplace(options.m_redundancy));
    redundancy->out() << result.m_redundancy;
  }
  kep_commit_together(files);

  if (options.m_model == KEP_ATOMIC_FILE::STANDARD_OUTPUT ||
      options.m_routing == KEP_ATOMIC_FILE::STANDARD_OUTPUT ||
      options.m_redundancy == KEP_ATOMIC_FILE::STANDARD_OUTPUT)
    return;
  const std::string text = fmt::format("generate: {}, {} nodes", result.m_text, result.m_nodes);
  KEP_REPORT::print_info(text.c_str());
}
