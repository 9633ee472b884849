// Another program of somebody else's: a model alone, of one instance.
#include "kep/kep_db_builder.h"
#include "kep/kep_unfolded.h"

#include <iostream>

int main() {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID mux = builder.add_module("MUX", {});
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  builder.add_instance(top, "m", mux, {});
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  for (const auto& instance : db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).iter_instances())
    std::cout << instance.get_name({}) << "\n";
}
