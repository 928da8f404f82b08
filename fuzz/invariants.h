// invariants.h - what holds of a running engine between any two calls of its host.
#pragma once

namespace fuzz {

// Ends the process where something does not: the links of the lists, what each voice says of itself, the
// distances of the ring's cursors, page counts against what the voices hold and, unless the system keeps
// pages that it should give back, memory that nobody holds.
void RequireInvariants(bool withMemory = true);

// Behind a loader's pass with all voices of streams gone: no page has a count, a flag or memory. May be
// called while the mixing thread runs.
void RequireNoPages();

}  // namespace fuzz
