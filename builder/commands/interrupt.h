// Being interrupted without leaving files behind.
#pragma once

namespace wbtables {

// From now on the signals by which a user or a limit of time ends a program are only noted, unless they were ignored
// before. What cannot be written, for a pipe is closed or a file would be too long, is an error and ends nothing.
void note_interruptions();

// How many were noted; 2 stands for more.
int interruptions();
bool was_interrupted();

// Ends the process by the signal that was noted last.
[[noreturn]] void end_as_interrupted();

} // namespace wbtables
