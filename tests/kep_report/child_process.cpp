#include "tests/kep_report/child_process.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string read_all(std::FILE* file) {
  std::string text;
  std::rewind(file);
  for (int character = std::fgetc(file); character != EOF; character = std::fgetc(file))
    text += static_cast<char>(character);
  std::fclose(file);
  return text;
}

} // namespace

CHILD_RESULT run_in_child(const std::function<void()>& body) {
  std::fflush(nullptr); // or the child would write out once more what its parent holds
  std::FILE* output = std::tmpfile();
  std::FILE* error = std::tmpfile();
  if (!output || !error) throw std::runtime_error("no temporary file");
  pid_t child = fork();
  if (child < 0) throw std::runtime_error("no child process");
  if (child == 0) {
    dup2(fileno(output), STDOUT_FILENO);
    dup2(fileno(error), STDERR_FILENO);
    body();
    std::exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  CHILD_RESULT result;
  result.m_standard_output = read_all(output);
  result.m_standard_error = read_all(error);
  if (WIFEXITED(status)) result.m_exit_status = WEXITSTATUS(status);
  return result;
}
