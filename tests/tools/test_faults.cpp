// Faults from outside, as a user or the system causes them: signals to `quorvel record` and to the
// commands that write temporary files, kill -9 of the recorder, a full disk, hostile and idle
// connections to a camera daemon, a daemon or a recorder paused by the system. Everything runs as
// separate processes, the way it happens for real.

#include "CamdProcess.h"
#include "ReadBack.h"
#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

using namespace quorvel;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// A child process with its output in `dir` and `dir`/cache as its cache folder.
struct Proc : test::ChildProcess {
    Proc(const test::TempDir& dir, std::vector<std::string> args, const std::string& name = "proc")
        : ChildProcess(std::move(args), dir.file(name), {"XDG_CACHE_HOME=" + dir.file("cache")}) {}
};

std::vector<std::string> cli(std::initializer_list<std::string> args) {
    std::vector<std::string> v{QV_CLI_PATH};
    v.insert(v.end(), args);
    return v;
}

/// A camera daemon on a loopback address, serving one stress camera.
std::unique_ptr<test::CamdProcess> daemon(const test::TempDir& dir, const std::string& ip, const std::string& serial,
                                          const char* rate) {
    auto d = std::make_unique<test::CamdProcess>(QV_CAMD_PATH, ip, 47000, std::vector<std::string>{"--serial", serial, "--stress", rate},
                                                 dir.file("camd-" + serial));
    ::setenv("QUORVEL_DISCOVERY_ADDRS", ip.c_str(), 1);
    ::setenv("QUORVEL_VIRTUAL_CAMERAS", "0", 1);
    std::this_thread::sleep_for(200ms); // bound and listening
    return d;
}

uint64_t fileSize(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
}

bool waitUntil(const std::function<bool()>& f, std::chrono::milliseconds limit = 10s) {
    for (const auto end = Clock::now() + limit; Clock::now() < end; std::this_thread::sleep_for(1ms))
        if (f())
            return true;
    return false;
}

uint64_t number(const std::string& text, const std::string& pattern) {
    std::smatch m;
    return std::regex_search(text, m, std::regex(pattern)) ? std::stoull(m[1]) : UINT64_MAX;
}

bool anyPartFile(const std::string& dir) {
    for (const auto& e : std::filesystem::directory_iterator(dir))
        if (e.path().string().find(".part") != std::string::npos || e.path().string().find(".tmp-") != std::string::npos)
            return true;
    return false;
}

} // namespace

TEST(Faults, SignalsEndARecordingCompleteAndLeaveNoTemporaryFiles) {
    ::unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    test::TempDir dir;
    for (const int sig : {SIGINT, SIGTERM}) {
        const std::string out = dir.file("rec" + std::to_string(sig) + ".raw");
        Proc rec(dir, cli({"record", "QVSIM-DVS-0001", out}), "rec");
        ASSERT_TRUE(waitUntil([&] { return fileSize(out) > 0; }));
        std::this_thread::sleep_for(700ms);
        rec.signal(sig);
        ASSERT_EQ(rec.wait(), 0) << rec.err();
        // The summary, and a closed file holding exactly what it says.
        const uint64_t wrote = number(rec.out(), "wrote (\\d+) events");
        ASSERT_NE(wrote, UINT64_MAX) << rec.out();
        EXPECT_NE(rec.out().find("lost: "), std::string::npos) << rec.out();
        const test::ReadBack d = test::readBack(out);
        ASSERT_TRUE(d.opened) << d.error;
        EXPECT_EQ(d.events.size(), wrote);
        EXPECT_GT(d.spanUs(), 500000u);
    }

    // Commands writing under a temporary name remove it when a signal ends them.
    const std::string in = dir.file("in.raw");
    Proc sim(dir, cli({"simulate", in, "--seconds", "2", "--scene", "stress", "--rate", "20000000"}));
    ASSERT_EQ(sim.wait(60s), 0) << sim.err();
    const std::vector<std::pair<std::vector<std::string>, int>> runs = {
        {cli({"convert", in, dir.file("c.raw")}), SIGTERM},
        {cli({"convert", in, dir.file("c.csv")}), SIGINT},
        {cli({"cut", in, dir.file("cut.raw"), "--from-us", "0", "--to-us", "1900000"}), SIGHUP},
        {cli({"simulate", dir.file("s.raw"), "--seconds", "60", "--scene", "stress", "--rate", "20000000"}), SIGTERM},
    };
    for (const auto& [args, sig] : runs) {
        const std::string target = args[args[1] == "simulate" ? 2 : 3];
        const auto writing = [&] { return anyPartFile(dir.path) || fileSize(target) > 0; };
        // Caught in the act: stopped while its temporary file exists (a fast machine may finish a
        // run between seeing the file and stopping it; then it is tried again).
        bool caught = false;
        for (int attempt = 0; attempt < 3 && !caught; ++attempt) {
            std::filesystem::remove(target);
            Proc p(dir, args, "interrupted");
            ASSERT_TRUE(waitUntil(writing, 20s)) << args[1];
            p.signal(SIGSTOP);
            if (!writing() || (args[1] != "simulate" && std::filesystem::exists(target)))
                continue;
            caught = true;
            p.signal(sig);
            p.signal(SIGCONT);
            EXPECT_EQ(p.wait(), 128 + sig) << args[1] << ": " << p.err();
            EXPECT_FALSE(anyPartFile(dir.path)) << args[1];
            EXPECT_FALSE(std::filesystem::exists(target)) << target;
        }
        EXPECT_TRUE(caught) << args[1] << " always finished before it could be interrupted";
    }
}

TEST(Faults, AKilledRecorderLeavesAFileReadableToHalfASecondBeforeTheKill) {
    test::TempDir dir;
    const std::string out = dir.file("killed.raw");
    Proc rec(dir, cli({"record", "QVSIM-DVS-0001", out}), "rec");
    ASSERT_TRUE(waitUntil([&] { return fileSize(out) > 0; }));
    const auto t0 = Clock::now();
    std::this_thread::sleep_for(1500ms);
    rec.signal(SIGKILL);
    const double recordedUs = std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
    ASSERT_EQ(rec.wait(), 128 + SIGKILL);
    // Whole words only, so any reader opens it; and it reaches to within half a second of the
    // kill (the simulated sensor's clock runs with the wall clock).
    const test::ReadBack d = test::readBack(out);
    ASSERT_TRUE(d.opened) << d.error;
    ASSERT_FALSE(d.events.empty());
    EXPECT_GT(static_cast<double>(d.spanUs()), recordedUs - 500000) << "recorded for " << recordedUs << " us";
}

TEST(Faults, AFullDiskEndsTheRecordingWithItsReasonAndLeavesNoEmptyFile) {
    // A 2 MB file system of our own where user namespaces allow it; otherwise the kernel's file
    // size limit, which fails writes the same way.
    test::TempDir dir;
    const bool tmpfs = std::system("unshare -Urm true 2>/dev/null") == 0;
    const std::string mnt = dir.file("small");
    std::filesystem::create_directory(mnt);
    const auto run = [&](const std::string& name, bool fullBefore) {
        const std::string out = mnt + "/" + name;
        std::string script, limit;
        if (tmpfs)
            script = "mount -t tmpfs -o size=2m none " + mnt + " || exit 99; " +
                     (fullBefore ? "cat /dev/zero > " + mnt + "/fill 2>/dev/null; " : "");
        else // the limit applies to the recorder only; its messages go through a pipe
            limit = std::string("trap '' XFSZ; ulimit -f ") + (fullBefore ? "0" : "2048") + "; ";
        script += "(" + limit + QV_CLI_PATH + " record QVSIM-DVS-0001 " + out + " --seconds 5; echo rc=$?) 2>&1 | cat >&2; ls " +
                  mnt + " > " + dir.file("listing") + "; cp " + out + " " + dir.file(name) + " 2>/dev/null; true";
        Proc p(dir, tmpfs ? std::vector<std::string>{"unshare", "-Urm", "sh", "-c", script}
                          : std::vector<std::string>{"sh", "-c", script},
               "full");
        EXPECT_EQ(p.wait(30s), 0);
        return p.err();
    };
    const std::string partly = run("partly.raw", false);
    EXPECT_NE(partly.find("rc=1"), std::string::npos) << partly;
    EXPECT_TRUE(partly.find("No space left on device") != std::string::npos ||
                partly.find("File too large") != std::string::npos) << partly;
    const test::ReadBack d = test::readBack(dir.file("partly.raw"));
    ASSERT_TRUE(d.opened) << d.error;
    EXPECT_GT(d.events.size(), 10000u);

    const std::string none = run("none.raw", true);
    EXPECT_NE(none.find("rc=1"), std::string::npos) << none;
    EXPECT_NE(none.find("nothing was recorded, so '" + mnt + "/none.raw' was removed"), std::string::npos) << none;
    EXPECT_EQ(test::readFileBytes(dir.file("listing")).find("none.raw"), std::string::npos);
}

namespace {

int connectTo(const std::string& ip) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{2, 0}; // connect() gives up after this
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(47000);
    ::inet_pton(AF_INET, ip.c_str(), &a.sin_addr);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

/// Whether the daemon closed the connection (after what it said, which goes to `said`).
bool closedByPeer(int fd, std::string* said = nullptr) {
    char buf[512];
    for (;;) {
        const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n > 0 && said)
            said->append(buf, static_cast<size_t>(n));
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK))
            return true;
        if (n < 0)
            return false;
    }
}

} // namespace

TEST(Faults, DrippingAndIdleConnectionsNeitherHoldTheDaemonNorStarveARecording) {
    test::TempDir dir;
    auto camd = daemon(dir, "127.0.0.81", "FAULT-1", "5000000");
    // 40 connections that send one byte a second, more than the daemon has slots; each is
    // replaced as soon as the daemon drops it, so the recorder may find every slot brand new and
    // must ask again. The oldest one still open is watched.
    std::atomic<bool> stop{false};
    std::atomic<int> dropped{0};
    std::atomic<int64_t> oldestMs{0};
    std::thread drip([&] {
        struct Dripper {
            int fd = -1;
            Clock::time_point since, lastSent;
        };
        std::vector<Dripper> ds(40);
        while (!stop) {
            const auto now = Clock::now();
            for (Dripper& d : ds) {
                if (d.fd >= 0 && closedByPeer(d.fd)) {
                    ++dropped;
                    ::close(d.fd);
                    d.fd = -1;
                }
                if (d.fd < 0) {
                    d.fd = connectTo("127.0.0.81");
                    d.since = now;
                    d.lastSent = now - 1s;
                }
                if (now - d.lastSent >= 1s) {
                    ::send(d.fd, "Q", 1, MSG_NOSIGNAL);
                    d.lastSent = now;
                }
                const int64_t age = std::chrono::duration_cast<std::chrono::milliseconds>(now - d.since).count();
                if (d.fd >= 0 && age > oldestMs)
                    oldestMs = age;
            }
            std::this_thread::sleep_for(100ms);
        }
        for (Dripper& d : ds)
            ::close(d.fd);
    });
    // And connections that never say anything.
    std::vector<int> idle;
    for (int i = 0; i < 8; ++i)
        idle.push_back(connectTo("127.0.0.81"));
    std::this_thread::sleep_for(1500ms);
    Proc rec(dir, cli({"record", "FAULT-1", dir.file("net.raw"), "--seconds", "2", "--fail-on-loss"}), "rec");
    EXPECT_EQ(rec.wait(), 0) << rec.err();
    EXPECT_NE(rec.out().find("lost: 0 events, 0 packets"), std::string::npos) << rec.out();
    stop = true;
    drip.join();
    // A request must be complete a second after its first byte: no dripper lives much longer.
    EXPECT_GT(dropped.load(), 40);
    EXPECT_LT(oldestMs.load(), 2500) << "a dripping connection kept its slot";
    for (int fd : idle) {
        EXPECT_TRUE(fd < 0 || closedByPeer(fd)) << "an idle connection kept its slot";
        ::close(fd);
    }
    EXPECT_GT(test::readBack(dir.file("net.raw")).events.size(), 5000000u);

    // A burst of new connections fills every slot before any can be judged: the next one is told.
    // (The daemon is held while they connect, so it takes them in one go however loaded we are.)
    std::this_thread::sleep_for(300ms); // the closed connections above are gone
    camd->signal(SIGSTOP);
    std::vector<int> burst;
    for (int i = 0; i < 33; ++i)
        burst.push_back(connectTo("127.0.0.81"));
    camd->signal(SIGCONT);
    std::string said;
    waitUntil([&] { return closedByPeer(burst.back(), &said); }, 2s);
    for (int fd : burst)
        ::close(fd);
    EXPECT_NE(said.find("camera busy: 32 connections"), std::string::npos) << said;
}

TEST(Faults, APausedDaemonsLossIsReportedAndAPausedRecorderIsToldWhy) {
    test::TempDir dir;
    auto camd = daemon(dir, "127.0.0.82", "FAULT-2", "5000000");
    // Records 3 s and pauses `paused` (null: the recorder itself) half a second in.
    const auto recordWhile = [&](const std::string& name, std::vector<std::string> extra, test::ChildProcess* paused,
                                 std::chrono::milliseconds pause, int& code) {
        auto args = cli({"record", "FAULT-2", dir.file(name), "--seconds", "3"});
        args.insert(args.end(), extra.begin(), extra.end());
        auto rec = std::make_unique<Proc>(dir, args, name);
        test::ChildProcess& target = paused ? *paused : *rec;
        EXPECT_TRUE(waitUntil([&] { return fileSize(dir.file(name)) > 0; }));
        std::this_thread::sleep_for(500ms);
        target.signal(SIGSTOP);
        std::this_thread::sleep_for(pause);
        target.signal(SIGCONT);
        code = rec->wait();
        return std::make_pair(rec->out(), rec->err());
    };

    // Stalled for half a second: the camera's readout overflows; the loss and its time are reported.
    int code = 0;
    auto [out, err] = recordWhile("stall.raw", {"--fail-on-loss"}, camd.get(), 500ms, code);
    EXPECT_EQ(code, 3) << err;
    const uint64_t lost = number(out, "lost: (\\d+) events");
    EXPECT_GT(lost, 1000000u) << out;     // 5 M events/s for 0.3 s and more
    EXPECT_LT(lost, 6000000u) << out;
    const uint64_t gapFrom = number(out, "gap (\\d+)\\.\\.\\d+ us \\(camera\\)"), gapTo = number(out, "gap \\d+\\.\\.(\\d+) us \\(camera\\)");
    ASSERT_NE(gapFrom, UINT64_MAX) << out;
    EXPECT_GT(gapTo - gapFrom, 250000u) << out;
    // The file really has that hole, and nothing else missing.
    EXPECT_EQ(test::readBack(dir.file("stall.raw")).events.size(), number(out, "wrote (\\d+) events"));

    // Stalled longer than the link allows: the recording ends and says why.
    std::tie(out, err) = recordWhile("gone.raw", {}, camd.get(), 1500ms, code);
    EXPECT_EQ(code, 1);
    EXPECT_NE(err.find("no heartbeat for 800 ms"), std::string::npos) << err;
    EXPECT_TRUE(test::readBack(dir.file("gone.raw")).opened);

    // The recorder itself paused longer than the daemon waits for it: it learns why it was let go.
    std::this_thread::sleep_for(500ms); // the daemon notices the last host went
    std::tie(out, err) = recordWhile("self.raw", {}, nullptr, 4000ms, code);
    EXPECT_EQ(code, 1);
    EXPECT_NE(err.find("no request from this host"), std::string::npos) << err;
}
