#include "tools/kep-rg/ask/node_filter.h"

#include "kep_io/text/kep_closest_names.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace {

std::optional<std::uint32_t> read_number(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::vector<bool> find_modules(const KEP_DB& db, const std::string& pattern) {
  std::vector<bool> modules(db.get_unfolding().get_modules().size());
  const GLOB glob(pattern);
  KEP_CLOSEST_NAMES closest(pattern);
  bool is_found = false;
  for (const KEP_MODULE* module : db.iter_modules(true)) {
    const bool fits = glob.matches(module->get_plain_name());
    modules[module->get_number()] = fits;
    is_found |= fits;
    closest.offer(module->get_plain_name());
  }
  if (!is_found)
    throw std::runtime_error(
        fmt::format("no module \"{}\"; closest: {}", pattern, fmt::join(closest.get_names(), ", ")));
  return modules;
}

} // namespace

std::optional<NUMBER_CONDITION> find_number_condition(const std::string& text) {
  std::string_view rest = text;
  const auto take = [&rest](std::string_view sign) {
    const bool is_there = rest.starts_with(sign);
    if (is_there) rest.remove_prefix(sign.size());
    return is_there;
  };
  const bool is_more = take(">");
  const bool is_less = !is_more && take("<");
  const bool is_equal = take("=");
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  NUMBER_CONDITION condition;
  const std::size_t dots = rest.find("..");
  const bool is_range = dots != std::string_view::npos && !is_more && !is_less && !is_equal;
  const auto first = read_number(rest.substr(0, is_range ? dots : rest.size()));
  const auto last = is_range ? read_number(rest.substr(dots + 2)) : first;
  if (!first || !last || *last < *first) return std::nullopt;
  if (!is_less) condition.m_least = *first;
  if (!is_more) condition.m_most = *last;
  if (is_more && !is_equal && condition.m_least++ == condition.m_most) return std::nullopt;
  if (is_less && !is_equal && condition.m_most-- == 0) return std::nullopt;
  return condition;
}

NODE_FILTER::NODE_FILTER(const KEP_DB& db, const NODE_QUERY& query) : m_query(query) {
  if (!query.m_name.empty()) m_name.emplace(query.m_name);
  if (!query.m_module.empty()) m_modules = find_modules(db, query.m_module);
}

bool NODE_FILTER::passes(const KEP_ROUTING::NODE& node, std::string& name) const {
  if (!m_query.m_fanout.holds(node.get_num_edges()) || !m_query.m_fanin.holds(node.get_num_fanin()))
    return false;
  if (!m_query.m_kind.empty() && m_query.m_kind != get_kind_text(node)) return false;
  if (!m_modules.empty() && !m_modules[get_module(node)->get_number()]) return false;
  name.clear();
  node.append_name(NAME_STYLE, name);
  return !m_name || m_name->matches(name.c_str());
}

std::string NODE_FILTER::get_instance() const {
  if (!m_query.m_under.empty()) // which completion ends with "/"
    return m_query.m_under.substr(0, m_query.m_under.find_last_not_of('/') + 1);
  const std::string_view prefix = m_name ? m_name->get_prefix() : std::string_view();
  const std::size_t end = prefix.find_last_of("/:");
  return end == std::string_view::npos ? "" : std::string(prefix.substr(0, end));
}
