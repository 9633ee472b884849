#pragma once

#include "tests/support/model_fixture.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

/// A frozen model whose objects are looked up by one text each: a port "MODULE:port", an instance
/// "MODULE/instance", an inst port "MODULE/instance:port"; and, from the top, an unfolded instance "a/b" and
/// a uip "a/b:port". A name that is not there is a mistake of the test and throws.
class NAMED_MODEL {
public:
  explicit NAMED_MODEL(std::string_view text) : m_db(test_model::make_db(text)) {}
  explicit NAMED_MODEL(std::unique_ptr<KEP_DB> db) : m_db(std::move(db)) {}

  KEP_DB* db() const { return m_db.get(); }
  KEP_MODULE* module(std::string_view key) const { return test_model::module(*m_db, key); }
  KEP_PORT* port(const std::string& text) const {
    const auto [key, name] = split(text, ':');
    return test_model::port(*m_db, key, name.c_str());
  }
  KEP_INSTANCE* instance(const std::string& text) const {
    const auto [key, name] = split(text, '/');
    return test_model::instance(*m_db, key, name.c_str());
  }
  KEP_INST_PORT* inst_port(const std::string& text) const {
    const auto [instance_text, name] = split(text, ':');
    KEP_INSTANCE* found = instance(instance_text);
    const KEP_PORT* port = found->get_module()->find_port(name.c_str());
    if (!port) throw std::logic_error("no inst port " + text);
    return found->get_inst_port_for_port(port);
  }
  KEP_UNFOLDED_INSTANCE unfolded_instance(const std::string& path) const {
    return test_model::unfolded_instance(*m_db, path);
  }
  KEP_UNFOLDED_INST_PORT uip(const std::string& name) const { return test_model::uip(*m_db, name); }

private:
  static std::pair<std::string, std::string> split(const std::string& text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string::npos) throw std::logic_error("no name: " + text);
    return {text.substr(0, at), text.substr(at + 1)};
  }

  std::unique_ptr<KEP_DB> m_db;
};
