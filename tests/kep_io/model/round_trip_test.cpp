#include "kep_io/kep_model_writer.h"
#include "tests/support/io_test_support.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <sstream>

namespace round_trip_test {

/// Random models go through the writer and the reader. What must come out is worked out here, straight from
/// what went in.

using BITS = std::vector<std::int64_t>;

class RANDOM_MODEL {
public:
  explicit RANDOM_MODEL(std::uint64_t seed) : m_random(seed) {
    const std::size_t num_modules = 1 + below(5);
    for (std::size_t i = 0; i != num_modules; ++i)
      m_modules.push_back(make_module(i));
    m_modules.back().m_attributes.push_back({"top", 1});
    std::shuffle(m_modules.begin(), m_modules.end(), m_random); // masters may stand behind their uses
  }

  const std::vector<KEP_MODEL_MODULE>& modules() const { return m_modules; }

private:
  std::size_t below(std::size_t limit) { return m_random() % limit; }

  BITS make_bits(std::size_t width) {
    static constexpr std::int64_t numbers[] = {KEP_MODEL_UNCONNECTED_BIT, 2, 3, 4, 5, 6, 7,
                                               1'000'000'000'000,         90};
    BITS bits(width);
    for (std::int64_t& bit : bits)
      bit = numbers[below(std::size(numbers))];
    return bits;
  }

  KEP_MODEL_MODULE make_module(std::size_t number) {
    KEP_MODEL_MODULE module;
    module.m_key = "M" + std::to_string(number);
    for (std::size_t i = 0, count = below(4); i != count; ++i)
      module.m_ports.push_back(
          {"p" + std::to_string(9 - i), static_cast<KEP_MODEL_DIRECTION>(below(3)), make_bits(below(4))});
    for (std::size_t i = 0, count = number == 0 ? 0 : below(4); i != count; ++i) {
      const KEP_MODEL_MODULE& master = m_modules[below(number)];
      KEP_MODEL_CELL cell{"c\"" + std::to_string(9 - i), master.m_key};
      for (const KEP_MODEL_PORT& port : master.m_ports)
        if (below(4) != 0) cell.m_connections.emplace_back(port.m_name, make_bits(port.m_bits.size()));
      std::shuffle(cell.m_connections.begin(), cell.m_connections.end(), m_random);
      module.m_cells.push_back(std::move(cell));
    }
    for (std::size_t i = 0, count = below(4); i != count; ++i)
      module.m_netnames.push_back({"n" + std::to_string(i), make_bits(1 + below(2))});
    return module;
  }

  std::mt19937 m_random;
  std::vector<KEP_MODEL_MODULE> m_modules;
};

std::string bit_name(const std::string& name, std::size_t width, std::size_t i) {
  return width == 1 ? name : name + "[" + std::to_string(i) + "]";
}

const char* letter_of(KEP_MODEL_DIRECTION direction) {
  return direction == KEP_MODEL_DIRECTION::INPUT ? "i" : direction == KEP_MODEL_DIRECTION::OUTPUT ? "o" : "b";
}

/// A module in words: its ports, its cells with their masters, and its nets with their members, by name.
struct WORDS {
  std::string m_ports;
  std::string m_cells;
  std::map<std::string, std::string> m_nets;

  bool operator==(const WORDS&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const WORDS& words) {
    out << words.m_ports << "| " << words.m_cells << "|";
    for (const auto& [name, members] : words.m_nets)
      out << " " << name << ": " << members << ";";
    return out;
  }
};

struct MEMBERS {
  std::string m_text;
  unsigned m_num_ports = 0;
  unsigned m_num_inst_ports = 0;
};

WORDS expected_words(const KEP_MODEL_MODULE& module, const std::vector<KEP_MODEL_MODULE>& modules) {
  WORDS words;
  std::map<std::int64_t, MEMBERS> nets;
  for (const KEP_MODEL_PORT& port : module.m_ports)
    for (std::size_t i = 0; i != port.m_bits.size(); ++i) {
      const std::string name = bit_name(port.m_name, port.m_bits.size(), i);
      words.m_ports += name + letter_of(port.m_direction) + " ";
      nets[port.m_bits[i]].m_text += name + " ";
      ++nets[port.m_bits[i]].m_num_ports;
    }
  for (const KEP_MODEL_CELL& cell : module.m_cells) {
    words.m_cells += cell.m_name + "=" + cell.m_type + " ";
    const auto master =
        std::find_if(modules.begin(), modules.end(), [&](const auto& m) { return m.m_key == cell.m_type; });
    for (const KEP_MODEL_PORT& port : master->m_ports)
      for (const auto& [name, bits] : cell.m_connections)
        for (std::size_t i = 0; name == port.m_name && i != bits.size(); ++i) {
          nets[bits[i]].m_text += cell.m_name + ":" + bit_name(name, bits.size(), i) + " ";
          ++nets[bits[i]].m_num_inst_ports;
        }
  }
  std::map<std::int64_t, std::string> names;
  for (const KEP_MODEL_NETNAME& net : module.m_netnames)
    for (std::size_t i = 0; i != net.m_bits.size(); ++i)
      names.emplace(net.m_bits[i], bit_name(net.m_name, net.m_bits.size(), i));
  for (const auto& [bit, members] : nets) {
    const bool is_alone = members.m_num_ports == 1 && members.m_num_inst_ports == 0;
    if (bit == KEP_MODEL_UNCONNECTED_BIT || is_alone) continue;
    const auto name = names.find(bit);
    words.m_nets[name == names.end() ? "$n" + std::to_string(bit) : name->second] = members.m_text;
  }
  return words;
}

WORDS words_of(const KEP_MODULE* module) {
  WORDS words;
  for (const KEP_PORT* port : module->iter_ports())
    words.m_ports += std::string(port->get_plain_name()) + (port->is_input()    ? "i "
                                                            : port->is_output() ? "o "
                                                                                : "b ");
  for (const KEP_INSTANCE* instance : module->iter_instances())
    words.m_cells += std::string(instance->get_plain_name()) + "=" + instance->get_module()->get_key() + " ";
  for (const KEP_NET* net : module->iter_nets())
    words.m_nets[net->get_plain_name()] = members_of(net);
  return words;
}

TEST(RoundTrip, AModelThatIsWrittenIsReadBackAsItWas) {
  std::size_t num_nets = 0;
  for (const std::uint64_t seed : test_model::SEEDS(0, 500)) {
    const RANDOM_MODEL model(seed);
    std::ostringstream text;
    KEP_MODEL_WRITER writer(text, "test");
    for (const KEP_MODEL_MODULE& module : model.modules())
      writer.write(module);
    writer.finish();
    const auto db = kep_read_model_text(text.str(), "m.json");
    std::size_t i = 0;
    for (const KEP_MODULE* module : db->iter_modules(true)) {
      ASSERT_EQ(module->get_key(), model.modules()[i].m_key);
      ASSERT_EQ(words_of(module), expected_words(model.modules()[i], model.modules()))
          << "seed " << seed << "\n"
          << text.str();
      num_nets += module->get_num_nets();
      ++i;
    }
    ASSERT_EQ(i, model.modules().size());
  }
  EXPECT_GT(num_nets, 1000U);
}

TEST(RoundTrip, AModuleThatIsWrittenCellByCellHasTheBytesOfOneWrittenAtOnce) {
  for (const std::uint64_t seed : test_model::SEEDS(0, 50)) {
    const RANDOM_MODEL model(seed);
    std::ostringstream at_once;
    std::ostringstream in_pieces;
    KEP_MODEL_WRITER writer(at_once, "test");
    KEP_MODEL_WRITER pieces(in_pieces, "test");
    for (const KEP_MODEL_MODULE& module : model.modules()) {
      writer.write(module);
      pieces.begin_module(module);
      for (const KEP_MODEL_CELL& cell : module.m_cells)
        pieces.write_cell(cell);
      pieces.end_module(module);
    }
    ASSERT_EQ(in_pieces.str(), at_once.str()) << "seed " << seed;
  }
}

} // namespace round_trip_test
