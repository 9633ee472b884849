#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// Runs the tool as a user does, in a folder of the test's own.
class Tool : public testing::Test {
protected:
  void SetUp() override {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    m_folder = std::filesystem::temp_directory_path() / ("kep-rg-" + std::string(test.test_suite_name()) +
                                                         "-" + std::to_string(getpid()) + "-" + test.name());
    std::filesystem::create_directories(m_folder);
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string path(const std::string& name) const { return (m_folder / name).string(); }
  void write(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  std::string read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path(name)).rdbuf();
    return text.str();
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder))
      names.push_back(std::filesystem::relative(entry.path(), m_folder).string());
    return names;
  }

  /// The arguments may end in redirections and pipes. Gives the exit status, or -1 when a signal ended the
  /// tool.
  int run(const std::string& arguments) {
    const std::string streams = "../" + m_folder.filename().string();
    const std::string command = "cd " + m_folder.string() + " && { '" KEP_RG_TOOL "' " + arguments + "; } >" +
                                streams + ".out 2>" + streams + ".err";
    const int status = std::system(command.c_str());
    m_out = take(".out");
    m_err = take(".err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string m_out;
  std::string m_err;

private:
  std::string take(const std::string& suffix) const {
    const std::filesystem::path file = m_folder.string() + suffix;
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    std::filesystem::remove(file);
    return text.str();
  }
  std::filesystem::path m_folder;
};
