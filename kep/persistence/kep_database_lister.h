#pragma once

#include "kep/kep_db.h"
#include "kep/kep_export.h"
#include "kep/persistence/kep_database_tables.h"

class KEP_NAME_TABLE;
class KEP_ROUTING_PRIMITIVE;

/// Lists a database as tables, for a file. The large ones are lent by the database, which must stay as it is
/// meanwhile. The order of rows is that of the model and of what was added, or of numbers: it never hangs on
/// a hash or a pointer.
class KEP_EXPORT KEP_DATABASE_LISTER {
public:
  explicit KEP_DATABASE_LISTER(const KEP_DB& db) : m_db(db) {}
  KEP_DATABASE_TABLES list() const;

private:
  KEP_MODEL_TABLES list_model() const;
  KEP_DESCRIPTION_TABLES list_description() const;
  void list_marks(const KEP_ROUTING_PRIMITIVE& store, KEP_DESCRIPTION_TABLES& tables,
                  KEP_NAME_TABLE& names) const;
  void list_spare_rows(KEP_DESCRIPTION_TABLES& tables) const;
  KEP_PATH_TABLES list_paths() const;
  KEP_GRAPH_TABLES list_graph() const;

  const KEP_DB& m_db;
};
