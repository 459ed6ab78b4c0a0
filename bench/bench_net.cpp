// Ethernet camera throughput and discovery latency over loopback, against a real quorvel-camd.
//
//   qv-bench-net [seconds-per-rate] [rate ...]     (rates in events/s; default 50e6 100e6)
//
// For each rate a daemon serves a fixed-rate stress camera on 127.0.0.61 and the host opens it
// through DvsCameraManager like the application does; the table shows what arrived per second
// and what the sequence numbers say was lost. Only loopback addresses are used. Like the
// application's live view, the client pulls the camera's queue 33 times a second;
// QV_BENCH_NO_PULL=1 measures a client that only uses the event callback.

#include "quorvel/DvsCameraManager.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using namespace quorvel;
using Clock = std::chrono::steady_clock;

namespace {

pid_t startDaemon(const std::vector<std::string>& args) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        std::vector<std::string> all = {QV_CAMD_PATH};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (auto& a : all)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    return pid;
}

void stopDaemon(pid_t pid) {
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

/// CPU seconds (user + system) a process has used so far, from /proc.
double cpuSeconds(pid_t pid) {
    std::FILE* f = std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
    if (!f)
        return 0;
    char buf[1024] = {};
    const size_t n = std::fread(buf, 1, sizeof buf - 1, f);
    std::fclose(f);
    buf[n] = 0;
    const char* p = std::strrchr(buf, ')');
    unsigned long long utime = 0, stime = 0;
    if (!p || std::sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &utime, &stime) != 2)
        return 0;
    return static_cast<double>(utime + stime) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

bool waitListed(DvsCameraManager& m, const std::string& serial) {
    for (int i = 0; i < 100; ++i) {
        for (auto& d : m.getCameraDescs())
            if (d.serial == serial)
                return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    std::vector<double> rates;
    for (int i = 2; i < argc; ++i)
        rates.push_back(std::atof(argv[i]));
    if (rates.empty())
        rates = {50e6, 100e6};
    ::setenv("QUORVEL_VIRTUAL_CAMERAS", "0", 1);
    ::setenv("QUORVEL_DISCOVERY_ADDRS", "127.0.0.61:47161", 1);
    ::unsetenv("QUORVEL_DISCOVERY_BROADCAST");
    if (!std::getenv("QUORVEL_LOG_LEVEL"))
        ::setenv("QUORVEL_LOG_LEVEL", "3", 1);

    // CPU ns per received event on each side tells what a machine with free cores would sustain,
    // whatever else is running here.
    std::printf("%-12s %14s %10s %10s %12s %9s %9s %6s %14s\n", "target ev/s", "received ev/s", "MB/s", "lost pkts",
                "lost events", "host ns/ev", "camd ns/ev", "sec", "lost at start");
    for (double rate : rates) {
        const pid_t pid = startDaemon({"--bind", "127.0.0.61", "--port", "47161", "--serial", "BENCH-NET", "--stress",
                                       std::to_string(static_cast<uint64_t>(rate))});
        DvsCameraManager m;
        if (!waitListed(m, "BENCH-NET")) {
            std::fprintf(stderr, "daemon did not come up\n");
            stopDaemon(pid);
            return 1;
        }
        auto cam = m.openCamera("BENCH-NET");
        if (!cam) {
            std::fprintf(stderr, "open failed: %s\n", DvsCameraManager::lastError().c_str());
            stopDaemon(pid);
            return 1;
        }
        std::atomic<uint64_t> events{0};
        std::atomic<uint64_t> bytes{0};
        cam->addEventsCallback([&](const Event2D* b, const Event2D* e) { events += static_cast<uint64_t>(e - b); });
        cam->setStatisticInfoCallback([&](QvStatisticInfo s) { bytes = s.bandwidth; });
        cam->start();
        // The application pulls the camera's queue 33 times a second for the live view; so does
        // this client, so that the queue behaves as it does there.
        std::atomic<bool> pulling{true};
        const bool noPull = std::getenv("QV_BENCH_NO_PULL") != nullptr;
        std::thread puller([&] {
            std::vector<Event2D> got;
            while (pulling) {
                if (!noPull)
                    cam->getEvents(got);
                std::this_thread::sleep_for(std::chrono::microseconds(30303));
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(1000)); // warm-up
        const uint64_t e0 = events, lp0 = cam->lostPackets(), le0 = cam->lostEvents();
        const double hostCpu0 = cpuSeconds(::getpid()), camdCpu0 = cpuSeconds(pid);
        const auto t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        const double dt = std::chrono::duration<double>(Clock::now() - t0).count();
        const uint64_t e1 = events, lp1 = cam->lostPackets(), le1 = cam->lostEvents();
        const double hostCpu = cpuSeconds(::getpid()) - hostCpu0, camdCpu = cpuSeconds(pid) - camdCpu0;
        pulling = false;
        puller.join();
        cam->stop();
        const double got = static_cast<double>(e1 - e0);
        std::printf("%-12.0f %14.0f %10.1f %10llu %12llu %9.1f %9.1f %6.1f %14llu\n", rate, got / dt, bytes / 1048576.0,
                    static_cast<unsigned long long>(lp1 - lp0), static_cast<unsigned long long>(le1 - le0),
                    got > 0 ? hostCpu * 1e9 / got : 0.0, got > 0 ? camdCpu * 1e9 / (got + (le1 - le0)) : 0.0, dt,
                    static_cast<unsigned long long>(le0));
        std::fflush(stdout);
        cam.reset();
        stopDaemon(pid);
    }

    // Discovery latency: how long getCameraDescs takes with one live daemon listed.
    const pid_t pid = startDaemon({"--bind", "127.0.0.61", "--port", "47161", "--serial", "BENCH-NET"});
    DvsCameraManager m;
    waitListed(m, "BENCH-NET");
    std::vector<double> ms;
    for (int i = 0; i < 20; ++i) {
        const auto t0 = Clock::now();
        const auto list = m.getCameraDescs();
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
        if (list.size() != 1)
            std::fprintf(stderr, "discovery found %zu cameras\n", list.size());
    }
    std::sort(ms.begin(), ms.end());
    std::printf("discovery: median %.2f ms, max %.2f ms over %zu runs\n", ms[ms.size() / 2], ms.back(), ms.size());
    stopDaemon(pid);
    return 0;
}
