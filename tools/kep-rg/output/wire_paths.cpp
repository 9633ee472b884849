#include "tools/kep-rg/output/wire_paths.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_rg/kep_rg_relative_paths.h"

namespace {

constexpr const char* TABLE = "routing_crf";

std::string to_text(const KEP_RELATIVE_PATH& path, const KEP_DB* db) {
  std::string text;
  for (const KEP_INSTANCE* instance : path.get_instances(db)) {
    if (!text.empty()) text += '/';
    text += instance->get_plain_name();
  }
  text += ':';
  return text += path.get_port(db)->get_plain_name();
}

} // namespace

void write_wire_paths(KEP_DB* db, const std::string& path) {
  if (!db->get_relative_paths(TABLE).valid()) kep_rg_store_relative_routing_wire_paths(db);
  const KEP_INDEXED_RELATIVE_PATHS table = db->get_relative_paths(TABLE);
  KEP_ATOMIC_FILE file(path);
  for (const KEP_MODULE* root : table.get_modules()) {
    const KEP_MODULE_RELATIVE_PATH_MAP paths = table.find_path_mappings_for_module(root);
    for (std::size_t i = 0; i != paths.size(); ++i)
      file.out() << root->get_plain_name() << '\t' << to_text(paths.get_path(i)->get_path(), db) << '\n';
  }
  kep_commit_together({&file});
}
