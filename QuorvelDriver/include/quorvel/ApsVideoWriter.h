#pragma once
// Writes the APS half of a fusion recording: `<base>.mp4`, H.264, one video frame per APS frame.
//
// Frames are given with their capture time on the DVS time base (ApsFrame::getTimestamp()). The
// first frame's time is the APS time offset, stored in the MP4 metadata; each frame's
// presentation time is its capture time minus that offset, in microseconds, so ApsFileReader gives
// back the exact capture times and the offset. The encoder is set up with the first frame, whose
// geometry every later frame must share.
//
// The file appears under its name only when close() succeeds (temporary file + rename).
//
// Errors: open/writeFrame/close return false and lastError() says why. A frame whose time is not
// after the previous frame's, or whose geometry differs, is refused (false) but the writer stays
// usable; any other failure ends the recording and removes the partial file.
// Thread rules: one thread at a time.

#include "quorvel/ApsFrame.h"

#include <cstdint>
#include <memory>
#include <string>

namespace quorvel {

class ApsVideoWriter {
public:
    struct Options {
        double nominalFps = 30.0;   ///< frame rate announced to the encoder's rate control
        std::string preset = "veryfast";
        /// "fastdecode" (no CABAC, no deblocking) roughly doubles playback decoding speed for
        /// about a fifth more bytes: fusion playback reads, seeks and re-reads frames constantly.
        std::string tune = "fastdecode";
        int crf = 18;
        int keyframeInterval = 30;  ///< bounds the decoding work of an exact seek
    };

    ApsVideoWriter();
    ~ApsVideoWriter();
    ApsVideoWriter(const ApsVideoWriter&) = delete;
    ApsVideoWriter& operator=(const ApsVideoWriter&) = delete;

    bool open(const std::string& path);
    bool open(const std::string& path, const Options& options);
    bool writeFrame(const ApsFrame& frame);
    bool close();
    /// Stops and removes what was written.
    void abort();

    bool isOpen() const;
    uint64_t framesWritten() const { return m_frames; }
    const std::string& lastError() const { return m_error; }

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    std::string m_error;
    uint64_t m_frames = 0;
};

} // namespace quorvel
