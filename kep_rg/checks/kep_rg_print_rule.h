#pragma once

#include "kep_report/kep_report.h"

#include <boost/format.hpp>

#include <locale>

/// Prints the text of a rule of the message database.
inline void kep_rg_print_rule(const char* code) {
  KEP_REPORT::print_error(KEP_REPORT::get_msg_db()->get(code)->to_printf());
}

/// The same with the arguments filled in. The database keeps texts with arguments in the notation of Boost
/// format; the numbers in them read the same whatever locale a program sets.
template <class... ARGUMENTS>
void kep_rg_print_rule(const char* code, const ARGUMENTS&... arguments) {
  boost::format format(KEP_REPORT::get_msg_db()->get(code)->to_boost(), std::locale::classic());
  (format % ... % arguments);
  KEP_REPORT::print_error(format.str().c_str());
}
