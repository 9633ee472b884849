#pragma once

#include <string>

/// Turns a chip database in IceStorm's text form into a folded device model and its routing description.
///
/// Both files are written beside their targets and renamed when complete: a failure leaves what stood there
/// before. Throws std::runtime_error with one line: `FILE:LINE: reason` where the text is at fault, `FILE:
/// reason` where a file can't be read or written.
void import_icebox(const std::string& chipdb, const std::string& model, const std::string& routing);
