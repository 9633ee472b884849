#include "kep_io/kep_redundancy_reader.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_io_file.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "kep_rg/kep_rg_relative_paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace {

/// The failures of the last parse with the numbers of their lines, in one pass over the text.
std::vector<KEP_REDUNDANCY_FAULT> find_faults(KEP_RG_PARSE_REDUNDANCY& parser, std::string_view text) {
  std::vector<KEP_REDUNDANCY_FAULT> faults;
  std::size_t line = 1;
  std::size_t counted = 0;
  const std::vector<std::string> texts = parser.get_failed_lines();
  for (std::size_t i = 0; i != texts.size(); ++i) {
    const std::size_t offset = parser.get_failed_offsets()[i];
    line += static_cast<std::size_t>(std::count(text.data() + counted, text.data() + offset, '\n'));
    counted = offset;
    faults.push_back({line, texts[i]});
  }
  return faults;
}

} // namespace

std::vector<KEP_REDUNDANCY_FAULT> kep_read_redundancy(KEP_DB* db, KEP_RG_PARSE_REDUNDANCY& parser,
                                                      const std::string& path) {
  const simdjson::padded_string text = kep_read_whole_file(path, std::numeric_limits<std::size_t>::max());
  return kep_read_redundancy_text(db, parser, std::string_view(text.data(), text.size()),
                                  kep_get_file_name(path));
}

std::vector<KEP_REDUNDANCY_FAULT> kep_read_redundancy_text(KEP_DB* db, KEP_RG_PARSE_REDUNDANCY& parser,
                                                           std::string_view text, const std::string& name) {
  const std::string cut_off = KEP_RG_PARSE_REDUNDANCY::find_cut_off(text);
  if (!cut_off.empty()) throw KEP_IO_ERROR(fmt::format("{}: {}", name, cut_off));
  KEP_RG_MODULE_RELATIVE_PORTS ports;
  parser.parse(&ports, text);
  // With nothing read and nothing failed either there were no lines, or there is no such module.
  if (parser.is_module_unknown())
    throw KEP_IO_ERROR(fmt::format("{}: no module \"{}\"", name, parser.get_failed_module()));
  KEP_RG_MODULE_RELATIVE_PORTS fixed;
  parser.fixup(&fixed, &ports);
  if (fixed.size() != 0) {
    KEP_INDEXED_RELATIVE_PATHS table = db->find_or_create_relative_paths("redundancy");
    kep_rg_indexed_relative_paths_add_to(&table, &fixed);
  }
  return find_faults(parser, text);
}
