#pragma once

#include "kep/kep_db.h"
#include "kep/kep_export.h"
#include "kep/persistence/kep_database_tables.h"
#include "kep/persistence/kep_table_rules.h"

#include <cstdint>
#include <memory>
#include <utility>

struct KEP_MODULE_RELATIVE_PATHS;

/// Makes a database out of such tables, whatever they hold: every number in them is tested before it is
/// followed, the model by the rules of a builder. Names, positions and the tables of the graph stay where
/// they are: tables and all that they lend must live as long as the database, with which `lender` goes. By as
/// many threads as the arena of the caller has.
class KEP_EXPORT KEP_DATABASE_RESTORER {
public:
  KEP_DATABASE_RESTORER(const KEP_DATABASE_TABLES& tables, std::shared_ptr<const void> lender)
      : m_tables(tables), m_lender(std::move(lender)) {}

  /// KEP_DB_ERROR, which begins with the section, for tables that are not those of a database.
  std::unique_ptr<KEP_DB> restore();

private:
  void restore_model();
  void restore_description();
  void restore_muxes();
  void restore_marks();
  void restore_named(KEP_TABLE_RULES::NAMES& names);
  void restore_spare_rows();
  void restore_paths();
  void restore_paths_of_module(const KEP_PATH_TABLES::MODULE& row, const KEP_PATH_TABLES::PATH* paths,
                               KEP_MODULE_RELATIVE_PATHS& to);
  void restore_graph();

  KEP_MODULE& get_module(std::uint32_t number) const;
  KEP_PORT& get_port(std::uint32_t number) const;
  /// The path leads to a port below the module that it starts in.
  KEP_RELATIVE_PATH get_path(const std::uint32_t* words) const;

  const KEP_DATABASE_TABLES& m_tables;
  std::shared_ptr<const void> m_lender;
  std::unique_ptr<KEP_DB> m_db;
};
