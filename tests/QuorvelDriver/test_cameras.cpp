// Virtual cameras opened through the manager, streamed as the application streams them: listing,
// polling getEvents, callbacks, statistics, the fusion camera and a recording replayed as a live
// camera.

#include "camera/CameraCore.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/VirtualCameras.h"
#include "sim/SimulatedSensor.h"

#include "RawRecording.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

using namespace quorvel;
using namespace std::chrono_literals;

namespace {

/// Puts an environment variable back as it was when the test ends.
struct EnvGuard {
    explicit EnvGuard(const char* name) : m_name(name), m_had(std::getenv(name)), m_old(m_had ? std::getenv(name) : "") {}
    ~EnvGuard() { m_had ? setenv(m_name, m_old.c_str(), 1) : unsetenv(m_name); }
    const char* m_name;
    bool m_had;
    std::string m_old;
};

/// The default virtual cameras, listed by a fresh manager.
class VirtualCameras : public ::testing::Test {
protected:
    void SetUp() override { unsetenv("QUORVEL_VIRTUAL_CAMERAS"); }
    std::shared_ptr<DvsCamera> openDvs() {
        auto cam = m.openCamera("QVSIM-DVS-0001");
        EXPECT_TRUE(cam) << DvsCameraManager::lastError();
        return cam;
    }
    EnvGuard guard{"QUORVEL_VIRTUAL_CAMERAS"};
    DvsCameraManager m;
};
using CameraStreaming = VirtualCameras;
using FusionCameraTest = VirtualCameras;

/// Polls like the application's pull thread (about 33 times a second) for `d`.
std::vector<Event2D> poll(DvsCamera& cam, std::chrono::milliseconds d) {
    std::vector<Event2D> all, batch;
    const auto end = std::chrono::steady_clock::now() + d;
    while (std::chrono::steady_clock::now() < end) {
        if (cam.getEvents(batch))
            all.insert(all.end(), batch.begin(), batch.end());
        std::this_thread::sleep_for(30ms);
    }
    return all;
}

bool ordered(const std::vector<Event2D>& v) {
    return std::is_sorted(v.begin(), v.end(), [](const Event2D& a, const Event2D& b) { return a.timestamp < b.timestamp; });
}

/// A short simulated recording for the replay camera.
std::vector<Event2D> writeSimRecording(const std::string& path, uint32_t us,
                                       std::vector<EventTriggerIn>* triggers = nullptr) {
    detail::SensorConfig c;
    detail::scenePreset("default", 640, 480, c.scene);
    detail::SimulatedSensor s(c);
    std::vector<Event2D> ev;
    std::vector<EventTriggerIn> tr;
    s.generate(us, ev);
    s.triggers(0, us, tr);
    if (triggers)
        *triggers = tr;
    test::writeRaw(path, 640, 480, ev, tr, "SIMREC");
    return ev;
}

} // namespace

TEST(CameraManager, ListsTheVirtualCamerasWithEveryField) {
    EnvGuard g1("QUORVEL_VIRTUAL_CAMERAS"), g2("QUORVEL_REPLAY");
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    unsetenv("QUORVEL_REPLAY");
    DvsCameraManager m;
    auto list = m.getCameraDescs();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].serial, "QVSIM-DVS-0001");
    EXPECT_EQ(list[0].width, 640);
    EXPECT_EQ(list[1].product, "Tarnix");
    EXPECT_EQ(list[1].firmware, "Tarnix_V1.7.2");
    EXPECT_EQ(list[1].manufacturer, "Quorvel");
    EXPECT_EQ(list[1].keepSettings, 0);
    EXPECT_NE(list[1].interfaceType, CAMERA_INTERFACE_ETHERNET);

    setenv("QUORVEL_VIRTUAL_CAMERAS", "0", 1);
    EXPECT_TRUE(m.getCameraDescs().empty());
    EXPECT_FALSE(m.openCamera("QVSIM-DVS-0001"));

    test::TempDir dir;
    writeSimRecording(dir.file("walk.raw"), 50000);
    test::writeFile(dir.file("junk.raw"), "not a recording");
    setenv("QUORVEL_REPLAY", (dir.file("walk.raw") + ":" + dir.file("junk.raw") + "," + dir.file("none.raw")).c_str(), 1);
    list = m.getCameraDescs();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].serial, "REPLAY_walk");
    EXPECT_EQ(list[0].height, 480);
    EXPECT_FALSE(m.openCamera("nope"));
    EXPECT_NE(DvsCameraManager::lastError().find("nope"), std::string::npos);
}

TEST_F(CameraStreaming, PollingDeliversOrderedEventsAndStatisticsOnceASecond) {
    auto cam = openDvs();
    ASSERT_TRUE(cam);
    EXPECT_EQ(m.openCamera("QVSIM-DVS-0001")->core(), cam->core()); // already open: the same camera
    std::mutex mu;
    struct Report {
        std::chrono::steady_clock::time_point when;
        QvStatisticInfo info;
        uint64_t delivered; // events the callback had seen at that moment
    };
    std::vector<Report> stats;
    std::atomic<uint64_t> delivered{0};
    const int cb = cam->addEventsCallback([&](const Event2D* b, const Event2D* e) { delivered += static_cast<uint64_t>(e - b); });
    cam->setStatisticInfoCallback([&](QvStatisticInfo i) {
        std::lock_guard l(mu);
        stats.push_back({std::chrono::steady_clock::now(), i, delivered.load()});
    });
    ASSERT_EQ(cam->start(), 0);
    EXPECT_EQ(cam->start(), 0); // starting twice is harmless
    EXPECT_TRUE(cam->isStreaming());
    const auto events = poll(*cam, 2300ms);
    EXPECT_TRUE(cam->isConnected());
    EXPECT_TRUE(cam->stop());
    EXPECT_FALSE(cam->stop());
    ASSERT_GT(events.size(), 1000000u);
    EXPECT_TRUE(ordered(events));
    for (const auto& e : events)
        ASSERT_TRUE(e.x < 640 && e.y < 480);
    // Real time: 2.3 s of wall clock is at most 2.3 s of sensor time, and on a machine too busy to
    // simulate the scene the sensor skips ahead rather than fall behind for good (the margin
    // allows for the streaming thread being descheduled on a loaded machine).
    const double span = static_cast<double>(events.back().timestamp - events.front().timestamp);
    EXPECT_LT(span, 2.35e6);
    EXPECT_GT(span, 1.5e6) << "skipped " << cam->core()->counters().skippedUs << " us";
    cam->removeEventsCallback(cb);
    std::lock_guard l(mu);
    ASSERT_GE(stats.size(), 2u);
    const double gap = std::chrono::duration<double>(stats[1].when - stats[0].when).count();
    // Once a second; a heavily loaded machine may deschedule the streaming thread for a while.
    EXPECT_GT(gap, 0.95);
    EXPECT_LT(gap, 1.35);
    // The rate is what was delivered over that second (both counted on the streaming thread).
    const double rate = (stats[1].delivered - stats[0].delivered) / gap;
    EXPECT_NEAR(static_cast<double>(stats[1].info.eventRate), rate, rate * 0.03);
    EXPECT_GT(stats[1].info.eventRate, 1000000u);
    // EVT 3.0 spends between one and four 16-bit words on an event.
    EXPECT_GT(stats[1].info.bandwidth, stats[1].info.eventRate * 2);
    EXPECT_LT(stats[1].info.bandwidth, stats[1].info.eventRate * 8);
    cam->setStatisticInfoCallback({});
}

TEST_F(CameraStreaming, CallbacksById) {
    auto cam = openDvs();
    ASSERT_TRUE(cam);
    std::atomic<uint64_t> a{0}, b{0};
    const int ida = cam->addEventsCallback([&](const Event2D* s, const Event2D* e) { a += static_cast<uint64_t>(e - s); });
    const int idb = cam->addEventsCallback([&](const Event2D* s, const Event2D* e) { b += static_cast<uint64_t>(e - s); });
    const int idt = cam->addTriggerInCallback([](const EventTriggerIn&) {});
    EXPECT_NE(ida, idb);
    EXPECT_EQ(cam->addEventsCallback({}), -1);
    ASSERT_EQ(cam->start(), 0);
    std::this_thread::sleep_for(500ms);
    EXPECT_TRUE(cam->removeEventsCallback(idb));
    EXPECT_FALSE(cam->removeEventsCallback(idb));
    const uint64_t bAtRemoval = b.load();
    std::this_thread::sleep_for(500ms);
    cam->stop();
    EXPECT_GT(a.load(), bAtRemoval + 100000);
    EXPECT_EQ(b.load(), bAtRemoval);
    EXPECT_TRUE(cam->removeTriggerInCallback(idt));
    EXPECT_FALSE(cam->removeTriggerInCallback(idt));
    EXPECT_TRUE(cam->removeEventsCallback(ida));
}

TEST_F(CameraStreaming, UnreadQueueDropsOldBatchesAndCountsThem) {
    detail::CameraCoreOptions o;
    o.realtime = false;
    o.maxQueuedEvents = 100000;
    CameraDescription d;
    d.serial = "STRESS";
    auto core = std::make_shared<detail::CameraCore>(d, detail::makeStressSource(640, 480, 50000000, 1), o);
    DvsCamera cam(core);
    std::atomic<uint64_t> seen{0};
    cam.addEventsCallback([&](const Event2D* b, const Event2D* e) { seen += static_cast<uint64_t>(e - b); });
    ASSERT_EQ(cam.start(), 0);
    std::this_thread::sleep_for(300ms);
    cam.stop();
    std::vector<Event2D> got;
    ASSERT_TRUE(cam.getEvents(got));
    // The queue holds at most its limit plus one batch; everything else was dropped and counted,
    // while the callback saw every event.
    EXPECT_LE(got.size(), 100000u + 500000u);
    EXPECT_EQ(got.size() + cam.droppedEvents(), seen.load());
    EXPECT_GT(cam.droppedEvents(), 0u);
    EXPECT_TRUE(ordered(got));
    EXPECT_FALSE(cam.getEvents(got));
    // The drops are the queue's, not the camera's, and lie before what is left.
    const StreamLoss loss = cam.getStreamLoss();
    EXPECT_EQ(loss.queueEvents, cam.droppedEvents());
    EXPECT_EQ(loss.lostEvents(), 0u);
    ASSERT_FALSE(loss.gaps.empty());
    EXPECT_LT(loss.gaps.back().toUs, got.front().timestamp);

    // Switched off, the queue holds nothing and drops nothing.
    cam.setEventQueueLimit(0);
    ASSERT_EQ(cam.start(), 0);
    std::this_thread::sleep_for(100ms);
    cam.stop();
    EXPECT_FALSE(cam.getEvents(got));
    EXPECT_EQ(cam.droppedEvents(), 0u);
}

TEST_F(FusionCameraTest, OpensFromItsDescriptionAndStreamsEvents) {
    CameraDescription fusionDesc;
    for (const auto& d : m.getCameraDescs())
        if (d.product == "Tarnix")
            fusionDesc = d;
    FusionCamera cam(fusionDesc);
    ASSERT_TRUE(cam.isValid());
    FusionCamera copy = cam; // copies share the camera
    ASSERT_EQ(copy.start(STREAM_FUSION), 0);
    EXPECT_TRUE(cam.isStreaming());
    const auto ev = poll(cam, 500ms);
    EXPECT_TRUE(cam.stop(STREAM_FUSION));
    ASSERT_FALSE(ev.empty());
    EXPECT_TRUE(std::any_of(ev.begin(), ev.end(), [](const Event2D& e) { return e.x >= 640 || e.y >= 480; }));
    for (const auto& e : ev)
        ASSERT_TRUE(e.x < 1280 && e.y < 720);

    CameraDescription unknown;
    unknown.serial = "missing";
    unknown.product = "Tarnix";
    FusionCamera none(unknown);
    EXPECT_FALSE(none.isValid());
    EXPECT_NE(none.start(STREAM_FUSION), 0);
    EXPECT_FALSE(none.isConnected());
    EXPECT_FALSE(none.getTool(TOOL_APS));
}

TEST(ReplayCamera, PlaysTheRecordingInRealTimeAsALiveCamera) {
    EnvGuard g1("QUORVEL_VIRTUAL_CAMERAS"), g2("QUORVEL_REPLAY"), g3("XDG_CACHE_HOME");
    test::TempDir dir;
    setenv("XDG_CACHE_HOME", dir.path.c_str(), 1);
    std::vector<EventTriggerIn> recordedTr;
    const auto recorded = writeSimRecording(dir.file("scene.raw"), 400000, &recordedTr);
    ASSERT_GT(recorded.size(), 10000u);
    ASSERT_GT(recordedTr.size(), 4u);
    setenv("QUORVEL_VIRTUAL_CAMERAS", "0", 1);
    setenv("QUORVEL_REPLAY", dir.file("scene.raw").c_str(), 1);
    DvsCameraManager m;
    auto cam = m.openCamera("REPLAY_scene");
    ASSERT_TRUE(cam) << DvsCameraManager::lastError();
    EXPECT_FALSE(cam->getTool(TOOL_BIASES)); // a recording has no pixel biases
    EXPECT_TRUE(cam->getTool(TOOL_ROI));
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", true));
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_1_enable", true));
    std::mutex trMutex;
    std::vector<EventTriggerIn> gotTr;
    cam->addTriggerInCallback([&](const EventTriggerIn& t) {
        std::lock_guard lock(trMutex);
        gotTr.push_back(t);
    });
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_EQ(cam->start(), 0);
    auto got = poll(*cam, 300ms);
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::vector<EventTriggerIn> trSeen;
    {
        // Taken before stopping: on a slow machine the replay may reach its end and loop before
        // stop() returns.
        std::lock_guard lock(trMutex);
        trSeen.swap(gotTr);
    }
    cam->stop();
    ASSERT_FALSE(got.empty());
    // The first events of the file, in order, about as many as the wall time allows.
    ASSERT_LE(got.size(), recorded.size());
    const auto mism = std::mismatch(got.begin(), got.end(), recorded.begin());
    EXPECT_TRUE(mism.first == got.end()) << "first difference at " << (mism.first - got.begin()) << " of " << got.size()
                                         << ": t=" << mism.first->timestamp << " x=" << mism.first->x << " vs t="
                                         << mism.second->timestamp << " x=" << mism.second->x;
    // Paced by the wall clock: never ahead of it, and not far behind (the margin is for a loaded
    // machine; a replay does not skip ahead the way a simulated sensor does).
    EXPECT_LE(static_cast<double>(got.back().timestamp), wall * 1e6 + 20000.0);
    EXPECT_GT(static_cast<double>(got.back().timestamp), wall * 1e6 - 350000.0);
    {
        // The trigger edges come along, in order and on time.
        ASSERT_FALSE(trSeen.empty());
        ASSERT_LE(trSeen.size(), recordedTr.size());
        EXPECT_TRUE(std::equal(trSeen.begin(), trSeen.end(), recordedTr.begin(), [](const auto& a, const auto& b) {
            return a.timestamp == b.timestamp && a.polarity == b.polarity && a.id == b.id;
        }));
    }

    // Played on past its end it loops, with time moving on.
    ASSERT_EQ(cam->start(), 0);
    got = poll(*cam, 700ms);
    cam->stop();
    EXPECT_TRUE(ordered(got));
    EXPECT_GT(got.back().timestamp, recorded.back().timestamp);
    EXPECT_GT(got.size(), recorded.size());
}

TEST_F(CameraStreaming, UnpluggedCameraEndsItsStreamAndLeavesTheList) {
    auto cam = openDvs();
    ASSERT_TRUE(cam);
    ASSERT_EQ(cam->start(), 0);
    std::thread cable([] {
        std::this_thread::sleep_for(300ms);
        setVirtualCameraPlugged("QVSIM-DVS-0001", false);
    });
    // The application's pull loop: poll, then ask whether the camera is still there.
    std::vector<Event2D> batch;
    size_t rounds = 0, events = 0;
    const auto t0 = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - t0 < 3s) {
        if (cam->getEvents(batch))
            events += batch.size();
        ++rounds;
        std::this_thread::sleep_for(30ms);
        if (!cam->isConnected())
            break;
    }
    cable.join();
    EXPECT_FALSE(cam->isConnected());
    EXPECT_GT(events, 0u);
    EXPECT_LT(rounds, 40u);
    EXPECT_NE(cam->lastError().find("unplugged"), std::string::npos);
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(cam->isStreaming());
    EXPECT_EQ(cam->start(), -1);
    EXPECT_EQ(m.getCameraDescs().size(), 1u);

    EXPECT_TRUE(setVirtualCameraPlugged("QVSIM-DVS-0001", true));
    EXPECT_FALSE(setVirtualCameraPlugged("NOPE", true));
    EXPECT_EQ(m.getCameraDescs().size(), 2u);
    EXPECT_TRUE(cam->isConnected());
    ASSERT_EQ(cam->start(), 0);
    EXPECT_FALSE(poll(*cam, 200ms).empty());
    cam->stop();
}
