#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace model_warnings_test {

using testing::ElementsAre;

TEST(ModelWarnings, ThereAreNoneWhereAllIsRight) {
  std::vector<std::string> warnings{"old"};
  kep_read_model_text(R"({"modules": {
    "M": {"attributes": {"kep_name": "N", "kep_view": "LOGICAL", "kep_equivalents": "g", "kep_ip_root": 0,
                         "kep_trait_0": 1, "kep_blc_bidir_buffer": 1, "kep_foreign": 0, "keep": 1, "src": "s"},
          "ports": {"p": {"direction": "input", "bits": [2]}},
          "netnames": {"p": {"bits": [2], "attributes": {"kep_blc_re_index": 1, "kep_blc_icd_port_name": "p"}}}},
    "T": {"attributes": {"kep_db_type": 1, "kep_device_top": 1, "top": 1},
          "cells": {"c": {"type": "M", "attributes": {"kep_inst_header": 1, "kep_trait_0": 1, "kep_blc_atom": 1,
                                                      "kep_blc_inserted_buffer": 1}}}}}})",
                      "m.json", &warnings);
  EXPECT_THAT(warnings, ElementsAre());
}

TEST(ModelWarnings, TellOfAMisspeltAttributeWithTheClosestOneWhereverThatCounts) {
  std::vector<std::string> warnings;
  kep_read_model_text(
      R"({"modules": {"M": {"attributes": {"kep_inst_headr": 1, "kep_ip-root": {}, "kep_": 1}},
    "T": {"attributes": {"kep_trait_0": 1},
          "cells": {"c": {"type": "M", "attributes": {"kep_trait_O": 1, "kep_device_tops": 0}}},
          "netnames": {"n": {"bits": [2], "attributes": {"kep_trait_0": 1}}, "m": {"bits": [], "attributes": 3}}}}})",
      "m.json", &warnings);
  EXPECT_THAT(
      warnings,
      ElementsAre(
          "m.json: modules.M.attributes.kep_inst_headr: there is no attribute of that name, the closest one "
          "is "
          "\"kep_inst_header\", which counts on a cell",
          "m.json: modules.M.attributes.kep_ip-root: there is no attribute of that name, the closest one is "
          "\"kep_ip_root\"",
          "m.json: modules.M.attributes.kep_: there is no attribute of that name, the closest one is "
          "\"kep_name\"",
          "m.json: modules.T.cells.c.attributes.kep_trait_O: there is no attribute of that name, the closest "
          "one "
          "is \"kep_trait_0\"",
          "m.json: modules.T.cells.c.attributes.kep_device_tops: there is no attribute of that name, the "
          "closest "
          "one is \"kep_device_top\", which counts on a module",
          "m.json: modules.T.netnames.n.attributes.kep_trait_0: it doesn't count on this net, but on a "
          "module "
          "or a cell"));
}

TEST(ModelWarnings, TellEachSpellingOnceAndOfManySpellingsTwenty) {
  std::string cells;
  for (int i = 0; i != 1000; ++i)
    cells += (i ? ", \"c" : "\"c") + std::to_string(i) +
             R"(": {"type": "M", "attributes": {"kep_a": 1, "kep_b)" + std::to_string(i) + "\": 1}}";
  std::vector<std::string> warnings;
  kep_read_model_text(R"({"modules": {"M": {}, "T": {"cells": {)" + cells + "}}}}", "m.json", &warnings);
  ASSERT_EQ(warnings.size(), 21U);
  EXPECT_THAT(warnings[0], testing::StartsWith("m.json: modules.T.cells.c0.attributes.kep_a: there is no"));
  EXPECT_THAT(warnings[0], testing::EndsWith(" (and 999 more)"));
  EXPECT_THAT(warnings[19],
              testing::StartsWith("m.json: modules.T.cells.c18.attributes.kep_b18: there is no"));
  EXPECT_EQ(warnings[20], "m.json: 981 more attributes begin with kep_ and don't count where they stand");
}

TEST(ModelWarnings, TellOfAttributesOfTheTopOnOtherModules) {
  std::vector<std::string> warnings;
  kep_read_model_text(R"({"modules": {"M": {"attributes": {"kep_db_type": 1, "kep_device_top": 1}},
    "T": {"attributes": {"kep_db_type": 1}, "cells": {"c": {"type": "M"}}}}})",
                      "m.json", &warnings);
  EXPECT_THAT(warnings,
              ElementsAre("m.json: modules.M.attributes.kep_db_type: it counts on the top module alone, "
                          "which is \"T\" (and 1 more)"));
}

TEST(ModelWarnings, AreOneLineEachWhateverTheNamesHold) {
  std::vector<std::string> warnings;
  kep_read_model_text(R"({"modules": {"T": {"attributes": {"kep_\n": 1}}}})", "m.json", &warnings);
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_THAT(warnings[0], testing::StartsWith("m.json: modules.T.attributes.kep_\\u000a: "));
}

} // namespace model_warnings_test
