// Redundancy data: read alike by any number of threads and with any blanks between its words, and its marks
// give a graph that is proven.

#include "fuzz/device.h"
#include "fuzz/fuzz.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"

namespace {

/// Of the text behind the module's name, threads take pieces of this size.
constexpr std::size_t PIECE = 1 << 16;

/// The device with its description, and what came of a text.
struct OUTCOME {
  std::unique_ptr<KEP_DB> m_db = test_model::make_db(FUZZ::DEVICE);
  std::string m_told; // the refusal, or the faults
  std::string m_stored;
};

std::string write_paths(const KEP_DB& db) {
  const KEP_INDEXED_RELATIVE_PATHS table = db.get_relative_paths("redundancy");
  if (!table.valid()) return "";
  std::string text;
  for (const KEP_MODULE* module : table.get_modules()) {
    const KEP_MODULE_RELATIVE_PATH_MAP paths = table.find_path_mappings_for_module(module);
    for (std::size_t i = 0; i != paths.size(); ++i) {
      const KEP_RELATIVE_PATH& path = paths.get_path(i)->get_path();
      text += module->get_key();
      for (const KEP_INSTANCE* instance : path.get_instances(&db))
        text += std::string("/") + instance->get_plain_name();
      text += std::string(":") + path.get_port(&db)->get_plain_name() + "\n";
    }
  }
  return text;
}

OUTCOME read(std::string_view text, int num_threads) {
  OUTCOME outcome;
  KEP_DB* db = outcome.m_db.get();
  KEP_RG_PARSE parse(db);
  kep_read_routing_text(db, parse, FUZZ::DESCRIPTION, "r.jsonl");
  KEP_RG_PARSE_REDUNDANCY parser(db, static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                 KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, num_threads);
  std::string faults;
  outcome.m_told = refusal_of("r.txt", [&] {
    for (const KEP_REDUNDANCY_FAULT& fault : kep_read_redundancy_text(db, parser, text, "r.txt"))
      faults += std::to_string(fault.m_line) + ": " + fault.m_text + "\n";
  });
  outcome.m_told += faults;
  outcome.m_stored = write_paths(*db);
  return outcome;
}

std::size_t find_end_of_word(std::string_view text, std::size_t from) {
  const std::string_view blanks = " \t\n\"";
  const std::size_t begin = std::min(text.find_first_not_of(blanks, from), text.size());
  return std::min(text.find_first_of(blanks, begin), text.size());
}

/// With so many blanks behind the first number that the end of a piece is in the middle of what follows.
std::string spread(std::string_view text) {
  const std::size_t pairs = find_end_of_word(text, find_end_of_word(text, 0));
  const std::size_t at = find_end_of_word(text, pairs);
  const std::size_t num_before = (at - pairs) + (text.size() - at) / 2;
  return std::string(text.substr(0, at)) + std::string(PIECE - num_before % PIECE, ' ') +
         std::string(text.substr(at));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  const std::string_view text = as_text(data, size);
  const OUTCOME one = read(text, 1);
  const OUTCOME two = read(spread(text), 2);
  require_equal(one.m_told, two.m_told, "the same faults by two threads, and with blanks");
  require_equal(one.m_stored, two.m_stored, "the same ports by two threads, and with blanks");
  if (!one.m_stored.empty()) FUZZ::build_and_prove(*one.m_db, 1);
  return 0;
}
