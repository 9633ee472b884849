#include "kep_io/model/kep_model_reader_warnings.h"

#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_edit_distance.h"

#include <fmt/format.h>

#include <limits>

namespace {

using OBJECT = KEP_MODEL_OBJECT;

struct ATTRIBUTE {
  OBJECT m_object; // on which it counts
  std::string_view m_name;
};

constexpr ATTRIBUTE ATTRIBUTES[] = {
    {OBJECT::MODULE, "kep_name"},
    {OBJECT::MODULE, "kep_view"},
    {OBJECT::MODULE, "kep_equivalents"},
    {OBJECT::MODULE, "kep_db_type"},
    {OBJECT::MODULE, "kep_device_top"},
    {OBJECT::MODULE, "kep_ip_root"},
    {OBJECT::MODULE, "kep_trait_0"},
    {OBJECT::MODULE, "kep_blc_bidir_buffer"},
    {OBJECT::MODULE, "kep_foreign"},
    {OBJECT::NET_OF_PORT, "kep_blc_re_index"},
    {OBJECT::NET_OF_PORT, "kep_blc_icd_port_name"},
    {OBJECT::CELL, "kep_inst_header"},
    {OBJECT::CELL, "kep_trait_0"},
    {OBJECT::CELL, "kep_blc_atom"},
    {OBJECT::CELL, "kep_blc_inserted_buffer"},
};

/// More spellings than that are only counted.
constexpr std::size_t MAX_TOLD = 20;

std::string_view get_text(OBJECT object) {
  switch (object) {
  case OBJECT::MODULE:
    return "a module";
  case OBJECT::CELL:
    return "a cell";
  case OBJECT::NET_OF_PORT:
    return "a net named like a port";
  default:
    return "this net";
  }
}

bool counts(OBJECT object, std::string_view name) {
  for (const ATTRIBUTE& attribute : ATTRIBUTES)
    if (attribute.m_object == object && attribute.m_name == name) return true;
  return false;
}

/// On what an attribute counts; "" if there is none of that name.
std::string get_right_objects(std::string_view name) {
  std::string objects;
  for (const ATTRIBUTE& attribute : ATTRIBUTES)
    if (attribute.m_name == name)
      objects += (objects.empty() ? "" : " or ") + std::string(get_text(attribute.m_object));
  return objects;
}

/// Of equally near ones that which counts on the object.
const ATTRIBUTE& find_closest(OBJECT object, std::string_view name) {
  const ATTRIBUTE* closest = nullptr;
  unsigned least = std::numeric_limits<unsigned>::max();
  for (const ATTRIBUTE& attribute : ATTRIBUTES) {
    const unsigned distance =
        2 * get_edit_distance(name, attribute.m_name, 1000) + (attribute.m_object == object ? 0 : 1);
    if (distance >= least) continue;
    least = distance;
    closest = &attribute;
  }
  return *closest;
}

std::string tell_attribute(OBJECT object, std::string_view name) {
  if (const std::string objects = get_right_objects(name); !objects.empty())
    return fmt::format("it doesn't count on {}, but on {}", get_text(object), objects);
  const ATTRIBUTE& closest = find_closest(object, name);
  const std::string elsewhere =
      counts(object, closest.m_name) ? "" : ", which counts on " + get_right_objects(closest.m_name);
  return fmt::format("there is no attribute of that name, the closest one is \"{}\"{}", closest.m_name,
                     elsewhere);
}

std::string and_more(std::size_t count) {
  return count == 0 ? "" : fmt::format(" (and {} more)", count);
}

} // namespace

void kep_check_attribute(KEP_MODEL_OBJECT object, std::string_view name, const KEP_JSON_PLACE& place,
                         KEP_MODEL_ODD_ATTRIBUTES& odd) {
  if (name.starts_with("kep_") && !counts(object, name))
    odd.push_back({object, std::string(name), place.get_path()});
}

void KEP_MODEL_WARNINGS::add(const KEP_MODEL_ODD_ATTRIBUTES& attributes) {
  for (const KEP_MODEL_ODD_ATTRIBUTE& attribute : attributes)
    add(attribute);
}

void KEP_MODEL_WARNINGS::add(const KEP_MODEL_ODD_ATTRIBUTE& attribute) {
  for (ODDITY& told : m_attributes)
    if (told.m_first.m_object == attribute.m_object && told.m_first.m_name == attribute.m_name) {
      ++told.m_num_more;
      return;
    }
  if (m_attributes.size() == MAX_TOLD)
    ++m_num_untold_attributes;
  else
    m_attributes.push_back({attribute});
}

void KEP_MODEL_WARNINGS::add_top_attribute(std::string_view module_key, const KEP_JSON_PLACE& place) {
  m_top_attributes.push_back({std::string(module_key), place.get_path()});
}

void KEP_MODEL_WARNINGS::add_changed_name(const KEP_JSON_PLACE& place) {
  if (m_num_changed_names++ == 0) m_first_changed_name = place.get_path();
}

std::vector<std::string> KEP_MODEL_WARNINGS::get_lines(const KEP_DB& db, const std::string& file) const {
  std::vector<std::string> lines;
  if (m_num_changed_names != 0)
    lines.push_back(
        fmt::format("{}: {}: \"/\" and \":\" in names of cells and nets became \".\", in {} of them", file,
                    m_first_changed_name, m_num_changed_names));
  for (const auto& [first, num_more] : m_attributes)
    lines.push_back(fmt::format("{}: {}: {}{}", file, first.m_path,
                                tell_attribute(first.m_object, first.m_name), and_more(num_more)));
  if (m_num_untold_attributes != 0)
    lines.push_back(fmt::format("{}: {} more attributes begin with kep_ and don't count where they stand",
                                file, m_num_untold_attributes));
  add_misplaced_top_attributes(db, file, lines);
  for (std::string& line : lines)
    line = KEP_IO_ERROR(line).what(); // names can't break the line
  return lines;
}

void KEP_MODEL_WARNINGS::add_misplaced_top_attributes(const KEP_DB& db, const std::string& file,
                                                      std::vector<std::string>& lines) const {
  const std::string_view top = db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->get_key();
  const std::string* first = nullptr;
  std::size_t num_more = 0;
  for (const TOP_ATTRIBUTE& attribute : m_top_attributes) {
    if (attribute.m_module_key == top) continue;
    if (first)
      ++num_more;
    else
      first = &attribute.m_path;
  }
  if (first)
    lines.push_back(fmt::format("{}: {}: it counts on the top module alone, which is \"{}\"{}", file, *first,
                                top, and_more(num_more)));
}
