#include "cli_signals.h"

#include "quorvel/TemporaryFiles.h"

#include <atomic>
#include <csignal>
#include <cstdio>

namespace quorvel::cli {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
std::atomic<int> g_stop{0};

void removeAndDie(int sig) {
    removeTemporaryFiles();
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

void noteStop(int sig) {
    int none = 0;
    if (g_stop.compare_exchange_strong(none, sig))
        return;
    // Asked twice: the user does not want to wait for the graceful end.
    removeAndDie(sig);
}

void install(void (*handler)(int)) {
    struct sigaction sa {};
    sa.sa_handler = handler;
    sigemptyset(&sa.sa_mask);
    for (int s : kSignals)
        sigaddset(&sa.sa_mask, s); // one handler at a time, whichever signal comes
    for (int s : kSignals)
        sigaction(s, &sa, nullptr);
}

} // namespace

void removeTemporaryFilesOnSignals() { install(removeAndDie); }

void catchStopSignals() { install(noteStop); }

int stopSignal() { return g_stop.load(); }

const char* signalName(int sig) {
    switch (sig) {
    case SIGINT: return "SIGINT";
    case SIGTERM: return "SIGTERM";
    case SIGHUP: return "SIGHUP";
    default: {
        static char buf[32];
        std::snprintf(buf, sizeof buf, "signal %d", sig);
        return buf;
    }
    }
}

} // namespace quorvel::cli
