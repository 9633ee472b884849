#pragma once

/// @file
/// Where the text of a stream goes.

#include "kep_report/kep_report_export.h"

#include <cstddef>
#include <functional>
#include <string_view>

namespace KEP_REPORT {

/// The four streams.
enum class STREAM : int { ERR, WARN, INFO, DEBUG };
/// Of STREAM.
inline constexpr std::size_t NUM_STREAMS = 4;

/// Where the text of a stream goes. A sink gets one or more whole lines with their line ends, in one piece;
/// only text that was flushed before its line was ended comes without one.
///
/// Sinks are called under one lock, so never by two threads at once, and on the thread that wrote the text. A
/// sink has to stay callable until it is replaced. It may write to the other streams; what it writes to its
/// own goes to the standard place of that stream. If it throws, the text goes there instead and the exception
/// ends there.
using SINK = std::function<void(std::string_view line)>;

/// Gives `stream` a new sink, the standard one (standard error or standard output) where `sink` is empty, and
/// gives back the one before it, which is never empty and can itself be called. When the call returns, no
/// other thread is in the previous sink and none will enter it. May be called from any thread.
KEP_REPORT_EXPORT SINK set_sink(STREAM stream, SINK sink);

} // namespace KEP_REPORT
