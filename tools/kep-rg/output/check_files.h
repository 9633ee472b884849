#pragma once

#include <string>
#include <vector>

/// Finds out, before anything is read, whether all outputs can be written: std::runtime_error names the one
/// that can't, and why. Refused, too, is an output that would replace an input, another output or the file
/// that standard output goes to, and a standard stream that is named twice. Empty names stand for no file,
/// "-" for standard input and standard output. `made_folder` may be missing: an output makes it.
void check_files(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs,
                 const std::string& made_folder = "");
