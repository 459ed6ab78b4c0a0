#include "qveventprocessor.h"

#include "appsettings.h"

#include <algorithm>
#include <cstring>

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

void QvEventProcessor::processEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end) {
    uint16_t* counts = m_backBuffer.data();
    const uint32_t size = static_cast<uint32_t>(m_backBuffer.size());
    const uint32_t width = static_cast<uint32_t>(m_width);
    const uint16_t ceiling = static_cast<uint16_t>(m_countCeiling);
    // 32-bit index, upper bound only: an x past the width counts in the next row.
    const auto indexOf = [width](const quorvel::Event2D& e) {
        return (uint32_t(e.y) * width + e.x) * 2u + e.polarity;
    };
    const auto bump = [counts, ceiling](uint32_t index) { counts[index] += counts[index] < ceiling; };
    const quorvel::Event2D* e = begin;
    // Four at a time: the index arithmetic of neighbouring events overlaps in the pipeline.
    for (; end - e >= 4; e += 4) {
        const uint32_t i0 = indexOf(e[0]), i1 = indexOf(e[1]), i2 = indexOf(e[2]), i3 = indexOf(e[3]);
        if (std::max(std::max(i0, i1), std::max(i2, i3)) < size) { // all inside: one test
            bump(i0);
            bump(i1);
            bump(i2);
            bump(i3);
        } else {
            for (uint32_t i : {i0, i1, i2, i3})
                if (i < size)
                    bump(i);
        }
    }
    for (; e != end; ++e) {
        const uint32_t index = indexOf(*e);
        if (index < size)
            bump(index);
    }
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
