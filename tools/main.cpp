// main.cpp - the ringmix program.
#include <cstdio>
#include <exception>

#include "tools/commands.h"
#include "tools/interrupt.h"

int main(int argumentCount, char** arguments) {
    int status = tools::exitFailure;
    try {
        status = tools::RunProgram(argumentCount, arguments);
    } catch (const std::exception& error) {  // out of memory, mostly
        std::fprintf(stderr, "ringmix: %s\n", error.what());
    }
    if (std::fflush(stdout) != 0) {
        std::perror("ringmix: standard output");
        status = tools::exitFailure;
    }
    tools::ResumeInterrupt();
    return status;
}
