#pragma once

#include <string>

/// A signal that ends the tool leaves nothing behind that was not there before: what stands in the way of
/// that is entered here.

/// Takes over the signals by which a user, a shell or a pipe ends the tool, but for those that the tool was
/// started to ignore: each removes what is entered here, and ends the process as it would have otherwise.
/// Files that are too large for a limit are told instead.
void kep_handle_interrupts();

/// While one lives, such a signal waits: what must not be done by halves is done in its scope.
class KEP_INTERRUPT_DELAY {
public:
  KEP_INTERRUPT_DELAY();
  ~KEP_INTERRUPT_DELAY();
  KEP_INTERRUPT_DELAY(const KEP_INTERRUPT_DELAY&) = delete;
  KEP_INTERRUPT_DELAY& operator=(const KEP_INTERRUPT_DELAY&) = delete;
};

/// Enters a file that a signal removes, and strikes it out. There is room for some; a file without room is
/// not removed. Call it under an KEP_INTERRUPT_DELAY.
void kep_remove_on_interrupt(const std::string& path);
void kep_keep_on_interrupt(const std::string& path);

/// Says whether a line stands on the terminal of standard error that is to be erased.
void kep_erase_line_on_interrupt(bool is_drawn);
/// Such a signal is about to end the process, and has erased the line: none is to be drawn any more.
bool kep_is_ended_by_interrupt();
