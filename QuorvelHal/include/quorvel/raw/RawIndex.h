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
// Indexes are kept in the user's cache folder ($XDG_CACHE_HOME/Quorvel, else ~/.cache/Quorvel),
// never beside the recording: recordings live on read-only media, network shares and datasets
// that others share. The file name is keyed on the recording's path and on its identity (device,
// inode, size, modification time), and the index also holds a fingerprint of sampled content, so
// a changed or replaced recording is never served an index built for another. The folder is kept
// under a size bound (QUORVEL_INDEX_CACHE_MB, default 512 MiB) by removing the least recently
// used indexes first. When it cannot be written the index lives in memory only.
//
// Errors: build() returns false on a read error or when cancelled; load() returns false for a
// missing, foreign, stale, damaged or tampered index: a checksum covers the whole file and every
// count and entry is checked against what the recording can hold (the caller then rebuilds).
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
    /// Decoding errors before `offset` (events outside the geometry, reserved words, time jumps):
    /// where in the recording they lie.
    uint64_t errorsBefore = 0;
    DecoderState state;   ///< decoder state before the word at `offset`
};

/// The errors an entry counts: events outside the geometry, reserved words and time jumps.
inline uint64_t decodingErrors(const DecodeStats& s) {
    return s.invalidEvents + s.reservedWords + s.timeJumps;
}

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

    /// Writes the index of `file` to `path` (through a temporary file and a rename).
    bool save(const std::string& path, const RawFile& file, std::string& error) const;
    /// Loads an index and checks it belongs to `file` and is sound. With `totalsOnly`, entries
    /// and triggers are dropped after the checks (enough for `quorvel info`).
    bool load(const std::string& path, const RawFile& file, bool totalsOnly, std::string& error);

    /// The cache folder, or "" when there is none (no XDG_CACHE_HOME or HOME).
    static std::string cacheDir();
    /// Where the index of `file` is kept in the cache folder ("" without one).
    static std::string cachePath(const RawFile& file);
    /// The cache folder's size bound in bytes.
    static uint64_t cacheLimitBytes();
    /// Loads the cached index of `file` and marks it as just used.
    bool loadFor(const RawFile& file, bool totalsOnly, std::string& error);
    /// Saves into the cache folder, removes older indexes of the same recording path and the
    /// least recently used others beyond the size bound; returns the path written, or "" with
    /// `error` set (the folder cannot be written).
    std::string saveFor(const RawFile& file, std::string& error) const;
};

} // namespace quorvel
