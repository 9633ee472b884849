#include "tools/kep-rg/import_icebox/import_icebox_bels.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

/// "lutff_3" is of the family "lutff", as is every name that differs in the number alone.
std::string get_family(const std::string& name) {
  const std::size_t end = name.find_last_not_of("0123456789");
  const bool is_numbered = end != std::string::npos && end > 0 && end + 1 < name.size() && name[end] == '_';
  return is_numbered ? name.substr(0, end) : name;
}

} // namespace

std::string get_icebox_model_name(std::string_view name) {
  std::string result(name);
  std::ranges::replace(result, '/', '.');
  return result;
}

std::vector<ICEBOX_BEL> ICEBOX_BELS::add_bels(const ICEBOX_SHAPE& shape) {
  std::vector<ICEBOX_BEL> bels;
  std::map<std::string, std::size_t> positions;
  for (std::uint32_t wire = 0; wire < shape.m_wires.size(); ++wire) {
    const std::string& name = m_chip.m_names[shape.m_wires[wire].m_name];
    const std::size_t slash = name.find('/');
    if (slash == std::string::npos) continue;
    const auto [entry, is_new] = positions.try_emplace(name.substr(0, slash), bels.size());
    if (is_new) bels.push_back({entry->first});
    bels[entry->second].m_pins.emplace_back(get_icebox_model_name(name.substr(slash + 1)), wire);
  }
  for (ICEBOX_BEL& bel : bels)
    bel.m_kind = find_kind(shape, bel);
  return bels;
}

std::uint32_t ICEBOX_BELS::find_kind(const ICEBOX_SHAPE& shape, const ICEBOX_BEL& bel) {
  PORTS ports;
  for (const auto& [port, wire] : bel.m_pins)
    ports.emplace_back(port, shape.m_wires[wire].m_pin);
  PORTS sorted = ports;
  std::ranges::sort(sorted);

  const std::string family = get_family(bel.m_name);
  std::map<PORTS, std::uint32_t>& kinds = m_families[family];
  const auto [entry, is_new] =
      kinds.try_emplace(std::move(sorted), static_cast<std::uint32_t>(m_kinds.size()));
  if (is_new) m_kinds.push_back({fmt::format("bel.{}.{}", family, kinds.size()), std::move(ports)});
  return entry->second;
}
