#pragma once

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep/model/kep_name_pool.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// The paths of one module in one table.
struct KEP_MODULE_RELATIVE_PATHS {
  const KEP_MODULE* m_module = nullptr;
  std::deque<KEP_PERSISTENT_RELATIVE_PATH> m_paths; // addresses stay
  std::unordered_map<KEP_RELATIVE_PATH, const KEP_PERSISTENT_RELATIVE_PATH*> m_index;
};

class KEP_RELATIVE_PATH_TABLE {
public:
  KEP_MODULE_RELATIVE_PATHS* find(const KEP_MODULE* module);
  KEP_MODULE_RELATIVE_PATHS* find_or_create(const KEP_MODULE* module);
  const std::deque<KEP_MODULE_RELATIVE_PATHS>& get_all() const { return m_all; }

private:
  std::deque<KEP_MODULE_RELATIVE_PATHS> m_all; // in the order in which they were made
  std::unordered_map<const KEP_MODULE*, KEP_MODULE_RELATIVE_PATHS*> m_index;
};

struct KEP_LEGACY_API::TABLE {
  std::unordered_map<KEP_UNFOLDED_INSTANCE, KEP_UNFOLDED_INSTANCE_ATTRIBUTES> m_attributes;
  std::unordered_set<const KEP_INSTANCE*> m_instances; // the same, folded
};

/// What stands behind a KEP_DB.
struct KEP_DB::STORAGE {
  std::shared_ptr<const void> m_lender; // of names and tables that are not its own
  KEP_NAME_POOL m_names;
  std::vector<std::unique_ptr<KEP_MODULE>> m_owned; // of both databases; held by the one loaded
  std::vector<std::unique_ptr<std::vector<KEP_MODULE*>>> m_equivalents;
  KEP_UNFOLDING m_own_unfolding; // used by the database loaded alone
  std::vector<KEP_MODULE*> m_modules;
  KEP_MODULE* m_top = nullptr;
  std::unordered_map<std::string_view, std::vector<KEP_MODULE*>> m_by_name; // of both databases
  std::unique_ptr<KEP_DB> m_foreign;
  std::map<std::string, KEP_RELATIVE_PATH_TABLE, std::less<>> m_tables;
  std::unique_ptr<KEP_ROUTING::GRAPH> m_own_graph;
};
