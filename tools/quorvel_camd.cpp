// quorvel-camd: serves virtual cameras as Ethernet cameras (discovery, control, event stream,
// force IP). Binds loopback addresses only unless --allow-network is given.
//
//   quorvel-camd --bind ADDR [--port P] --serial S [--fusion] [--firmware TEXT] [--mac MAC]
//                [--scene NAME] [--stress EVENTS_PER_S] [--serial S2 ...]
//
// Options after a --serial describe that camera (before the first one, the first camera).

#include "net/CameraDaemon.h"
#include "quorvel/Logger.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <string>

namespace {

quorvel::net::CameraDaemon* g_daemon = nullptr;

void onSignal(int) {
    if (g_daemon)
        g_daemon->requestStop();
}

int usage(const char* why) {
    std::fprintf(stderr,
                 "quorvel-camd: %s\n"
                 "usage: quorvel-camd --bind ADDR [--port P] [--mask M] [--gateway G] [--allow-network]\n"
                 "                    [--queue-mb N] --serial S [--fusion] [--firmware TEXT] [--mac MAC]\n"
                 "                    [--scene NAME] [--stress EVENTS_PER_S] [--width W --height H] [--serial S2 ...]\n",
                 why);
    return 2;
}

bool toNumber(const char* text, unsigned long long max, unsigned long long& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtoull(text, &end, 10);
    return *text && *end == 0 && errno == 0 && out <= max && text[0] != '-';
}

} // namespace

int main(int argc, char** argv) {
    quorvel::net::DaemonOptions opt;
    bool haveBind = false;
    quorvel::net::DaemonCamera pending;
    bool pendingUsed = false;
    auto camera = [&]() -> quorvel::net::DaemonCamera& {
        if (opt.cameras.empty()) {
            opt.cameras.push_back(pending);
            pendingUsed = true;
        }
        return opt.cameras.back();
    };
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        auto value = [&]() -> const char* { return argv[++i]; };
        unsigned long long n = 0;
        if (a == "--help" || a == "-h")
            return usage("serves virtual cameras on the network") == 2 ? 0 : 0;
        if (a == "--version") {
            std::printf("quorvel-camd %s\n", QV_VERSION);
            return 0;
        }
        if (a == "--allow-network") {
            opt.allowNetwork = true;
            continue;
        }
        if (a == "--fusion") {
            camera().fusion = true;
            continue;
        }
        if (!hasValue)
            return usage(("missing value after " + a).c_str());
        if (a == "--bind") {
            opt.bindIp = value();
            haveBind = true;
        } else if (a == "--port") {
            if (!toNumber(value(), 65535, n) || n == 0)
                return usage("--port needs a number 1..65535");
            opt.port = static_cast<uint16_t>(n);
        } else if (a == "--mask") {
            opt.mask = value();
        } else if (a == "--gateway") {
            opt.gateway = value();
        } else if (a == "--queue-mb") {
            if (!toNumber(value(), 4096, n) || n == 0)
                return usage("--queue-mb needs a number 1..4096");
            opt.sendQueueBytes = static_cast<size_t>(n) << 20;
        } else if (a == "--serial") {
            const char* s = value();
            if (!*s)
                return usage("--serial needs a text");
            if (pendingUsed || !opt.cameras.empty()) {
                if (opt.cameras.back().serial.empty())
                    opt.cameras.back().serial = s;
                else {
                    quorvel::net::DaemonCamera c;
                    c.serial = s;
                    opt.cameras.push_back(c);
                }
            } else {
                camera().serial = s;
            }
        } else if (a == "--firmware") {
            camera().firmware = value();
        } else if (a == "--mac") {
            camera().mac = value();
        } else if (a == "--scene") {
            camera().scene = value();
        } else if (a == "--stress") {
            if (!toNumber(value(), 2000000000ull, n) || n == 0)
                return usage("--stress needs events per second");
            camera().stressRate = n;
        } else if (a == "--width" || a == "--height") {
            if (!toNumber(value(), 16384, n) || n == 0)
                return usage("--width/--height need a number of pixels");
            (a == "--width" ? camera().width : camera().height) = static_cast<uint16_t>(n);
        } else {
            return usage(("unknown option " + a).c_str());
        }
    }
    if (!haveBind)
        return usage("--bind is required");
    for (const auto& c : opt.cameras)
        if (c.serial.empty())
            return usage("every camera needs --serial");
    if (opt.cameras.empty())
        return usage("--serial is required");

    quorvel::net::CameraDaemon daemon(opt);
    g_daemon = &daemon;
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    std::signal(SIGPIPE, SIG_IGN);
    if (!daemon.run()) {
        std::fprintf(stderr, "quorvel-camd: %s\n", daemon.error().c_str());
        return 1;
    }
    return 0;
}
