// fault_injection.h - makes the n-th call of one kind behind the platform's seam fail. The linker hands those
// calls over (--wrap, tests/CMakeLists.txt): the library itself knows nothing of it.
#pragma once

#include <cstdint>
#include <ostream>

enum class fault_t {
    reserve,     // ReservePages, AllocateZeroPages, AllocateHugePages
    commit,      // CommitPages
    decommit,    // DecommitPages
    thread,      // StartThread
    event,       // Event_t::Create
    openFile,    // OpenRegularFile, fopen
    readFile,    // fread: nothing is read
    seekFile,    // fseek, fseeko
    device,      // any call of the device or its buffer: fails
    lostBuffer,  // Lock alone: the buffer is lost
    allocation,  // operator new, in all its forms
};

constexpr const char* faultNames[] = {"reserve", "commit",     "decommit",  "thread",
                                      "event",   "openFile",   "readFile",  "seekFile",
                                      "device",  "lostBuffer", "allocation"};

inline void PrintTo(fault_t kind, std::ostream* out) { *out << faultNames[static_cast<int>(kind)]; }

// The n-th call of that kind fails, counted from 1, and so do `more` calls behind it.
void ArmFault(fault_t kind, uint32_t n, uint32_t more = 0);
// Whether calls count, and can fail, from now on: a test's own are none of it. On at first.
void WatchCalls(bool isOn);
// Nothing fails any more. Whether the armed call was ever made.
bool DisarmFault();
