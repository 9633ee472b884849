#pragma once

#include "kep_io/kep_database_file.h"
#include "tools/kep-rg/device/load_device.h"

#include <vector>

/// What a database keeps of the files of a device: the model, routing descriptions in their order, redundancy
/// data. Of standard input and of pipes, which can't be read twice, it is the name alone.
std::vector<KEP_DATABASE_INPUT> describe_inputs(const DEVICE_OPTIONS& options);

/// False for an input of which the name alone is known.
bool has_checksum(const KEP_DATABASE_INPUT& input);

/// How a device was made that was built from these inputs; one that was opened keeps its origin. No option
/// has a say in what is built, but the paths of wires are only in a database that was asked for them.
KEP_DATABASE_ORIGIN get_origin(const BUILD_STATS& stats, std::vector<KEP_DATABASE_INPUT> inputs,
                               bool stores_wire_paths);
