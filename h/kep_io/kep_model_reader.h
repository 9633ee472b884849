#pragma once

#include "kep/kep_db.h"

#include <memory>
#include <string>
#include <string_view>

/// Reads a device model: a hierarchical netlist in the JSON form of Yosys. Everything keeps the order of the
/// file. What the model does not need is passed over, but must be JSON.
///
/// KEP_IO_ERROR when the file cannot be read, is larger than 4 GB, is no JSON, or breaks a rule of the format
/// or of the model; nothing is built then.
std::unique_ptr<KEP_DB> kep_read_model(const std::string& path);

/// The same from a text in memory; `name` stands for the file in messages.
std::unique_ptr<KEP_DB> kep_read_model_text(std::string_view text, const std::string& name);
