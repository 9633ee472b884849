#pragma once

#include <string>

/// A signal that ends the tool leaves nothing behind that was not there before: what stands in the way of
/// that is entered here.

/// Takes over the signals by which a user, a shell or a pipe ends the tool, but for those that the tool was
/// started to ignore: each removes what is entered here, and ends the process as it would have otherwise.
/// Files that are too large for a limit are told instead.
void handle_interrupts();

/// While one lives, such a signal waits: what must not be done by halves is done in its scope.
class INTERRUPT_DELAY {
public:
  INTERRUPT_DELAY();
  ~INTERRUPT_DELAY();
  INTERRUPT_DELAY(const INTERRUPT_DELAY&) = delete;
  INTERRUPT_DELAY& operator=(const INTERRUPT_DELAY&) = delete;
};

/// Enters a file that a signal removes, and strikes it out. There is room for some; a file without room is
/// not removed. Call it under an INTERRUPT_DELAY.
void remove_on_interrupt(const std::string& path);
void keep_on_interrupt(const std::string& path);

/// Says whether a line stands on the terminal of standard error that is to be erased.
void erase_line_on_interrupt(bool is_drawn);
/// Such a signal is about to end the process, and has erased the line: none is to be drawn any more.
bool is_ended_by_interrupt();
