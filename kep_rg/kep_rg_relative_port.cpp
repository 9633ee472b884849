#include "kep_rg/kep_rg_relative_port.h"

#include "kep_report/kep_report_assert.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_exception.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <unordered_set>
#include <utility>

using KEP_RG_REPORT::NAME_STYLE;

namespace {

/// A module as a chain goes on in it: an IP root in its view through the rank.
KEP_MODULE* in_rank(KEP_MODULE* module, const KEP_VIEW_TYPE_RANK& rank) {
  return module && module->has_trait(KEP_MODULE::TRAIT::IP_ROOT) ? rank.find_view(module, true, nullptr)
                                                                 : module;
}

/// The next name of a text and what is behind it; empty at the end.
std::string_view take_segment(std::string_view& text) {
  const auto is_separator = [](char c) { return c == '/' || c == ':'; };
  std::size_t begin = 0;
  while (begin != text.size() && is_separator(text[begin]))
    ++begin;
  std::size_t end = begin;
  while (end != text.size() && !is_separator(text[end]))
    ++end;
  const std::string_view segment = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return segment;
}

/// 64-bit FNV-1a over the bytes of a pointer, from the lowest up.
std::uint64_t hash_pointer(const void* pointer) {
  auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pointer));
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (unsigned byte = 0; byte != 8; ++byte, bits >>= 8)
    hash = (hash ^ (bits & 0xff)) * 0x100000001b3U;
  return hash;
}

struct HASH {
  std::size_t operator()(const KEP_RG_RELATIVE_PORT* r_port) const {
    return static_cast<std::size_t>(r_port->hash());
  }
};
struct EQUAL {
  bool operator()(const KEP_RG_RELATIVE_PORT* left, const KEP_RG_RELATIVE_PORT* right) const {
    return *left == *right;
  }
};

} // namespace

void KEP_RG_RELATIVE_PORT::add(KEP_INSTANCE* instance, const KEP_VIEW_TYPE_RANK& rank) {
  if (!m_instances.empty()) {
    const KEP_MODULE* top = in_rank(instance->get_parent(), rank);
    const KEP_MODULE* back = back_master(nullptr, rank);
    KEP_ASSERT(top == back);
  }
  m_instances.push_back(instance);
}

void KEP_RG_RELATIVE_PORT::add(KEP_PORT* port) {
  if (!m_instances.empty() && m_instances.back()->get_module() != port->get_parent()) {
    std::string chain;
    for (const KEP_INSTANCE* instance : m_instances)
      chain += fmt::format("{}{} ({})", chain.empty() ? "" : "/", instance->get_plain_name(),
                           instance->get_module()->get_plain_name());
    KEP_RG_THROW("KEP_RG_RELATIVE_PORT::add",
                 fmt::format("Mismatched top level with instances {} adding port {} ({})", chain,
                             port->get_plain_name(), port->get_parent()->get_plain_name()));
  }
  m_port = port;
}

bool KEP_RG_RELATIVE_PORT::parse(KEP_MODULE* top, std::string_view text, const KEP_VIEW_TYPE_RANK& rank,
                                 KEP_DB_CACHE* cache) {
  clear();
  KEP_MODULE* module = top;
  std::string_view segment = take_segment(text);
  for (; !segment.empty(); segment = take_segment(text)) {
    module = back_master(top, rank);
    if (!module) break; // no view of the rank: nothing is found in it
    KEP_INSTANCE* instance =
        cache ? cache->find_instance(module, std::string(segment)) : module->find_instance(segment);
    if (!instance) break;
    if (m_instances.empty()) m_instances.reserve(3); // what the smallest allocation holds
    m_instances.push_back(instance);                 // found where add() would want it
  }
  if (segment.empty() || !take_segment(text).empty()) return false;
  // The port of the last instance is looked up in the plain master, not through the rank.
  if (!m_instances.empty()) module = m_instances.back()->get_module();
  if (!module) return false;
  KEP_PORT* port = cache ? cache->find_port(module, std::string(segment)) : module->find_port(segment);
  if (!port) return false;
  add(port);
  return true;
}

void KEP_RG_RELATIVE_PORT::clear() {
  m_instances.clear();
  m_port = nullptr;
}

std::string KEP_RG_RELATIVE_PORT::get_name() const {
  std::string name;
  for (const KEP_INSTANCE* instance : m_instances) {
    if (!name.empty()) name += NAME_STYLE.m_hierarchy_separator;
    name += instance->get_plain_name();
  }
  if (m_port) {
    name += NAME_STYLE.m_port_separator;
    name += m_port->get_plain_name();
  }
  return name;
}

long KEP_RG_RELATIVE_PORT::hash() const {
  // The order of the chain and an instance that stands in it twice count for nothing: what is equal hashes
  // alike, and no table needs more.
  std::uint64_t hash = 0;
  for (const KEP_INSTANCE* instance : m_instances)
    hash ^= hash_pointer(instance);
  if (m_port) hash ^= hash_pointer(m_port);
  return static_cast<long>(hash & 0xffffffffU);
}

bool KEP_RG_RELATIVE_PORT::operator<(const KEP_RG_RELATIVE_PORT& other) const {
  const std::vector<KEP_INSTANCE*>& left = m_instances;
  const std::vector<KEP_INSTANCE*>& right = other.m_instances;
  const auto [at_left, at_right] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
  if (at_left != left.end() && at_right != right.end()) return std::less<>()(*at_left, *at_right);
  if (left.size() > right.size() && !right.empty()) return false;
  if (right.size() > left.size() && !left.empty()) return true;
  return std::less<>()(m_port, other.m_port);
}

bool KEP_RG_RELATIVE_PORT::ends_with(const KEP_RG_RELATIVE_PORT& other) const {
  if (m_port != other.m_port || other.m_instances.size() > m_instances.size()) return false;
  return std::equal(other.m_instances.rbegin(), other.m_instances.rend(), m_instances.rbegin());
}

KEP_INST_PORT* KEP_RG_RELATIVE_PORT::get_inst_port() const {
  if (m_instances.empty() || !m_instances.back() || !m_port) return nullptr;
  return m_instances.back()->get_inst_port_by_index(m_port->get_index());
}

KEP_MODULE* KEP_RG_RELATIVE_PORT::get_top() const {
  if (!m_instances.empty()) return m_instances.front()->get_parent();
  return m_port ? m_port->get_parent() : nullptr;
}

KEP_MODULE* KEP_RG_RELATIVE_PORT::back_master(KEP_MODULE* top, const KEP_VIEW_TYPE_RANK& rank) const {
  return in_rank(m_instances.empty() ? top : m_instances.back()->get_module(), rank);
}

void KEP_RG_RELATIVE_PORT::pop_back(std::size_t count, KEP_PORT* port) {
  m_instances.resize(m_instances.size() - count);
  m_port = port;
}

void KEP_RG_MODULE_RELATIVE_PORTS::check_top(const KEP_RG_RELATIVE_PORT* r_port) {
  if (!m_top) m_top = r_port->get_top();
  KEP_ASSERT(r_port->get_top() == m_top);
}

void KEP_RG_MODULE_RELATIVE_PORTS::add(const KEP_RG_RELATIVE_PORT* r_port) {
  check_top(r_port);
  m_relative_ports.push_back(*r_port);
}

void KEP_RG_MODULE_RELATIVE_PORTS::add(KEP_RG_RELATIVE_PORT&& r_port) {
  check_top(&r_port);
  m_relative_ports.push_back(std::move(r_port));
}

void KEP_RG_MODULE_RELATIVE_PORTS::set_union(const KEP_RG_MODULE_RELATIVE_PORTS* other) {
  KEP_RG_MODULE_RELATIVE_PORTS all;
  std::unordered_set<const KEP_RG_RELATIVE_PORT*, HASH, EQUAL> known;
  known.reserve(size() + other->size());
  const auto add_new = [&](const KEP_RG_MODULE_RELATIVE_PORTS& group) {
    for (const KEP_RG_RELATIVE_PORT* r_port : group.iter_relative_ports())
      if (known.insert(r_port).second) all.add(r_port);
  };
  add_new(*this);
  add_new(*other);
  *this = std::move(all);
}

void KEP_RG_MODULE_RELATIVE_PORTS::clear() {
  m_top = nullptr;
  m_relative_ports.clear();
}

KEP_RG_RELATIVE_PORT_TO_PORT::KEP_RG_RELATIVE_PORT_TO_PORT()
    : m_port_map(new PORT_MAP), m_inst_port_map(new INST_PORT_MAP), m_deep_map(new DEEP_MAP),
      m_keys(new std::vector<KEP_RG_RELATIVE_PORT>) {
  m_port_map->reserve(1000);
  m_inst_port_map->reserve(1000);
  m_keys->reserve(100000);
}

KEP_RG_RELATIVE_PORT_TO_PORT::~KEP_RG_RELATIVE_PORT_TO_PORT() {
  delete m_port_map;
  delete m_inst_port_map;
  delete m_deep_map;
  delete m_keys;
}

void KEP_RG_RELATIVE_PORT_TO_PORT::add(const KEP_RG_RELATIVE_PORT* key, KEP_PORT* value) {
  if (key->get_top() != value->get_parent())
    KEP_RG_THROW(
        "KEP_RG_RELATIVE_PORT_TO_PORT::add",
        fmt::format("Mismatched top level when adding {} and {}", key->get_name(), value->get_plain_name()));
  if (key->size() == 0)
    m_port_map->emplace(key->get_port(), value);
  else if (key->size() == 1)
    m_inst_port_map->emplace(key->get_inst_port(), value);
  else
    (*m_deep_map)[key->get_inst_port()].emplace(*key, value);
  m_keys->push_back(*key);
}

KEP_PORT* KEP_RG_RELATIVE_PORT_TO_PORT::find(const KEP_RG_RELATIVE_PORT* key) const {
  const auto value_of = [](const auto& map, const auto& at) {
    const auto found = map.find(at);
    return found == map.end() ? nullptr : found->second;
  };
  if (key->size() == 0) return value_of(*m_port_map, key->get_port());
  if (key->size() == 1) return value_of(*m_inst_port_map, key->get_inst_port());
  const auto inner = m_deep_map->find(key->get_inst_port());
  return inner == m_deep_map->end() ? nullptr : value_of(inner->second, *key);
}

bool KEP_RG_RELATIVE_PORT_TO_PORT::rewrite(KEP_RG_RELATIVE_PORT* out, const KEP_RG_RELATIVE_PORT* in,
                                           std::size_t count, KEP_PORT* port) {
  *out = *in;
  out->pop_back(count, port);
  return true;
}

bool KEP_RG_RELATIVE_PORT_TO_PORT::apply(KEP_RG_RELATIVE_PORT* out, const KEP_RG_RELATIVE_PORT* in) const {
  if (in->size() >= 2 && apply_deep(out, in)) return true;
  if (in->size() >= 1) {
    const auto rule = m_inst_port_map->find(in->get_inst_port());
    if (rule != m_inst_port_map->end()) return rewrite(out, in, 1, rule->second);
  }
  if (in->size() == 1) return false; // the one length that does not fall back on the port alone
  const auto rule = m_port_map->find(in->get_port());
  return rule != m_port_map->end() && rewrite(out, in, 0, rule->second);
}

bool KEP_RG_RELATIVE_PORT_TO_PORT::apply_deep(KEP_RG_RELATIVE_PORT* out,
                                              const KEP_RG_RELATIVE_PORT* in) const {
  const auto inner = m_deep_map->find(in->get_inst_port());
  if (inner == m_deep_map->end()) return false;
  // Of several rules that fit the longest decides: by their order, which is that of pointers, runs would
  // differ.
  const INNER_MAP::value_type* longest = nullptr;
  for (const INNER_MAP::value_type& rule : inner->second)
    if (in->ends_with(rule.first) && (!longest || rule.first.size() > longest->first.size())) longest = &rule;
  return longest && rewrite(out, in, longest->first.size(), longest->second);
}

std::size_t KEP_RG_RELATIVE_PORT_TO_PORT::apply(KEP_RG_MODULE_RELATIVE_PORTS* out,
                                                const KEP_RG_MODULE_RELATIVE_PORTS* in) const {
  std::size_t count = 0;
  for (const KEP_RG_RELATIVE_PORT* r_port : in->iter_relative_ports()) {
    KEP_RG_RELATIVE_PORT rewritten;
    if (apply(&rewritten, r_port)) {
      out->add(std::move(rewritten));
      ++count;
    } else {
      out->add(r_port);
    }
  }
  return count;
}
