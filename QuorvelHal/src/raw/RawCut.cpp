#include "quorvel/raw/RawCut.h"

#include "quorvel/raw/RawFileWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace quorvel {

namespace {

// Steps a cursor one word at a time, which the boundary searches need to see the decoder state
// before every word. They only cover about one index interval, so the per-word cost is small.
struct WordStepper {
    explicit WordStepper(RawStreamCursor& c) : cur(c) {}
    RawStreamCursor& cur;
    std::vector<Event2D> out = std::vector<Event2D>(64);
    std::vector<EventTriggerIn> triggers;
    size_t produced = 0;

    // Returns false at the end of the payload.
    bool step() {
        size_t avail = 0;
        const uint8_t* p = cur.peek(avail);
        if (!p)
            return false;
        const DecodeResult r = cur.decoder().decode(p, cur.decoder().wordSize(), out.data(), out.size(), triggers);
        cur.consume(r.bytesConsumed);
        produced = r.eventsWritten;
        return r.bytesConsumed > 0;
    }
    const uint8_t* peekWord() {
        size_t avail = 0;
        return cur.peek(avail);
    }
};

// The time a copy starting at a TIME_HIGH word needs the new stream's TIME_HIGH at, before it.
uint64_t syncTime(RawEncoding enc, const DecoderState& s) {
    return enc == RawEncoding::Evt3 ? s.timeBase + (uint64_t{s.lastHigh} << 12) : s.rawTime;
}

// A TIME_HIGH word at which a copy may start. A new stream decodes the copied payload exactly as
// the source did when its decoder reaches the same state, the event floor included: the floor is
// the last event before the word, which the re-encoded part wrote when that event is in the
// range. So the range must have begun (floor >= A: every later event is in it as far as its start
// goes), and the TIME_HIGH the new stream is brought to must not be below the latest time the
// re-encoded part wrote (its time words only move forward).
bool cleanSplice(RawEncoding enc, const DecoderState& before, uint64_t A, uint64_t writtenUpTo) {
    if (!before.started || before.floor < A)
        return false;
    const uint64_t coarse = enc == RawEncoding::Evt3 ? ~uint64_t{0xFFF} : ~uint64_t{0x3F};
    return syncTime(enc, before) >= (writtenUpTo & coarse);
}

// EVT 3.0: true when the payload from `from` to `to` uses the vector base before setting it, so
// the new stream must state it (a VECT_BASE_X with nothing after it would break rule 4).
bool needsVectorBase(const RawFile& file, uint64_t from, uint64_t to) {
    std::vector<uint8_t> buf(64u << 10);
    while (from < to) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(buf.size(), to - from)) & ~size_t{1};
        if (n == 0 || file.readAt(from, buf.data(), n) != static_cast<long>(n))
            return true; // cannot tell: state it
        for (size_t i = 0; i < n; i += 2) {
            const unsigned type = buf[i + 1] >> 4;
            if (type == 0x3)
                return false;
            if (type == 0x4 || type == 0x5)
                return true;
        }
        from += n;
    }
    return false;
}

// Events a decoder in state `state` at `from` finds up to `to`.
uint64_t countEvents(const std::shared_ptr<const RawFile>& file, uint64_t from, const DecoderState& state, uint64_t to) {
    if (to <= from)
        return 0;
    RawStreamCursor counter(file, 1u << 20);
    counter.seek(from, state);
    std::vector<EventTriggerIn> tr;
    counter.countUntil(to, tr);
    return counter.decoder().stats().events;
}

} // namespace

bool cutRawFile(const std::shared_ptr<const RawFile>& file, const std::vector<RawIndexEntry>& entries,
                uint64_t A, uint64_t B, const std::string& outPath,
                std::chrono::system_clock::time_point sourceStart, uint64_t firstEventTs, RawCutResult& result,
                std::string& error) {
    result = {};
    if (A > B) {
        error = "empty range: start " + std::to_string(A) + " is after end " + std::to_string(B);
        return false;
    }
    if (entries.empty()) {
        error = "internal error: no index entry";
        return false;
    }
    const RawHeader& hdr = file->header();
    const RawEncoding enc = hdr.encoding;
    const bool copyable = enc == RawEncoding::Evt3 || enc == RawEncoding::Evt2;
    const uint64_t afterB = B == UINT64_MAX ? B : B + 1;

    RawStreamCursor cur(file, 1u << 20);
    uint32_t width = hdr.width, height = hdr.height;
    if (width == 0 || height == 0) {
        // A DAT file without geometry: size the output to the events of the range.
        const RawIndexEntry& e = RawIndex::entryFor(entries, A);
        cur.seek(e.offset, e.state);
        std::vector<Event2D> evs(1 << 16);
        std::vector<EventTriggerIn> tr;
        uint32_t mx = 0, my = 0;
        while (!cur.atEnd() && cur.state().floor <= B) {
            const size_t n = cur.next(evs.data(), evs.size(), tr);
            for (size_t i = 0; i < n; ++i)
                if (evs[i].timestamp >= A && evs[i].timestamp <= B) {
                    mx = std::max<uint32_t>(mx, evs[i].x);
                    my = std::max<uint32_t>(my, evs[i].y);
                }
        }
        width = std::min<uint32_t>(mx + 1, 2048);
        height = std::min<uint32_t>(my + 1, 2048);
    }

    RawFileWriter writer;
    RawFileWriter::Options opt;
    opt.width = width;
    opt.height = height;
    opt.encoding = copyable ? enc : RawEncoding::Evt3;
    opt.serial = hdr.serial();
    opt.atomic = true;
    opt.startTime = sourceStart;
    // Move the date to the range start; an offset beyond a century is a damaged clock, not a
    // recording, and would overflow the time point.
    constexpr uint64_t kCenturyUs = 100ull * 366 * 24 * 3600 * 1000000;
    if (A > firstEventTs && A - firstEventTs < kCenturyUs)
        opt.startTime += std::chrono::microseconds(A - firstEventTs);
    result.outputEncoding = opt.encoding;
    if (!writer.open(outPath, opt)) {
        error = writer.lastError();
        return false;
    }
    const auto failWith = [&](const std::string& why) {
        error = why;
        writer.abort();
        return false;
    };

    const RawIndexEntry& eA = RawIndex::entryFor(entries, A);
    cur.seek(eA.offset, eA.state);

    if (!copyable) {
        std::vector<Event2D> evs(1 << 16), keep;
        std::vector<EventTriggerIn> tr, keepTr;
        while (!cur.atEnd() && cur.state().floor <= B) {
            tr.clear();
            const size_t n = cur.next(evs.data(), evs.size(), tr);
            keep.clear();
            keepTr.clear();
            for (size_t i = 0; i < n; ++i)
                if (evs[i].timestamp >= A && evs[i].timestamp <= B)
                    keep.push_back(evs[i]);
            for (const auto& t : tr)
                if (t.timestamp >= A && t.timestamp <= B)
                    keepTr.push_back(t);
            if (!writer.write(keep, keepTr))
                return failWith(writer.lastError());
        }
        if (cur.readFailed())
            return failWith(cur.errorText());
        if (writer.droppedOutOfGeometry())
            return failWith(std::to_string(writer.droppedOutOfGeometry()) +
                            " events of the range lie outside the 2048x2048 pixels an EVT 3.0 file can hold");
        result.events = writer.eventsWritten();
        if (!writer.close())
            return failWith(writer.lastError());
        return true;
    }

    // 1. Re-encode from the index entry up to the first clean TIME_HIGH inside the range.
    WordStepper ws(cur);
    std::vector<Event2D> prefix;
    std::vector<EventTriggerIn> prefixTr;
    uint64_t written = 0; // latest time the re-encoded part holds
    bool haveX = false;
    uint64_t X = 0;
    DecoderState beforeX;
    for (;;) {
        const uint8_t* w = ws.peekWord();
        if (!w)
            break;
        const uint64_t off = cur.offset();
        const DecoderState before = cur.state();
        const bool isHigh = cur.decoder().isTimeHighWord(w);
        ws.triggers.clear();
        if (!ws.step())
            break;
        if (isHigh && cleanSplice(enc, before, A, written)) {
            if (cur.state().rawTime > B)
                break; // the range ends before any clean splice point: all of it is in the prefix
            haveX = true;
            X = off;
            beforeX = before;
            break;
        }
        for (size_t i = 0; i < ws.produced; ++i)
            if (ws.out[i].timestamp >= A && ws.out[i].timestamp <= B) {
                prefix.push_back(ws.out[i]);
                written = std::max(written, ws.out[i].timestamp);
            }
        for (const auto& t : ws.triggers)
            if (t.timestamp >= A && t.timestamp <= B) {
                prefixTr.push_back(t);
                written = std::max(written, t.timestamp);
            }
        if (cur.state().floor > B)
            break;
    }
    if (cur.readFailed())
        return failWith(cur.errorText());

    // 2. The end of the copy. Everything before the index entry of B + 1 is at or before B; from
    // there the copy runs up to the first word that gives an event after B or a trigger outside
    // the range (Yc). Events at or before B may still follow when the source clock steps back, up
    // to the first word after which the last event is past B (Y): those are re-encoded. The scan
    // starts one entry earlier, so that it sees the start of any vector group around that entry.
    uint64_t Yc = X, Y = X;
    DecoderState atYc;
    std::vector<Event2D> tail;
    std::vector<EventTriggerIn> tailTr;
    if (haveX) {
        const RawIndexEntry* eB = &RawIndex::entryFor(entries, afterB);
        if (eB != &entries.front())
            --eB;
        if (eB->offset > cur.offset())
            cur.seek(eB->offset, eB->state);
        bool inTail = false;
        // EVT 3.0: where the vector group being read began (its VECT_BASE_X), so that the copy
        // never ends between a base and its triples.
        bool inGroup = false;
        uint64_t groupOff = 0;
        DecoderState groupState;
        for (;;) {
            const uint64_t off = cur.offset();
            const DecoderState before = cur.state();
            if (enc == RawEncoding::Evt3) {
                const uint8_t* w = ws.peekWord();
                const unsigned type = w ? w[1] >> 4 : 0;
                if (type == 0x3) {
                    inGroup = true;
                    groupOff = off;
                    groupState = before;
                } else if (type != 0x4 && type != 0x5) {
                    inGroup = false;
                }
            }
            ws.triggers.clear();
            if (!ws.step()) {
                const uint64_t endOff = cur.atEnd() && !cur.readFailed() ? file->payloadEnd() : off;
                Y = endOff;
                if (!inTail) {
                    Yc = endOff;
                    atYc = cur.state();
                }
                break;
            }
            bool outside = false;
            for (size_t i = 0; i < ws.produced; ++i)
                outside = outside || ws.out[i].timestamp > B;
            for (const auto& t : ws.triggers)
                outside = outside || t.timestamp < A || t.timestamp > B;
            if (outside && !inTail) {
                inTail = true;
                Yc = inGroup ? groupOff : off;
                atYc = inGroup ? groupState : before;
            }
            if (inTail) {
                for (size_t i = 0; i < ws.produced; ++i)
                    if (ws.out[i].timestamp <= B)
                        tail.push_back(ws.out[i]);
                for (const auto& t : ws.triggers)
                    if (t.timestamp >= A && t.timestamp <= B)
                        tailTr.push_back(t);
            }
            if (cur.state().floor > B) {
                Y = off;
                break;
            }
        }
        if (cur.readFailed())
            return failWith(cur.errorText());
    }

    // 3. Write: header, re-encoded prefix, state words, copied payload, re-encoded tail.
    EventEncoder& encoder = writer.encoder();
    uint64_t firstTime = haveX ? syncTime(enc, beforeX) : UINT64_MAX;
    if (!prefix.empty())
        firstTime = std::min(firstTime, prefix.front().timestamp);
    if (!prefixTr.empty())
        firstTime = std::min(firstTime, prefixTr.front().timestamp);
    if (firstTime == UINT64_MAX)
        firstTime = A;
    if (!writer.beginStream(encoder.timeBaseFor(firstTime)))
        return failWith(writer.lastError());
    if (!writer.write(prefix, prefixTr))
        return failWith(writer.lastError());
    if (haveX) {
        encoder.syncTo(beforeX, enc == RawEncoding::Evt3 && needsVectorBase(*file, X + 2, Yc));
        if (!writer.copyPayloadFrom(file->fd(), X, Yc - X))
            return failWith(writer.lastError());
        result.copiedBytes = Yc - X;
        if (!tail.empty() || !tailTr.empty()) {
            encoder.assume(atYc);
            if (!writer.write(tail, tailTr))
                return failWith(writer.lastError());
        }
    }
    if (!writer.close())
        return failWith(writer.lastError());

    // Count what the copied payload holds: the index knows the events between its entries, so
    // only the pieces before the first and after the last entry inside the copy are counted.
    result.events = writer.eventsWritten();
    if (haveX && Yc > X) {
        const auto byOffset = [](const RawIndexEntry& e, uint64_t off) { return e.offset < off; };
        const auto first = std::lower_bound(entries.begin(), entries.end(), X, byOffset);
        auto last = std::lower_bound(entries.begin(), entries.end(), Yc + 1, byOffset);
        if (first != entries.end() && last != entries.begin() && (--last)->offset >= first->offset) {
            result.events += countEvents(file, X, beforeX, first->offset);
            result.events += last->eventsBefore - first->eventsBefore;
            result.events += countEvents(file, last->offset, last->state, Yc);
        } else {
            result.events += countEvents(file, X, beforeX, Yc);
        }
    }
    (void)Y;
    return true;
}

} // namespace quorvel
