// interrupt.h - an interrupted command winds up like a failed one, so that it leaves no half-written files.
#pragma once

#include "outcome.h"

namespace tools {

// From here on SIGINT, SIGTERM and SIGHUP only make Interrupted() true, a second one ends the program at
// once, and writing to a closed pipe is an ordinary error.
void CatchInterrupts();

// Long loops ask once a block.
bool Interrupted() noexcept;

// The failure that such a loop ends with.
outcome_t InterruptedFailure(std::string subject);

// Ends the program by the signal that was caught, if one was: the shell then sees what happened.
void ResumeInterrupt();

}  // namespace tools
