#pragma once

/// Lets the report remember why standard output could not be written.
void watch_standard_output();

/// Writes out what still waits. The reason for which something printed so far is lost, an errno; 0 if nothing
/// is.
int finish_standard_output();
