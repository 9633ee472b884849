// Files of findings, as parts of a divided check write them: what is read can be merged and shown. An input
// holds several files, with a NUL between them.

#include "fuzz/fuzz.h"
#include "fuzz/memory_file.h"
#include "tools/kep-rg/checks/merge_findings.h"

#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t MAX_FILES = 8;

/// Those that are not refused.
std::vector<FINDINGS_PART> read_parts(std::string_view text) {
  std::vector<FINDINGS_PART> parts;
  for (std::size_t i = 0; i != MAX_FILES && !text.empty(); ++i) {
    const std::size_t length = std::min(text.find('\0'), text.size());
    const MEMORY_FILE file(std::as_bytes(std::span(text.data(), length)));
    refusal_of(file.get_path(), [&] { parts.push_back(read_findings(file.get_path())); });
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return parts;
}

/// What is shown of the whole; "" if they are not all parts of one run.
std::string merge(const std::vector<FINDINGS_PART>& parts) {
  try {
    std::ostringstream out;
    report_findings(merge_findings(parts), false, out);
    return out.str();
  } catch (const std::runtime_error&) {
    return "";
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  std::vector<FINDINGS_PART> parts = read_parts(as_text(data, size));
  if (parts.empty()) return 0;
  const std::string shown = merge(parts);
  std::reverse(parts.begin(), parts.end());
  require_equal(merge(parts), shown, "the same in any order");
  return 0;
}
