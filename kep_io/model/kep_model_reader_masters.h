#pragma once

#include "kep_io/text/kep_json_value.h"

#include <string>
#include <string_view>

/// Why a cell and its master can't go together, with what usually brings that about in a file from Yosys, and
/// what helps. `type` is the key of the master.

std::string kep_tell_unknown_master(std::string_view type, simdjson::dom::object cell);

std::string kep_tell_unknown_port(std::string_view port, std::string_view type);

std::string kep_tell_other_width(unsigned width, unsigned master_width, std::string_view type,
                                 simdjson::dom::object cell);
