#pragma once

#include "kep/kep_db_builder.h"
#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/random_source.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

/// Small random devices in plain records of their own: muxes, skip muxes and feed-throughs, in two to four
/// levels of modules that join their ports at random. One view, no tunnels. Equal seeds give equal devices.
namespace test_model {

struct FABRIC_PORT {
  KEP_PORT_DIRECTION m_direction;
  bool m_is_inserted = false;
  unsigned m_hipi = 0; ///< follows from the arcs
  int m_net = -1;      ///< inside the module

  bool is_input() const { return m_direction == KEP_PORT_DIRECTION::INPUT; }
  bool is_output() const { return m_direction == KEP_PORT_DIRECTION::OUTPUT; }
};

struct FABRIC_INSTANCE {
  std::size_t m_master;
  bool m_has_header = false;
  bool m_is_skip_path = false;  ///< of a mux that is none elsewhere
  std::vector<int> m_nets = {}; ///< by port of the master, -1 where unconnected
  std::vector<bool> m_is_redundant = {};
};

struct FABRIC_ARC {
  unsigned m_input;
  unsigned m_output;
  unsigned m_hipi;
};

struct FABRIC_MODULE {
  std::string m_key;
  std::vector<FABRIC_PORT> m_ports;
  std::vector<FABRIC_INSTANCE> m_instances;
  std::vector<FABRIC_ARC> m_arcs;
  bool m_is_skip_mux = false;
  int m_num_nets = 0;

  bool is_stop() const { return !m_arcs.empty() && !m_is_skip_mux; }
};

class RANDOM_FABRIC {
public:
  explicit RANDOM_FABRIC(std::uint64_t seed) : m_random(seed) {
    m_db_type = static_cast<KEP_DB_TYPE>(m_random.below(3));
    for (unsigned i = 1 + m_random.below(2); i != 0; --i)
      add_mux("MUX" + std::to_string(i), false);
    if (m_random.percent(60)) add_mux("SKIP", true);
    if (m_random.percent(60)) add_feed_through();
    for (unsigned level = 1 + m_random.below(3); level != 0; --level)
      add_container("LEVEL" + std::to_string(level));
    add_container("TOP");
  }

  const std::vector<FABRIC_MODULE>& modules() const { return m_modules; }
  const FABRIC_MODULE& top() const { return m_modules.back(); }
  KEP_DB_TYPE db_type() const { return m_db_type; }

  std::unique_ptr<KEP_DB> freeze() const {
    KEP_DB_BUILDER builder;
    std::vector<KEP_MODULE_ID> ids;
    for (const FABRIC_MODULE& each : m_modules)
      ids.push_back(add_to(builder, each, ids));
    return KEP_DB_BUILDER::freeze(std::move(builder));
  }

  /// States what the device is made of, on its frozen model.
  void describe(KEP_DB& db, KEP_RG_PARSE& parse) const {
    db.get_routing_template_graph()->get_routing_primitive()->initialize();
    const std::vector<KEP_MODULE*>& modules = db.get_unfolding().get_modules();
    for (std::size_t i = 0; i != m_modules.size(); ++i)
      for (const FABRIC_ARC& arc : m_modules[i].m_arcs)
        parse.add_port_edge(modules[i]->get_port_by_index(arc.m_input),
                            modules[i]->get_port_by_index(arc.m_output),
                            static_cast<KEP_ROUTING_PRIMITIVE_HIPI>(arc.m_hipi), m_modules[i].m_is_skip_mux);
    for (std::size_t i = 0; i != m_modules.size(); ++i) {
      for (unsigned port = 0; port != m_modules[i].m_ports.size(); ++port)
        if (m_modules[i].m_ports[port].m_is_inserted)
          parse.add_inserted_node("", modules[i]->get_port_by_index(port));
      for (unsigned instance = 0; instance != m_modules[i].m_instances.size(); ++instance)
        describe(db, parse, modules[i]->get_instance_by_index(instance), m_modules[i].m_instances[instance]);
    }
  }

  /// What a failing test needs to be told beside the model.
  std::string facts() const {
    std::ostringstream text;
    text << "database type " << static_cast<int>(m_db_type) << "\n";
    for (const FABRIC_MODULE& each : m_modules) {
      for (const FABRIC_ARC& arc : each.m_arcs)
        text << each.m_key << ": arc p" << arc.m_input << " to p" << arc.m_output << " hipi " << arc.m_hipi
             << (each.m_is_skip_mux ? " skip" : "") << "\n";
      for (std::size_t port = 0; port != each.m_ports.size(); ++port)
        if (each.m_ports[port].m_is_inserted) text << each.m_key << ": inserted p" << port << "\n";
      for (std::size_t i = 0; i != each.m_instances.size(); ++i) {
        const FABRIC_INSTANCE& instance = each.m_instances[i];
        if (instance.m_has_header) text << each.m_key << ": header on i" << i << "\n";
        if (instance.m_is_skip_path) text << each.m_key << ": skip path on i" << i << "\n";
        for (std::size_t port = 0; port != instance.m_is_redundant.size(); ++port)
          if (instance.m_is_redundant[port])
            text << each.m_key << ": redundant i" << i << ":p" << port << "\n";
      }
    }
    return text.str();
  }

private:
  void add_mux(const std::string& key, bool skip) {
    FABRIC_MODULE mux;
    mux.m_key = key;
    mux.m_is_skip_mux = skip;
    const unsigned inputs = 1 + m_random.below(3);
    const unsigned outputs = 1 + m_random.below(2);
    for (unsigned i = 0; i != inputs + outputs; ++i)
      mux.m_ports.push_back(
          {i < inputs ? KEP_PORT_DIRECTION::INPUT : KEP_PORT_DIRECTION::OUTPUT, m_random.percent(8)});
    for (unsigned input = 0; input != inputs; ++input)
      for (unsigned output = inputs; output != inputs + outputs; ++output)
        if ((input == 0 && output == inputs) || m_random.percent(60))
          mux.m_arcs.push_back({input, output, m_random.percent(15) ? 1 + m_random.below(3) : 0});
    for (const FABRIC_ARC& arc : mux.m_arcs)
      if (arc.m_hipi != 0) mux.m_ports[arc.m_input].m_hipi = mux.m_ports[arc.m_output].m_hipi = arc.m_hipi;
    m_modules.push_back(std::move(mux));
  }

  void add_feed_through() {
    FABRIC_MODULE through;
    through.m_key = "THROUGH";
    add_ports(through, 2 + m_random.below(4));
    connect(through, 1 + m_random.below(2));
    m_modules.push_back(std::move(through));
  }

  void add_container(const std::string& key) {
    FABRIC_MODULE container;
    container.m_key = key;
    add_ports(container, 1 + m_random.below(4));
    for (unsigned i = 2 + m_random.below(4); i != 0; --i) {
      const bool last_level = m_random.percent(40);
      FABRIC_INSTANCE instance{last_level ? m_modules.size() - 1 : m_random.below(m_modules.size())};
      const FABRIC_MODULE& master = m_modules[instance.m_master];
      instance.m_has_header = m_random.percent(85);
      instance.m_is_skip_path = master.is_stop() && m_random.percent(10);
      instance.m_nets.assign(master.m_ports.size(), -1);
      for (std::size_t port = 0; port != master.m_ports.size(); ++port)
        instance.m_is_redundant.push_back(m_random.percent(8));
      container.m_instances.push_back(std::move(instance));
    }
    connect(container, 2 + m_random.below(5));
    m_modules.push_back(std::move(container));
  }

  void add_ports(FABRIC_MODULE& module, unsigned count) {
    for (; count != 0; --count)
      module.m_ports.push_back({static_cast<KEP_PORT_DIRECTION>(m_random.below(3)), m_random.percent(12)});
  }

  void connect(FABRIC_MODULE& module, unsigned nets) {
    std::vector<int> ports_on(nets, 0);
    std::vector<int> inst_ports_on(nets, 0);
    const unsigned connected = 60 + m_random.below(40);
    for (FABRIC_PORT& port : module.m_ports)
      if (m_random.percent(connected)) ++ports_on[port.m_net = m_random.below(nets)];
    for (FABRIC_INSTANCE& instance : module.m_instances)
      for (int& net : instance.m_nets)
        if (m_random.percent(connected)) ++inst_ports_on[net = m_random.below(nets)];
    module.m_num_nets = static_cast<int>(nets);
    for (FABRIC_PORT& port : module.m_ports) // a port alone on its net has nothing behind it
      if (port.m_net >= 0 && ports_on[port.m_net] == 1 && inst_ports_on[port.m_net] == 0) port.m_net = -1;
  }

  /// `masters` are the ids of the modules before.
  KEP_MODULE_ID add_to(KEP_DB_BUILDER& builder, const FABRIC_MODULE& module,
                       const std::vector<KEP_MODULE_ID>& masters) const {
    KEP_MODULE_PROPERTIES properties;
    properties.m_is_designated_top = &module == &top();
    properties.m_db_type = m_db_type;
    const KEP_MODULE_ID id = builder.add_module(module.m_key, properties);
    std::vector<KEP_NET_ID> nets;
    for (int net = 0; net != module.m_num_nets; ++net)
      nets.push_back(builder.add_net(id, "n" + std::to_string(net)));
    for (std::size_t i = 0; i != module.m_ports.size(); ++i) {
      const unsigned port = builder.add_port(id, "p" + std::to_string(i), module.m_ports[i].m_direction);
      if (module.m_ports[i].m_net >= 0) builder.connect(id, port, nets[module.m_ports[i].m_net]);
    }
    for (std::size_t i = 0; i != module.m_instances.size(); ++i) {
      const FABRIC_INSTANCE& instance = module.m_instances[i];
      const KEP_INSTANCE_ID added =
          builder.add_instance(id, "i" + std::to_string(i), masters[instance.m_master],
                               {.m_has_inst_header = instance.m_has_header});
      for (unsigned port = 0; port != instance.m_nets.size(); ++port)
        if (instance.m_nets[port] >= 0) builder.connect(id, added, port, nets[instance.m_nets[port]]);
    }
    return id;
  }

  static void describe(KEP_DB& db, KEP_RG_PARSE& parse, KEP_INSTANCE* instance,
                       const FABRIC_INSTANCE& facts) {
    if (facts.m_is_skip_path) parse.set_skip_paths(instance, true);
    for (unsigned port = 0; port != facts.m_is_redundant.size(); ++port)
      if (facts.m_is_redundant[port])
        db.find_or_create_relative_paths("redundancy")
            .find_or_create_paths_for_module(instance->get_parent())
            .add_path({instance}, instance->get_module()->get_port_by_index(port));
  }

  RANDOM_SOURCE m_random;
  KEP_DB_TYPE m_db_type;
  std::vector<FABRIC_MODULE> m_modules; // masters before their parents, the top last
};

} // namespace test_model
