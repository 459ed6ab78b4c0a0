#include "quorvel/DvsFileReader.h"
#include "quorvel/VideoExporter.h"

#include "RawRecording.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>

using namespace quorvel;
using namespace quorvel::test;

namespace {

constexpr uint64_t kStart = 2'000'000;
constexpr uint64_t kW = 33'333; // window at 30 fps

// A video decoded with FFmpeg on its own, independently of the SDK's readers.
struct Decoded {
    int width = 0;
    int height = 0;
    double durationS = 0;
    std::string codec;
    std::vector<int64_t> pts;
    std::vector<std::vector<uint8_t>> rgb;  // RGB24 of every frame
    std::vector<std::vector<uint8_t>> luma; // the Y plane of every frame, as coded
};

bool decodeVideo(const std::string& path, Decoded& out) {
    AVFormatContext* fmt = nullptr;
    if (avformat_open_input(&fmt, path.c_str(), nullptr, nullptr) < 0)
        return false;
    bool ok = false;
    AVCodecContext* dec = nullptr;
    AVPacket* pkt = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    SwsContext* sws = nullptr;
    const AVCodec* codec = nullptr;
    int si = -1;
    if (avformat_find_stream_info(fmt, nullptr) >= 0 &&
        (si = av_find_best_stream(fmt, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0)) >= 0) {
        AVStream* st = fmt->streams[si];
        out.codec = avcodec_get_name(st->codecpar->codec_id);
        out.width = st->codecpar->width;
        out.height = st->codecpar->height;
        out.durationS = st->duration * av_q2d(st->time_base);
        dec = avcodec_alloc_context3(codec);
        avcodec_parameters_to_context(dec, st->codecpar);
        if (avcodec_open2(dec, codec, nullptr) >= 0) {
            auto take = [&] {
                while (avcodec_receive_frame(dec, frame) == 0) {
                    out.pts.push_back(frame->best_effort_timestamp);
                    sws = sws_getCachedContext(sws, frame->width, frame->height, AVPixelFormat(frame->format),
                                               frame->width, frame->height, AV_PIX_FMT_RGB24, SWS_POINT, nullptr,
                                               nullptr, nullptr);
                    std::vector<uint8_t> rgb(size_t(frame->width) * frame->height * 3);
                    uint8_t* dst[1] = {rgb.data()};
                    int stride[1] = {frame->width * 3};
                    sws_scale(sws, frame->data, frame->linesize, 0, frame->height, dst, stride);
                    out.rgb.push_back(std::move(rgb));
                    std::vector<uint8_t> y(size_t(frame->width) * frame->height);
                    for (int r = 0; r < frame->height; ++r)
                        std::memcpy(y.data() + size_t(r) * frame->width, frame->data[0] + size_t(r) * frame->linesize[0],
                                    size_t(frame->width));
                    out.luma.push_back(std::move(y));
                }
            };
            while (av_read_frame(fmt, pkt) >= 0) {
                if (pkt->stream_index == si)
                    avcodec_send_packet(dec, pkt);
                av_packet_unref(pkt);
                take();
            }
            avcodec_send_packet(dec, nullptr);
            take();
            ok = true;
        }
    }
    sws_freeContext(sws);
    av_frame_free(&frame);
    av_packet_free(&pkt);
    avcodec_free_context(&dec);
    avformat_close_input(&fmt);
    return ok;
}

// Events that fill a 16 x 16 block (aligned to the codec's macroblocks so colours stay clean):
// `on` ON and `off` OFF events on every pixel, at time t.
void block(std::vector<Event2D>& ev, int bx, int by, int on, int off, uint64_t t) {
    for (int y = by * 16; y < by * 16 + 16; ++y)
        for (int x = bx * 16; x < bx * 16 + 16; ++x) {
            for (int i = 0; i < on; ++i)
                ev.emplace_back(uint16_t(x), uint16_t(y), 1, t);
            for (int i = 0; i < off; ++i)
                ev.emplace_back(uint16_t(x), uint16_t(y), 0, t);
        }
}

// Frame 0: one event at the start. Frame 3 (window [start + 3W, start + 4W)): block (0,0) ON only,
// (1,0) OFF only, (2,0) one of each (tie: OFF), (3,0) 4 ON vs 2 OFF (ON), (4,0) 5 ON vs 3 OFF
// (both saturate at 3: OFF), (5,0) placed at the last microsecond of frame 2 (not in frame 3), (6,0)
// at the first microsecond of frame 4. Last event at start + 10W.
void writePattern(const std::string& path, int width, int height) {
    std::vector<Event2D> ev;
    ev.emplace_back(0, 0, 1, kStart);
    block(ev, 5, 0, 1, 0, kStart + 3 * kW - 1);
    const uint64_t t3 = kStart + 3 * kW;
    block(ev, 0, 0, 1, 0, t3);
    block(ev, 1, 0, 0, 1, t3 + 10);
    block(ev, 2, 0, 1, 1, t3 + 20);
    block(ev, 3, 0, 4, 2, t3 + 30);
    block(ev, 4, 0, 5, 3, t3 + 40);
    block(ev, 6, 0, 1, 0, kStart + 4 * kW);
    ev.emplace_back(1, 40, 0, kStart + 10 * kW);
    writeRaw(path, uint32_t(width), uint32_t(height), ev);
}

std::array<int, 3> pixel(const Decoded& d, size_t frame, int x, int y) {
    const uint8_t* p = d.rgb[frame].data() + (size_t(y) * d.width + x) * 3;
    return {p[0], p[1], p[2]};
}

void expectColour(const Decoded& d, size_t frame, int bx, int by, RgbColor c, const char* what) {
    const auto got = pixel(d, frame, bx * 16 + 8, by * 16 + 8);
    EXPECT_NEAR(got[0], c.r, 12) << what;
    EXPECT_NEAR(got[1], c.g, 12) << what;
    EXPECT_NEAR(got[2], c.b, 12) << what;
}

class VideoExport : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", dir.path.c_str(), 1); }
    TempDir dir;
};

} // namespace

TEST_F(VideoExport, FramesShowTheRendererColoursOfTheirWindow) {
    writePattern(dir.file("rec.raw"), 128, 64);
    auto reader = DvsFileReader::createFileReader(dir.file("rec.raw"));
    ASSERT_TRUE(reader);
    VideoExportOptions o;
    ASSERT_TRUE(o.setScheme("RedBlue"));
    VideoExporter ex(o);
    const uint64_t end = kStart + 10 * kW;
    ASSERT_TRUE(ex.exportRange(*reader, kStart, end, dir.file("out.mp4"))) << ex.lastError();

    Decoded d;
    ASSERT_TRUE(decodeVideo(dir.file("out.mp4"), d));
    EXPECT_EQ(d.codec, "h264");
    EXPECT_EQ(d.width, 128);
    EXPECT_EQ(d.height, 64);
    // [start, start + 10W]: ten full windows plus the one holding the end.
    ASSERT_EQ(d.rgb.size(), 11u);
    EXPECT_EQ(ex.framesWritten(), 11u);
    EXPECT_EQ(VideoExporter::frameCount(kStart, end, 30), 11u);
    EXPECT_NEAR(d.durationS, 11.0 / 30.0, 0.002);
    for (size_t i = 0; i < d.pts.size(); ++i)
        EXPECT_EQ(d.pts[i], d.pts[0] + int64_t(i) * (d.pts.size() > 1 ? d.pts[1] - d.pts[0] : 0));

    const RgbColor red{255, 0, 0}, blue{0, 0, 255}, grey{112, 112, 112};
    expectColour(d, 3, 0, 0, red, "ON only");
    expectColour(d, 3, 1, 0, blue, "OFF only");
    expectColour(d, 3, 2, 0, blue, "tie shows OFF");
    expectColour(d, 3, 3, 0, red, "4 ON vs 2 OFF");
    expectColour(d, 3, 4, 0, blue, "saturated 3 vs 3 shows OFF");
    expectColour(d, 3, 5, 0, grey, "event of the previous window");
    expectColour(d, 3, 6, 0, grey, "event of the next window");
    expectColour(d, 3, 3, 2, grey, "quiet area");
    expectColour(d, 2, 5, 0, red, "last microsecond of frame 2");
    expectColour(d, 4, 6, 0, red, "first microsecond of frame 4");
    expectColour(d, 2, 0, 0, grey, "frame without those events");
    expectColour(d, 4, 0, 0, grey, "frames start from zero counts");
}

TEST_F(VideoExport, ReaderEntryPointUsesGrayAndPadsOddSizes) {
    writePattern(dir.file("odd.raw"), 127, 63);
    auto reader = DvsFileReader::createFileReader(dir.file("odd.raw"));
    ASSERT_TRUE(reader);
    ASSERT_TRUE(reader->exportVideoRange(kStart + 3 * kW, kStart + 3 * kW + 100, dir.file("gray.mp4")))
        << reader->lastError();
    Decoded d;
    ASSERT_TRUE(decodeVideo(dir.file("gray.mp4"), d));
    EXPECT_EQ(d.width, 128);
    EXPECT_EQ(d.height, 64);
    ASSERT_EQ(d.rgb.size(), 1u);
    expectColour(d, 0, 0, 0, {255, 255, 255}, "ON in Gray");
    expectColour(d, 0, 1, 0, {0, 0, 0}, "OFF in Gray");
    expectColour(d, 0, 3, 2, {112, 112, 112}, "background in Gray");
    // The padding column and row are background.
    const auto pad = pixel(d, 0, 127, 63);
    EXPECT_NEAR(pad[0], 112, 12);

    // Another scheme and frame rate through the options overload: 10 fps windows are 100000 us.
    VideoExportOptions o;
    ASSERT_TRUE(o.setScheme("Light"));
    EXPECT_FALSE(o.setScheme("Purple"));
    o.fps = 10;
    ASSERT_TRUE(reader->exportVideoRange(kStart, kStart + 299'999, dir.file("light.mp4"), o));
    Decoded l;
    ASSERT_TRUE(decodeVideo(dir.file("light.mp4"), l));
    ASSERT_EQ(l.rgb.size(), 3u);
    EXPECT_NEAR(l.durationS, 0.3, 0.002);
    // 100000 us windows: the block at start + 99999 still falls in window 0, those from
    // start + 100009 on in window 1.
    expectColour(l, 0, 0, 0, {0, 0, 0}, "ON in Light");
    expectColour(l, 1, 1, 0, {64, 126, 201}, "OFF in Light");
    expectColour(l, 0, 3, 2, {255, 255, 255}, "background in Light");
    expectColour(l, 1, 0, 0, {255, 255, 255}, "window 1 without those");
    expectColour(l, 1, 6, 0, {0, 0, 0}, "ON in window 1");
}

TEST_F(VideoExport, ProgressCancellationAndFailuresLeaveNoFile) {
    writePattern(dir.file("rec.raw"), 128, 64);
    auto reader = DvsFileReader::createFileReader(dir.file("rec.raw"));
    ASSERT_TRUE(reader);
    const std::string out = dir.file("out.mp4");

    std::vector<double> seen;
    VideoExportOptions o;
    o.progress = [&](double p) {
        seen.push_back(p);
        return true;
    };
    VideoExporter ok(o);
    ASSERT_TRUE(ok.exportRange(*reader, kStart, kStart + 10 * kW, out));
    ASSERT_FALSE(seen.empty());
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back(), 1.0);
    std::filesystem::remove(out);

    o.progress = [](double p) { return p < 0.5; };
    VideoExporter cancelled(o);
    EXPECT_FALSE(cancelled.exportRange(*reader, kStart, kStart + 10 * kW, out));
    EXPECT_TRUE(cancelled.wasCancelled());
    EXPECT_LT(cancelled.framesWritten(), 11u);

    VideoExporter ex;
    EXPECT_FALSE(ex.exportRange(*reader, kStart + 20 * kW, kStart + 30 * kW, out)); // after the last event
    EXPECT_NE(ex.lastError().find("after"), std::string::npos);
    EXPECT_FALSE(ex.exportRange(*reader, kStart + 5, kStart, out));               // reversed
    EXPECT_FALSE(reader->exportVideoRange(kStart, kStart + kW, dir.file("no/such/dir/out.mp4")));
    EXPECT_FALSE(reader->lastError().empty());

    // Nothing but the recording and its index is left: no video, no temporary file.
    for (const auto& e : std::filesystem::directory_iterator(dir.path))
        EXPECT_EQ(e.path().string().find(".mp4"), std::string::npos) << e.path();
}

TEST_F(VideoExport, DenseExportIsExactAndLeavesThePlayerAlone) {
    // 1280x720 at 5 M events/s: frames span many read batches. Lossless coding (crf 0) keeps every
    // pixel's luma as painted, so each frame is checked pixel by pixel against the renderer rule.
    StreamParams sp;
    sp.durationUs = 400'000;
    sp.denseRate = sp.sparseRate = 5e6;
    sp.triggerPeriodUs = 0;
    writeGenerated(dir.file("dense.raw"), sp);
    auto player = DvsFileReader::createFileReader(dir.file("dense.raw"));
    auto reference = DvsFileReader::createFileReader(dir.file("dense.raw"));
    ASSERT_TRUE(player && reference && player->waitForIndex() && reference->waitForIndex());
    uint64_t start = 0, end = 0;
    ASSERT_TRUE(player->getStartTimestamp(start) && player->getEndTimestamp(end));

    // The player sits in the middle of the recording; the export runs on another thread while the
    // player keeps reading, as playback would.
    const uint64_t pos = start + 5 * kW + 17;
    ASSERT_TRUE(player->seekTime(pos) && player->getNTimeEvents(kW));
    VideoExportOptions o;
    o.crf = 0;
    std::atomic<bool> exporting{true};
    bool exported = false;
    std::thread job([&] {
        exported = player->exportVideoRange(start, end, dir.file("dense.mp4"), o);
        exporting = false;
    });
    int reads = 0;
    for (uint64_t t = start; exporting || reads < 3; t = t + kW > end ? start : t + kW, ++reads) {
        auto got = player->getEventsInRange(t, kW);
        auto want = reference->getEventsInRange(t, kW);
        if (!got || !want || *got != *want) {
            ADD_FAILURE() << "player read at " << t << " us during the export";
            break;
        }
    }
    job.join();
    ASSERT_TRUE(exported) << player->lastError();
    // The player's position is where it was: the next span follows the one read before the export.
    auto next = player->getNTimeEvents(kW);
    auto want = reference->getEventsInRange(pos + kW, kW);
    ASSERT_TRUE(next && want);
    EXPECT_TRUE(*next == *want);

    Decoded d;
    ASSERT_TRUE(decodeVideo(dir.file("dense.mp4"), d));
    const uint64_t frames = VideoExporter::frameCount(start, end, 30);
    ASSERT_EQ(d.luma.size(), frames);
    const int width = int(sp.width);
    const size_t pixels = size_t(sp.width) * sp.height;
    std::vector<uint8_t> on(pixels), off(pixels);
    for (uint64_t k = 0; k < frames; ++k) {
        const uint64_t from = start + k * kW;
        auto ev = reference->getEventsInRange(from, std::min(from + kW, end + 1) - from);
        ASSERT_TRUE(ev);
        std::fill(on.begin(), on.end(), 0);
        std::fill(off.begin(), off.end(), 0);
        for (const Event2D& e : *ev) {
            uint8_t& c = (e.polarity ? on : off)[size_t(e.y) * width + e.x];
            c = uint8_t(std::min(c + 1, 3));
        }
        size_t wrong = 0;
        for (size_t i = 0; i < pixels; ++i) {
            // Gray in BT.601 limited range: white 235, black 16, background 112.
            const uint8_t expected = on[i] == 0 && off[i] == 0 ? 112 : on[i] > off[i] ? 235 : 16;
            wrong += d.luma[k][i] != expected;
        }
        EXPECT_EQ(wrong, 0u) << "frame " << k << " of " << frames << " (" << ev->size() << " events)";
    }
}
