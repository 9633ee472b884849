#pragma once

#include "kep_report/kep_report_capture.h"
#include "tests/support/folder_fixture.h"
#include "tools/kep-rg/generate/generate.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using GENERATE_BITS = std::vector<std::string>; // as they stand in the file, "x" among them

struct GENERATED_PORT {
  std::string m_direction;
  GENERATE_BITS m_bits;
};

struct GENERATED_CELL {
  std::string m_type;
  std::map<std::string, GENERATE_BITS> m_connections;
};

struct GENERATED_MODULE {
  std::map<std::string, GENERATED_PORT> m_ports;
  std::map<std::string, GENERATED_CELL> m_cells;
};

using GENERATED_MODEL = std::map<std::string, GENERATED_MODULE>;

/// Small enough to be walked in every direction.
inline GENERATE_OPTIONS small() {
  GENERATE_OPTIONS options;
  options.m_columns = {2};
  options.m_rows = {3};
  options.m_width = 6;
  options.m_luts = 2;
  options.m_switch_inputs = 8;
  options.m_connect_inputs = 4;
  return options;
}

/// The smallest device of a form, or nearly.
inline GENERATE_OPTIONS small(GENERATE_FORM form) {
  GENERATE_OPTIONS options;
  if (form == GENERATE_FORM::TILES || form == GENERATE_FORM::GRIDS)
    options = small();
  else
    options.m_nodes = 1000;
  options.m_form = form;
  return options;
}

/// A generated device.
class Generate : public Folder {
protected:
  /// Generates, and gives the report line.
  std::string make(GENERATE_OPTIONS options) {
    KEP_REPORT_CAPTURE capture;
    options.m_model = path("model.json");
    options.m_routing = path("routing.jsonl");
    generate(options);
    return capture.text(KEP_REPORT::STREAM::INFO);
  }

  /// The nodes that the report line tells of.
  std::uint64_t make_and_count(const GENERATE_OPTIONS& options) {
    const std::string line = make(options);
    const std::size_t end = line.rfind(" nodes");
    const std::size_t start = line.rfind(' ', end - 1) + 1;
    return std::stoull(line.substr(start, end - start));
  }

  /// The one line with which generating fails, "" if it doesn't.
  std::string failure(const GENERATE_OPTIONS& options) {
    try {
      make(options);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  GENERATED_MODEL read_model() const;

  /// The names of the cells of a module, in the order of the file.
  std::vector<std::string> read_cell_names(std::string_view module) const;

  /// Each net has one driver, and each cell's input is open or on a net that is driven.
  void expect_one_driver_for_every_net() const;

  /// The statements of the routing description, parsed in turn.
  std::vector<std::map<std::string, std::string>> read_routing() const;

  std::size_t count_statements(std::string_view op) const {
    std::size_t count = 0;
    for (const auto& statement : read_routing())
      count += statement.at("op") == op;
    return count;
  }

private:
  static GENERATE_BITS read_bits(simdjson::dom::element bits) {
    GENERATE_BITS result;
    for (const simdjson::dom::element bit : bits.get_array())
      result.push_back(bit.is_string() ? std::string(bit) : simdjson::minify(bit));
    return result;
  }
};

inline GENERATED_MODEL Generate::read_model() const {
  simdjson::dom::parser parser;
  GENERATED_MODEL model;
  const simdjson::dom::element modules = parser.load(path("model.json"))["modules"];
  for (const auto& [key, module] : modules.get_object()) {
    GENERATED_MODULE& read = model[std::string(key)];
    for (const auto& [name, port] : module["ports"].get_object())
      read.m_ports[std::string(name)] = {std::string(port["direction"]), read_bits(port["bits"])};
    for (const auto& [name, cell] : module["cells"].get_object()) {
      GENERATED_CELL& read_cell = read.m_cells[std::string(name)];
      read_cell.m_type = std::string(cell["type"]);
      for (const auto& [port, bits] : cell["connections"].get_object())
        read_cell.m_connections[std::string(port)] = read_bits(bits);
    }
  }
  return model;
}

inline std::vector<std::string> Generate::read_cell_names(std::string_view module) const {
  simdjson::dom::parser parser;
  std::vector<std::string> names;
  const simdjson::dom::element modules = parser.load(path("model.json"))["modules"];
  for (const auto& [name, cell] : modules[module]["cells"].get_object())
    names.emplace_back(name);
  return names;
}

inline void Generate::expect_one_driver_for_every_net() const {
  const GENERATED_MODEL model = read_model();
  for (const auto& [key, module] : model) {
    std::map<std::string, int> drivers;
    for (const auto& [name, port] : module.m_ports)
      for (const std::string& bit : port.m_bits)
        drivers[bit] += port.m_direction == "input";
    for (const auto& [name, cell] : module.m_cells)
      for (const auto& [port, bits] : cell.m_connections)
        for (const std::string& bit : bits)
          drivers[bit] += model.at(cell.m_type).m_ports.at(port).m_direction == "output";
    for (const auto& [name, cell] : module.m_cells)
      for (const auto& [port, bits] : cell.m_connections)
        for (const std::string& bit : bits)
          if (bit != "x") {
            EXPECT_EQ(drivers[bit], 1) << key << "/" << name << ":" << port;
          }
  }
}

inline std::vector<std::map<std::string, std::string>> Generate::read_routing() const {
  simdjson::dom::parser parser;
  std::vector<std::map<std::string, std::string>> statements;
  std::ifstream in(path("routing.jsonl"));
  for (std::string line; std::getline(in, line);) {
    auto& statement = statements.emplace_back();
    const simdjson::dom::element object = parser.parse(line);
    for (const auto& [name, value] : object.get_object())
      statement[std::string(name)] = value.is_string() ? std::string(value) : simdjson::minify(value);
  }
  return statements;
}

/// Which ports of a device are joined: the nets of all its places put together, from the top to the tiles.
class FLAT_NETS {
public:
  FLAT_NETS(const GENERATED_MODEL& model, const std::string& top) : m_model(model) { join(top, ""); }

  /// Ports are written "a/b:port.bit".
  bool are_joined(const std::string& a, const std::string& b) { return find(a) == find(b); }

  const std::vector<std::string>& get_tiles() const { return m_tiles; }

private:
  void join(const std::string& key, const std::string& place) {
    if (key == "tile") {
      m_tiles.push_back(place);
      return;
    }
    const GENERATED_MODULE& module = m_model.at(key);
    std::map<std::string, std::string> net_to_port;
    const auto add = [&](const std::string& owner, const std::string& port, const GENERATE_BITS& bits) {
      for (std::size_t i = 0; i < bits.size(); ++i) {
        const std::string name = fmt::format("{}:{}.{}", owner, port, i);
        if (bits[i] == "x") continue;
        const auto [entry, is_new] = net_to_port.try_emplace(bits[i], name);
        if (!is_new) m_parent[find(name)] = find(entry->second);
      }
    };
    for (const auto& [name, port] : module.m_ports)
      add(place, name, port.m_bits);
    for (const auto& [name, cell] : module.m_cells) {
      const std::string inner = place.empty() ? name : place + "/" + name;
      for (const auto& [port, bits] : cell.m_connections)
        add(inner, port, bits);
      join(cell.m_type, inner);
    }
  }

  std::string find(const std::string& name) {
    std::string root = name;
    while (m_parent.contains(root) && m_parent[root] != root)
      root = m_parent[root];
    return m_parent[name] = root;
  }

  const GENERATED_MODEL& m_model;
  std::map<std::string, std::string> m_parent;
  std::vector<std::string> m_tiles;
};
