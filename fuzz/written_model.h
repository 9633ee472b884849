#pragma once

#include "kep/kep_db.h"
#include "kep/kep_design.h"
#include "kep_io/kep_model_writer.h"
#include "kep_io/text/kep_view_name.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

/// A model as the writer writes it, with all that the database knows of it: equal texts, equal models. Ports
/// are written bit by bit, nets have the numbers of their first use.
namespace FUZZ {

/// The reader takes a blank off digits with blanks behind them.
inline KEP_MODEL_ATTRIBUTE make_text(const char* name, std::string text) {
  const std::size_t digits = std::min(text.find_first_not_of("01xz"), text.size());
  if (digits != text.size() && text.find_first_not_of(' ', digits) == std::string::npos) text += ' ';
  return {name, 0, std::move(text)};
}

/// The group of its equivalents by the first of them; "" when it has none.
inline std::string get_group(const KEP_MODULE& module) {
  unsigned first = module.get_number();
  bool is_alone = true;
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    for (const KEP_MODULE* other : module.get_equivalent_modules(static_cast<KEP_VIEW_TYPE>(view))) {
      first = std::min(first, other->get_number());
      is_alone = false;
    }
  return is_alone ? "" : "group " + std::to_string(first);
}

inline std::vector<KEP_MODEL_ATTRIBUTE> get_attributes(const KEP_DB& db, const KEP_MODULE& module) {
  std::vector<KEP_MODEL_ATTRIBUTE> attributes{make_text("kep_name", module.get_plain_name()),
                                              {"kep_view", 0, kep_get_view_name(module.get_view_type())}};
  const std::string group = get_group(module);
  if (!group.empty()) attributes.push_back({"kep_equivalents", 0, group});
  const auto add_flag = [&](const char* name, bool is_set) {
    if (is_set) attributes.push_back({name, 1});
  };
  add_flag("kep_ip_root", module.has_trait(KEP_MODULE::TRAIT::IP_ROOT));
  add_flag("kep_trait_0", module.has_trait(KEP_MODULE::TRAIT::TRAIT_0));
  add_flag("kep_blc_bidir_buffer", module.get_is_blc_bidir_buffer());
  add_flag("kep_foreign", module.get_db() != &db);
  if (&module != db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)) return attributes;
  add_flag("top", true);
  add_flag("kep_device_top", db.is_device_top());
  attributes.push_back({"kep_db_type", static_cast<std::int64_t>(db.get_db_type())});
  return attributes;
}

inline KEP_MODEL_DIRECTION get_direction(const KEP_PORT& port) {
  return port.is_input()    ? KEP_MODEL_DIRECTION::INPUT
         : port.is_output() ? KEP_MODEL_DIRECTION::OUTPUT
                            : KEP_MODEL_DIRECTION::INOUT;
}

/// One module on its way into a file.
class WRITTEN_MODULE {
public:
  WRITTEN_MODULE(const KEP_DB& db, const KEP_MODULE& module) {
    m_module.m_key = module.get_key();
    m_module.m_attributes = get_attributes(db, module);
    for (const KEP_PORT* port : module.iter_ports())
      m_module.m_ports.push_back({port->get_plain_name(), get_direction(*port), {get_bit(port->get_net())}});
    for (const KEP_INSTANCE* instance : module.iter_instances())
      add_cell(*instance);
    for (const KEP_PORT* port : module.iter_ports())
      add_port_attributes(*port);
  }

  const KEP_MODEL_MODULE& get() const { return m_module; }

private:
  std::int64_t get_bit(const KEP_NET* net) {
    if (!net) return KEP_MODEL_UNCONNECTED_BIT;
    const auto [entry, is_new] = m_bits.emplace(net, static_cast<std::int64_t>(m_bits.size()) + 2);
    if (is_new) m_module.m_netnames.push_back({net->get_plain_name(), {entry->second}});
    return entry->second;
  }

  void add_cell(const KEP_INSTANCE& instance) {
    KEP_MODEL_CELL cell{instance.get_plain_name(), instance.get_module()->get_key()};
    const auto add_flag = [&](const char* name, bool is_set) {
      if (is_set) cell.m_attributes.push_back({name, 1});
    };
    add_flag("kep_inst_header", instance.get_inst_header() != nullptr);
    add_flag("kep_trait_0", instance.has_trait(KEP_INSTANCE::TRAIT::TRAIT_0));
    add_flag("kep_blc_atom", instance.is_blc_atom());
    add_flag("kep_blc_inserted_buffer", instance.get_blc_is_inserted_buffer());
    for (const KEP_PORT* port : instance.get_module()->iter_ports())
      if (const KEP_NET* net = instance.get_inst_port_for_port(port)->get_net())
        cell.m_connections.push_back({port->get_plain_name(), {get_bit(net)}});
    m_module.m_cells.push_back(std::move(cell));
  }

  /// They stand at the net of the port's name, which need not be on the port.
  void add_port_attributes(const KEP_PORT& port) {
    std::vector<KEP_MODEL_ATTRIBUTE> attributes;
    if (port.get_blc_re_index() != -1) attributes.push_back({"kep_blc_re_index", port.get_blc_re_index()});
    if (!port.get_blc_icd_port_name().empty())
      attributes.push_back(make_text("kep_blc_icd_port_name", port.get_blc_icd_port_name()));
    if (attributes.empty()) return;
    std::vector<KEP_MODEL_NETNAME>& nets = m_module.m_netnames;
    auto net = std::find_if(nets.begin(), nets.end(), [&](const KEP_MODEL_NETNAME& each) {
      return each.m_name == port.get_plain_name();
    });
    if (net == nets.end()) net = nets.insert(net, {port.get_plain_name(), {}});
    net->m_attributes = std::move(attributes);
  }

  KEP_MODEL_MODULE m_module;
  std::map<const KEP_NET*, std::int64_t> m_bits;
};

inline std::string write_model(const KEP_DB& db) {
  std::ostringstream out;
  KEP_MODEL_WRITER writer(out, "fuzz");
  for (const KEP_MODULE* module : db.iter_modules(true))
    writer.write(WRITTEN_MODULE(db, *module).get());
  writer.finish();
  return out.str();
}

} // namespace FUZZ
