#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_model_reader.h"
#include "kep_rg/kep_rg_build.h"
#include "tests/support/folder_fixture.h"
#include "tools/kep-rg/device/load_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace load_device_test {

using LoadDevice = Folder;

TEST_F(LoadDevice, OpensADatabaseOfNoDescriptionAsOneThatSaysNothing) {
  const auto db = kep_read_model_text(R"({"modules": {"T": {}}})", "m.json");
  kep_write_database(*db, {}, path("d.kdb"));
  DEVICE_OPTIONS options;
  options.m_model = path("d.kdb");
  BUILD_STATS stats;
  const auto opened = read_device(options, stats);
  build_and_keep(opened.get(), options, stats); // asserts that there is a description
  EXPECT_EQ(opened->get_routing_template_graph()->get_num_nodes(), 0U);
}

TEST_F(LoadDevice, RefusesToMakeNodesOfADatabaseOnWhichNoneCanBeMade) {
  const auto db = kep_read_model_text(R"({"modules": {
    "R": {"attributes": {"kep_ip_root": 1}},
    "Q": {"attributes": {"kep_ip_root": 1}, "cells": {"r": {"type": "R", "connections": {}}}},
    "T": {"cells": {"q": {"type": "Q", "connections": {}}}}
  }})",
                                      "m.json");
  KEP_ROUTING_PRIMITIVE* store = db->get_routing_template_graph()->get_routing_primitive();
  for (const char* name : {"R", "Q"})
    store->add_routing_root(db->find_modules(name, KEP_VIEW_TYPE::LOGICAL, true).at(0));
  kep_write_database(*db, {}, path("d.kdb"));
  DEVICE_OPTIONS options;
  options.m_model = path("d.kdb");
  BUILD_STATS stats;
  const auto opened = read_device(options, stats);
  try {
    build_and_keep(opened.get(), options, stats);
    FAIL() << "an IP root stands under an IP root";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::StartsWith(path("d.kdb") + ": "));
  }
}

} // namespace load_device_test
