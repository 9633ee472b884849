#pragma once

#include "tools/kep-rg/checks/verify_graph.h"
#include "tools/kep-rg/device/load_device.h"

#include <CLI/CLI.hpp>

#include <functional>

/// What the commands on a device share: options, and the frame of a run.

/// The words DEVICE [ROUTING ...].
void add_device_files(CLI::App& command, DEVICE_OPTIONS& options);
/// All options that every command on a device takes.
void add_device_options(CLI::App& command, DEVICE_OPTIONS& options);
/// The options of the commands that check.
void add_verification(CLI::App& command, VERIFICATION& asked);
/// One of them.
void add_waive(CLI::App& command, std::vector<std::string>& ids);

/// The end of the help of a command whose exit status means no more than that of the tool.
inline constexpr const char* EXIT_STATUS_TEXT =
    "Exit status: 0 clean; 1 a check made a finding; 2 bad input or bad use; 3 an internal failure.";

/// Runs with as many threads as were asked for, and shows how far it is to whoever sits at a terminal and
/// reads no report there.
bool run_on_device(DEVICE_OPTIONS& options, const std::function<bool()>& run);

/// The same for a command whose answer takes standard output: reads the device, builds its graph, lets it be
/// answered and writes the statistics.
bool answer_on_device(DEVICE_OPTIONS& options, const std::function<bool(const KEP_DB&)>& answer);
