#include "tools/kep-rg/view/page.h"

#include "kep_report/kep_report_assert.h"
#include "tools/kep-rg/view/frame.h"
#include "tools/kep-rg/view/packed_buffer.h"

#include <string_view>

namespace {

/// What stands before the line, which is taken off with it.
std::string_view take_up_to(std::string_view& page, std::string_view line) {
  const std::size_t at = page.find(line);
  KEP_ASSERT(at != std::string_view::npos); // the frame is a part of the tool
  const std::string_view before = page.substr(0, at);
  page.remove_prefix(at + line.size());
  return before;
}

/// No text in it ends the element early: "<" stands in texts alone, where it can be told by its number.
void write_json(std::ostream& out, std::string_view json) {
  for (std::size_t at = json.find('<'); at != std::string_view::npos; at = json.find('<')) {
    out << json.substr(0, at) << "\\u003c";
    json.remove_prefix(at + 1);
  }
  out << json;
}

} // namespace

void write_page(std::ostream& out, const std::string& facts,
                const std::function<void(std::ostream&)>& write_database) {
  std::string_view rest = PAGE_FRAME;
  out << take_up_to(rest, "<!-- facts -->\n") << "<script id=\"facts\" type=\"application/json\">\n";
  write_json(out, facts);
  out << "</script>\n"
      << take_up_to(rest, "<!-- database -->\n")
      << "<script id=\"database\" type=\"application/octet-stream\">\n";
  PACKED_BUFFER buffer(out);
  std::ostream packed(&buffer);
  packed.exceptions(std::ios::badbit); // what the page's stream throws goes on to the writer
  write_database(packed);
  buffer.finish();
  out << "\n</script>\n" << rest;
}
