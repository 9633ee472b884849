#pragma once

#include "tests/support/build_case.h"
#include "tests/support/random_device.h"

#include <cstdint>
#include <string>
#include <vector>

namespace proof {

/// A random device whose lowest level is an IP root that is used again and again, with removed ports, wire
/// types and a pattern of muxes that are skip paths.
class ROOTED_DEVICE {
public:
  explicit ROOTED_DEVICE(std::uint64_t seed)
      : m_device(seed), m_random(seed + 1), m_case(make_text(m_device, seed % 4 == 0)) {
    m_device.describe(m_case);
    m_case.parse().add_routing_root(m_case.model().module("LEVEL0"), 0);
    for (const char* key : {"PIN", "MUX", "BUFFER"})
      for (KEP_PORT* port : m_case.model().module(key)->iter_ports())
        if (m_random.percent(20)) m_case.store()->add_remove_node(port);
    if (m_random.percent(30)) m_case.parse().set_non_template_mux_skip_path_inst_name_pattern("i3");
    for (unsigned i = m_random.below(6); i != 0; --i)
      add_wire_type();
    for (const char* key : {"MUX", "PIN", "LEVEL0"}) // ports of modules themselves, wherever they stand
      if (m_random.percent(20))
        m_case.db()
            ->find_or_create_relative_paths("redundancy")
            .find_or_create_paths_for_module(m_case.model().module(key))
            .add_path({}, m_case.model().module(key)->get_port_by_index(0));
  }

  BUILD_CASE& get_case() { return m_case; }
  /// False where the build refuses the device: an IP root that is not routed has a header and no port list.
  bool build() {
    try {
      m_case.build();
    } catch (const KEP_RUNTIME_ERROR&) {
      return false;
    }
    return true;
  }

private:
  /// Now and then some modules lie in another database, and the top is that of a device.
  static std::string make_text(const test_model::RANDOM_DEVICE& device, bool is_foreign) {
    std::string text = device.text();
    const auto insert_behind = [&text](const std::string& words, const std::string& flag) {
      text.insert(text.find(words) + words.size(), flag);
    };
    insert_behind("module LEVEL0 ", "ip_root ");
    if (!is_foreign) return text;
    insert_behind("module TARGET", " foreign");
    insert_behind("module PIN", " foreign");
    insert_behind("module TOP ", "device_top ");
    return text;
  }

  /// Of a port of a mux at one place below one of the modules above it, or at all of its places.
  void add_wire_type() {
    std::vector<KEP_INSTANCE*> chain;
    KEP_UNFOLDED_MODULE module = m_case.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    while (module && module.m_object->get_num_instances() != 0) {
      KEP_INSTANCE* instance =
          module.m_object->get_instance_by_index(m_random.below(module.m_object->get_num_instances()));
      chain.push_back(instance);
      module = KEP_UNFOLDED_INSTANCE(find_place(module), instance).get_module(KEP_VIEW_TYPE::LOGICAL);
    }
    KEP_MODULE* master = chain.back()->get_module();
    const auto levels = static_cast<std::ptrdiff_t>(m_random.below(chain.size() + 1));
    chain.erase(chain.begin(), chain.begin() + levels);
    m_case.store()->add_wire_type(
        KEP_RELATIVE_PATH::create(chain, master->get_port_by_index(m_random.below(master->get_num_ports()))),
        "wire", static_cast<unsigned char>(m_random.below(4)));
  }
  static std::uint64_t find_place(const KEP_UNFOLDED_MODULE& module) {
    return (*module.iter_instances().begin()).m_position;
  }

  test_model::RANDOM_DEVICE m_device;
  test_model::RANDOM_SOURCE m_random;
  BUILD_CASE m_case;
};

} // namespace proof
