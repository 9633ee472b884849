#pragma once

#include "tools/kep-rg/import_icebox/import_icebox.h"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A folder of its own for each test, with the chip database and what the importer makes of it.
class ImportIcebox : public testing::Test {
protected:
  ImportIcebox() {
    std::string name = (std::filesystem::temp_directory_path() / "icebox-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_folder = name;
  }
  ~ImportIcebox() override {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
  }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }

  static void write_text(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
  }

  static std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
      names.insert(entry.path().filename().string());
    return names;
  }

  /// Imports `text` and parses the model.
  void import(std::string_view text) {
    write_text(path("chip.txt"), text);
    import_icebox(path("chip.txt"), path("model.json"), path("routing.jsonl"));
    m_modules = m_parser.load(path("model.json"))["modules"];
  }

  /// The one line with which importing `text` fails, "" if it doesn't. The chip database's path is left out
  /// of it.
  std::string failure(std::string_view text) {
    write_text(path("chip.txt"), text);
    try {
      import_icebox(path("chip.txt"), path("model.json"), path("routing.jsonl"));
    } catch (const std::runtime_error& error) {
      const std::string what = error.what();
      return what.starts_with(path("chip.txt")) ? what.substr(path("chip.txt").size()) : what;
    }
    return "";
  }

  static std::string as_text(simdjson::dom::element element) { return simdjson::minify(element); }

  static std::vector<std::string> keys(simdjson::dom::element object) {
    std::vector<std::string> names;
    for (const auto& [key, value] : simdjson::dom::object(object))
      names.emplace_back(key);
    return names;
  }

  simdjson::dom::element module(std::string_view key) const { return m_modules[key]; }

  /// The module that the instance of a tile has.
  std::string tile_type(std::string_view instance) const {
    return std::string(std::string_view(m_modules["top"]["cells"][instance]["type"]));
  }

  simdjson::dom::element tile(std::string_view instance) const { return m_modules[tile_type(instance)]; }

  /// Ports of a module, "name direction".
  static std::vector<std::string> ports(simdjson::dom::element module) {
    std::vector<std::string> result;
    for (const auto& [key, value] : simdjson::dom::object(module["ports"]))
      result.push_back(std::string(key) + " " + std::string(std::string_view(value["direction"])));
    return result;
  }

  /// What a cell connects, "port=net", by the names of the module's nets.
  static std::vector<std::string> connections(simdjson::dom::element module, std::string_view cell) {
    std::vector<std::string> result;
    for (const auto& [port, bits] : simdjson::dom::object(module["cells"][cell]["connections"]))
      result.push_back(std::string(port) + "=" + net_name(module, bits.at(0)));
    return result;
  }

  static std::string net_name(simdjson::dom::element module, std::int64_t bit) {
    for (const auto& [name, net] : simdjson::dom::object(module["netnames"]))
      if (std::int64_t(net["bits"].at(0)) == bit) return std::string(name);
    return "";
  }

  std::filesystem::path m_folder;
  simdjson::dom::parser m_parser;
  simdjson::dom::element m_modules;
};
