#pragma once

#include "kep/kep_db_builder.h"

#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Small models for tests, written as text:
///
///   module TOP top type=1               flags: view=BLC group=G name=N top ip_root trait_0 bidir_buffer
///     ports >a <z =c                           foreign type=0|1|2 device_top
///     inst m MUX header                 flags: header trait_0 atom buffer
///     net n  a m.i  z m.o               name, then ports of the module and inst ports; "port", "inst.port"
///
/// `>` is an input, `<` an output, `=` bidirectional. Modules may be used before they are defined; every
/// module stands with its ports before anything is connected. A `#` begins a comment.
namespace test_model {

class TEXT_MODEL {
public:
  explicit TEXT_MODEL(std::string_view text) {
    read(text);
    for (const LINE& line : m_lines)
      if (line.m_words[0] == "module") add_module(line);
    for (const LINE& line : m_lines)
      if (line.m_words[0] == "ports") add_ports(line);
    for (const LINE& line : m_lines) {
      if (line.m_words[0] == "inst") add_instance(line);
      if (line.m_words[0] == "net") add_net(line);
    }
  }

  KEP_DB_BUILDER& builder() { return m_builder; }
  KEP_MODULE_ID id(const std::string& key) const { return m_modules.at(key).m_id; }
  std::unique_ptr<KEP_DB> freeze() { return KEP_DB_BUILDER::freeze(std::move(m_builder)); }

private:
  struct LINE {
    std::string m_module;
    std::vector<std::string> m_words;
  };
  struct PARSED_MODULE {
    KEP_MODULE_ID m_id{};
    std::map<std::string, unsigned> m_ports;
    std::map<std::string, std::pair<KEP_INSTANCE_ID, std::string>> m_instances; // with the key of the master
  };

  void read(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::string line;
    std::string module;
    while (std::getline(stream, line)) {
      std::istringstream words(line.substr(0, line.find('#')));
      std::vector<std::string> found;
      for (std::string word; words >> word;)
        found.push_back(word);
      if (found.empty()) continue;
      const std::string& first = found[0];
      if (first != "module" && first != "ports" && first != "inst" && first != "net")
        throw std::logic_error("test model: " + line);
      if (first == "module") module = found.at(1);
      m_lines.push_back({module, std::move(found)});
    }
  }

  static KEP_VIEW_TYPE view(const std::string& name) {
    if (name == "LOGICAL") return KEP_VIEW_TYPE::LOGICAL;
    if (name == "VIEW_1") return KEP_VIEW_TYPE::VIEW_1;
    if (name == "BLC") return KEP_VIEW_TYPE::BLC;
    if (name == "LOGICAL_TWIN") return KEP_VIEW_TYPE::LOGICAL_TWIN;
    throw std::logic_error("test model: view " + name);
  }

  void add_module(const LINE& line) {
    KEP_MODULE_PROPERTIES properties;
    for (std::size_t i = 2; i < line.m_words.size(); ++i) {
      const std::string& word = line.m_words[i];
      const std::size_t equals = word.find('=');
      const std::string flag = word.substr(0, equals);
      const std::string value = equals == std::string::npos ? std::string() : word.substr(equals + 1);
      if (flag == "view")
        properties.m_view_type = view(value);
      else if (flag == "group")
        properties.m_equivalents = value;
      else if (flag == "name")
        properties.m_name = value;
      else if (flag == "top")
        properties.m_is_designated_top = true;
      else if (flag == "ip_root")
        properties.m_is_ip_root = true;
      else if (flag == "trait_0")
        properties.m_has_trait_0 = true;
      else if (flag == "bidir_buffer")
        properties.m_is_blc_bidir_buffer = true;
      else if (flag == "foreign")
        properties.m_is_foreign = true;
      else if (flag == "type")
        properties.m_db_type = static_cast<KEP_DB_TYPE>(std::stoi(value));
      else if (flag == "device_top")
        properties.m_is_device_top = true;
      else
        throw std::logic_error("test model: flag " + word);
    }
    m_modules[line.m_module].m_id = m_builder.add_module(line.m_module, properties);
  }

  void add_ports(const LINE& line) {
    PARSED_MODULE& module = m_modules.at(line.m_module);
    for (std::size_t i = 1; i < line.m_words.size(); ++i) {
      const std::string name = line.m_words[i].substr(1);
      const char mark = line.m_words[i][0];
      const KEP_PORT_DIRECTION direction = mark == '>'   ? KEP_PORT_DIRECTION::INPUT
                                           : mark == '<' ? KEP_PORT_DIRECTION::OUTPUT
                                           : mark == '=' ? KEP_PORT_DIRECTION::BIDIR
                                                         : throw std::logic_error("test model: port " + name);
      module.m_ports[name] = m_builder.add_port(module.m_id, name, direction);
    }
  }

  void add_instance(const LINE& line) {
    PARSED_MODULE& module = m_modules.at(line.m_module);
    KEP_INSTANCE_PROPERTIES properties;
    for (std::size_t i = 3; i < line.m_words.size(); ++i) {
      const std::string& flag = line.m_words[i];
      if (flag == "header")
        properties.m_has_inst_header = true;
      else if (flag == "trait_0")
        properties.m_has_trait_0 = true;
      else if (flag == "atom")
        properties.m_is_blc_atom = true;
      else if (flag == "buffer")
        properties.m_is_blc_inserted_buffer = true;
      else
        throw std::logic_error("test model: flag " + flag);
    }
    const std::string& master = line.m_words.at(2);
    module.m_instances[line.m_words[1]] = {
        m_builder.add_instance(module.m_id, line.m_words[1], m_modules.at(master).m_id, properties), master};
  }

  void add_net(const LINE& line) {
    PARSED_MODULE& module = m_modules.at(line.m_module);
    const KEP_NET_ID net = m_builder.add_net(module.m_id, line.m_words.at(1));
    for (std::size_t i = 2; i < line.m_words.size(); ++i) {
      const std::string& member = line.m_words[i];
      const std::size_t dot = member.find('.');
      if (dot == std::string::npos) {
        m_builder.connect(module.m_id, module.m_ports.at(member), net);
      } else {
        const auto& [instance, master] = module.m_instances.at(member.substr(0, dot));
        m_builder.connect(module.m_id, instance, m_modules.at(master).m_ports.at(member.substr(dot + 1)),
                          net);
      }
    }
  }

  KEP_DB_BUILDER m_builder;
  std::vector<LINE> m_lines;
  std::map<std::string, PARSED_MODULE> m_modules;
};

/// The frozen model that a text describes.
inline std::unique_ptr<KEP_DB> make_db(std::string_view text) {
  return TEXT_MODEL(text).freeze();
}

/// The module of that key, foreign ones too; there must be one.
inline KEP_MODULE* module(const KEP_DB& db, std::string_view key) {
  for (KEP_MODULE* candidate : db.iter_modules(true))
    if (candidate->get_key() == key) return candidate;
  throw std::logic_error("no module " + std::string(key));
}

inline KEP_PORT* port(const KEP_DB& db, std::string_view key, const char* name) {
  KEP_PORT* found = module(db, key)->find_port(name);
  return found ? found : throw std::logic_error("no port " + std::string(name));
}

inline KEP_INSTANCE* instance(const KEP_DB& db, std::string_view key, const char* name) {
  KEP_INSTANCE* found = module(db, key)->find_instance(name);
  return found ? found : throw std::logic_error("no instance " + std::string(name));
}

/// The instance under that path of names from the top. A name may choose the view of its master for the next
/// step, "a@BLC/b"; else the plain master is entered.
inline KEP_UNFOLDED_INSTANCE unfolded_instance(const KEP_DB& db, const std::string& path,
                                               KEP_VIEW_TYPE top_view = KEP_VIEW_TYPE::DEFAULT_VIEW) {
  KEP_UNFOLDED_MODULE at = db.get_top_unfolded_module(top_view);
  KEP_UNFOLDED_INSTANCE found;
  std::istringstream names(path);
  for (std::string name; std::getline(names, name, '/');) {
    const std::size_t mark = name.find('@');
    KEP_INSTANCE* folded = at.m_object ? at.m_object->find_instance(name.substr(0, mark).c_str()) : nullptr;
    found = {};
    for (const KEP_UNFOLDED_INSTANCE& candidate : at.iter_instances())
      if (candidate.m_object == folded) found = candidate;
    if (!found) throw std::logic_error("no unfolded instance " + path);
    KEP_VIEW_TYPE view = KEP_VIEW_TYPE::DEFAULT_VIEW;
    if (mark != std::string::npos) {
      const std::string view_name = name.substr(mark + 1);
      if (view_name == "BLC")
        view = KEP_VIEW_TYPE::BLC;
      else if (view_name == "LOGICAL")
        view = KEP_VIEW_TYPE::LOGICAL;
      else if (view_name == "LOGICAL_TWIN")
        view = KEP_VIEW_TYPE::LOGICAL_TWIN;
      else if (view_name == "VIEW_1")
        view = KEP_VIEW_TYPE::VIEW_1;
      else
        throw std::logic_error("no view " + view_name);
    }
    at = found.get_module(view);
  }
  return found;
}

/// The uip of that full name, "a/b:p", with views as above.
inline KEP_UNFOLDED_INST_PORT uip(const KEP_DB& db, const std::string& name,
                                  KEP_VIEW_TYPE top_view = KEP_VIEW_TYPE::DEFAULT_VIEW) {
  const std::size_t colon = name.find(':');
  const KEP_UNFOLDED_INSTANCE instance = unfolded_instance(db, name.substr(0, colon), top_view);
  const KEP_PORT* port = instance.m_object->get_module()->find_port(name.substr(colon + 1).c_str());
  if (!port) throw std::logic_error("no uip " + name);
  return instance.get_unfolded_inst_port_by_index(port->get_index());
}

inline std::string name_of(const KEP_UNFOLDED_INST_PORT& value) {
  return value.get_name(KEP_NAME_STYLE());
}
inline std::string name_of(const KEP_UNFOLDED_PORT& value) {
  return value.get_name(KEP_NAME_STYLE());
}

} // namespace test_model
