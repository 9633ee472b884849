#pragma once

#include "tests/support/model_fixture.h"
#include "tests/support/random_source.h"

#include <memory>
#include <string>
#include <vector>

/// Random hierarchies: kinds of modules, each in one or several views, sometimes two in one view; any module
/// may hold instances of modules of lower kinds. Equal seeds give equal models.
namespace test_model {

struct RANDOM_MODEL_LIMITS {
  unsigned m_max_kinds = 5;
  unsigned m_max_instances = 4; ///< in one module
  unsigned m_max_ports = 4;
  unsigned m_max_size = 250; ///< occurrences below one top
};

class RANDOM_MODEL {
public:
  RANDOM_MODEL(std::uint64_t seed, const RANDOM_MODEL_LIMITS& limits) : m_random(seed), m_limits(limits) {
    const unsigned kinds = 2 + m_random.below(m_limits.m_max_kinds - 1);
    for (unsigned kind = 0; kind != kinds; ++kind)
      make_kind(kind, kind + 1 == kinds);
    for (MODULE& each : m_modules)
      make_inside(each);
  }

  std::unique_ptr<KEP_DB> freeze() {
    KEP_DB_BUILDER builder;
    std::vector<MODULE*> order;
    for (MODULE& each : m_modules)
      order.push_back(&each);
    m_random.shuffle(order); // masters before and behind their parents
    for (MODULE* each : order) {
      each->m_id = builder.add_module(each->m_key, each->m_properties);
      for (std::size_t i = 0; i != each->m_ports.size(); ++i)
        builder.add_port(each->m_id, "p" + std::to_string(i), each->m_ports[i]);
    }
    for (const MODULE* each : order)
      fill(builder, *each);
    return KEP_DB_BUILDER::freeze(std::move(builder));
  }

private:
  struct MODULE {
    std::string m_key;
    unsigned m_kind = 0;
    KEP_MODULE_PROPERTIES m_properties;
    std::vector<KEP_PORT_DIRECTION> m_ports;
    std::vector<std::size_t> m_masters; // of its instances
    unsigned m_nets = 0;
    unsigned m_connected = 0; // percent
    std::uint64_t m_size = 1;
    KEP_MODULE_ID m_id{};
  };

  void make_kind(unsigned kind, bool top) {
    std::vector<KEP_PORT_DIRECTION> ports(m_random.below(m_limits.m_max_ports + 1));
    for (KEP_PORT_DIRECTION& each : ports)
      each = static_cast<KEP_PORT_DIRECTION>(m_random.below(3));
    const unsigned modules = m_random.percent(50) ? 1 : 2 + m_random.below(3);
    for (unsigned i = 0; i != modules; ++i) {
      MODULE made;
      made.m_kind = kind;
      made.m_key = "K" + std::to_string(kind) + static_cast<char>('a' + i);
      made.m_ports = ports;
      made.m_properties.m_view_type = modules == 1 && m_random.percent(70)
                                          ? KEP_VIEW_TYPE::LOGICAL
                                          : static_cast<KEP_VIEW_TYPE>(m_random.below(KEP_NUM_MODULE_VIEWS));
      if (modules != 1) made.m_properties.m_equivalents = "group" + std::to_string(kind);
      made.m_properties.m_is_designated_top = top && i == 0;
      made.m_properties.m_is_ip_root = m_random.percent(25);
      made.m_properties.m_is_foreign = !top && m_random.percent(15);
      m_modules.push_back(made);
    }
  }

  /// The masters that an instance of that module has, one for each view.
  std::vector<std::size_t> views(std::size_t module) const {
    std::vector<std::size_t> found{module};
    bool seen[KEP_NUM_MODULE_VIEWS] = {};
    seen[static_cast<unsigned>(m_modules[module].m_properties.m_view_type)] = true;
    for (std::size_t i = 0; i != m_modules.size(); ++i) {
      const auto view = static_cast<unsigned>(m_modules[i].m_properties.m_view_type);
      if (m_modules[i].m_kind != m_modules[module].m_kind || seen[view]) continue;
      seen[view] = true;
      found.push_back(i);
    }
    return found;
  }

  void make_inside(MODULE& module) {
    std::vector<std::size_t> lower;
    for (std::size_t i = 0; i != m_modules.size() && m_modules[i].m_kind < module.m_kind; ++i)
      lower.push_back(i);
    const unsigned instances = lower.empty() ? 0 : m_random.below(m_limits.m_max_instances + 1);
    for (unsigned i = 0; i != instances; ++i) {
      const std::size_t master = m_random.pick(lower);
      std::uint64_t size = 0;
      for (const std::size_t view : views(master))
        size += m_modules[view].m_size;
      if (module.m_size + size > m_limits.m_max_size) continue;
      module.m_size += size;
      module.m_masters.push_back(master);
    }
    module.m_nets = m_random.below(5);
    module.m_connected = 30 + m_random.below(70);
  }

  void fill(KEP_DB_BUILDER& builder, const MODULE& module) {
    std::vector<KEP_NET_ID> nets;
    for (unsigned i = 0; i != module.m_nets; ++i)
      nets.push_back(builder.add_net(module.m_id, "n" + std::to_string(i)));
    const auto connected = [&] { return !nets.empty() && m_random.percent(module.m_connected); };
    for (unsigned i = 0; i != module.m_ports.size(); ++i)
      if (connected()) builder.connect(module.m_id, i, m_random.pick(nets));
    for (std::size_t i = 0; i != module.m_masters.size(); ++i) {
      const MODULE& master = m_modules[module.m_masters[i]];
      const KEP_INSTANCE_ID instance =
          builder.add_instance(module.m_id, "i" + std::to_string(i), master.m_id, {});
      for (unsigned port = 0; port != master.m_ports.size(); ++port)
        if (connected()) builder.connect(module.m_id, instance, port, m_random.pick(nets));
    }
  }

  RANDOM_SOURCE m_random;
  RANDOM_MODEL_LIMITS m_limits;
  std::vector<MODULE> m_modules;
};

inline std::unique_ptr<KEP_DB> make_random_db(std::uint64_t seed, const RANDOM_MODEL_LIMITS& limits = {}) {
  return RANDOM_MODEL(seed, limits).freeze();
}

/// A model in the form that make_db reads, but for groups of equivalents, which are named by what the model
/// tells of them; so a failing case can be made a test of its own.
inline std::string describe(const KEP_DB& db) {
  std::ostringstream text;
  for (const KEP_MODULE* each : db.iter_modules(true)) {
    text << "module " << each->get_key();
    const char* const views[] = {"LOGICAL", "VIEW_1", "BLC", "LOGICAL_TWIN"};
    text << " view=" << views[static_cast<unsigned>(each->get_view_type())];
    const KEP_MODULE* first = each;
    for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
      for (const KEP_MODULE* other : each->get_equivalent_modules(static_cast<KEP_VIEW_TYPE>(view)))
        if (other->get_number() < first->get_number()) first = other;
    text << " group=of_" << first->get_key();
    if (each == db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)) text << " top";
    if (each->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) text << " ip_root";
    if (each->get_db() != &db) text << " foreign";
    text << "\n  ports";
    for (const KEP_PORT* port : each->iter_ports())
      text << (port->is_input() ? " >" : port->is_output() ? " <" : " =") << port->get_plain_name();
    text << "\n";
    for (const KEP_INSTANCE* instance : each->iter_instances())
      text << "  inst " << instance->get_plain_name() << " " << instance->get_module()->get_key() << "\n";
    for (const KEP_NET* net : each->iter_nets()) {
      text << "  net " << net->get_plain_name();
      for (const KEP_PORT* port : net->iter_ports())
        text << " " << port->get_plain_name();
      for (const KEP_INST_PORT* member : net->iter_inst_ports())
        text << " " << member->get_inst()->get_plain_name() << "." << member->get_port()->get_plain_name();
      text << "\n";
    }
  }
  return text.str();
}

} // namespace test_model
