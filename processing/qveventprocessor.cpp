#include "qveventprocessor.h"

#include "appsettings.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

QvEventProcessor::QvEventProcessor(QObject* parent) : QObject(parent) {
    qRegisterMetaType<uint64_t>("uint64_t");
    qRegisterMetaType<QvTriggerMarks>("QvTriggerMarks");
    qRegisterMetaType<QvMessageType>("QvMessageType");
    resizeImage(1280, 720);
    m_renderThread = std::thread(&QvEventProcessor::renderLoop, this);
}

QvEventProcessor::~QvEventProcessor() {
    // A load in progress is waited for: its thread uses this object and the reader.
    if (m_loadThread.joinable())
        m_loadThread.join();
    m_playing = false;
    joinPlayThread();
    waitForJobs();
    {
        std::lock_guard lock(m_frameMutex);
        m_running = false;
    }
    m_frameCondition.notify_all();
    if (m_renderThread.joinable())
        m_renderThread.join();
}

namespace {

// The counting rule, one event at a time: index (y * width + x) * 2 + polarity in 32-bit
// arithmetic, upper bound only (an x past the width counts in the next row), saturating at the
// ceiling.
void countEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end, uint16_t* counts, uint32_t size,
                 uint32_t width, uint16_t ceiling) {
#pragma GCC unroll 4
    for (const quorvel::Event2D* e = begin; e != end; ++e) {
        const uint32_t index = (uint32_t(e->y) * width + e->x) * 2u + e->polarity;
        if (index < size) [[likely]]
            counts[index] += counts[index] < ceiling;
    }
}

#if defined(__x86_64__) && defined(__GNUC__)
constexpr int kBlock = 64;

// Indices of the next kBlock events, computed eight-wide, and a prefetch of the count lines they
// will touch (one every eight events: neighbouring events mostly share a line).
__attribute__((target("avx2"))) inline void blockIndices(const quorvel::Event2D* e, uint32_t* out, uint32_t width,
                                                         const uint16_t* counts, uint32_t size) {
    static_assert(sizeof(quorvel::Event2D) == 16 && offsetof(quorvel::Event2D, y) == 2 &&
                  offsetof(quorvel::Event2D, polarity) == 4);
    const __m256i widthV = _mm256_set1_epi32(static_cast<int>(width));
    const __m256i low16 = _mm256_set1_epi32(0xFFFF), low8 = _mm256_set1_epi32(0xFF);
    for (int k = 0; k < kBlock; k += 8) {
        // Dwords 0 (x | y << 16) and 1 (polarity in the low byte, padding above it) of eight
        // events; the timestamps are never read.
        const auto* f = reinterpret_cast<const float*>(e + k);
        const __m256 a = _mm256_loadu_ps(f), b = _mm256_loadu_ps(f + 8);
        const __m256 c = _mm256_loadu_ps(f + 16), d = _mm256_loadu_ps(f + 24);
        const __m256 ab = _mm256_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 1, 0));
        const __m256 cd = _mm256_shuffle_ps(c, d, _MM_SHUFFLE(1, 0, 1, 0));
        const __m256i xy = _mm256_castps_si256(_mm256_shuffle_ps(ab, cd, _MM_SHUFFLE(2, 0, 2, 0)));
        const __m256i pol = _mm256_castps_si256(_mm256_shuffle_ps(ab, cd, _MM_SHUFFLE(3, 1, 3, 1)));
        __m256i index = _mm256_add_epi32(_mm256_mullo_epi32(_mm256_srli_epi32(xy, 16), widthV),
                                         _mm256_and_si256(xy, low16));
        index = _mm256_add_epi32(_mm256_add_epi32(index, index), _mm256_and_si256(pol, low8));
        _mm256_store_si256(reinterpret_cast<__m256i*>(out + k), index);
        if (out[k] < size)
            __builtin_prefetch(counts + out[k], 1, 3);
    }
}

// The same rule with the indices of a block computed ahead, so the scalar part is only the
// read-modify-write of the counts, and the next block's count lines are on their way meanwhile.
// Saturating counts do not depend on the order the events are counted in, so the result is
// identical.
__attribute__((target("avx2"))) void countEventsAvx2(const quorvel::Event2D* begin, const quorvel::Event2D* end,
                                                     uint16_t* counts, uint32_t size, uint32_t width,
                                                     uint16_t ceiling) {
    alignas(32) uint32_t indices[2][kBlock];
    const quorvel::Event2D* e = begin;
    int current = 0;
    if (end - e >= kBlock)
        blockIndices(e, indices[0], width, counts, size);
    while (end - e >= kBlock) {
        if (end - e >= 2 * kBlock)
            blockIndices(e + kBlock, indices[current ^ 1], width, counts, size);
#pragma GCC unroll 8
        for (int k = 0; k < kBlock; ++k) {
            const uint32_t index = indices[current][k];
            if (index < size) [[likely]]
                counts[index] += counts[index] < ceiling;
        }
        current ^= 1;
        e += kBlock;
    }
    countEvents(e, end, counts, size, width, ceiling);
}

bool useAvx2() {
    static const bool yes = __builtin_cpu_supports("avx2") && std::getenv("QUORVEL_GENERIC_CODECS") == nullptr;
    return yes;
}
#endif

} // namespace

void QvEventProcessor::processEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end) {
    uint16_t* counts = m_backBuffer.data();
    const uint32_t size = static_cast<uint32_t>(m_backBuffer.size());
    const uint32_t width = static_cast<uint32_t>(m_width);
    const uint16_t ceiling = static_cast<uint16_t>(m_countCeiling);
#if defined(__x86_64__) && defined(__GNUC__)
    if (useAvx2())
        countEventsAvx2(begin, end, counts, size, width, ceiling);
    else
#endif
        countEvents(begin, end, counts, size, width, ceiling);
    if (begin == end)
        return;
    const uint64_t first = begin->timestamp;
    m_lastBatchTimestamp = first;
    if (m_sourceMode != 1)
        return;
    // Unsigned on purpose: time going backwards (a newly opened camera) publishes at once.
    if (first - m_lastPublishedTimestamp < m_liveFrameInterval)
        return;
    emit signalRealTimeTimeStamp(first);
    m_lastPublishedTimestamp = first;
    publishFrame();
}

void QvEventProcessor::publishFrame() {
    std::lock_guard lock(m_frameMutex);
    m_backBuffer.swap(m_frontBuffer);
    m_framePending = true;
    m_frameCondition.notify_one();
    std::memset(m_backBuffer.data(), 0, m_backBuffer.size() * sizeof(uint16_t));
}

void QvEventProcessor::flushFrame() {
    emit signalRealTimeTimeStamp(m_lastBatchTimestamp);
    publishFrame();
}

void QvEventProcessor::resizeImage(int width, int height) {
    width = std::max(width, 1);
    height = std::max(height, 1);
    const QColor background = AppSettings::instance()->backgroundColor;
    std::lock_guard lock(m_frameMutex);
    m_image = QImage(width, height, QImage::Format_RGB888);
    m_image.fill(background);
    m_spareImage = QImage(width, height, QImage::Format_RGB888);
    m_spareImage.fill(background);
    const size_t entries = static_cast<size_t>(width) * height * 2;
    m_backBuffer.assign(entries, 0);
    m_frontBuffer.assign(entries, 0);
    m_height = height;
    m_width = width;
}

uint16_t QvEventProcessor::backCount(int x, int y, int polarity) const {
    const size_t index = (static_cast<size_t>(y) * m_width + x) * 2 + polarity;
    return index < m_backBuffer.size() ? m_backBuffer[index] : 0;
}

void QvEventProcessor::paintFront(QImage& image) {
    const AppSettings* settings = AppSettings::instance();
    const QRgb bg = settings->backgroundColor.rgb();
    const QRgb on = settings->positiveColor.rgb();
    const QRgb off = settings->negativeColor.rgb();
    const uint8_t bgPx[3] = {uint8_t(qRed(bg)), uint8_t(qGreen(bg)), uint8_t(qBlue(bg))};
    const uint8_t onPx[3] = {uint8_t(qRed(on)), uint8_t(qGreen(on)), uint8_t(qBlue(on))};
    const uint8_t offPx[3] = {uint8_t(qRed(off)), uint8_t(qGreen(off)), uint8_t(qBlue(off))};

    const int width = m_width;
    const int height = m_height;
    const uint16_t* counts = m_frontBuffer.data();
    for (int y = 0; y < height; ++y) {
        uchar* row = image.scanLine(y);
        const uint16_t* c = counts + static_cast<size_t>(y) * width * 2;
        // Background first, then only the pixels that saw events.
        for (int x = 0; x < width; ++x)
            std::memcpy(row + 3 * x, bgPx, 3);
        for (int x = 0; x < width; ++x) {
            uint32_t pair;
            std::memcpy(&pair, c + 2 * x, sizeof pair); // OFF in the low half, ON in the high half
            if (pair == 0)
                continue;
            const uint16_t c0 = c[2 * x];
            const uint16_t c1 = c[2 * x + 1];
            std::memcpy(row + 3 * x, c1 > c0 ? onPx : offPx, 3);
        }
    }
}

void QvEventProcessor::paintFrontInto(QImage& image) {
    std::lock_guard lock(m_frameMutex);
    if (image.size() != QSize(m_width, m_height) || image.format() != QImage::Format_RGB888)
        image = QImage(m_width, m_height, QImage::Format_RGB888);
    paintFront(image);
}

void QvEventProcessor::renderLoop() {
    std::unique_lock lock(m_frameMutex);
    while (true) {
        m_frameCondition.wait(lock, [this] { return m_framePending || !m_running; });
        if (!m_running)
            return;
        m_framePending = false;
        // Paint alternately into the two images: the GUI usually still holds the previous one,
        // and painting into it would force a copy of the whole picture every frame.
        QImage& target = m_paintIntoSpare ? m_spareImage : m_image;
        m_paintIntoSpare = !m_paintIntoSpare;
        paintFront(target);
        ++m_renderedFrames;
        emit signalEventImage(target);
    }
}
