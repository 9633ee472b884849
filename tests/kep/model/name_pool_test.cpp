#include "kep/kep_db_builder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace name_pool_test {

TEST(NamePool, KeepsNamesOfAnyLengthOnceForAllModules) {
  std::vector<std::string> names{std::string(1 << 20, 'x')}; // more than is set aside at a time
  for (int i = 0; i != 5000; ++i)
    names.push_back("n" + std::to_string(i));
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID leaf = builder.add_module("LEAF", {});
  const KEP_MODULE_ID tile = builder.add_module("TILE", {});
  const KEP_MODULE_ID top = builder.add_module("TOP", {});
  builder.add_instance(top, "tile", tile, {});
  for (const std::string& name : names) {
    builder.add_instance(tile, name, leaf, {});
    builder.add_instance(top, name, leaf, {});
  }
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  const KEP_MODULE* frozen_top = db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  const KEP_MODULE* frozen_tile = frozen_top->get_instance_by_index(0)->get_module();
  for (unsigned i = 0; i != names.size(); ++i) {
    const char* name = frozen_tile->get_instance_by_index(i)->get_plain_name();
    ASSERT_EQ(name, names[i]);
    ASSERT_EQ(name, frozen_top->get_instance_by_index(i + 1)->get_plain_name());
  }
}

} // namespace name_pool_test
