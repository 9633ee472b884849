#pragma once

#include <functional>
#include <string>

/// What a child process left behind.
struct CHILD_RESULT {
  std::string m_standard_output;
  std::string m_standard_error;
  int m_exit_status = -1; // -1 where it did not exit by itself
};

/// Runs `body` in a child process, ends it by std::exit(0), and gives what reached its two standard files.
CHILD_RESULT run_in_child(const std::function<void()>& body);
