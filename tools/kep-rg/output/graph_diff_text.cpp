#include "tools/kep-rg/output/graph_diff_text.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report_number.h"
#include "tools/kep-rg/output/graph_diff_group.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <ostream>
#include <string_view>

namespace {

using KEP_ROUTING::FWD_EDGE;
using KEP_ROUTING::NODE;

constexpr std::size_t BUFFER_BYTES = 1 << 16;
constexpr std::size_t NUM_NODE_FIELDS = 2;
constexpr std::size_t NUM_EDGE_FIELDS = 6;
constexpr std::array<const char*, NUM_NODE_FIELDS> NODE_COLUMNS{"node", "kind"};
constexpr std::array<const char*, NUM_EDGE_FIELDS> EDGE_COLUMNS{"from",    "from_kind", "to",
                                                                "to_kind", "class",     "mux_input"};

/// Text on its way to standard output.
class OUTPUT {
public:
  OUTPUT() { m_text.reserve(2 * BUFFER_BYTES); }
  ~OUTPUT() { flush(); }
  OUTPUT(const OUTPUT&) = delete;
  OUTPUT& operator=(const OUTPUT&) = delete;

  OUTPUT& operator<<(std::string_view text) {
    m_text += text;
    if (m_text.size() > BUFFER_BYTES) flush();
    return *this;
  }
  /// Nothing in a name breaks the line.
  void write_line(const std::string& line) { *this << KEP_IO_ERROR(line).what() << "\n"; }

private:
  void flush() {
    info().write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    m_text.clear();
  }

  std::string m_text;
};

/// The nodes, or the edges, that differ, as rows of fields, which a dump has, too.
template <std::size_t NUM_FIELDS>
class LIST {
public:
  using FIELDS = std::array<std::string, NUM_FIELDS>;
  using TAKE = std::function<void(const FIELDS&)>;

  LIST(const KEP_GRAPH_DIFF& diff, const std::array<const char*, NUM_FIELDS>& columns)
      : m_diff(diff), m_columns(columns) {}

  const std::array<const char*, NUM_FIELDS>& get_columns() const { return m_columns; }
  std::uint64_t get_size(unsigned side) const {
    const KEP_GRAPH_DIFF_COUNTS& counts = m_diff.get_counts(side);
    return NUM_FIELDS == NUM_NODE_FIELDS ? counts.m_num_nodes : counts.get_num_edges();
  }
  /// The first so many of a side.
  void visit(unsigned side, std::uint64_t num_rows, const TAKE& take) const;

private:
  const KEP_GRAPH_DIFF& m_diff;
  const std::array<const char*, NUM_FIELDS>& m_columns;
};

template <>
void LIST<NUM_NODE_FIELDS>::visit(unsigned side, std::uint64_t num_rows, const TAKE& take) const {
  FIELDS fields;
  if (num_rows == 0) return;
  m_diff.visit_nodes(side, [&](const NODE& node) {
    fields[0].clear();
    node.append_name(NAME_STYLE, fields[0]);
    fields[1] = get_kind_text(node);
    take(fields);
    return --num_rows != 0;
  });
}

template <>
void LIST<NUM_EDGE_FIELDS>::visit(unsigned side, std::uint64_t num_rows, const TAKE& take) const {
  FIELDS fields;
  NODE last_from;
  if (num_rows == 0) return;
  m_diff.visit_edges(side, [&](const NODE& from, const FWD_EDGE& edge, bool is_redundant) {
    if (from != last_from) {
      last_from = from;
      fields[0].clear();
      from.append_name(NAME_STYLE, fields[0]);
      fields[1] = get_kind_text(from);
    }
    fields[2].clear();
    edge.get_fanout().append_name(NAME_STYLE, fields[2]);
    fields[3] = get_kind_text(edge.get_fanout());
    fields[4] = is_redundant ? "redundant" : "real";
    fields[5].clear();
    edge.get_mux_input().append_name(NAME_STYLE, fields[5]);
    take(fields);
    return --num_rows != 0;
  });
}

/// Both sides share the rows; what one doesn't need goes to the other.
template <class LIST>
std::uint64_t get_num_rows(const LIST& list, unsigned side, std::uint64_t num_shown) {
  const std::uint64_t half = num_shown / 2 + (side == 1 ? num_shown % 2 : 0);
  return std::min(list.get_size(side), num_shown - std::min(list.get_size(1 - side), half));
}

void write_left_out(std::uint64_t number, OUTPUT& out) {
  out << fmt::format("... and {} more; --all lists all\n", KEP_REPORT::group_digits(number));
}

template <class LIST>
void write_list(const LIST& list, const GRAPH_DIFF_STYLE& style, OUTPUT& out) {
  const std::uint64_t size = list.get_size(0) + list.get_size(1);
  if (size == 0) return;
  if (!style.m_shows_only_names) out << "\n";
  out << fmt::format("change\t{}\n", fmt::join(list.get_columns(), "\t"));
  std::uint64_t num_written = 0;
  for (const unsigned side : {0U, 1U})
    list.visit(side, get_num_rows(list, side, style.m_num_shown), [&](const auto& fields) {
      out << (side == 0 ? "-" : "+");
      for (const std::string& field : fields)
        out << "\t" << field;
      out << "\n";
      ++num_written;
    });
  if (num_written != size && !style.m_shows_only_names) write_left_out(size - num_written, out);
}

/// Counts and groups.
void write_summary(const KEP_GRAPH_DIFF& diff, const GRAPH_DIFF_STYLE& style, OUTPUT& out) {
  out.write_line("from   " + style.m_names[0]);
  out.write_line("to     " + style.m_names[1]);
  if (diff.empty()) return out.write_line("alike  " + format_counts(style.m_all));
  out.write_line("gone   " + format_counts(diff.get_counts(0)));
  out.write_line("new    " + format_counts(diff.get_counts(1)));
  out << "\n";
  std::uint64_t num_written = 0;
  for (const KEP_GRAPH_DIFF_GROUP& group : diff.get_groups()) {
    if (num_written == style.m_num_shown) break;
    out.write_line(format_group(group));
    ++num_written;
  }
  if (num_written != diff.get_groups().size()) write_left_out(diff.get_groups().size() - num_written, out);
}

void write_text(const KEP_GRAPH_DIFF& diff, const GRAPH_DIFF_STYLE& style, OUTPUT& out) {
  if (!style.m_shows_only_names) write_summary(diff, style, out);
  write_list(LIST<NUM_NODE_FIELDS>(diff, NODE_COLUMNS), style, out);
  write_list(LIST<NUM_EDGE_FIELDS>(diff, EDGE_COLUMNS), style, out);
}

/// An array with one element a line.
template <class LIST>
void write_json_list(const char* name, const LIST& list, unsigned side, std::uint64_t num_rows, OUTPUT& out) {
  out << fmt::format(",\n\"{}\": [", name);
  const char* between = "\n{";
  list.visit(side, num_rows, [&](const auto& fields) {
    out << between;
    for (std::size_t i = 0; i != fields.size(); ++i)
      out << (i == 0 ? "\"" : ", \"") << list.get_columns()[i] << "\": " << kep_get_json_text(fields[i]);
    out << "}";
    between = ",\n{";
  });
  out << "]";
}

void write_json(const KEP_GRAPH_DIFF& diff, const GRAPH_DIFF_STYLE& style, OUTPUT& out) {
  out << "{\n\"from\": " << kep_get_json_text(style.m_names[0])
      << ",\n\"to\": " << kep_get_json_text(style.m_names[1])
      << fmt::format(",\n\"alike\": {}", diff.empty());
  for (const unsigned side : {0U, 1U})
    out << fmt::format(",\n\"{}\": {}", side == 0 ? "gone" : "new", get_counts_json(diff.get_counts(side)));
  out << fmt::format(",\n\"num_groups\": {},\n\"groups\": [", diff.get_groups().size());
  const std::size_t num_groups = std::min<std::uint64_t>(diff.get_groups().size(), style.m_num_shown);
  for (std::size_t i = 0; i != num_groups; ++i)
    out << (i == 0 ? "\n" : ",\n") << get_group_json(diff.get_groups()[i]);
  out << "]";
  const LIST<NUM_NODE_FIELDS> nodes(diff, NODE_COLUMNS);
  const LIST<NUM_EDGE_FIELDS> edges(diff, EDGE_COLUMNS);
  write_json_list("gone_nodes", nodes, 0, style.m_num_shown, out);
  write_json_list("new_nodes", nodes, 1, style.m_num_shown, out);
  write_json_list("gone_edges", edges, 0, style.m_num_shown, out);
  write_json_list("new_edges", edges, 1, style.m_num_shown, out);
  out << "\n}\n";
}

} // namespace

void write_graph_diff(const KEP_GRAPH_DIFF& diff, const GRAPH_DIFF_STYLE& style) {
  {
    OUTPUT out;
    style.m_is_json ? write_json(diff, style, out) : write_text(diff, style, out);
  }
  info() << std::flush;
}
