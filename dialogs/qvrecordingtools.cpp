#include "qvrecordingtools.h"

#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawFileWriter.h"
#include "quorvel/raw/RawIndex.h"

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

// Event counts of the index entries: (time, events before) in file order.
bool indexPoints(quorvel::DvsFileReader& reader, const std::string& path,
                 std::vector<std::pair<uint64_t, uint64_t>>& points) {
    const std::string where = reader.indexPath();
    if (where.empty())
        return false;
    std::string error;
    const std::shared_ptr<quorvel::RawFile> file = quorvel::RawFile::open(path, error);
    quorvel::RawIndex index;
    if (!file || !index.load(where, *file, false, error) || index.entries.empty())
        return false;
    points.reserve(index.entries.size());
    for (const quorvel::RawIndexEntry& e : index.entries)
        points.emplace_back(e.timeUs, e.eventsBefore);
    return true;
}

} // namespace

std::vector<double> rateProfile(const std::vector<std::pair<uint64_t, uint64_t>>& points, uint64_t firstUs,
                                uint64_t lastUs, size_t bins, uint64_t* binUs) {
    if (lastUs <= firstUs || bins == 0)
        return {};
    const double span = static_cast<double>(lastUs - firstUs);
    const double width = span / static_cast<double>(bins);
    if (binUs)
        *binUs = std::max<uint64_t>(1, static_cast<uint64_t>(width));
    const auto offset = [&](uint64_t t) { return static_cast<double>(std::clamp(t, firstUs, lastUs) - firstUs); };
    const auto binOf = [&](double t) { return std::min(bins - 1, static_cast<size_t>(t / width)); };
    std::vector<double> counts(bins, 0.0);
    for (size_t i = 1; i < points.size(); ++i) {
        const auto& [ta, na] = points[i - 1];
        const auto& [tb, nb] = points[i];
        if (nb <= na)
            continue;
        const double n = static_cast<double>(nb - na);
        const double a = offset(ta), b = offset(tb);
        if (b <= a) {
            counts[binOf(a)] += n;
            continue;
        }
        for (size_t k = binOf(a), end = binOf(b); k <= end; ++k) {
            const double lo = std::max(a, static_cast<double>(k) * width);
            const double hi = std::min(b, static_cast<double>(k + 1) * width);
            if (hi > lo)
                counts[k] += n * (hi - lo) / (b - a);
        }
    }
    const double seconds = width / 1e6;
    for (double& c : counts)
        c /= seconds;
    return counts;
}

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

    std::vector<std::pair<uint64_t, uint64_t>> points;
    if (indexPoints(*reader, path, points)) {
        points.emplace_back(s.lastTimestamp, s.events);
        out.rate = rateProfile(points, s.firstTimestamp, s.lastTimestamp, bins, &out.binUs);
        out.rateFromIndex = true;
        progress = 1.0;
        return true;
    }

    // No index to read back (it could not be saved): count the events themselves.
    const uint64_t first = s.firstTimestamp, last = s.lastTimestamp;
    std::vector<double> counts(bins, 0.0);
    const double width = static_cast<double>(last - first) / static_cast<double>(bins);
    const bool read = reader->streamEventsInRange(first, last + 1, [&](const quorvel::Event2D* b, const quorvel::Event2D* e) {
        if (cancel)
            return false;
        for (const quorvel::Event2D* ev = b; ev != e; ++ev)
            counts[std::min(bins - 1, static_cast<size_t>(static_cast<double>(ev->timestamp - first) / width))] += 1.0;
        if (e != b)
            progress = 0.9 + 0.1 * static_cast<double>((e - 1)->timestamp - first) / static_cast<double>(last - first);
        return true;
    });
    if (cancel) {
        error = kCancelled;
        return false;
    }
    if (!read) {
        error = reader->lastError();
        return false;
    }
    for (double& c : counts)
        c /= width / 1e6;
    out.rate = std::move(counts);
    out.binUs = std::max<uint64_t>(1, static_cast<uint64_t>(width));
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
