#pragma once

#include "kep/kep_db.h"

#include <functional>
#include <vector>

namespace test_model {

/// Calls `visit(chain, port)` for each port of the module and of all that stands below it through plain
/// masters; the chain leads to the port's module.
inline void for_each_port_below(KEP_MODULE* top, const auto& visit) {
  std::vector<KEP_INSTANCE*> chain;
  const std::function<void(KEP_MODULE*)> descend = [&](KEP_MODULE* module) {
    for (KEP_PORT* port : module->iter_ports())
      visit(chain, port);
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      chain.push_back(instance);
      descend(instance->get_module());
      chain.pop_back();
    }
  };
  descend(top);
}

} // namespace test_model
