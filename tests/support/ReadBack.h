#pragma once
// What a recording holds, read through the SDK's reader as playback reads it, for tests that
// check what a recorder, a cut or a converter wrote. The index stays in memory: reading back
// leaves nothing in any cache folder.

#include "quorvel/DvsFileReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quorvel::test {

struct ReadBack {
    bool opened = false;
    std::string error; ///< why the reader refused the file
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    uint64_t spanUs() const { return events.empty() ? 0 : events.back().timestamp - events.front().timestamp; }
};

inline ReadBack readBack(const std::string& path) {
    ReadBack r;
    DvsFileReader::Options o;
    o.persistIndex = false;
    auto reader = DvsFileReader::createFileReader(path, o);
    if (!reader) {
        r.error = DvsFileReader::lastCreateError();
        return r;
    }
    r.opened = true;
    if (auto events = reader->getEventsInRange(0, UINT64_MAX))
        r.events = std::move(*events);
    try {
        r.triggers = reader->getTriggerList();
    } catch (const std::runtime_error&) { // the recording has no trigger records
    }
    return r;
}

} // namespace quorvel::test
