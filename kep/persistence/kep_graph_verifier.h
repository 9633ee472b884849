#pragma once

#include "kep/kep_export.h"
#include "kep/persistence/kep_database_tables.h"

/// Tests the tables of a finished graph, whatever they hold. Behind that every node, edge and mux input that
/// anyone may read of them is there, if the tables of model and positions are sound, too, which is tested
/// elsewhere, maybe at the same time. It goes by what is folded: rows are tested once, and edges once for all
/// places that see as many nodes where they lead. KEP_DB_ERROR where the tables are not those of such a
/// graph. By as many threads as the arena of the caller has.
KEP_EXPORT void kep_verify_graph(const KEP_DATABASE_TABLES& tables);
