#pragma once

#include "kep_report/kep_report_capture.h"
#include "tools/kep-rg/generate/generate.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using GENERATE_BITS = std::vector<std::string>; // as they stand in the file, "x" among them

struct GENERATED_PORT {
  std::string direction;
  GENERATE_BITS bits;
};

struct GENERATED_CELL {
  std::string type;
  std::map<std::string, GENERATE_BITS> connections;
};

struct GENERATED_MODULE {
  std::map<std::string, GENERATED_PORT> ports;
  std::map<std::string, GENERATED_CELL> cells;
};

using GENERATED_MODEL = std::map<std::string, GENERATED_MODULE>;

/// A folder of its own for each test, with a generated fabric in it.
class Generate : public testing::Test {
protected:
  Generate() {
    std::string name = (std::filesystem::temp_directory_path() / "generate-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_folder = name;
  }
  ~Generate() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }

  static std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  static void write_text(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
  }

  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
      names.insert(entry.path().filename().string());
    return names;
  }

  /// Generates, and gives the report line.
  std::string make(const GENERATE_OPTIONS& options) {
    KEP_REPORT_CAPTURE capture;
    generate(options, path("model.json"), path("routing.jsonl"));
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

  std::filesystem::path m_folder;
};

inline GENERATED_MODEL Generate::read_model() const {
  simdjson::dom::parser parser;
  GENERATED_MODEL model;
  const simdjson::dom::element modules = parser.load(path("model.json"))["modules"];
  for (const auto& [key, module] : modules.get_object()) {
    GENERATED_MODULE& read = model[std::string(key)];
    for (const auto& [name, port] : module["ports"].get_object())
      read.ports[std::string(name)] = {std::string(port["direction"]), read_bits(port["bits"])};
    for (const auto& [name, cell] : module["cells"].get_object()) {
      GENERATED_CELL& read_cell = read.cells[std::string(name)];
      read_cell.type = std::string(cell["type"]);
      for (const auto& [port, bits] : cell["connections"].get_object())
        read_cell.connections[std::string(port)] = read_bits(bits);
    }
  }
  return model;
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
    for (const auto& [name, port] : module.ports)
      add(place, name, port.bits);
    for (const auto& [name, cell] : module.cells) {
      const std::string inner = place.empty() ? name : place + "/" + name;
      for (const auto& [port, bits] : cell.connections)
        add(inner, port, bits);
      join(cell.type, inner);
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
