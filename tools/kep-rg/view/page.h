#pragma once

#include <functional>
#include <ostream>
#include <string>

/// Writes the page of a device: the frame, the facts as an element of JSON, and the database file that
/// `write_database` writes as an element of its own, packed by gzip and in base64. Equal facts and databases
/// give equal pages. The database is packed as it comes, so no more than a part of it is in memory.
void write_page(std::ostream& out, const std::string& facts,
                const std::function<void(std::ostream&)>& write_database);
