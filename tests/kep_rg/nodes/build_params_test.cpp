#include "kep_rg/kep_rg_build.h"
#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace build_params_test {

const KEP_DB_ROUTING_PRIMITIVE_CACHE* some_cache() {
  return reinterpret_cast<const KEP_DB_ROUTING_PRIMITIVE_CACHE*>(0x1000); // never followed
}

TEST(BuildParams, BeginWithOneThreadQuietAndWithoutACache) {
  const KEP_RG_BUILD_PARAMS params{};
  EXPECT_EQ(params.get_num_threads(), 1U);
  EXPECT_FALSE(params.get_verbose());
  EXPECT_EQ(params.get_nodes_per_display(), 1000000);
  EXPECT_EQ(params.get_routing_primitive_cache(), nullptr);
  EXPECT_EQ(params.get_init_size_MiB(), 1U);
}

TEST(BuildParams, ChangeTheObjectAndGiveACopySoThatCallsChain) {
  KEP_RG_BUILD_PARAMS params;
  const KEP_RG_BUILD_PARAMS copy = params.set_num_threads(3);
  EXPECT_EQ(params.get_num_threads(), 3U);
  EXPECT_EQ(copy.get_num_threads(), 3U);
  params.set_num_threads(4);
  EXPECT_EQ(copy.get_num_threads(), 3U);

  const KEP_RG_BUILD_PARAMS chained = KEP_RG_BUILD_PARAMS()
                                          .set_num_threads(2)
                                          .set_verbose(true)
                                          .set_nodes_per_display(7)
                                          .set_routing_primitive_cache(some_cache())
                                          .set_use_wire_types(true);
  EXPECT_EQ(chained.get_num_threads(), 2U);
  EXPECT_TRUE(chained.get_verbose());
  EXPECT_EQ(chained.get_nodes_per_display(), 7);
  EXPECT_EQ(chained.get_routing_primitive_cache(), some_cache());
}

TEST(BuildParams, SetTheInitialSizeWithoutChaining) {
  KEP_RG_BUILD_PARAMS params;
  static_assert(std::is_void_v<decltype(params.set_init_size_MiB(1))>);
  params.set_init_size_MiB(64);
  EXPECT_EQ(params.get_init_size_MiB(), 64U);
}

TEST(BuildParams, LeaveEveryFieldAloneWhenWireTypesAreAskedFor) {
  KEP_RG_BUILD_PARAMS params =
      KEP_RG_BUILD_PARAMS().set_num_threads(5).set_verbose(true).set_nodes_per_display(9);
  params.set_routing_primitive_cache(some_cache());
  params.set_init_size_MiB(2);
  const KEP_RG_BUILD_PARAMS copy = params.set_use_wire_types(true);
  for (const KEP_RG_BUILD_PARAMS& each : {params, copy}) {
    EXPECT_EQ(each.get_num_threads(), 5U);
    EXPECT_TRUE(each.get_verbose());
    EXPECT_EQ(each.get_nodes_per_display(), 9);
    EXPECT_EQ(each.get_routing_primitive_cache(), some_cache());
    EXPECT_EQ(each.get_init_size_MiB(), 2U);
  }
}

TEST(BuildParams, RefuseToDoWithoutWireTypes) {
  KEP_RG_BUILD_PARAMS params;
  EXPECT_EQ(assertion_text([&] { params.set_use_wire_types(false); }),
            "Assertion failed: use_wire_types_val in h/kep_rg/kep_rg_build.h@LINE");
}

TEST(BuildParams, AreWhatTheBuilderWorksWith) {
  BUILD_CASE quiet("module TOP top");
  quiet.store()->initialize();
  EXPECT_EQ(quiet.builder().get_num_threads(), 1U);
  EXPECT_FALSE(quiet.builder().get_verbose());
  EXPECT_EQ(quiet.builder().get_db(), quiet.db());

  BUILD_CASE loud("module TOP top");
  loud.store()->initialize();
  loud.builder(KEP_RG_BUILD_PARAMS().set_num_threads(6).set_verbose(true));
  EXPECT_EQ(loud.builder().get_num_threads(), 6U);
  EXPECT_TRUE(loud.builder().get_verbose());
}

} // namespace build_params_test
