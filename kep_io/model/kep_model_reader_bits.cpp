#include "kep_io/model/kep_model_reader_bits.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

unsigned KEP_MODEL_BITS::count() const {
  return static_cast<unsigned>(std::distance(m_bits.begin(), m_bits.end()));
}

std::uint64_t KEP_MODEL_BITS::read_bit(simdjson::dom::element element, unsigned index) const {
  std::uint64_t number = 0;
  if (element.get(number) == simdjson::SUCCESS && number != UNCONNECTED) return number;
  std::string_view text;
  if (element.get(text) == simdjson::SUCCESS && (text == "0" || text == "1" || text == "x" || text == "z"))
    return UNCONNECTED;
  m_place.refuse(
      fmt::format("bit {} is neither the number of a net nor \"0\", \"1\", \"x\" or \"z\"", index));
}

KEP_MODEL_BIT_RANGE kep_read_bit_range(simdjson::dom::object owner, unsigned width,
                                       const KEP_JSON_PLACE& place) {
  const auto read = [&](std::string_view member) -> std::int64_t {
    const auto value = kep_json_find(owner, member, place);
    if (!value) return 0;
    std::int64_t number = 0;
    if (value->get(number) != simdjson::SUCCESS || number != static_cast<std::int32_t>(number))
      KEP_JSON_PLACE(place, member).refuse("not an integer of 32 bits");
    return number;
  };
  const std::int64_t offset = read("offset");
  return {width, offset, read("upto") != 0};
}

std::string_view KEP_MODEL_BIT_NAMES::get(unsigned index) {
  if (m_range.m_width == 1) return m_name;
  m_buffer.clear();
  fmt::format_to(std::back_inserter(m_buffer), "{}[{}]", m_name,
                 m_range.m_offset + (m_range.m_is_upto ? m_range.m_width - 1 - index : index));
  return m_buffer;
}

void KEP_MODEL_NETS::start(KEP_MODULE_ID module) {
  m_module = module;
  for (const std::uint64_t bit : m_bits)
    if (bit < m_dense.size()) m_dense[bit] = NONE;
  m_bits.clear();
  m_has_name.clear();
  if (!m_sparse.empty()) m_sparse = {};
}

std::uint32_t KEP_MODEL_NETS::find(std::uint64_t bit) const {
  if (bit < m_dense_limit) return bit < m_dense.size() ? m_dense[bit] : NONE;
  const auto found = m_sparse.find(bit);
  return found == m_sparse.end() ? NONE : found->second;
}

KEP_NET_ID KEP_MODEL_NETS::get(std::uint64_t bit) {
  if (const std::uint32_t found = find(bit)) return get_id(found - 1);
  const KEP_NET_ID net = m_builder.add_net(m_module, {});
  if (m_bits.empty()) m_first_id = net;
  m_bits.push_back(bit);
  m_has_name.push_back(false);
  const auto number = static_cast<std::uint32_t>(m_bits.size());
  if (bit < m_dense_limit) {
    if (bit >= m_dense.size())
      m_dense.resize(std::min(m_dense_limit, std::max<std::uint64_t>(bit + 1, 2 * bit)));
    m_dense[bit] = number;
  } else {
    m_sparse.emplace(bit, number);
  }
  return net;
}

void KEP_MODEL_NETS::set_name(std::uint64_t bit, std::string_view name) {
  const std::uint32_t found = find(bit);
  if (found == NONE || m_has_name[found - 1]) return;
  m_has_name[found - 1] = true;
  m_builder.set_net_name(m_module, get_id(found - 1), name);
}

void KEP_MODEL_NETS::finish() {
  std::string name = "$n";
  for (std::size_t i = 0; i != m_bits.size(); ++i) {
    if (m_has_name[i]) continue;
    name.resize(2);
    name += fmt::format_int(m_bits[i]).c_str();
    m_builder.set_net_name(m_module, get_id(i), name);
  }
}
