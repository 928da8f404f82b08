// debug_output.h - where the engine's diagnostic lines go: nowhere, until a host installs a sink.
#pragma once

#include <cstddef>

namespace platform {

// Receives one line, with its newline. Called on the host thread or on one of the engine's; must not block.
using debug_sink_t = void (*)(const char* line);

// Null silences. Thread: any; a line that is under way may still reach the former sink.
void SetDebugSink(debug_sink_t sink) noexcept;

void OutputDebugLine(const char* line) noexcept;

// The latest line without its newline, or what of it there is room for: why something that has just failed
// did so. Empty after ForgetDebugLine. Thread: any.
void CopyLatestDebugLine(char* text, std::size_t textBytes) noexcept;
void ForgetDebugLine() noexcept;

}  // namespace platform
