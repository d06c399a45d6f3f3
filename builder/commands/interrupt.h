// Being interrupted without leaving files behind.
#pragma once

namespace wbtables {

// From now on SIGINT, SIGTERM, SIGHUP and SIGQUIT are only noted, unless they were ignored before.
void note_interruptions();

bool was_interrupted();

// Ends the process by the signal that was noted.
[[noreturn]] void end_as_interrupted();

} // namespace wbtables
