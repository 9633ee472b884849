#include "tools/kep-rg/output/plain_output.h"

#include "kep_io/kep_io_error.h"

void warn(const std::string& line) {
  KEP_REPORT::warn(KEP_REPORT::PREFIX_VIEW::STANDARD) << KEP_IO_ERROR(line).what() << std::endl;
}
