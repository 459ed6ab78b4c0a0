#include "quorvel/FusionRecordingWriter.h"

#include <cstdio>

namespace quorvel {

FusionRecordingWriter::~FusionRecordingWriter() { abort(); }

std::string FusionRecordingWriter::basePath(const std::string& path) {
    for (const char* ext : {".raw", ".mp4", ".json"}) {
        const std::string e = ext;
        if (path.size() > e.size() && path.compare(path.size() - e.size(), e.size(), e) == 0)
            return path.substr(0, path.size() - e.size());
    }
    return path;
}

bool FusionRecordingWriter::fail(const std::string& what) {
    m_error = what;
    abort();
    return false;
}

bool FusionRecordingWriter::open(const std::string& base, const Options& options) {
    abort();
    m_error.clear();
    const std::string b = basePath(base);
    if (b.empty()) {
        m_error = "no path for the fusion recording";
        return false;
    }
    if (!options.calibration.isValid()) {
        m_error = "the calibration to record is not valid";
        return false;
    }
    m_raw = b + ".raw";
    m_mp4 = b + ".mp4";
    m_json = b + ".json";
    m_calibration = options.calibration;
    RawFileWriter::Options raw = options.raw;
    raw.atomic = true;
    if (!m_events.open(m_raw, raw)) {
        m_error = "events: " + m_events.lastError();
        return false;
    }
    if (!m_video.open(m_mp4, options.video))
        return fail("APS video: " + m_video.lastError());
    m_open = true;
    return true;
}

bool FusionRecordingWriter::writeEvents(const Event2D* begin, const Event2D* end, const EventTriggerIn* trBegin,
                                        const EventTriggerIn* trEnd) {
    if (!m_open) {
        m_error = "the fusion recording is not open";
        return false;
    }
    if (!m_events.write(begin, end, trBegin, trEnd))
        return fail("events: " + m_events.lastError());
    return true;
}

bool FusionRecordingWriter::writeFrame(const ApsFrame& frame) {
    if (!m_open) {
        m_error = "the fusion recording is not open";
        return false;
    }
    if (!m_video.writeFrame(frame)) {
        // A refused frame (time not after the previous one, other geometry) is that frame's
        // problem; a broken video file ends the recording.
        if (m_video.isOpen()) {
            m_error = "APS video: " + m_video.lastError();
            return false;
        }
        return fail("APS video: " + m_video.lastError());
    }
    return true;
}

bool FusionRecordingWriter::close() {
    if (!m_open) {
        m_error = "the fusion recording is not open";
        return false;
    }
    m_open = false;
    if (!m_video.close()) {
        m_error = "APS video: " + m_video.lastError();
        m_events.abort();
        return false;
    }
    if (!m_events.close()) {
        m_error = "events: " + m_events.lastError();
        std::remove(m_mp4.c_str());
        return false;
    }
    if (!paramToJsonFile(m_calibration, m_json)) {
        m_error = "calibration: " + calibrationLastError();
        std::remove(m_mp4.c_str());
        std::remove(m_raw.c_str());
        return false;
    }
    return true;
}

void FusionRecordingWriter::abort() {
    m_video.abort();
    m_events.abort();
    m_open = false;
}

} // namespace quorvel
