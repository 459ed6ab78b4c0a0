#pragma once
// The seek index of a recording: every 128 KiB of payload, the file offset of a word together
// with the complete decoder state before that word and the latest event or trigger time before
// it, plus the totals of the whole file (event, ON, trigger and error counts, first and last event
// time) and its trigger list.
//
// Seeking to time T takes the last entry whose time is below T, restores its state and decodes
// forward, dropping events before T: every event and trigger before the entry is at or before the
// entry's time, so nothing at or after T is missed. Memory is about 100 bytes per 128 KiB of
// recording.
//
// The index is saved beside the recording as `<name>.qvidx`, or in the user's cache folder
// ($XDG_CACHE_HOME/quorvel or ~/.cache/quorvel) when that folder cannot be written, and is only
// used again while the recording keeps the size and modification time it was built from.
//
// Errors: build() returns false on a read error or when cancelled; load() returns false for a
// missing, foreign, damaged or stale index (the caller then rebuilds).
// Thread rules: build() runs on the caller's thread and publishes progress through the callback;
// a RawIndex itself is not synchronised.

#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/RawFile.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorvel {

struct RawIndexEntry {
    uint64_t offset = 0;  ///< file offset of a word boundary
    uint64_t timeUs = 0;  ///< no event or trigger before `offset` is later than this
    uint64_t eventsBefore = 0;
    DecoderState state;   ///< decoder state before the word at `offset`
};

struct RawIndexTotals {
    DecodeStats stats;
    uint64_t trailingBytes = 0; ///< a partial word at the end of the file
    bool readFailed = false;
    /// Errors a user should hear about: events outside the geometry, reserved words, a partial
    /// trailing word.
    uint64_t errorCount() const {
        return stats.invalidEvents + stats.reservedWords + stats.timeJumps + (trailingBytes ? 1 : 0);
    }
};

class RawIndex {
public:
    static constexpr uint64_t kEntryBytes = 128 * 1024;

    /// build() scans a large EVT 2.0/2.1/3.0 recording in two halves on two threads when the
    /// machine has two cores; the result is the same as one scan's. Tests lower the size limit.
    bool parallel = true;
    uint64_t parallelMinBytes = 64ull << 20;
    /// After build(): the second half's scan was used (false when it ran in one scan, or when the
    /// second half's guess could not be confirmed and the first scan went on through it).
    bool builtInTwoHalves = false;

    uint64_t fileSize = 0;
    int64_t mtimeNs = 0;
    uint64_t payloadOffset = 0;
    std::vector<RawIndexEntry> entries;
    std::vector<EventTriggerIn> triggers;
    RawIndexTotals totals;
    bool complete = false;

    /// Scans the whole payload. `onEntries` (optional) is called with each batch of new entries
    /// and the bytes done so far, so a reader can use the index while it grows. Stops early and
    /// returns false when `cancel` becomes true or on a read error.
    bool build(const std::shared_ptr<const RawFile>& file, const std::atomic<bool>& cancel,
               const std::function<void(const std::vector<RawIndexEntry>&, uint64_t bytesDone)>& onEntries = {});

    /// The entry to start decoding from to reach time `t`: the last one with timeUs < t, or the
    /// first entry. Entries must not be empty.
    static const RawIndexEntry& entryFor(const std::vector<RawIndexEntry>& entries, uint64_t t);

    bool save(const std::string& path, std::string& error) const;
    /// Loads an index and checks it belongs to `file` (size, modification time, payload offset).
    /// With `totalsOnly`, entries and triggers are skipped (enough for `quorvel info`).
    bool load(const std::string& path, const RawFile& file, bool totalsOnly, std::string& error);

    /// Where the index of a recording lives: beside it, or in the cache folder.
    static std::string besidePath(const std::string& recording);
    static std::string cachePath(const std::string& recording);
    /// Loads from beside the recording, else from the cache folder.
    bool loadFor(const RawFile& file, bool totalsOnly, std::string& error);
    /// Saves beside the recording, else (folder not writable) in the cache folder; returns the
    /// path written or "" with `error` set.
    std::string saveFor(const RawFile& file, std::string& error) const;
};

} // namespace quorvel
