#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_model_reader.h"
#include "tests/support/folder_fixture.h"
#include "tools/kep-rg/device/load_device.h"

#include <gtest/gtest.h>

namespace load_device_test {

using LoadDevice = Folder;

TEST_F(LoadDevice, OpensADatabaseOfNoDescriptionAsOneThatSaysNothing) {
  const auto db = kep_read_model_text(R"({"modules": {"T": {}}})", "m.json");
  kep_write_database(*db, {}, path("d.kdb"));
  DEVICE_OPTIONS options;
  options.m_model = path("d.kdb");
  BUILD_STATS stats;
  const auto opened = read_device(options, stats);
  build_graph(opened.get(), options, stats); // asserts that there is a description
  EXPECT_EQ(opened->get_routing_template_graph()->get_num_nodes(), 0U);
}

} // namespace load_device_test
