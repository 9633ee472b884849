// The model reader: whatever it takes is written, read back and written again, with the same bytes; and a
// text is read alike by any number of threads.

#include "fuzz/fuzz.h"
#include "fuzz/written_model.h"
#include "kep_io/kep_model_reader.h"

#include <tbb/task_arena.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Longer lists of cells and nets are not cut into pieces here.
constexpr std::size_t MAX_LINES = 40;
/// A little more than the model reader reads in one piece.
constexpr std::size_t BLANKS = 70000;

/// What came of a text, in words.
struct OUTCOME {
  std::string m_refusal;
  std::string m_model;
  std::string m_warnings;
};

OUTCOME read(std::string_view text, int num_threads) {
  OUTCOME outcome;
  tbb::task_arena arena(num_threads);
  arena.execute([&] {
    outcome.m_refusal = refusal_of("m.json", [&] {
      std::vector<std::string> warnings;
      const std::unique_ptr<KEP_DB> db = kep_read_model_text(text, "m.json", &warnings);
      outcome.m_model = FUZZ::write_model(*db);
      for (const std::string& warning : warnings)
        outcome.m_warnings += warning + "\n";
    });
  });
  return outcome;
}

/// A written model with so much space before each cell and net that each is a piece of its own.
std::string spread(const std::string& written) {
  const std::string indent = "\n    ";
  std::string text;
  std::size_t begin = 0;
  for (std::size_t at = 0; (at = written.find(indent, begin)) != std::string::npos;) {
    text.append(written, begin, at - begin);
    text.append(BLANKS, ' ');
    begin = at + indent.size();
  }
  return text.append(written, begin);
}

std::size_t count_lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  const OUTCOME one = read(as_text(data, size), 1);
  const OUTCOME two = read(as_text(data, size), 2);
  require_equal(one.m_refusal, two.m_refusal, "the same refusal by two threads");
  require_equal(one.m_model, two.m_model, "the same model by two threads");
  require_equal(one.m_warnings, two.m_warnings, "the same warnings by two threads");
  if (!one.m_refusal.empty()) return 0;
  const OUTCOME again = read(one.m_model, 1);
  require_equal(again.m_refusal, "", "what was written can be read: " + one.m_model);
  require_equal(again.m_model, one.m_model, "what was written is read back");
  if (count_lines(one.m_model) > MAX_LINES) return 0;
  const OUTCOME in_pieces = read(spread(one.m_model), 2);
  require_equal(in_pieces.m_refusal, "", "pieces can be read: " + one.m_model);
  require_equal(in_pieces.m_model, one.m_model, "pieces are read as the whole is");
  return 0;
}
