#include "quorvel/raw/RawIndex.h"

#include <algorithm>
#include <thread>

namespace quorvel {

namespace {

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
            entries.push_back({cur.offset(), latest, cur.decoder().stats().events,
                               decodingErrors(cur.decoder().stats()), cur.state()});
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
    const uint64_t errorsShift = decodingErrors(real) - decodingErrors(guess.atFirstEntry);
    index.entries.reserve(index.entries.size() + guess.entries.size());
    for (size_t i = 1; i < guess.entries.size(); ++i) {
        RawIndexEntry e = guess.entries[i];
        // The guess's latest times are its own clock's; before the entry they are at most the
        // first half's.
        e.timeUs = std::max(e.timeUs + delta, latest);
        e.eventsBefore += eventsShift;
        e.errorsBefore += errorsShift;
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
        const RawIndexEntry e{cur.offset(), latest, cur.decoder().stats().events, decodingErrors(cur.decoder().stats()),
                              cur.state()};
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

} // namespace quorvel
