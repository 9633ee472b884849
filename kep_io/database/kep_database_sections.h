#pragma once

#include "kep/persistence/kep_database_tables.h"

#include <cstddef>
#include <kep_io/database/kep_database.capnp.h> // made of the schema

/// The sections of a file as messages. Tables that are read are lent by the message, but for those of more
/// than one chunk. KEP_MESSAGE_TABLES::ERROR or kj::Exception for a message that is none of such a section.

void kep_put_section(const KEP_MODEL_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Model::Builder to);
void kep_put_section(const KEP_TABLE<KEP_OCCURRENCE>& positions, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Positions::Builder to);
void kep_put_section(const KEP_DESCRIPTION_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Description::Builder to);
void kep_put_section(const KEP_PATH_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Paths::Builder to);
void kep_put_section(const KEP_GRAPH_TABLES& tables, std::size_t max_chunk_bytes,
                     KEP_CAPNP::Graph::Builder to);

KEP_MODEL_TABLES kep_get_section(KEP_CAPNP::Model::Reader from);
KEP_TABLE<KEP_OCCURRENCE> kep_get_section(KEP_CAPNP::Positions::Reader from);
KEP_DESCRIPTION_TABLES kep_get_section(KEP_CAPNP::Description::Reader from);
KEP_PATH_TABLES kep_get_section(KEP_CAPNP::Paths::Reader from);
KEP_GRAPH_TABLES kep_get_section(KEP_CAPNP::Graph::Reader from);
