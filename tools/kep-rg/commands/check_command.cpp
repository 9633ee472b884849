#include "tools/kep-rg/commands/check_command.h"

#include "tools/kep-rg/checks/findings_report.h"
#include "tools/kep-rg/device/summary.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

bool check_command(const CHECK_OPTIONS& options) {
  keep_stats_off_standard_output(options.m_device);
  check_outputs(options.m_device);
  get_waived_kinds(options.m_verification.m_waive); // a wrong id is told before anything is read
  BUILD_STATS stats;
  const std::unique_ptr<KEP_DB> db = read_device(options.m_device, stats);
  DEVICE_OPTIONS build_options = options.m_device;
  build_options.m_report = options.m_device.shows_report();
  build_options.m_verbose = false; // what is to be listed are findings
  build_graph(db.get(), build_options, stats);
  std::vector<std::string> files;
  if (!options.m_device.m_stats.empty())
    files.push_back(options.m_device.m_stats); // with what the checks take
  print_summary(*db, options.m_device, stats, files);
  VERIFICATION asked = options.m_verification;
  asked.m_check = true;
  const bool clean = verify_graph(db.get(), options.m_device, asked, stats, std::cout);
  write_stats(*db, options.m_device, stats);
  return clean;
}
