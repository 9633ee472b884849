#include "tools/kep-rg/output/standard_output.h"

#include "kep_report/kep_report_sink.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string_view>

namespace {

int g_reason = 0; // under the lock of the sinks

void flush() {
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
  if (g_reason == 0) g_reason = errno != 0 ? errno : EIO;
}

void print(std::string_view text) {
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() && g_reason == 0) g_reason = errno;
  flush(); // a line that was ended is out, whatever becomes of the process
}

} // namespace

void watch_standard_output() {
  KEP_REPORT::set_sink(KEP_REPORT::STREAM::INFO, print);
  KEP_REPORT::set_sink(KEP_REPORT::STREAM::DEBUG, print);
}

int finish_standard_output() {
  std::cout << std::flush;
  flush();
  if (g_reason == 0 && !std::cout) g_reason = EIO;
  return g_reason;
}
