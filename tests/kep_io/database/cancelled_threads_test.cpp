// Files that are read and written by work that is cancelled.

#include "kep_io/kep_database_file.h"
#include "kep_io/kep_model_reader.h"
#include "tests/support/cancelled_call.h"
#include "tests/support/example_device.h"
#include "tests/support/folder_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace cancelled_files_threads_test {

using test_model::is_cancelled;

class CancelledFiles : public Folder {
protected:
  void SetUp() override {
    m_device->build();
    kep_write_database(*m_device->db(), {}, path("d.kdb"));
  }
  const std::unique_ptr<BUILD_CASE> m_device = test_model::read_example("redundant_inputs");
};

TEST_F(CancelledFiles, AreNotOpened) {
  for (const auto checksums : {KEP_DATABASE_CHECKSUMS::TEST, KEP_DATABASE_CHECKSUMS::SKIP})
    EXPECT_TRUE(is_cancelled([&] { kep_open_database(path("d.kdb"), checksums); }));
}

TEST_F(CancelledFiles, StayAsTheyWereWhereTheyWereToBeWritten) {
  const std::string before = read_file(path("d.kdb"));
  EXPECT_TRUE(is_cancelled([&] {
    kep_write_database(*m_device->db(), {"another", {}, {}, {}}, path("d.kdb"));
  }));
  EXPECT_TRUE(is_cancelled([&] { kep_write_database(*m_device->db(), {}, path("new.kdb")); }));
  EXPECT_EQ(read_file(path("d.kdb")), before);
  EXPECT_EQ(files(), std::vector<std::string>{"d.kdb"});
}

TEST_F(CancelledFiles, AreNoModel) {
  EXPECT_TRUE(
      is_cancelled([&] { kep_read_model(KEP_TEST_DATA_DIR "/examples/plain_mux_chain/model.json"); }));
}

} // namespace cancelled_files_threads_test
