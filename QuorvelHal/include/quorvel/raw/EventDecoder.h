#pragma once
// Stream decoders for the payload of a recording: EVT 2.0, EVT 2.1 (both byte orders), EVT 3.0
// and DAT. Each turns a span of payload bytes into Event2D records written to caller-provided
// storage, plus trigger edges, and keeps its whole state in a plain DecoderState so that an index
// can snapshot it and a reader can later resume decoding at exactly that word.
//
// Time rules shared by all decoders:
// - everything before the stream's first time reference (TIME_HIGH, or the first DAT record) is
//   skipped;
// - the stream clock is exactly what the last time words say, also when that is lower than
//   before: sensors send two EVT 3.0 TIME_LOW words in a row (0x32b then 0x320) and the second
//   one is the time of the events that follow. The clock itself is never clamped, and triggers
//   keep the clock's time.
// - returned event times never go backwards: only an event whose time is below the previous
//   event's is given the previous event's time, and each such event is counted in
//   DecodeStats::timeBackwards;
// - a time word that puts the clock more than a day after the previous event is a span no
//   recording has (a damaged or hostile file): it is counted in DecodeStats::timeJumps, with the
//   byte offset of the first one, and decoding goes on;
// - events outside the sensor geometry are dropped and counted in DecodeStats::invalidEvents;
//   reserved word types are skipped and counted in DecodeStats::reservedWords.
//
// Errors: decoding never fails; bad input only shows up in the counters.
// Thread rules: a decoder is a plain object used by one thread at a time.

#include "quorvel/Event2D.h"
#include "quorvel/raw/RawHeader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace quorvel {

/// Everything a decoder needs to resume at a word boundary. Fixed size so index entries can hold it.
struct DecoderState {
    uint64_t timeBase = 0; ///< whole wraps of the stream clock, in µs (EVT3: loops x 2^24)
    uint64_t rawTime = 0;  ///< the stream clock (EVT2/2.1: TIME_HIGH part; EVT3: high+low)
    uint64_t floor = 0;    ///< time of the last event returned: no later event has a smaller one
    uint32_t lastHigh = 0; ///< raw TIME_HIGH field (EVT2: 28 bits, EVT3: 12 bits; DAT: last time)
    uint32_t baseX = 0;    ///< EVT3 vector base x
    uint16_t y = 0;        ///< EVT3 current row
    uint8_t polarity = 0;  ///< EVT3 vector polarity
    uint8_t started = 0;   ///< a time reference has been seen
    uint8_t cdEnabled = 1; ///< EVT3: 0 after an old exposure ("Y") word until the next ADDR_Y
    uint8_t reserved[7] = {};

    friend bool operator==(const DecoderState&, const DecoderState&) = default;
};
static_assert(sizeof(DecoderState) == 48);

struct DecodeStats {
    uint64_t events = 0;        ///< valid CD events decoded (counted or emitted)
    uint64_t onEvents = 0;      ///< of which ON (only maintained by count())
    uint64_t triggers = 0;
    uint64_t invalidEvents = 0; ///< outside the geometry, dropped
    uint64_t reservedWords = 0; ///< words of reserved types, skipped
    uint64_t timeBackwards = 0; ///< events below the previous event's time, given that time
    uint64_t firstEventTs = 0;  ///< only maintained by count()
    uint64_t lastEventTs = 0;   ///< only maintained by count()
    uint64_t timeJumps = 0;     ///< time words more than a day after the previous event
    uint64_t firstTimeJumpOffset = 0; ///< input offset of the first of them (see inputOffset())

    void add(const DecodeStats& o);
};

struct DecodeResult {
    size_t bytesConsumed = 0; ///< always a whole number of words
    size_t eventsWritten = 0;
};

class EventDecoder {
public:
    virtual ~EventDecoder() = default;

    /// Decoder for the header's encoding with its geometry and time base; null for Unknown.
    static std::unique_ptr<EventDecoder> create(const RawHeader& header);

    virtual RawEncoding encoding() const = 0;
    /// Bytes of one payload word; decode() and count() only consume whole words.
    virtual size_t wordSize() const = 0;
    /// Most events one word can produce; decode() stops before a word whose events might not fit.
    virtual size_t maxEventsPerWord() const = 0;

    /// Decodes words from `in` into `out` (room for `outCapacity` events) until the input is used
    /// up or the output might overflow; triggers are appended to `triggers`.
    virtual DecodeResult decode(const uint8_t* in, size_t len, Event2D* out, size_t outCapacity,
                                std::vector<EventTriggerIn>& triggers) = 0;

    /// Like decode() without storing events: counts them (with ON count and first/last time) into
    /// stats(). Used to build the index at far more than decoding speed. Returns bytes consumed.
    virtual size_t count(const uint8_t* in, size_t len, std::vector<EventTriggerIn>& triggers) = 0;

    /// True when the word at `word` resets the stream time (TIME_HIGH, or any DAT record): a
    /// place where a cut can splice copied payload after re-encoded words.
    virtual bool isTimeHighWord(const uint8_t* word) const = 0;

    /// Offset of the next input byte, advanced by decode() and count(); whoever positions the
    /// decoder in a file sets it (RawStreamCursor: file offsets), so that errors can say where
    /// they are.
    uint64_t inputOffset() const { return m_inputOffset; }
    void setInputOffset(uint64_t offset) { m_inputOffset = offset; }

    /// A time jump no recording has: more than a day between an event and the next time word.
    static constexpr uint64_t kMaxTimeJumpUs = 86'400'000'000ull;

    DecoderState& state() { return m_state; }
    const DecoderState& state() const { return m_state; }
    DecodeStats& stats() { return m_stats; }
    const DecodeStats& stats() const { return m_stats; }
    /// State at the start of a stream, with the header's time base applied.
    DecoderState initialState() const { return m_initial; }
    void reset() { m_state = m_initial; }

protected:
    EventDecoder(uint32_t width, uint32_t height) : m_width(width), m_height(height) {}
    /// Counts a time jump found `at` bytes into the current input.
    void noteTimeJump(uint64_t at) {
        if (m_stats.timeJumps++ == 0)
            m_stats.firstTimeJumpOffset = m_inputOffset + at;
    }
    uint32_t m_width;
    uint32_t m_height;
    DecoderState m_state;
    DecoderState m_initial;
    DecodeStats m_stats;
    uint64_t m_inputOffset = 0;
};

} // namespace quorvel
