#pragma once

#include "kep_io/database/kep_message_tables.h"
#include "kep_io/kep_database_file.h"

#include <cstddef>
#include <ostream>

/// Writes a database to a stream. KEP_DB_ERROR or kj::Exception where it holds more than a file can.
void kep_write_database_to(std::ostream& out, const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin,
                           std::size_t max_chunk_bytes = KEP_MESSAGE_TABLES::MAX_CHUNK_BYTES);
