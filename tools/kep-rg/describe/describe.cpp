#include "tools/kep-rg/describe/describe.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/text/kep_io_file.h"
#include "tools/kep-rg/describe/describe_arcs.h"
#include "tools/kep-rg/describe/describe_headers.h"
#include "tools/kep-rg/describe/describe_pattern.h"
#include "tools/kep-rg/output/check_files.h"
#include "tools/kep-rg/output/plain_output.h"

#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <unordered_map>

namespace {

std::unique_ptr<KEP_DB> read_model(const simdjson::padded_string& text, const std::string& file) {
  std::vector<std::string> warnings;
  std::unique_ptr<KEP_DB> db = kep_read_model_text(text, file, &warnings);
  for (const std::string& line : warnings)
    warn(line);
  return db;
}

std::string count(std::uint64_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

void tell(const MUX_PATTERN& pattern, const MUX_FINDINGS& findings, std::uint64_t num_cells,
          std::ostream& out) {
  out << fmt::format("{}: {} with {}, {}", pattern.m_text, count(findings.m_modules.size(), "module"),
                     count(num_cells, "cell"), count(findings.m_num_arcs, "arc"));
  if (const std::uint64_t number = findings.m_num_without_ports; number != 0)
    out << (number == 1 ? "; 1 more module fits the pattern, but lacks the ports"
                        : fmt::format("; {} more modules fit the pattern, but lack the ports", number));
  out << std::endl;
}

} // namespace

void describe(const DESCRIBE_OPTIONS& options) {
  std::vector<MUX_PATTERN> patterns;
  for (const std::string& text : options.m_muxes)
    patterns.push_back(read_mux_pattern(text));
  check_files({options.m_model}, {options.m_new_model, options.m_routing});
  KEP_ATOMIC_FILE new_model(options.m_new_model);
  KEP_ATOMIC_FILE routing(options.m_routing);

  const std::string file = kep_get_file_name(options.m_model);
  const simdjson::padded_string text = kep_read_whole_file(options.m_model, simdjson::SIMDJSON_MAXSIZE_BYTES);
  const std::unique_ptr<KEP_DB> db = read_model(text, file);
  DESCRIBE_ARCS arcs(*db, file);
  std::vector<MUX_FINDINGS> findings;
  std::unordered_map<std::string_view, std::uint64_t> num_cells;
  for (const MUX_PATTERN& pattern : patterns) {
    findings.push_back(arcs.add(pattern));
    for (const KEP_MODULE* module : findings.back().m_modules)
      num_cells.emplace(module->get_key(), 0);
  }
  routing.out() << arcs.get_text();
  copy_with_inst_headers(text, num_cells, new_model.out());
  kep_commit_together({&new_model, &routing});

  const bool is_output_taken = options.m_new_model == KEP_ATOMIC_FILE::STANDARD_OUTPUT ||
                               options.m_routing == KEP_ATOMIC_FILE::STANDARD_OUTPUT;
  for (std::size_t i = 0; i != patterns.size(); ++i) {
    std::uint64_t count = 0;
    for (const KEP_MODULE* module : findings[i].m_modules)
      count += num_cells[module->get_key()];
    tell(patterns[i], findings[i], count, is_output_taken ? std::cerr : info());
  }
}
