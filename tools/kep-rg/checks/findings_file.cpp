#include "tools/kep-rg/checks/findings_file.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_io_file.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_io/text/kep_json_value.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

using KIND = KEP_RG_FINDING_KIND;

namespace {

constexpr std::uint64_t VERSION = 1; // the only one that is read

/// The elements in brackets, with commas between them.
template <class RANGE, class GET_TEXT>
std::string make_list(const RANGE& range, const char* between, GET_TEXT get_text) {
  std::string list;
  for (const auto& each : range)
    list += (list.empty() ? "" : between) + get_text(each);
  return "[" + list + "]";
}

std::string format_kind(const FOUND_KIND& found) {
  return fmt::format("\n    {{\"id\": \"{}\", \"number\": {}, \"first\": {}}}", kep_rg_get_id(found.m_kind),
                     found.m_num, make_list(found.m_first, ",\n      ", kep_get_json_text));
}

/// The members of one object, each of which must be there and of its kind.
class MEMBERS {
public:
  MEMBERS(simdjson::dom::element value, const KEP_JSON_PLACE& place)
      : m_object(kep_json_object(value, place)), m_place(place) {}

  std::uint64_t get_number(std::string_view name) const { return get<std::uint64_t>(name, "a whole number"); }
  bool get_flag(std::string_view name) const { return get<bool>(name, "true or false"); }
  std::string get_text(std::string_view name) const {
    return std::string(get<std::string_view>(name, "a text"));
  }
  std::vector<std::string> get_texts(std::string_view name) const {
    std::vector<std::string> texts;
    const KEP_JSON_PLACE place(m_place, name);
    for (const simdjson::dom::element text : get_array(name))
      texts.emplace_back(kep_json_text(text, place));
    return texts;
  }
  simdjson::dom::array get_array(std::string_view name) const {
    return get<simdjson::dom::array>(name, "a list");
  }
  simdjson::dom::element get_element(std::string_view name) const {
    return kep_json_get(m_object, name, m_place);
  }
  [[noreturn]] void refuse(std::string_view name, const std::string& reason) const {
    KEP_JSON_PLACE(m_place, name).refuse(reason);
  }

private:
  template <class VALUE>
  VALUE get(std::string_view name, const char* what) const {
    VALUE value;
    if (get_element(name).get(value) != simdjson::SUCCESS) refuse(name, fmt::format("not {}", what));
    return value;
  }

  simdjson::dom::object m_object;
  const KEP_JSON_PLACE& m_place;
};

std::optional<KIND> find_kind(const std::string& id) {
  for (unsigned i = 0; i != KEP_RG_NUM_FINDING_KINDS; ++i)
    if (const auto kind = static_cast<KIND>(i); id == kep_rg_get_id(kind)) return kind;
  return std::nullopt;
}

KIND get_kind(const MEMBERS& members, std::string_view member, const std::string& id) {
  const std::optional<KIND> kind = find_kind(id);
  if (!kind) members.refuse(member, fmt::format("no finding has the id \"{}\"", id));
  return *kind;
}

std::uint64_t read_checksum(const MEMBERS& members) {
  constexpr std::size_t NUM_DIGITS = 16;
  const std::string text = members.get_text("checksum");
  std::uint64_t checksum = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), checksum, 16);
  if (error != std::errc() || end != text.data() + text.size() || text.size() != NUM_DIGITS)
    members.refuse("checksum", "not 16 hexadecimal digits");
  return checksum;
}

KEP_RG_PART read_part(const MEMBERS& members) {
  const std::uint64_t number = members.get_number("part");
  const std::uint64_t num_parts = members.get_number("parts");
  if (num_parts == 0 || num_parts > KEP_RG_PART::MAX_NUM_PARTS) members.refuse("parts", "out of range");
  if (number == 0 || number > num_parts) members.refuse("part", "out of range");
  return {static_cast<std::uint32_t>(number - 1), static_cast<std::uint32_t>(num_parts)};
}

TRACE_NUMBERS read_traces(const MEMBERS& members) {
  return {members.get_number("traced_edges"), members.get_number("verified_edges"),
          members.get_number("failed_edges")};
}

/// Kinds come in their order, and each once.
void read_found(const MEMBERS& members, const KEP_JSON_PLACE& file, FINDINGS_PART& part) {
  const KEP_JSON_PLACE place(file, "findings");
  for (const simdjson::dom::element element : members.get_array("findings")) {
    const MEMBERS kind(element, place);
    FOUND_KIND found{get_kind(kind, "id", kind.get_text("id")), kind.get_number("number"),
                     kind.get_texts("first")};
    if (!part.m_found.empty() && part.m_found.back().m_kind >= found.m_kind)
      kind.refuse("id", "out of order");
    if (found.m_num == 0 ||
        found.m_first.size() != std::min<std::uint64_t>(found.m_num, get_max_shown(part.m_is_verbose)))
      kind.refuse("first", fmt::format("{} findings of {}", found.m_first.size(), found.m_num));
    part.m_found.push_back(std::move(found));
  }
}

} // namespace

void write_findings(const FINDINGS_PART& part, const std::string& path) {
  KEP_ATOMIC_FILE file(path);
  file.out() << fmt::format(
                    "{{\n  \"kep_rg_findings\": {},\n  \"device\": {},\n  \"checksum\": \"{:016x}\",\n"
                    "  \"part\": {},\n  \"parts\": {},\n  \"trace\": {},\n  \"verbose\": {},\n",
                    VERSION, kep_get_json_text(part.m_device), part.m_checksum, part.m_part.m_index + 1,
                    part.m_part.m_num_parts, part.m_scope.m_is_traced, part.m_is_verbose)
             << fmt::format("  \"waive\": {},\n  \"nodes\": {},\n  \"edges\": {},\n"
                            "  \"redundancy_judged\": {},\n",
                            make_list(part.m_waived, ", ",
                                      [](KIND kind) { return kep_get_json_text(kep_rg_get_id(kind)); }),
                            part.m_scope.m_num_nodes, part.m_scope.m_num_edges, part.m_is_redundancy_judged)
             << fmt::format("  \"traced_edges\": {},\n  \"verified_edges\": {},\n  \"failed_edges\": {},\n",
                            part.m_traces.m_num_edges, part.m_traces.m_num_verified,
                            part.m_traces.m_num_failed)
             << "  \"findings\": " << make_list(part.m_found, ",", format_kind) << "\n}\n";
  kep_commit_together({&file});
}

FINDINGS_PART read_findings(const std::string& path) {
  const std::string name = kep_get_file_name(path);
  const KEP_JSON_PLACE file(name);
  const simdjson::padded_string text = kep_read_whole_file(path, simdjson::SIMDJSON_MAXSIZE_BYTES);
  simdjson::dom::parser parser;
  simdjson::dom::element element;
  if (const simdjson::error_code error = parser.parse(text).get(element); error != simdjson::SUCCESS)
    file.refuse_file(error);
  if (!element.is_object() || !kep_json_find(kep_json_object(element, file), "kep_rg_findings", file))
    file.refuse("no findings of kep-rg check");
  const MEMBERS members(element, file);
  if (const std::uint64_t version = members.get_number("kep_rg_findings"); version != VERSION)
    file.refuse(fmt::format("findings of version {}, and only version {} is read", version, VERSION));

  FINDINGS_PART part;
  part.m_file = name;
  part.m_device = members.get_text("device");
  part.m_checksum = read_checksum(members);
  part.m_part = read_part(members);
  part.m_is_verbose = members.get_flag("verbose");
  for (const std::string& id : members.get_texts("waive"))
    part.m_waived.insert(get_kind(members, "waive", id));
  part.m_is_redundancy_judged = members.get_flag("redundancy_judged");
  part.m_scope = {true, members.get_flag("trace"), members.get_number("nodes"), members.get_number("edges")};
  part.m_traces = read_traces(members);
  read_found(members, file, part);
  return part;
}
