#pragma once

#include "kep_rg/kep_rg_exception.h"
#include "tests/support/build_case.h"
#include "tests/support/random_source.h"
#include "tests/support/tunnel_modules.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test_model {

/// A device of everything that a search meets: muxes with twins, skip muxes and exceptions, feed-throughs
/// that a spare row is flown over, tunnels, blocks with an inside of their own, buffers, inserted ports; in
/// levels of modules that join their ports at random.
class RANDOM_DEVICE {
public:
  explicit RANDOM_DEVICE(std::uint64_t seed) : m_random(seed) {
    m_text = R"(
      module MUX
        ports >a >b <o
      module HIPI
        ports >a <o <z
      module SKIP
        ports >i >k <o
      module FLY
        ports >i <j =s
      module BOTH
        ports =x =y
)" + TUNNEL_MODULES +
             R"(
      module PIN
        ports >x <y
      module BLK group=blk ip_root
        ports >i <o =x
      module BUFFER bidir_buffer
        ports =x =y
    )";
    m_leaves = {"MUX", "HIPI", "SKIP", "FLY", "BOTH", "SOURCE", "THROUGH", "TARGET", "BLK", "PIN"};
    m_ports = {{"MUX", {"a", "b", "o"}}, {"HIPI", {"a", "o", "z"}}, {"SKIP", {"i", "k", "o"}},
               {"FLY", {"i", "j", "s"}}, {"BOTH", {"x", "y"}},      {"SOURCE", {"i", "o"}},
               {"THROUGH", {"i", "o"}},  {"TARGET", {"i", "o"}},    {"BLK", {"i", "o", "x"}},
               {"PIN", {"x", "y"}},      {"BUFFER", {"x", "y"}}};
    add_module("BLK_BLC", "group=blk view=BLC ip_root", {">i", "<o", "=x"}, {"PIN", "BUFFER", "MUX"}, {}, 3);
    std::vector<std::string> containers;
    for (unsigned level = 0, levels = 1 + m_random.below(3); level != levels; ++level) {
      const std::string key = "LEVEL" + std::to_string(level);
      std::vector<std::string> ports(1 + m_random.below(4));
      for (std::string& port : ports)
        port = "><="[m_random.below(3)] + std::string("p") + std::to_string(&port - ports.data());
      add_module(key, "", ports, m_leaves, containers, 3 + m_random.below(5));
      containers.push_back(key);
    }
    const int type = m_random.percent(50) ? 1 : 2;
    add_module("TOP", "top type=" + std::to_string(type), {">p", "<q"}, m_leaves, containers,
               6 + m_random.below(8));
  }

  const std::string& text() const { return m_text; }

  void describe(BUILD_CASE& c) {
    c.arcs("MUX", {"a", "b"}, "o");
    c.arcs("HIPI", {"a"}, "o", false, static_cast<KEP_ROUTING_PRIMITIVE_HIPI>(1 + m_random.below(3)));
    c.arcs("HIPI", {"a"}, "z");
    c.arcs("SKIP", {"i", "k"}, "o", true);
    c.arcs("BOTH", {"x"}, "y");
    if (m_random.percent(50)) c.arcs("FLY", {"i"}, "j", m_random.percent(50));
    c.parse().add_routing_flyover(c.model().port("FLY:i"), c.model().port("FLY:j"));
    if (m_random.percent(30)) c.parse().add_routing_flyover(c.model().port("MUX:b"), c.model().port("MUX:o"));
    describe_tunnel(c);
    if (m_random.percent(70)) c.parse().add_routing_root(c.model().module("BLK"), 2);
    for (const auto& [key, ports] : m_ports)
      for (const std::string& port : ports)
        if (m_random.percent(6)) c.insert(key + ":" + port);
    for (const auto& [key, names] : m_instances)
      for (const auto& [name, master] : names)
        describe(c, key + "/" + name, master);
    PLACES places;
    places.visit(c.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW));
    const unsigned spare = m_random.percent(60) ? m_random.below(60) : 0;
    for (const KEP_UNFOLDED_INSTANCE& instance : places.m_instances)
      if (m_random.percent(spare)) c.db()->get_legacy_api()->set_spare_row(instance, m_random.percent(70));
    for (unsigned i = m_random.below(8); i != 0; --i)
      mark_redundant(c, m_random.pick(places.m_instances));
  }

private:
  struct PLACES {
    std::vector<KEP_UNFOLDED_INSTANCE> m_instances;

    void visit(const KEP_UNFOLDED_MODULE& module) {
      for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
        m_instances.push_back(instance);
        for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::BLC})
          visit(instance.get_module(view));
      }
    }
  };

  void add_module(const std::string& key, const std::string& flags, const std::vector<std::string>& ports,
                  const std::vector<std::string>& masters, const std::vector<std::string>& more,
                  unsigned instances) {
    m_text += "module " + key + " " + flags + "\nports";
    std::vector<std::string> nets(2 + m_random.below(6));
    std::vector<unsigned> members(nets.size());
    const unsigned connected = 60 + m_random.below(40);
    const auto connect = [&](const std::string& point) {
      if (!m_random.percent(connected)) return;
      const unsigned net = m_random.below(nets.size());
      nets[net] += " " + point;
      ++members[net];
    };
    for (const std::string& port : ports) {
      m_text += " " + port;
      m_ports[key].push_back(port.substr(1));
      connect(port.substr(1));
    }
    m_text += "\n";
    for (unsigned i = 0; i != instances; ++i) {
      const std::string& master = !more.empty() && m_random.percent(45)   ? more.back()
                                  : !more.empty() && m_random.percent(30) ? m_random.pick(more)
                                                                          : m_random.pick(masters);
      const std::string name = "i" + std::to_string(i);
      m_instances[key].emplace_back(name, master);
      m_text += "inst " + name + " " + master + (m_random.percent(85) ? " header" : "") +
                (m_random.percent(10) ? " atom" : "") + (m_random.percent(10) ? " trait_0" : "") + "\n";
      for (const std::string& port : m_ports.at(master))
        connect(name + "." + port);
    }
    for (std::size_t net = 0; net != nets.size(); ++net)
      if (members[net] > 1) m_text += "net n" + std::to_string(net) + nets[net] + "\n";
  }

  void describe(BUILD_CASE& c, const std::string& instance, const std::string& master) {
    try {
      if (master == "SKIP" && m_random.percent(20))
        c.parse().set_skip_paths(c.model().instance(instance), false);
      else if (master == "MUX" && m_random.percent(8))
        c.parse().set_skip_paths(c.model().instance(instance), true);
    } catch (const KEP_EXCEPTION&) { // the mux has this exception already
    }
  }

  /// At this place alone, or at every place like it below some module on the way up.
  void mark_redundant(BUILD_CASE& c, KEP_UNFOLDED_INSTANCE instance) {
    std::vector<KEP_INSTANCE*> chain;
    KEP_MODULE* const master = instance.m_object->get_module();
    for (unsigned levels = 1 + m_random.below(4); levels != 0 && instance; --levels) {
      chain.insert(chain.begin(), instance.m_object);
      instance = instance.get_parent().get_unfolded_instance();
    }
    c.db()
        ->find_or_create_relative_paths("redundancy")
        .find_or_create_paths_for_module(chain.front()->get_parent())
        .add_path(chain, master->get_port_by_index(m_random.below(master->get_num_ports())));
  }

  RANDOM_SOURCE m_random;
  std::string m_text;
  std::vector<std::string> m_leaves;
  std::map<std::string, std::vector<std::string>> m_ports;
  std::map<std::string, std::vector<std::pair<std::string, std::string>>> m_instances; // name, master
};

} // namespace test_model
