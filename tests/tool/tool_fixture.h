#pragma once

#include "tests/support/folder_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>

/// Runs the tool as a user does, in a folder of the test's own.
class Tool : public Folder {
protected:
  /// The arguments may end in redirections and pipes. Gives the exit status, or -1 when a signal ended the
  /// tool.
  int run(const std::string& arguments) { return run_line("'" KEP_RG_TOOL "' " + arguments); }

  /// The same of a command line of a user whose PATH has the tool.
  int run_line(const std::string& command) {
    const std::string tool = KEP_RG_TOOL;
    const std::string out = path("../" + m_streams + ".out");
    const std::string err = path("../" + m_streams + ".err");
    const int status = std::system(("cd '" + path("") + "' && PATH='" + tool.substr(0, tool.rfind('/')) +
                                    "':\"$PATH\" && { " + command + "; } >'" + out + "' 2>'" + err + "'")
                                       .c_str());
    m_out = take(out);
    m_err = take(err);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  /// One line on standard error, nothing on standard output, and exit status 2.
  void expect_refused(const std::string& arguments, const std::string& line) {
    EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_EQ(m_out, "") << arguments;
    EXPECT_EQ(m_err, "kep-rg: " + line + "\n") << arguments;
  }

  std::string m_out;
  std::string m_err;

private:
  static std::string take(const std::string& file) {
    std::string text = read_file(file);
    std::filesystem::remove(file);
    return text;
  }

  /// What goes to the streams stands beside the folder.
  const std::string m_streams = std::filesystem::path(path("x")).parent_path().filename().string();
};
