#include "quorvel/raw/RawCut.h"

#include "quorvel/raw/RawFileWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace quorvel {

namespace {

// Steps a cursor one word at a time where the boundary searches need the decoder state before a
// word, and decodes runs of words in bulk between those places.
struct WordStepper {
    explicit WordStepper(RawStreamCursor& c) : cur(c), out(c.file().eventBatchFor(1024)) {}
    RawStreamCursor& cur;
    std::vector<Event2D> out;
    std::vector<Event2D> bulkOut;
    std::vector<EventTriggerIn> triggers;
    size_t produced = 0;

    // One word; false at the end of the payload.
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
    // Up to `maxBytes` of words (fewer at the end of the buffered data, and with `stopAtTimeHigh`
    // before the next TIME_HIGH word), events into bulkOut; false at the end of the payload.
    bool bulk(size_t maxBytes, bool stopAtTimeHigh) {
        bulkOut.clear();
        size_t avail = 0;
        const uint8_t* p = cur.peek(avail);
        if (!p)
            return false;
        const size_t ws = cur.decoder().wordSize();
        size_t n = std::min(avail, maxBytes) / ws * ws;
        if (stopAtTimeHigh)
            for (size_t i = 0; i < n; i += ws)
                if (cur.decoder().isTimeHighWord(p + i)) {
                    n = i;
                    break;
                }
        for (size_t done = 0; done < n;) {
            const DecodeResult r = cur.decoder().decode(p + done, n - done, out.data(), out.size(), triggers);
            bulkOut.insert(bulkOut.end(), out.begin(), out.begin() + static_cast<std::ptrdiff_t>(r.eventsWritten));
            done += r.bytesConsumed;
            cur.consume(r.bytesConsumed);
            if (r.bytesConsumed == 0)
                break;
        }
        return true;
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
        std::vector<Event2D> evs(file->eventBatchFor(1 << 16));
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
        std::vector<Event2D> evs(file->eventBatchFor(1 << 16)), keep;
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

    // 1. Re-encode from the index entry up to the first clean TIME_HIGH inside the range: the words
    // between TIME_HIGH words in bulk, each TIME_HIGH on its own to see the state before it.
    WordStepper ws(cur);
    std::vector<Event2D> prefix;
    std::vector<EventTriggerIn> prefixTr;
    uint64_t written = 0; // latest time the re-encoded part holds
    const auto keep = [&](const Event2D* b, const Event2D* e, std::vector<Event2D>& evOut,
                          std::vector<EventTriggerIn>& trOut) {
        for (; b != e; ++b)
            if (b->timestamp >= A && b->timestamp <= B) {
                evOut.push_back(*b);
                written = std::max(written, b->timestamp);
            }
        for (const auto& t : ws.triggers)
            if (t.timestamp >= A && t.timestamp <= B) {
                trOut.push_back(t);
                written = std::max(written, t.timestamp);
            }
        ws.triggers.clear();
    };
    bool haveX = false;
    uint64_t X = 0;
    DecoderState beforeX;
    for (;;) {
        const uint8_t* w = ws.peekWord();
        if (!w)
            break;
        if (!cur.decoder().isTimeHighWord(w)) {
            if (!ws.bulk(256u << 10, true))
                break;
            keep(ws.bulkOut.data(), ws.bulkOut.data() + ws.bulkOut.size(), prefix, prefixTr);
        } else {
            const uint64_t off = cur.offset();
            const DecoderState before = cur.state();
            if (!ws.step())
                break;
            // (A TIME_HIGH past B is no place to start a copy: the range may still hold events
            // after it, when the clock steps back, and they are taken here.)
            if (cur.state().rawTime <= B && cleanSplice(enc, before, A, written)) {
                haveX = true;
                X = off;
                beforeX = before;
                break;
            }
            keep(ws.out.data(), ws.out.data() + ws.produced, prefix, prefixTr);
        }
        if (cur.state().floor > B)
            break;
    }
    if (cur.readFailed())
        return failWith(cur.errorText());

    // 2. The end of the copy. Everything before the index entry of B + 1 is at or before B; from
    // one entry earlier the payload is decoded in small chunks until one holds an event after B or
    // a trigger outside the range; that chunk and the one before it (so that the start of a vector
    // group is seen) are stepped word by word to find that word: the copy ends there (Yc), at the
    // start of its vector group if it is in one. Events at or before B may still follow when the
    // source clock steps back, up to the word after which the last event is past B: they are
    // re-encoded (the tail).
    uint64_t Yc = X;
    DecoderState atYc;
    std::vector<Event2D> tail;
    std::vector<EventTriggerIn> tailTr;
    if (haveX) {
        const RawIndexEntry* eB = &RawIndex::entryFor(entries, afterB);
        if (eB != &entries.front())
            --eB;
        if (eB->offset > cur.offset())
            cur.seek(eB->offset, eB->state);
        const auto outside = [&](const Event2D* b, const Event2D* e) {
            for (; b != e; ++b)
                if (b->timestamp > B)
                    return true;
            for (const auto& t : ws.triggers)
                if (t.timestamp < A || t.timestamp > B)
                    return true;
            return false;
        };
        constexpr size_t kChunk = 1024;
        uint64_t prevOff = cur.offset(), chunkOff = prevOff;
        DecoderState prevState = cur.state(), chunkState = prevState;
        bool found = false, atEnd = false;
        for (;;) {
            ws.triggers.clear();
            if (!ws.bulk(kChunk, false)) {
                atEnd = true;
                break;
            }
            if (outside(ws.bulkOut.data(), ws.bulkOut.data() + ws.bulkOut.size())) {
                found = true;
                break;
            }
            prevOff = chunkOff;
            prevState = chunkState;
            chunkOff = cur.offset();
            chunkState = cur.state();
        }
        if (cur.readFailed())
            return failWith(cur.errorText());
        if (atEnd) {
            Yc = file->payloadEnd();
            atYc = cur.state();
        }
        if (found) {
            cur.seek(prevOff, prevState);
            // EVT 3.0: where the vector group being read began (its VECT_BASE_X).
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
                if (!ws.step())
                    break; // cannot happen: the chunk held the word
                if (outside(ws.out.data(), ws.out.data() + ws.produced)) {
                    Yc = inGroup ? groupOff : off;
                    atYc = inGroup ? groupState : before;
                    // The rest from Yc on is the tail: decode it again from there.
                    cur.seek(Yc, atYc);
                    break;
                }
            }
            // The tail, in bulk, until the last event is past B.
            while (cur.state().floor <= B) {
                ws.triggers.clear();
                if (!ws.bulk(64u << 10, false))
                    break;
                for (const auto& e : ws.bulkOut)
                    if (e.timestamp <= B)
                        tail.push_back(e);
                for (const auto& t : ws.triggers)
                    if (t.timestamp >= A && t.timestamp <= B)
                        tailTr.push_back(t);
            }
            if (cur.readFailed())
                return failWith(cur.errorText());
        }
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
    return true;
}

} // namespace quorvel
