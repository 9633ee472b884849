#include "tools/kep-rg/import_icebox/import_icebox.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_io_file.h"
#include "tools/kep-rg/import_icebox/import_icebox_fold.h"
#include "tools/kep-rg/import_icebox/import_icebox_read.h"
#include "tools/kep-rg/import_icebox/import_icebox_write.h"
#include "tools/kep-rg/output/check_files.h"

#include <limits>
#include <string>
#include <string_view>

void import_icebox(const std::string& chipdb, const std::string& model, const std::string& routing) {
  check_files({chipdb}, {model, routing});
  const simdjson::padded_string text = kep_read_whole_file(chipdb, std::numeric_limits<std::size_t>::max());
  const ICEBOX_CHIP chip = read_icebox(kep_get_file_name(chipdb), std::string_view(text.data(), text.size()));
  KEP_ATOMIC_FILE model_file(model);
  KEP_ATOMIC_FILE routing_file(routing);
  write_icebox(chip, fold_icebox(chip), model_file.out(), routing_file.out());
  kep_commit_together({&model_file, &routing_file});
}
