#include "tools/kep-rg/import_icebox/import_icebox_read.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace {

using KEY_MAP = std::unordered_map<std::uint64_t, std::uint32_t>;

std::uint64_t join(std::uint32_t high, std::uint32_t low) {
  return std::uint64_t{high} << 32 | low;
}

std::uint32_t size_of(const auto& table) {
  return static_cast<std::uint32_t>(table.size());
}

/// The rules keep every name that is made from a local name unique and free of the separators of full names.
bool is_local_name(std::string_view name) {
  for (const char c : name)
    if (c <= ' ' || c > '~' || c == '.' || c == ':' || c == '"' || c == '\\') return false;
  const std::size_t slash = name.find('/');
  return slash == std::string_view::npos || (slash > 0 && slash + 1 < name.size());
}

bool is_section_name(std::string_view name) {
  return name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") ==
         std::string_view::npos;
}

class ICEBOX_READER {
public:
  ICEBOX_READER(const std::string& file, std::string_view text) : m_file(file), m_rest(text) {}

  ICEBOX_CHIP read();

private:
  enum class SECTION { NONE, DEVICE, TILE, NET, MUX, OTHER };

  bool next_line();
  void start_section();
  void end_section();
  void read_body_line();

  void read_device();
  void read_tile(std::string_view kind);
  void read_net();
  void read_net_wire();
  void read_mux(ICEBOX_MUX_KIND kind);
  void read_mux_source();
  void check_net_count();
  void check_mux_names();

  std::uint32_t read_number(std::size_t token, const char* what) const;
  std::uint32_t get_tile(std::size_t x_token) const;
  std::uint32_t get_first_wire(std::uint32_t tile, std::size_t net_token) const;
  std::uint32_t intern(std::string_view name);
  void expect_tokens(bool holds, const char* form) const;
  [[noreturn]] void fail(const std::string& reason) const { fail_at(m_line, reason); }
  [[noreturn]] void fail_at(std::uint32_t line, const std::string& reason) const;

  const std::string& m_file;
  std::string_view m_rest; // what is still to be read
  std::uint32_t m_line = 0;
  std::vector<std::string_view> m_tokens; // of the line at hand
  SECTION m_section = SECTION::NONE;
  std::uint32_t m_section_line = 0;
  std::string_view m_section_name;
  std::size_t m_num_config_bits = 0; // of the mux at hand

  std::uint32_t m_device_line = 0; // 0: not seen yet
  std::uint32_t m_width = 0;
  std::uint32_t m_height = 0;
  std::uint32_t m_num_nets = 0;

  ICEBOX_CHIP m_chip;
  std::unordered_map<std::string_view, std::uint32_t> m_name_ids; // keys lie in the text
  std::unordered_map<std::uint32_t, std::uint32_t> m_net_ids;     // by the file's number
  KEY_MAP m_tile_ids;                                             // by x, y
  KEY_MAP m_first_wires;                                          // by tile, net
  KEY_MAP m_named_wires;                                          // by tile, name
  std::vector<std::uint32_t> m_num_entries[2];                    // by kind and wire
};

void ICEBOX_READER::fail_at(std::uint32_t line, const std::string& reason) const {
  throw std::runtime_error(fmt::format("{}:{}: {}", m_file, line, reason));
}

void ICEBOX_READER::expect_tokens(bool holds, const char* form) const {
  if (!holds) fail(fmt::format("expected \"{}\"", form));
}

std::uint32_t ICEBOX_READER::read_number(std::size_t token, const char* what) const {
  const std::string_view text = m_tokens[token];
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size())
    fail(fmt::format("{} \"{}\" is not a number", what, text));
  return value;
}

/// The tile whose X and Y are the tokens `x_token` and the one behind it.
std::uint32_t ICEBOX_READER::get_tile(std::size_t x_token) const {
  const std::uint32_t x = read_number(x_token, "X");
  const std::uint32_t y = read_number(x_token + 1, "Y");
  const auto found = m_tile_ids.find(join(x, y));
  if (found == m_tile_ids.end()) fail(fmt::format("there is no tile {} {} above this line", x, y));
  return found->second;
}

/// The first local wire in `tile` of the net whose number is a token.
std::uint32_t ICEBOX_READER::get_first_wire(std::uint32_t tile, std::size_t net_token) const {
  const std::uint32_t net_number = read_number(net_token, "net");
  const auto net = m_net_ids.find(net_number);
  if (net == m_net_ids.end()) fail(fmt::format("there is no net {} above this line", net_number));
  const auto wire = m_first_wires.find(join(tile, net->second));
  if (wire == m_first_wires.end()) {
    const ICEBOX_TILE& place = m_chip.m_tiles[tile];
    fail(fmt::format("net {} has no local name in tile {} {}", net_number, place.m_x, place.m_y));
  }
  return wire->second;
}

std::uint32_t ICEBOX_READER::intern(std::string_view name) {
  const auto [entry, is_new] = m_name_ids.try_emplace(name, size_of(m_chip.m_names));
  if (is_new) {
    if (!is_local_name(name)) fail(fmt::format("\"{}\" can't be a local name", name));
    m_chip.m_names.emplace_back(name);
  }
  return entry->second;
}

/// Takes the next line that isn't blank or a comment and cuts it at blanks.
bool ICEBOX_READER::next_line() {
  while (!m_rest.empty()) {
    const std::size_t end = m_rest.find('\n');
    std::string_view line = m_rest.substr(0, end);
    m_rest.remove_prefix(end == std::string_view::npos ? m_rest.size() : end + 1);
    ++m_line;

    m_tokens.clear();
    constexpr std::string_view blanks = " \t\r";
    for (std::size_t at = line.find_first_not_of(blanks); at != std::string_view::npos;) {
      const std::size_t stop = std::min(line.find_first_of(blanks, at), line.size());
      m_tokens.push_back(line.substr(at, stop - at));
      at = line.find_first_not_of(blanks, stop);
    }
    if (!m_tokens.empty() && m_tokens[0][0] != '#') return true;
  }
  return false;
}

void ICEBOX_READER::start_section() {
  m_section_name = m_tokens[0];
  m_section_line = m_line;
  m_section = SECTION::OTHER;
  if (m_section_name == ".device")
    read_device();
  else if (m_device_line == 0)
    fail(fmt::format("section \"{}\" before \".device\"", m_section_name));
  else if (m_section_name == ".net")
    read_net();
  else if (m_section_name == ".buffer")
    read_mux(ICEBOX_MUX_KIND::BUFFER);
  else if (m_section_name == ".routing")
    read_mux(ICEBOX_MUX_KIND::ROUTING);
  else if (m_section_name.ends_with("_tile"))
    read_tile(m_section_name.substr(1));
}

void ICEBOX_READER::end_section() {
  if (m_section == SECTION::MUX && m_chip.m_muxes.back().m_num_sources == 0)
    fail_at(m_section_line, fmt::format("\"{}\" without a source", m_section_name));
}

void ICEBOX_READER::read_body_line() {
  switch (m_section) {
  case SECTION::NET:
    return read_net_wire();
  case SECTION::MUX:
    return read_mux_source();
  case SECTION::OTHER:
    return;
  case SECTION::NONE:
    fail("text before the first section");
  case SECTION::DEVICE:
  case SECTION::TILE:
    fail(fmt::format("section \"{}\" has no lines of its own", m_section_name));
  }
}

void ICEBOX_READER::read_device() {
  m_section = SECTION::DEVICE;
  expect_tokens(m_tokens.size() == 5, ".device DEVICE WIDTH HEIGHT NUM_NETS");
  if (m_device_line != 0) fail(fmt::format("a second \".device\", the first is in line {}", m_device_line));
  m_device_line = m_line;
  m_width = read_number(2, "width");
  m_height = read_number(3, "height");
  m_num_nets = read_number(4, "number of nets");
}

void ICEBOX_READER::read_tile(std::string_view kind) {
  m_section = SECTION::TILE;
  expect_tokens(m_tokens.size() == 3 && is_section_name(kind), ".KIND_tile X Y");
  const std::uint32_t x = read_number(1, "X");
  const std::uint32_t y = read_number(2, "Y");
  if (x >= m_width || y >= m_height)
    fail(fmt::format("tile {} {} lies outside the device of {} by {}", x, y, m_width, m_height));
  if (!m_tile_ids.try_emplace(join(x, y), size_of(m_chip.m_tiles)).second)
    fail(fmt::format("a second tile {} {}", x, y));

  std::uint32_t kind_id = 0;
  while (kind_id < m_chip.m_kinds.size() && m_chip.m_kinds[kind_id] != kind)
    ++kind_id;
  if (kind_id == m_chip.m_kinds.size()) m_chip.m_kinds.emplace_back(kind);
  m_chip.m_tiles.push_back({kind_id, x, y});
}

void ICEBOX_READER::read_net() {
  m_section = SECTION::NET;
  expect_tokens(m_tokens.size() == 2, ".net NET");
  const std::uint32_t net = read_number(1, "net");
  if (!m_net_ids.try_emplace(net, size_of(m_chip.m_nets)).second) fail(fmt::format("a second net {}", net));
  m_chip.m_nets.push_back({.m_number = net});
}

void ICEBOX_READER::read_net_wire() {
  expect_tokens(m_tokens.size() == 3, "X Y NAME");
  const std::uint32_t tile = get_tile(0);
  const std::uint32_t name = intern(m_tokens[2]);
  const std::uint32_t net = size_of(m_chip.m_nets) - 1;
  const std::uint32_t wire = size_of(m_chip.m_wires);
  const auto [owner, is_new] = m_named_wires.try_emplace(join(tile, name), wire);
  if (!is_new)
    fail(fmt::format("local wire \"{}\" of tile {} {} is on net {} already", m_tokens[2], m_tokens[0],
                     m_tokens[1], m_chip.m_nets[m_chip.m_wires[owner->second].m_net].m_number));
  m_first_wires.try_emplace(join(tile, net), wire);
  m_chip.m_wires.push_back({tile, net, name});
  ++m_chip.m_nets.back().m_num_wires;
}

void ICEBOX_READER::read_mux(ICEBOX_MUX_KIND kind) {
  m_section = SECTION::MUX;
  expect_tokens(m_tokens.size() >= 4, kind == ICEBOX_MUX_KIND::BUFFER ? ".buffer X Y NET CONFIG_BITS..."
                                                                      : ".routing X Y NET CONFIG_BITS...");
  m_num_config_bits = m_tokens.size() - 4;
  const std::uint32_t wire = get_first_wire(get_tile(1), 3);
  std::vector<std::uint32_t>& num_entries = m_num_entries[static_cast<std::size_t>(kind)];
  num_entries.resize(std::max<std::size_t>(num_entries.size(), wire + std::size_t{1}));
  m_chip.m_muxes.push_back({kind, ++num_entries[wire], wire, size_of(m_chip.m_sources), 0, m_line});
  ++m_chip.m_nets[m_chip.m_wires[wire].m_net].m_num_drivers;
}

void ICEBOX_READER::read_mux_source() {
  expect_tokens(m_tokens.size() == 2, "CONFIG_BIT_VALUES NET");
  const std::string_view bits = m_tokens[0];
  if (bits.size() != m_num_config_bits || bits.find_first_not_of("01") != std::string_view::npos)
    fail(fmt::format("\"{}\" is not {} values of 0 or 1", bits, m_num_config_bits));
  ICEBOX_MUX& mux = m_chip.m_muxes.back();
  m_chip.m_sources.push_back(get_first_wire(m_chip.m_wires[mux.m_wire].m_tile, 1));
  ++mux.m_num_sources;
}

/// A text that was cut off within its nets is told by their number.
void ICEBOX_READER::check_net_count() {
  if (m_device_line == 0) fail_at(std::max(m_line, 1U), "there is no \".device\"");
  if (m_chip.m_nets.size() != m_num_nets)
    fail_at(m_device_line,
            fmt::format("{} nets are declared, but {} follow", m_num_nets, m_chip.m_nets.size()));
}

/// A second entry for wire "w" and the first for wire "w/2" would be instances of one name.
void ICEBOX_READER::check_mux_names() {
  for (const ICEBOX_MUX& mux : m_chip.m_muxes) {
    if (mux.m_ordinal == 1) continue;
    const ICEBOX_WIRE& wire = m_chip.m_wires[mux.m_wire];
    const auto name = m_name_ids.find(fmt::format("{}/{}", m_chip.m_names[wire.m_name], mux.m_ordinal));
    if (name == m_name_ids.end()) continue;
    const auto other = m_named_wires.find(join(wire.m_tile, name->second));
    const auto& num_entries = m_num_entries[static_cast<std::size_t>(mux.m_kind)];
    if (other != m_named_wires.end() && other->second < num_entries.size() && num_entries[other->second] > 0)
      fail_at(mux.m_line,
              fmt::format("entry {} for local wire \"{}\" would have the name of an entry for \"{}\"",
                          mux.m_ordinal, m_chip.m_names[wire.m_name], name->first));
  }
}

ICEBOX_CHIP ICEBOX_READER::read() {
  while (next_line()) {
    if (m_tokens[0][0] == '.') {
      end_section();
      start_section();
    } else {
      read_body_line();
    }
  }
  end_section();
  check_net_count();
  check_mux_names();
  return std::move(m_chip);
}

} // namespace

ICEBOX_CHIP read_icebox(const std::string& file, std::string_view text) {
  // Every table has fewer entries than the text has characters, so that 32-bit indices suffice.
  if (text.size() > std::numeric_limits<std::uint32_t>::max())
    throw std::runtime_error(fmt::format("{}: larger than 4 GiB", file));
  return ICEBOX_READER(file, text).read();
}
