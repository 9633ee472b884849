#pragma once

/// @file
/// What happens when an assertion fails.

#include "kep_report/kep_report_assert.h"
#include "kep_report/kep_report_export.h"

#include <functional>

namespace KEP_REPORT {

/// What a tool wants done when an assertion fails, to abort for instance. It is called after the text went to
/// `err`, on the thread that failed, with no lock held; so two threads that fail at once call it at once. It
/// may end the process or leave by an exception of its own; when it returns, KEP_REPORT_ASSERTION_FAILURE is
/// thrown. An assertion that fails inside the handler does not call it again.
using ASSERTION_HANDLER = std::function<void(const KEP_REPORT_ASSERTION&)>;

/// Installs the handler of the process, none where it is empty, and gives back the one before it, empty if
/// there was none. May be called from any thread; a handler that runs at that moment runs to its end.
KEP_REPORT_EXPORT ASSERTION_HANDLER set_assertion_handler(ASSERTION_HANDLER handler);

} // namespace KEP_REPORT
