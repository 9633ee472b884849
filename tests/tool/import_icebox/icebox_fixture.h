#pragma once

#include "tests/support/folder_fixture.h"
#include "tools/kep-rg/import_icebox/import_icebox.h"
#include "tools/kep-rg/import_icebox/import_icebox_fold.h"
#include "tools/kep-rg/import_icebox/import_icebox_read.h"
#include "tools/kep-rg/import_icebox/import_icebox_write.h"

#include <simdjson.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// A chip database, and what the importer makes of it.
class Icebox : public Folder {
protected:
  /// Imports `text` and parses the model.
  void import(std::string_view text) {
    write("chip.txt", text);
    import_icebox(path("chip.txt"), path("model.json"), path("routing.jsonl"));
    m_modules = m_parser.load(path("model.json"))["modules"];
  }

  /// The same without files. Gives the text of the model.
  std::string import_in_memory(std::string_view text) {
    const std::string file = "chip.txt";
    std::ostringstream model;
    std::ostringstream routing;
    const ICEBOX_CHIP chip = read_icebox(file, text);
    write_icebox(chip, fold_icebox(chip), model, routing);
    m_modules = m_parser.parse(model.str())["modules"];
    return model.str();
  }

  /// The one line with which importing `text` fails, "" if it doesn't. The chip database's path is left out
  /// of it.
  std::string failure(std::string_view text) {
    write("chip.txt", text);
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

  simdjson::dom::parser m_parser;
  simdjson::dom::element m_modules;
};
