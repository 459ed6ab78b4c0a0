#pragma once
// Renders a time range of an event recording into an H.264 `.mp4`, the way the event view draws
// it: per frame, per pixel, ON and OFF events are counted up to 3 each; a pixel with more ON than
// OFF shows the ON colour, any other pixel with events the OFF colour (a tie shows OFF), a pixel
// without events the background.
//
// Frames: with W = 1000000 / fps microseconds, frame k shows the events with
// start + k*W <= t < start + (k+1)*W and t <= end, for k = 0 .. (end - start) / W, so the range is
// covered completely, both ends included (like a cut); an end after the last event is taken as
// the last event, since later frames could only be background. The video runs at exactly fps, lasting
// frames / fps seconds. The picture is the recording's geometry, rounded up to even sizes (the
// extra row or column is background) because H.264 4:2:0 needs even sizes. Events are accumulated
// with the event renderer's index rule: (y * width + x) * 2 + polarity, only the upper bound
// checked.
//
// The file is written under a temporary name and renamed into place at the end; a failure or a
// cancellation leaves no file under the target name.
//
// Errors: exportRange returns false and lastError() says why (range after the end of the
// recording, a range of more than 24 hours of recording time, unreadable events, no H.264 encoder,
// cannot write, cancelled).
// Thread rules: reads through streamEventsInRange, a cursor of its own, so the reader's position
// and window are left as they were and playback may use the reader meanwhile. Frames are painted
// on a thread of the exporter's own (joined before exportRange returns) while the calling thread
// encodes them; the progress callback runs on the calling thread.

#include "quorvel/VideoExportOptions.h"

#include <cstdint>
#include <string>

namespace quorvel {

class DvsFileReader;

class VideoExporter {
public:
    explicit VideoExporter(VideoExportOptions options = {});

    bool exportRange(DvsFileReader& reader, uint64_t startUs, uint64_t endUs, const std::string& path);

    const std::string& lastError() const { return m_error; }
    bool wasCancelled() const { return m_cancelled; }
    uint64_t framesWritten() const { return m_frames; }

    /// Frames an export of [startUs, endUs] at `fps` produces.
    static uint64_t frameCount(uint64_t startUs, uint64_t endUs, int fps);

private:
    VideoExportOptions m_options;
    std::string m_error;
    bool m_cancelled = false;
    uint64_t m_frames = 0;
};

} // namespace quorvel
