#pragma once
// Writes a fusion recording: `<base>.raw` (events and triggers, EVT 3.0), `<base>.mp4` (APS frames,
// see ApsVideoWriter for the time rules) and `<base>.json` (the calibration with both geometries).
//
// The three files appear together at close(): each is written under a temporary name and renamed
// into place, the calibration last, so a recording whose close failed (or that was abandoned)
// leaves no half-written file under any of the three names. Give the base with or without one of
// the three extensions.
//
// Errors: every operation returns false once anything failed; lastError() says what.
// Thread rules: one thread at a time (the recorder feeds events and frames from one thread, or
// serialises the two).

#include "quorvel/ApsFrame.h"
#include "quorvel/ApsVideoWriter.h"
#include "quorvel/CalibratorParameters.h"
#include "quorvel/Event2D.h"
#include "quorvel/raw/RawFileWriter.h"

#include <string>
#include <vector>

namespace quorvel {

class FusionRecordingWriter {
public:
    struct Options {
        /// Geometry, serial, start time of the event file (atomic mode is always used).
        RawFileWriter::Options raw;
        ApsVideoWriter::Options video;
        /// Written as `<base>.json`; its DVS geometry should match raw.width x raw.height.
        CalibratorParameters calibration;
    };

    FusionRecordingWriter() = default;
    ~FusionRecordingWriter();
    FusionRecordingWriter(const FusionRecordingWriter&) = delete;
    FusionRecordingWriter& operator=(const FusionRecordingWriter&) = delete;

    bool open(const std::string& base, const Options& options);
    bool writeEvents(const Event2D* begin, const Event2D* end, const EventTriggerIn* trBegin = nullptr,
                     const EventTriggerIn* trEnd = nullptr);
    bool writeEvents(const std::vector<Event2D>& events, const std::vector<EventTriggerIn>& triggers = {}) {
        return writeEvents(events.data(), events.data() + events.size(), triggers.data(),
                           triggers.data() + triggers.size());
    }
    /// The frame's timestamp is its capture time on the DVS clock.
    bool writeFrame(const ApsFrame& frame);
    bool close();
    void abort();

    bool isOpen() const { return m_open; }
    const std::string& rawPath() const { return m_raw; }
    const std::string& mp4Path() const { return m_mp4; }
    const std::string& jsonPath() const { return m_json; }
    const std::string& lastError() const { return m_error; }

    /// `path` without a trailing ".raw", ".mp4" or ".json".
    static std::string basePath(const std::string& path);

private:
    bool fail(const std::string& what);

    RawFileWriter m_events;
    ApsVideoWriter m_video;
    CalibratorParameters m_calibration;
    std::string m_raw, m_mp4, m_json, m_error;
    bool m_open = false;
};

} // namespace quorvel
