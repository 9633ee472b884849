// A database file that is replaced while other processes open it.

#include "kep_io/kep_database_file.h"
#include "tests/support/example_device.h"
#include "tests/support/folder_fixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace replaced_file_test {

class ReplacedFile : public Folder {
protected:
  void SetUp() override {
    for (BUILD_CASE* device : {m_first.get(), m_second.get()})
      device->build();
    m_num_nodes[0] = get_num_nodes(*m_first->db());
    m_num_nodes[1] = get_num_nodes(*m_second->db());
    ASSERT_NE(m_num_nodes[0], m_num_nodes[1]);
    kep_write_database(*m_first->db(), {}, path("file"));
  }
  static std::size_t get_num_nodes(const KEP_DB& db) {
    return db.get_routing_template_graph()->get_num_nodes();
  }
  /// Opens the file again and again, until both devices were seen often enough. 0, or the number of what went
  /// wrong; no assertion, since it runs in a process of its own.
  int read_both() const {
    std::size_t num_seen[2] = {};
    while (num_seen[0] < 20 || num_seen[1] < 20) {
      KEP_DATABASE_INFO info;
      const std::unique_ptr<KEP_DB> db = kep_open_database(path("file"), KEP_DATABASE_CHECKSUMS::TEST, &info);
      const std::size_t num_nodes = get_num_nodes(*db);
      const bool is_second = num_nodes == m_num_nodes[1];
      if (!is_second && num_nodes != m_num_nodes[0]) return 1;
      for (const auto& [name, count] : info.m_counts)
        if (name == "nodes" && count != num_nodes) return 2;
      ++num_seen[is_second];
      const auto& device = is_second ? *m_second : *m_first;
      if (test_model::whole_graph(*db) != test_model::whole_graph(*device.db())) return 3;
    }
    return 0;
  }
  void start_reader() const {
    if (fork() != 0) return;
    int status = 4;
    try {
      status = read_both();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
    }
    _exit(status);
  }

  const std::unique_ptr<BUILD_CASE> m_first = test_model::read_example("redundant_inputs");
  const std::unique_ptr<BUILD_CASE> m_second = test_model::read_example("hipi_twin");
  std::size_t m_num_nodes[2] = {};
};

TEST_F(ReplacedFile, IsOneOfTheTwoForWhoeverReadsIt) {
  std::size_t num_running = 2;
  for (std::size_t i = 0; i != num_running; ++i)
    start_reader();
  for (std::size_t i = 0; num_running != 0; ++i) {
    kep_write_database(*(i % 2 == 0 ? m_second : m_first)->db(), {}, path("file"));
    for (int status = 0; waitpid(-1, &status, WNOHANG) > 0; --num_running)
      EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(files().size(), 1U);
}

TEST_F(ReplacedFile, StaysWhatItWasForADatabaseThatWasOpened) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path("file"));
  const std::string graph = test_model::whole_graph(*m_first->db());
  kep_write_database(*m_second->db(), {}, path("file"));
  EXPECT_EQ(test_model::whole_graph(*db), graph);
  std::filesystem::remove(path("file"));
  EXPECT_EQ(test_model::whole_graph(*db), graph);
}

} // namespace replaced_file_test
