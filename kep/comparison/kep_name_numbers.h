#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

/// Names of two databases as numbers, from 1 in the order in which they come: equal names, equal numbers. The
/// databases keep the texts.
class KEP_NAME_NUMBERS {
public:
  std::uint32_t get(std::string_view name) {
    const auto [found, is_new] = m_numbers.try_emplace(name, static_cast<std::uint32_t>(m_names.size() + 1));
    if (is_new) m_names.push_back(name);
    return found->second;
  }
  std::string_view get_name(std::uint32_t number) const { return m_names[number - 1]; }

private:
  std::vector<std::string_view> m_names;
  std::unordered_map<std::string_view, std::uint32_t> m_numbers;
};

/// What an inst port is called in its module, or a port of the top, in one word; of a node also whether it is
/// a hipi twin.
namespace KEP_PORT_NAME {

constexpr std::uint64_t make(std::uint32_t instance, std::uint32_t port) {
  return std::uint64_t{instance} << 32 | std::uint64_t{port} << 1;
}
constexpr std::uint64_t make_hipi(std::uint64_t name) {
  return name | 1;
}
/// Of the inst port of a node.
constexpr std::uint64_t without_kind(std::uint64_t name) {
  return name & ~std::uint64_t{1};
}
/// 0 for a port of the top.
constexpr std::uint32_t instance(std::uint64_t name) {
  return static_cast<std::uint32_t>(name >> 32);
}
constexpr std::uint32_t port(std::uint64_t name) {
  return static_cast<std::uint32_t>(name) >> 1;
}

} // namespace KEP_PORT_NAME
