// Recording a camera's stream: the file decodes to exactly the events the camera delivered, the
// pre-trigger cache puts the seconds before the start into the file, triggers are kept, a failing
// disk is reported and leaves a readable file, and a fast source loses nothing.

#include "camera/CameraCore.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/raw/RawHeader.h"

#include "ReadBack.h"
#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <mutex>
#include <sys/resource.h>
#include <thread>

using namespace quorvel;
using namespace std::chrono_literals;

namespace {

struct Captured {
    std::mutex mu;
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
};

void capture(DvsCamera& cam, Captured& c) {
    cam.addEventsCallback([&c](const Event2D* b, const Event2D* e) {
        std::lock_guard l(c.mu);
        c.events.insert(c.events.end(), b, e);
    });
    cam.addTriggerInCallback([&c](const EventTriggerIn& t) {
        std::lock_guard l(c.mu);
        c.triggers.push_back(t);
    });
}

struct FileContents : test::ReadBack {
    RawHeader header;
};

FileContents readAll(const std::string& path) {
    FileContents f{test::readBack(path), {}};
    EXPECT_TRUE(f.opened) << f.error;
    std::string err;
    EXPECT_TRUE(readRawHeader(path, f.header, err)) << err;
    return f;
}

/// Position of `part` as a contiguous run inside `whole`, or -1.
long findRun(const std::vector<Event2D>& whole, const std::vector<Event2D>& part) {
    if (part.empty())
        return -1;
    for (size_t i = 0; i + part.size() <= whole.size(); ++i)
        if (whole[i] == part[0] && std::equal(part.begin(), part.end(), whole.begin() + static_cast<long>(i)))
            return static_cast<long>(i);
    return -1;
}

std::shared_ptr<DvsCamera> openDvs() {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    DvsCameraManager m;
    return m.openCamera("QVSIM-DVS-0001");
}

} // namespace

class Recording : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", dir.path.c_str(), 1); }
    test::TempDir dir;
};

TEST_F(Recording, FileHoldsExactlyTheDeliveredStreamWithItsHeader) {
    auto cam = openDvs();
    ASSERT_TRUE(cam);
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", true));
    Captured c;
    capture(*cam, c);
    ASSERT_EQ(cam->start(), 0);
    std::this_thread::sleep_for(200ms);
    const std::string path = dir.file("rec.raw");
    ASSERT_TRUE(cam->startRecording(path)) << cam->lastError();
    EXPECT_TRUE(cam->isRecording());
    EXPECT_FALSE(cam->startRecording(dir.file("second.raw")));
    std::this_thread::sleep_for(700ms);
    ASSERT_TRUE(cam->stopRecording()) << cam->lastError();
    EXPECT_FALSE(cam->isRecording());
    EXPECT_FALSE(cam->stopRecording());
    std::this_thread::sleep_for(100ms);
    cam->stop();
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", false));

    const FileContents f = readAll(path);
    EXPECT_EQ(f.header.encoding, RawEncoding::Evt3);
    EXPECT_EQ(f.header.width, 640u);
    EXPECT_EQ(f.header.height, 480u);
    EXPECT_EQ(f.header.serial(), "QVSIM-DVS-0001");
    EXPECT_EQ(f.header.value("firmware_version"), "QV640_V2.1.0");
    ASSERT_GT(f.events.size(), 500000u);
    EXPECT_EQ(f.events.size(), cam->lastRecordingEventCount());
    std::lock_guard l(c.mu);
    // A contiguous run of what the callback saw: nothing lost, added or reordered; and it started
    // after the first 200 ms of streaming and ended before the last 100 ms.
    const long at = findRun(c.events, f.events);
    ASSERT_GE(at, 0);
    EXPECT_GT(at, 0);
    EXPECT_LT(at + f.events.size(), c.events.size());
    // Triggers of the recorded span are in the file.
    std::vector<EventTriggerIn> expected;
    for (const auto& t : c.triggers)
        if (t.timestamp >= f.events.front().timestamp && t.timestamp <= f.events.back().timestamp)
            expected.push_back(t);
    ASSERT_GE(expected.size(), 2u); // 10 Hz edges; fewer when a loaded machine made the sensor skip
    ASSERT_GE(f.triggers.size(), expected.size());
    for (const auto& t : expected)
        EXPECT_NE(std::find(f.triggers.begin(), f.triggers.end(), t), f.triggers.end()) << t.timestamp;
}

TEST_F(Recording, PreTriggerCacheStartsTheFileThatLongBeforeTheStart) {
    // A cheap real-time source, so the stream never has to skip ahead on a loaded machine and
    // sensor time stays exactly wall time.
    CameraDescription d;
    d.serial = "CACHE";
    auto core = std::make_shared<detail::CameraCore>(d, detail::makeStressSource(640, 480, 1000000, 5),
                                                     detail::CameraCoreOptions{});
    auto cam = std::make_shared<DvsCamera>(core);
    ASSERT_TRUE(cam->setCacheTime(1, dir.path));
    Captured c;
    capture(*cam, c);
    ASSERT_EQ(cam->start(), 0);
    std::this_thread::sleep_for(1800ms);
    uint64_t newestAtStart = 0;
    {
        std::lock_guard l(c.mu);
        newestAtStart = c.events.back().timestamp;
    }
    const std::string path = dir.file("cached.raw");
    ASSERT_TRUE(cam->startRecording(path));
    std::this_thread::sleep_for(400ms);
    ASSERT_TRUE(cam->stopRecording()) << cam->lastError();
    cam->stop();
    ASSERT_TRUE(cam->setCacheTime(0, dir.path));

    const FileContents f = readAll(path);
    ASSERT_FALSE(f.events.empty());
    // The file begins one second before the newest cached event, which is at most a batch (10 ms)
    // newer than what the callback had seen just before we asked.
    EXPECT_GE(f.events.front().timestamp + 1000000, newestAtStart);
    EXPECT_LE(f.events.front().timestamp + 1000000, newestAtStart + 12000);
    EXPECT_GT(f.events.back().timestamp - f.events.front().timestamp, 1300000u);
    EXPECT_EQ(core->counters().skippedUs, 0u);
    {
        std::lock_guard l(c.mu);
        EXPECT_GE(findRun(c.events, f.events), 0);
    }

    // Without the cache a recording starts with the next batch.
    ASSERT_EQ(cam->start(), 0);
    std::this_thread::sleep_for(300ms);
    ASSERT_TRUE(cam->startRecording(dir.file("plain.raw")));
    std::this_thread::sleep_for(200ms);
    ASSERT_TRUE(cam->stopRecording());
    cam->stop();
    const FileContents plain = readAll(dir.file("plain.raw"));
    ASSERT_FALSE(plain.events.empty());
    EXPECT_LT(plain.events.back().timestamp - plain.events.front().timestamp, 400000u);
}

TEST_F(Recording, DiskFailureIsReportedAndLeavesAReadableFile) {
    auto cam = openDvs();
    ASSERT_TRUE(cam);
    Captured c;
    capture(*cam, c);
    // Let the kernel refuse writes beyond 2 MB, as a full disk would.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 2u << 20;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    ASSERT_EQ(cam->start(), 0);
    const std::string path = dir.file("full.raw");
    ASSERT_TRUE(cam->startRecording(path));
    for (int i = 0; i < 40 && cam->isRecording(); ++i)
        std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(cam->isRecording()); // failed: no longer recording
    EXPECT_FALSE(cam->stopRecording());
    setrlimit(RLIMIT_FSIZE, &old);
    cam->stop();
    EXPECT_NE(cam->lastError().find("failed"), std::string::npos) << cam->lastError();

    const FileContents f = readAll(path);
    ASSERT_GT(f.events.size(), 100000u);
    {
        std::lock_guard l(c.mu);
        EXPECT_GE(findRun(c.events, f.events), 0);
    }
    // A new recording works again afterwards.
    ASSERT_TRUE(cam->startRecording(dir.file("after.raw")));
    EXPECT_TRUE(cam->stopRecording()) << cam->lastError();
}

TEST_F(Recording, FastSourceIsRecordedWithoutLoss) {
    detail::CameraCoreOptions o;
    o.realtime = false; // as fast as the writer lets it
    CameraDescription d;
    d.serial = "STRESS";
    auto core = std::make_shared<detail::CameraCore>(d, detail::makeStressSource(1280, 720, 100000000, 3), o);
    DvsCamera cam(core);
    const std::string path = dir.file("stress.raw");
    ASSERT_TRUE(cam.startRecording(path));
    ASSERT_EQ(cam.start(), 0);
    std::this_thread::sleep_for(700ms);
    cam.stop();
    ASSERT_TRUE(cam.stopRecording()) << cam.lastError();
    const uint64_t produced = core->counters().delivered;
    ASSERT_GT(produced, 1000000u); // a loaded machine is slow, but some load is needed
    EXPECT_EQ(cam.lastRecordingEventCount(), produced);
    const FileContents f = readAll(path);
    EXPECT_EQ(f.events.size(), produced);
    EXPECT_EQ(f.header.width, 1280u);
}

TEST_F(Recording, AFullQueueNeverMakesALiveCameraWaitAndEveryBatchLeftOutIsSaidSo) {
    // The "disk" is a pipe the test reads only when it wants: the writer blocks on it for real.
    const std::string fifo = dir.file("slow-disk");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    std::signal(SIGPIPE, SIG_IGN);
    // 8 MB of scattered events: megabytes encoded, so the writer meets the full pipe in each one.
    std::vector<Event2D> batch(500000);
    for (size_t i = 0; i < batch.size(); ++i)
        batch[i] = Event2D(static_cast<uint16_t>(i * 37 % 640), static_cast<uint16_t>(i * 11 % 480), 1, 1000 + i / 50);
    const auto push = [&](detail::Recorder& rec, uint64_t shift) {
        for (auto& e : batch)
            e.timestamp += shift;
        return rec.push(batch.data(), batch.data() + batch.size(), nullptr, nullptr);
    };
    detail::RecorderOptions o;
    o.writer.width = 640;
    o.writer.height = 480;
    o.maxQueuedBytes = 20u << 20;
    o.direct = false;
    o.flushMs = 0;
    {
        o.dropWhenFull = true;
        detail::Recorder live;
        std::string err;
        ASSERT_TRUE(live.open(fifo, o, {}, err)) << err;
        ASSERT_EQ(push(live, 0), detail::Recorder::Push::Queued);
        std::this_thread::sleep_for(200ms); // taken by the writer, which now waits for the pipe
        int queued = 1, dropped = 0;
        const auto t0 = std::chrono::steady_clock::now();
        for (int i = 1; i < 6; ++i)
            (push(live, 10000) == detail::Recorder::Push::Queued ? queued : dropped)++;
        EXPECT_LT(std::chrono::steady_clock::now() - t0, 1s); // never waited
        EXPECT_GE(dropped, 2);
        EXPECT_LE(live.heldBytes(), o.maxQueuedBytes + o.maxQueuedBytes / 4);
        // Once the pipe is read, everything queued arrives: exactly the batches not left out.
        std::string bytes;
        std::thread drain([&] {
            char buf[1 << 16];
            for (;;) {
                const ssize_t n = ::read(reader, buf, sizeof buf);
                if (n > 0)
                    bytes.append(buf, static_cast<size_t>(n));
                else if (n == 0)
                    break;
                else
                    std::this_thread::sleep_for(1ms);
            }
        });
        EXPECT_TRUE(live.finish(err)) << err;
        drain.join();
        test::writeFile(dir.file("drained.raw"), bytes);
        EXPECT_EQ(readAll(dir.file("drained.raw")).events.size(), queued * batch.size());
    }
    {
        // An offline source waits instead, and a disk that never makes room fails the recording.
        o.dropWhenFull = false;
        o.maxWaitMs = 300;
        const int keepOpen = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
        detail::Recorder offline;
        std::string err;
        ASSERT_TRUE(offline.open(fifo, o, {}, err)) << err;
        detail::Recorder::Push last = detail::Recorder::Push::Queued;
        for (int i = 0; i < 6 && last == detail::Recorder::Push::Queued; ++i)
            last = push(offline, 10000);
        EXPECT_EQ(last, detail::Recorder::Push::Failed);
        EXPECT_NE(offline.error().find("cannot keep up"), std::string::npos) << offline.error();
        ::close(keepOpen);
        ::close(reader); // the writer's blocked write ends with a broken pipe
        EXPECT_FALSE(offline.finish(err));
    }
}
