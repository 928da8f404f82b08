// interrupt.cpp - one flag, set by the signal handler.
#include "interrupt.h"

#include <csignal>

namespace tools {

namespace {

volatile std::sig_atomic_t caughtSignal = 0;

extern "C" void RememberSignal(int signal) { caughtSignal = signal; }

}  // namespace

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = RememberSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction inherited {};
        sigaction(signal, nullptr, &inherited);
        if (inherited.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);  // nohup, or a job of a script
    }
    std::signal(SIGPIPE, SIG_IGN);
}

bool Interrupted() noexcept { return caughtSignal != 0; }

outcome_t InterruptedFailure(std::string subject) { return Failure(std::move(subject), "interrupted"); }

void ResumeInterrupt() {
    if (caughtSignal == 0) return;
    std::signal(caughtSignal, SIG_DFL);
    std::raise(caughtSignal);
}

}  // namespace tools
