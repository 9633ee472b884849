#pragma once

#include "kep_report/kep_report_sink.h"

#include <string_view>

namespace KEP_REPORT {

/// Hands `text` to the sink of `stream`, under the one lock that all sinks share.
void deliver(STREAM stream, std::string_view text);

} // namespace KEP_REPORT
