// The reader of routing descriptions: whatever it carries out, up to the line that it refuses, gives a graph
// that is proven against the model, and that is the same for any number of threads.

#include "fuzz/device.h"
#include "fuzz/fuzz.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_parse.h"

namespace {

/// What came of a text, in words.
struct OUTCOME {
  std::string m_told; // refusal and warnings
  std::string m_graph;
};

OUTCOME read(std::string_view text, int num_threads) {
  OUTCOME outcome;
  const std::unique_ptr<KEP_DB> db = test_model::make_db(FUZZ::DEVICE);
  KEP_RG_PARSE parse(db.get());
  std::string warnings;
  outcome.m_told = refusal_of("r.jsonl", [&] {
    for (const std::string& warning : kep_read_routing_text(db.get(), parse, text, "r.jsonl"))
      warnings += warning + "\n";
  });
  outcome.m_told += warnings;
  if (outcome.m_told.starts_with("r.jsonl:1:")) return outcome; // nothing is described
  kep_describe_no_routing(db.get());
  outcome.m_graph = FUZZ::build_and_prove(*db, num_threads);
  return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  const OUTCOME one = read(as_text(data, size), 1);
  const OUTCOME two = read(as_text(data, size), 2);
  require_equal(one.m_told, two.m_told, "the same text is told twice");
  require_equal(one.m_graph, two.m_graph, "the same graph by two threads");
  return 0;
}
