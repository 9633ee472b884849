#pragma once

/// @file
/// The four streams.

#include "kep_report/kep_report_export.h"
#include "kep_report/kep_report_message.h"

#include <ostream>

/// Everything that the libraries and their tools say to the outside.
///
/// There are four streams: `err` and `warn` go to the standard error of the process, `info` and `debug` to
/// its standard output, until a sink takes their place (kep_report_sink.h). Each of them is written through a
/// std::ostream, in printf style, or as a finished text.
///
/// Every operation here may be called from any thread, with no lock held. What a thread writes to a stream is
/// gathered for that thread, and leaves when the line is ended, so lines of different threads never mix. Text
/// that has no line end yet leaves when the thread flushes the stream or ends.
namespace KEP_REPORT {

/// How the prefix of a message is shown.
enum class PREFIX_VIEW : int {
  STANDARD = 0, ///< the text stands alone, with no prefix
};

///@{
/// The calling thread's own std::ostream on the stream of that name: write to it and end the line with
/// std::endl.
///
/// The reference is good for as long as the thread runs, and for that thread only. Each call gives the stream
/// back in its standard format (decimal, precision 6, no width), so that what one line sets never shows in
/// another; text already written to an unended line is kept.
KEP_REPORT_EXPORT std::ostream& err(PREFIX_VIEW view);
KEP_REPORT_EXPORT std::ostream& warn(PREFIX_VIEW view);
KEP_REPORT_EXPORT std::ostream& info(PREFIX_VIEW view);
KEP_REPORT_EXPORT std::ostream& debug(PREFIX_VIEW view);
///@}

///@{
/// The same streams in printf style. The format carries its own line end; a text of any length leaves in one
/// piece.
[[gnu::format(printf, 1, 2)]] KEP_REPORT_EXPORT void err(const char* format, ...);
[[gnu::format(printf, 1, 2)]] KEP_REPORT_EXPORT void info(const char* format, ...);
///@}

///@{
/// Writes a finished text, which has no line end, and ends the line. A `%` in the text is a character like
/// any other.
KEP_REPORT_EXPORT void print_error(const char* text);
KEP_REPORT_EXPORT void print_info(const char* text);
///@}

/// The message database. Never null, and never freed by the caller; it lives as long as the process.
KEP_REPORT_EXPORT KEP_REPORT_MESSAGE_CODE_DB* get_msg_db();

} // namespace KEP_REPORT
