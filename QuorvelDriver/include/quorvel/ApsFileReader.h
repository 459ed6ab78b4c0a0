#pragma once
// Reads the APS video of a fusion recording (`<base>.mp4`, written by ApsVideoWriter) frame by
// frame as BGR ApsFrames, and any other video file FFmpeg can decode.
//
// Time semantics: a frame's timestamp is its capture time in microseconds relative to the first
// frame (the video's presentation time); getApsTimeOffset() is the DVS time of the first frame,
// so frame timestamp + offset is the frame's time on the DVS time base. Files without the offset
// report 0 (hasApsTimeOffset() false).
//
// - readFrame(frame) returns the next frame in presentation order; false at the end.
// - seekTime(ts) positions the reader so that the next readFrame returns the frame shown at ts:
//   the last frame whose timestamp is <= ts (the first frame for an earlier ts, the last frame
//   for a later one). It decodes forward from the keyframe before ts, so it is exact.
// - rewind() is seekTime(0).
// - getFrameCount() is the number of frames the container announces (0 if it does not say).
//
// Errors: createFileReader() returns null for a missing, unreadable or corrupt file (the first
// frame is decoded at creation) and lastCreateError() says why; later failures return false and
// lastError() says why. A damaged frame in the middle is skipped, not fatal.
// Thread rules: one thread at a time per reader; separate readers are independent.

#include "quorvel/ApsFrame.h"

#include <cstdint>
#include <memory>
#include <string>

namespace quorvel {

class ApsFileReader {
public:
    static std::unique_ptr<ApsFileReader> createFileReader(std::string path);
    /// Why the last createFileReader() on this thread returned null.
    static std::string lastCreateError();

    virtual ~ApsFileReader() = default;

    virtual uint16_t getWidth() const = 0;
    virtual uint16_t getHeight() const = 0;

    virtual uint64_t getApsTimeOffset() const = 0;
    virtual bool hasApsTimeOffset() const = 0;

    virtual bool readFrame(ApsFrame& frame) = 0;
    virtual bool seekTime(uint64_t timestampUs) = 0;
    /// seekTime(timestampUs) then readFrame(frame).
    virtual bool readFrameAt(uint64_t timestampUs, ApsFrame& frame) = 0;
    virtual bool rewind() = 0;

    virtual uint64_t getFrameCount() const = 0;
    /// Timestamp of the last frame (µs from the first), from the container; 0 if unknown.
    virtual uint64_t getLastTimestamp() const = 0;
    virtual std::string lastError() const = 0;
};

} // namespace quorvel
