#pragma once
// The events of a time range of a recording, pulled into the caller's memory a call at a time
// (DvsFileReader::openEventStream). What a consumer needs that keeps its own buffers: the Python
// module's arrays and chunk iterators decode straight into NumPy memory with it.
//
// A stream starts at the index entry before its range (the index as far as it is built when the
// stream is opened), decodes forward and drops what lies before the range. It holds the recording
// open by itself, so it may outlive the reader that opened it.
//
// Time semantics are those of the reader: the events with start <= t < end, in file order
// (non-decreasing time).
//
// Errors: read() returns 0 at the end of the range and on a read error; failed() tells which and
// lastError() says why.
// Thread rules: one thread at a time uses a stream; streams of the same reader (and the reader
// itself) may be used on other threads at the same time.

#include "quorvel/Event2D.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace quorvel {

class DvsEventStream {
public:
    virtual ~DvsEventStream() = default;

    /// Writes the next events of the range to out[0 .. capacity) and returns how many: fewer than
    /// `capacity` only at the end of the range. With `capacity` of at least directCapacity() the
    /// events are decoded straight into `out`; smaller requests go through a small buffer of the
    /// stream's own. Never allocates.
    virtual size_t read(Event2D* out, size_t capacity) = 0;
    /// True once every event of the range was handed out (or reading failed).
    virtual bool atEnd() const = 0;
    virtual bool failed() const = 0;
    virtual std::string lastError() const = 0;
    /// Smallest request that is decoded in place (the most events one payload word can hold).
    virtual size_t directCapacity() const = 0;
};

} // namespace quorvel
