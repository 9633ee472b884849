#pragma once

#include "kep/kep_db.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/kep_model_reader.h"

#include <memory>
#include <string>
#include <vector>

/// The message with which a call was refused, "" when it was not.
template <class CALL>
std::string refusal_of(CALL call) {
  try {
    call();
  } catch (const KEP_IO_ERROR& error) {
    return error.what();
  }
  return "";
}

inline std::string model_refusal(const std::string& text) {
  return refusal_of([&] { kep_read_model_text(text, "m.json"); });
}

inline const KEP_MODULE* module_of_key(const KEP_DB& db, const std::string& key) {
  for (const KEP_MODULE* module : db.iter_modules(true))
    if (key == module->get_key()) return module;
  return nullptr;
}

inline const KEP_MODULE* top_of(const std::unique_ptr<KEP_DB>& db) {
  return db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
}

/// The members of a net in their order: ports of the module plain, inst ports as INSTANCE:PORT.
inline std::string members_of(const KEP_NET* net) {
  if (!net) return "no net";
  std::string text;
  for (const KEP_PORT* port : net->iter_ports())
    text += std::string(port->get_plain_name()) + " ";
  for (const KEP_INST_PORT* inst_port : net->iter_inst_ports())
    text += std::string(inst_port->get_inst()->get_plain_name()) + ":" +
            inst_port->get_port()->get_plain_name() + " ";
  return text;
}

inline const KEP_NET* net_of_name(const KEP_MODULE* module, const std::string& name) {
  for (const KEP_NET* net : module->iter_nets())
    if (name == net->get_plain_name()) return net;
  return nullptr;
}

inline std::vector<std::string> port_names(const KEP_MODULE* module) {
  std::vector<std::string> names;
  for (const KEP_PORT* port : module->iter_ports())
    names.emplace_back(port->get_plain_name());
  return names;
}
