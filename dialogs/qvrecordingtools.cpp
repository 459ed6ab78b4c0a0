#include "qvrecordingtools.h"

#include "quorvel/raw/RawFileWriter.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace QvRecordingTools {

namespace {

using Clock = std::chrono::steady_clock;

// Waits for the reader's seek index, following its progress into progress[from .. to]. The
// reader has no failure flag to poll: once the progress has stood still for a second the index
// has either failed or sits on a slow disk, and waitForIndex() tells which (returning at once on
// failure).
bool waitIndexed(quorvel::DvsFileReader& reader, std::atomic<double>& progress, double from, double to,
                 const std::atomic<bool>& cancel, std::string& error) {
    double seen = -1.0;
    Clock::time_point moved = Clock::now();
    while (!reader.isIndexReady()) {
        if (cancel) {
            error = kCancelled;
            return false;
        }
        const double p = reader.indexProgress();
        progress = from + (to - from) * p;
        if (p != seen) {
            seen = p;
            moved = Clock::now();
        } else if (Clock::now() - moved > std::chrono::seconds(1)) {
            if (!reader.waitForIndex()) {
                error = "cannot index the recording: " + reader.lastError();
                return false;
            }
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    progress = to;
    return true;
}

std::unique_ptr<quorvel::DvsFileReader> openReader(const std::string& path, std::string& error) {
    auto reader = quorvel::DvsFileReader::createFileReader(path);
    if (!reader)
        error = quorvel::DvsFileReader::lastCreateError();
    return reader;
}

} // namespace

bool inspect(const std::string& path, Summary& out, std::atomic<double>& progress, const std::atomic<bool>& cancel,
             std::string& error, size_t bins) {
    out = Summary{};
    progress = 0.0;
    auto reader = openReader(path, error);
    if (!reader)
        return false;
    out.format = reader->formatName();
    out.width = reader->getWidth();
    out.height = reader->getHeight();
    out.serial = reader->serialNumber();
    out.date = reader->headerDate();
    std::error_code ec;
    out.fileBytes = std::filesystem::file_size(path, ec);
    if (!waitIndexed(*reader, progress, 0.0, 0.9, cancel, error))
        return false;
    if (!reader->getFileStats(out.stats)) {
        error = reader->lastError();
        return false;
    }
    const quorvel::DvsFileStats& s = out.stats;
    if (s.events == 0 || s.lastTimestamp <= s.firstTimestamp) {
        progress = 1.0;
        return true;
    }

    // The rate over the recording comes from its seek index, which is complete by now.
    quorvel::DvsTimeline timeline;
    if (reader->getTimeline(s.firstTimestamp, bins, timeline)) {
        out.rate.assign(timeline.eventsPerSecond.begin(), timeline.eventsPerSecond.end());
        out.binUs = timeline.bucketUs;
    }
    progress = 1.0;
    return true;
}

bool convertToEvt3(const std::string& in, const std::string& out, std::atomic<double>& progress,
                   const std::atomic<bool>& cancel, std::string& error) {
    progress = 0.0;
    std::error_code ec;
    if (std::filesystem::equivalent(in, out, ec) || in == out) {
        error = "the output is the recording itself";
        return false;
    }
    auto reader = openReader(in, error);
    if (!reader)
        return false;
    // The index gives the time range and the triggers; its scan is a quarter of the work or so.
    if (!waitIndexed(*reader, progress, 0.0, 0.25, cancel, error))
        return false;
    uint64_t first = 0, last = 0;
    if (!reader->getStartTimestamp(first) || !reader->getEndTimestamp(last))
        first = last = 0; // no events: a file with the header and the triggers only
    std::vector<quorvel::EventTriggerIn> triggers;
    try {
        triggers = reader->getTriggerList();
    } catch (const std::exception&) {
        // the recording has no trigger records
    }
    std::stable_sort(triggers.begin(), triggers.end(),
                     [](const auto& a, const auto& b) { return a.timestamp < b.timestamp; });

    uint32_t width = reader->getWidth(), height = reader->getHeight();
    if ((width == 0 || height == 0) && last >= first) {
        // A DAT file without geometry: the smallest sensor that holds its events.
        uint32_t maxX = 0, maxY = 0;
        const bool read = reader->streamEventsInRange(first, last + 1, [&](const quorvel::Event2D* b, const quorvel::Event2D* e) {
            for (const quorvel::Event2D* ev = b; ev != e; ++ev) {
                maxX = std::max<uint32_t>(maxX, ev->x);
                maxY = std::max<uint32_t>(maxY, ev->y);
            }
            return !cancel;
        });
        if (cancel) {
            error = kCancelled;
            return false;
        }
        if (!read) {
            error = reader->lastError();
            return false;
        }
        width = maxX + 1;
        height = maxY + 1;
        if (width > 2048 || height > 2048) {
            error = "events beyond 2048x2048 cannot be written as EVT 3.0";
            return false;
        }
    }

    quorvel::RawFileWriter writer;
    quorvel::RawFileWriter::Options options;
    options.width = width;
    options.height = height;
    options.serial = reader->serialNumber();
    options.atomic = true;
    quorvel::DvsFileInfo info;
    if (reader->getFileInfo(info) && info.startTime.time_since_epoch().count() != 0)
        options.startTime = std::chrono::time_point_cast<std::chrono::system_clock::duration>(info.startTime);
    if (!writer.open(out, options)) {
        error = writer.lastError();
        return false;
    }

    size_t nextTrigger = 0;
    bool written = true;
    const double span = last > first ? static_cast<double>(last - first) : 1.0;
    const bool read = reader->streamEventsInRange(first, last + 1, [&](const quorvel::Event2D* b, const quorvel::Event2D* e) {
        if (cancel)
            return false;
        if (b == e)
            return true;
        // The triggers up to this batch's last event go with it, so that both stay in time order.
        const uint64_t until = (e - 1)->timestamp;
        const size_t from = nextTrigger;
        while (nextTrigger < triggers.size() && triggers[nextTrigger].timestamp <= until)
            ++nextTrigger;
        written = writer.write(b, e, triggers.data() + from, triggers.data() + nextTrigger);
        progress = 0.25 + 0.75 * static_cast<double>(until - first) / span;
        return written;
    });
    if (cancel) {
        writer.abort();
        error = kCancelled;
        return false;
    }
    if (!written || !read) {
        error = !written ? writer.lastError() : reader->lastError();
        writer.abort();
        return false;
    }
    if (!writer.write(nullptr, nullptr, triggers.data() + nextTrigger, triggers.data() + triggers.size()) ||
        !writer.close()) {
        error = writer.lastError();
        writer.abort();
        return false;
    }
    progress = 1.0;
    return true;
}

} // namespace QvRecordingTools
