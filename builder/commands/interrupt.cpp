#include "builder/commands/interrupt.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace wbtables {
namespace {

// A signal handler can reach nothing else.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
volatile std::sig_atomic_t noted_signal = 0;
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
volatile std::sig_atomic_t noted_count = 0;

extern "C" void note_signal(int number) {
    noted_signal = number;
    noted_count = noted_count < 2 ? noted_count + 1 : 2;
}

} // namespace

void note_interruptions() {
    struct sigaction action {};
    action.sa_handler = note_signal; // and no SA_RESTART: waiting for the compiler must end
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2}) {
        struct sigaction before {};
        sigaction(number, &action, &before);
        if (before.sa_handler == SIG_IGN) {
            sigaction(number, &before, nullptr);
        }
    }
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        static_cast<void>(std::signal(number, SIG_IGN));
    }
}

int interruptions() {
    return noted_count;
}

bool was_interrupted() {
    return interruptions() != 0;
}

void end_as_interrupted() {
    const int number = noted_signal;
    static_cast<void>(std::signal(number, SIG_DFL));
    static_cast<void>(std::raise(number));
    std::abort();
}

} // namespace wbtables
