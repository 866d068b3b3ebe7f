#include "restore/Interruption.h"

#include <csignal>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

volatile std::sig_atomic_t interruptionCame = 0;

extern "C" void rememberInterruption(int /*signal*/) {
    interruptionCame = 1;
}

}  // namespace

void catchInterruptions() {
    struct sigaction remember {};
    remember.sa_handler = rememberInterruption;
    sigemptyset(&remember.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        // A parent that ignores a signal, as nohup does, wants it ignored here too.
        if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
            sigaction(signal, &remember, nullptr);
        }
    }
    std::signal(SIGXFSZ, SIG_IGN);
}

void checkInterruption() {
    if (interruptionCame != 0) {
        throw HostError(ExitStatus::interrupted, "interrupted; no output was written");
    }
}

}  // namespace vorun::restore
