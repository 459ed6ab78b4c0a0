#include "quorvel/raw/RawIndex.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <thread>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr char kMagic[8] = {'Q', 'V', 'I', 'D', 'X', '\x01', '\r', '\n'};
constexpr uint32_t kVersion = 1;

struct FileHeader {
    char magic[8];
    uint32_t version;
    uint32_t entrySize;
    uint64_t fileSize;
    int64_t mtimeNs;
    uint64_t payloadOffset;
    uint64_t entryCount;
    uint64_t triggerCount;
    uint64_t stats[8];
    uint64_t trailingBytes;
    uint64_t complete;
};

struct PackedTrigger {
    uint64_t timestamp;
    int16_t polarity;
    int16_t id;
    uint32_t zero;
};

bool writeFully(int fd, const void* data, size_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size) {
        const ssize_t n = ::write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool readFully(int fd, void* data, size_t size) {
    auto* p = static_cast<uint8_t*>(data);
    while (size) {
        const ssize_t n = ::read(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

uint64_t fnv1a(const std::string& s) {
    uint64_t h = 1469598103934665603ull;
    for (unsigned char c : s) {
        h ^= c;
        h *= 1099511628211ull;
    }
    return h;
}

// The latest event or trigger time before the cursor: `latest` so far, the cursor's last event
// time, and the triggers from `from` on.
uint64_t latestTime(uint64_t latest, const RawStreamCursor& cur, const std::vector<EventTriggerIn>& triggers, size_t from) {
    latest = std::max(latest, cur.state().floor);
    for (size_t i = from; i < triggers.size(); ++i)
        latest = std::max(latest, triggers[i].timestamp);
    return latest;
}

} // namespace

namespace {

// The scan of the second half of a recording, started before the state at its start is known:
// from the decoder's initial state, which is right again (but for the clock's offset) once the
// stream has given a time and a row. The first half's scan then checks that at the first entry
// of this half and takes the rest over.
struct GuessedScan {
    std::vector<RawIndexEntry> entries; ///< at from + k * kEntryBytes, k >= 1
    std::vector<EventTriggerIn> triggers;
    DecodeStats atFirstEntry;           ///< counts up to entries[0]
    size_t triggersAtFirstEntry = 0;
    DecodeStats total;
    bool finished = false;              ///< reached `to`

    void run(const std::shared_ptr<const RawFile>& file, uint64_t from, uint64_t to, const std::atomic<bool>& cancel,
             const std::atomic<bool>& stop, std::atomic<uint64_t>& done) {
        RawStreamCursor cur(file, 256u << 10);
        cur.seek(from, cur.decoder().initialState());
        uint64_t latest = cur.state().floor;
        while (cur.offset() < to) {
            if (cancel.load(std::memory_order_relaxed) || stop.load(std::memory_order_relaxed))
                return;
            const size_t trBefore = triggers.size();
            if (!cur.countUntil(std::min(cur.offset() + RawIndex::kEntryBytes, to), triggers))
                return; // read error or a short file: the first half's scan carries on by itself
            latest = latestTime(latest, cur, triggers, trBefore);
            entries.push_back({cur.offset(), latest, cur.decoder().stats().events, cur.state()});
            if (entries.size() == 1) {
                atFirstEntry = cur.decoder().stats();
                triggersAtFirstEntry = triggers.size();
            }
            done.store(cur.offset() - from, std::memory_order_relaxed);
        }
        total = cur.decoder().stats();
        finished = true;
    }
};

// True when `guess` is `real` with its clock moved by `delta`: from there on the two scans decode
// the same words the same way, times `delta` apart.
bool sameButForClock(const DecoderState& real, const DecoderState& guess, uint64_t& delta) {
    delta = real.timeBase - guess.timeBase;
    DecoderState moved = guess;
    moved.timeBase += delta;
    moved.rawTime += delta;
    moved.floor += delta;
    return moved == real;
}

bool spliceSecondHalf(RawIndex& index, const GuessedScan& guess, RawStreamCursor& cur, uint64_t latest) {
    // The scans must agree at the first entry of the second half, and the first half must hold an
    // event (so the first event time is known without the speculative part). A time jump the
    // guess saw before that entry leaves the offset of its first one after the entry unknown.
    const DecodeStats& real = cur.decoder().stats();
    uint64_t delta = 0;
    if (!guess.finished || guess.entries.empty() || guess.entries.front().offset != cur.offset() || real.events == 0 ||
        guess.atFirstEntry.timeJumps != 0 || !sameButForClock(cur.state(), guess.entries.front().state, delta))
        return false;
    const uint64_t eventsShift = real.events - guess.atFirstEntry.events;
    index.entries.reserve(index.entries.size() + guess.entries.size());
    for (size_t i = 1; i < guess.entries.size(); ++i) {
        RawIndexEntry e = guess.entries[i];
        // The guess's latest times are its own clock's; before the entry they are at most the
        // first half's.
        e.timeUs = std::max(e.timeUs + delta, latest);
        e.eventsBefore += eventsShift;
        e.state.timeBase += delta;
        e.state.rawTime += delta;
        e.state.floor += delta;
        index.entries.push_back(e);
    }
    for (size_t i = guess.triggersAtFirstEntry; i < guess.triggers.size(); ++i) {
        EventTriggerIn t = guess.triggers[i];
        t.timestamp += delta;
        index.triggers.push_back(t);
    }
    DecodeStats rest;
    rest.events = guess.total.events - guess.atFirstEntry.events;
    rest.onEvents = guess.total.onEvents - guess.atFirstEntry.onEvents;
    rest.triggers = guess.total.triggers - guess.atFirstEntry.triggers;
    rest.invalidEvents = guess.total.invalidEvents - guess.atFirstEntry.invalidEvents;
    rest.reservedWords = guess.total.reservedWords - guess.atFirstEntry.reservedWords;
    rest.timeBackwards = guess.total.timeBackwards - guess.atFirstEntry.timeBackwards;
    rest.timeJumps = guess.total.timeJumps;
    rest.firstTimeJumpOffset = guess.total.firstTimeJumpOffset;
    rest.lastEventTs = guess.total.lastEventTs + delta;
    index.totals.stats = real;
    index.totals.stats.add(rest);
    return true;
}

} // namespace

bool RawIndex::build(const std::shared_ptr<const RawFile>& file, const std::atomic<bool>& cancel,
                     const std::function<void(const std::vector<RawIndexEntry>&, uint64_t)>& onEntries) {
    entries.clear();
    triggers.clear();
    totals = {};
    complete = false;
    builtInTwoHalves = false;
    fileSize = file->fileSize();
    mtimeNs = file->mtimeNs();
    payloadOffset = file->payloadBegin();

    // Chunks small enough to stay in the L2 cache between the copy out of the page cache and
    // the scan that follows.
    RawStreamCursor cur(file, 256u << 10);
    const uint64_t begin = file->payloadBegin();
    const uint64_t end = file->payloadEnd();

    // Large recordings are scanned in two halves at once (clock-based encodings only: their
    // decoder state is a clock offset away from the initial one once a time and a row are seen).
    const RawEncoding enc = file->header().encoding;
    const uint64_t bytes = end > begin ? end - begin : 0;
    const bool split = parallel && bytes >= parallelMinBytes && bytes >= 4 * kEntryBytes &&
                       (enc == RawEncoding::Evt3 || enc == RawEncoding::Evt2 || enc == RawEncoding::Evt21) &&
                       std::thread::hardware_concurrency() >= 2;
    const uint64_t half = split ? begin + (bytes / 2) / kEntryBytes * kEntryBytes : end;
    GuessedScan guess;
    std::atomic<bool> stopGuess{false};
    std::atomic<uint64_t> guessDone{0};
    std::thread helper;
    if (split)
        helper = std::thread([&] { guess.run(file, half, end, cancel, stopGuess, guessDone); });
    struct Joiner {
        std::thread& t;
        std::atomic<bool>& stop;
        ~Joiner() {
            stop = true;
            if (t.joinable())
                t.join();
        }
    } joiner{helper, stopGuess};

    std::vector<RawIndexEntry> batch;
    batch.reserve(256);
    const auto publish = [&](uint64_t doneBytes) {
        if (onEntries)
            onEntries(batch, doneBytes);
        batch.clear();
    };
    bool spliced = false;
    uint64_t latest = cur.state().floor;
    size_t trBefore = 0;
    for (;;) {
        latest = latestTime(latest, cur, triggers, trBefore);
        trBefore = triggers.size();
        const RawIndexEntry e{cur.offset(), latest, cur.decoder().stats().events, cur.state()};
        entries.push_back(e);
        batch.push_back(e);
        if (cancel.load(std::memory_order_relaxed))
            return false;
        if (cur.offset() >= end)
            break;
        if (helper.joinable() && cur.offset() == half + kEntryBytes) {
            helper.join();
            spliced = spliceSecondHalf(*this, guess, cur, latest);
            builtInTwoHalves = spliced;
            if (spliced) {
                // The second half's entries as spliced (clock and counts moved), not as guessed.
                batch.insert(batch.end(), entries.end() - static_cast<std::ptrdiff_t>(guess.entries.size() - 1),
                             entries.end());
                break;
            }
        }
        const uint64_t limit = std::min(cur.offset() + kEntryBytes, end);
        if (!cur.countUntil(limit, triggers)) {
            if (cur.readFailed()) {
                totals.readFailed = true;
                return false;
            }
            break;
        }
        if (batch.size() >= 256)
            publish(cur.offset() - begin + guessDone.load(std::memory_order_relaxed));
    }
    if (!spliced)
        totals.stats = cur.decoder().stats();
    totals.trailingBytes = file->fileSize() > end && end >= begin ? file->fileSize() - end : 0;
    complete = true;
    publish(end - begin);
    return true;
}
const RawIndexEntry& RawIndex::entryFor(const std::vector<RawIndexEntry>& entries, uint64_t t) {
    auto it = std::partition_point(entries.begin(), entries.end(), [t](const RawIndexEntry& e) { return e.timeUs < t; });
    if (it == entries.begin())
        return entries.front();
    return *(it - 1);
}

bool RawIndex::save(const std::string& path, std::string& error) const {
    const std::string tmp = path + ".tmp" + std::to_string(::getpid());
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = "cannot create '" + tmp + "': " + std::strerror(errno);
        return false;
    }
    FileHeader h{};
    std::memcpy(h.magic, kMagic, 8);
    h.version = kVersion;
    h.entrySize = sizeof(RawIndexEntry);
    h.fileSize = fileSize;
    h.mtimeNs = mtimeNs;
    h.payloadOffset = payloadOffset;
    h.entryCount = entries.size();
    h.triggerCount = triggers.size();
    const DecodeStats& s = totals.stats;
    const uint64_t st[8] = {s.events, s.onEvents, s.triggers, s.invalidEvents, s.reservedWords, s.timeBackwards,
                            s.firstEventTs, s.lastEventTs};
    std::memcpy(h.stats, st, sizeof st);
    h.trailingBytes = totals.trailingBytes;
    h.complete = complete ? 1 : 0;
    bool ok = writeFully(fd, &h, sizeof h) &&
              writeFully(fd, entries.data(), entries.size() * sizeof(RawIndexEntry));
    std::vector<PackedTrigger> packed;
    packed.reserve(std::min<size_t>(triggers.size(), 65536));
    for (size_t i = 0; ok && i < triggers.size(); i += 65536) {
        packed.clear();
        for (size_t j = i; j < std::min(triggers.size(), i + 65536); ++j)
            packed.push_back({triggers[j].timestamp, triggers[j].polarity, triggers[j].id, 0});
        ok = writeFully(fd, packed.data(), packed.size() * sizeof(PackedTrigger));
    }
    if (::close(fd) != 0)
        ok = false;
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        error = "cannot write '" + path + "': " + std::strerror(errno);
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

bool RawIndex::load(const std::string& path, const RawFile& file, bool totalsOnly, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "no index at '" + path + "'";
        return false;
    }
    struct stat st {};
    FileHeader h{};
    bool ok = ::fstat(fd, &st) == 0 && readFully(fd, &h, sizeof h);
    const auto fail = [&](const char* why) {
        ::close(fd);
        error = std::string("index '") + path + "' " + why;
        return false;
    };
    if (!ok || std::memcmp(h.magic, kMagic, 8) != 0 || h.version != kVersion || h.entrySize != sizeof(RawIndexEntry))
        return fail("is not an index of this version");
    if (h.fileSize != file.fileSize() || h.mtimeNs != file.mtimeNs() || h.payloadOffset != file.payloadBegin())
        return fail("is stale (the recording changed)");
    const uint64_t expect = sizeof h + h.entryCount * sizeof(RawIndexEntry) + h.triggerCount * sizeof(PackedTrigger);
    if (h.complete != 1 || h.entryCount == 0 || h.entryCount > (1ull << 32) || h.triggerCount > (1ull << 40) ||
        static_cast<uint64_t>(st.st_size) != expect)
        return fail("is damaged");
    fileSize = h.fileSize;
    mtimeNs = h.mtimeNs;
    payloadOffset = h.payloadOffset;
    DecodeStats& s = totals.stats;
    s.events = h.stats[0];
    s.onEvents = h.stats[1];
    s.triggers = h.stats[2];
    s.invalidEvents = h.stats[3];
    s.reservedWords = h.stats[4];
    s.timeBackwards = h.stats[5];
    s.firstEventTs = h.stats[6];
    s.lastEventTs = h.stats[7];
    totals.trailingBytes = h.trailingBytes;
    totals.readFailed = false;
    complete = true;
    entries.clear();
    triggers.clear();
    if (!totalsOnly) {
        entries.resize(h.entryCount);
        if (!readFully(fd, entries.data(), entries.size() * sizeof(RawIndexEntry)))
            return fail("is truncated");
        for (size_t i = 0; i < entries.size(); ++i) {
            const auto& e = entries[i];
            if (e.offset < file.payloadBegin() || e.offset > file.payloadEnd() ||
                (i > 0 && (e.offset < entries[i - 1].offset || e.timeUs < entries[i - 1].timeUs)))
                return fail("is damaged");
        }
        std::vector<PackedTrigger> packed(static_cast<size_t>(h.triggerCount));
        if (!readFully(fd, packed.data(), packed.size() * sizeof(PackedTrigger)))
            return fail("is truncated");
        triggers.reserve(packed.size());
        for (const auto& p : packed)
            triggers.emplace_back(p.id, p.polarity, p.timestamp);
    }
    ::close(fd);
    return true;
}

std::string RawIndex::besidePath(const std::string& recording) { return recording + ".qvidx"; }

std::string RawIndex::cachePath(const std::string& recording) {
    std::string dir;
    if (const char* x = std::getenv("XDG_CACHE_HOME"); x && *x == '/')
        dir = std::string(x) + "/quorvel";
    else if (const char* home = std::getenv("HOME"); home && *home)
        dir = std::string(home) + "/.cache/quorvel";
    else
        dir = "/tmp/quorvel-cache";
    std::error_code ec;
    const std::string abs = std::filesystem::absolute(recording, ec).lexically_normal().string();
    char hash[20];
    std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(fnv1a(abs)));
    return dir + "/" + hash + "-" + std::filesystem::path(recording).filename().string() + ".qvidx";
}

bool RawIndex::loadFor(const RawFile& file, bool totalsOnly, std::string& error) {
    if (load(besidePath(file.path()), file, totalsOnly, error))
        return true;
    std::string e2;
    if (load(cachePath(file.path()), file, totalsOnly, e2))
        return true;
    return false;
}

std::string RawIndex::saveFor(const RawFile& file, std::string& error) const {
    const std::string beside = besidePath(file.path());
    // A folder without any write bit is read-only by intent, even for root, who access() lets
    // write anywhere: never drop files into a shared, protected folder.
    std::error_code ec;
    const auto folder = std::filesystem::absolute(file.path(), ec).parent_path();
    struct stat st {};
    const bool folderWritable = ::stat(folder.c_str(), &st) == 0 && (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0 &&
                                ::access(folder.c_str(), W_OK) == 0;
    if (folderWritable && save(beside, error))
        return beside;
    const std::string cached = cachePath(file.path());
    std::filesystem::create_directories(std::filesystem::path(cached).parent_path(), ec);
    if (save(cached, error))
        return cached;
    return {};
}

} // namespace quorvel
