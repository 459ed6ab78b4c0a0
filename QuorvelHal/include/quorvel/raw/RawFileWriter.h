#pragma once
// Streams events and triggers into a new `.raw` recording (EVT 3.0 by default, EVT 2.0 on
// request). A camera feeds it batches as they arrive; the encoded words are buffered up to about
// a megabyte and then written, so memory stays bounded by the largest batch whatever the rate.
//
// The header (evt, format, geometry, date, serial_number, our integrator and plugin names,
// `% end`) is written with the first data, because the EVT 3.0 time base it declares depends on
// the first timestamp.
//
// With Options::atomic the data goes to a temporary name beside the target and is renamed over it
// only by a successful close(), so a failed or abandoned write never leaves a half-written file
// under the target name; the temporary name is listed with registerTemporaryFile() meanwhile, so a
// program ended by a signal can remove it too.
//
// Errors: every operation returns false once anything failed (cannot create, disk full, ...);
// lastError() says what. Events outside the geometry are dropped and counted; times going back
// are clamped and counted (see EventEncoder).
// Thread rules: one thread at a time.

#include "quorvel/Event2D.h"
#include "quorvel/TemporaryFiles.h"
#include "quorvel/raw/EventEncoder.h"
#include "quorvel/raw/RawHeader.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

class RawFileWriter {
public:
    struct Options {
        uint32_t width = 0;
        uint32_t height = 0;
        RawEncoding encoding = RawEncoding::Evt3;
        std::string serial;
        /// Wall-clock start of the recording, written as the local `date`.
        std::chrono::system_clock::time_point startTime = std::chrono::system_clock::now();
        std::vector<std::pair<std::string, std::string>> extraHeader;
        bool atomic = false;
        /// Writes straight to the disk (O_DIRECT) in aligned 4 MiB blocks instead of through the
        /// page cache, whose copying costs as much CPU as encoding on fast streams; ordinary writes
        /// where the file system refuses. bytesWritten() then lags what was given by up to one
        /// block until close().
        bool direct = false;
    };

    RawFileWriter();
    ~RawFileWriter();
    RawFileWriter(const RawFileWriter&) = delete;
    RawFileWriter& operator=(const RawFileWriter&) = delete;

    bool open(const std::string& path, const Options& options);
    /// Events and triggers, each non-decreasing in time, merged into the stream by time.
    bool write(const Event2D* evBegin, const Event2D* evEnd, const EventTriggerIn* trBegin = nullptr,
               const EventTriggerIn* trEnd = nullptr);
    bool write(const std::vector<Event2D>& events, const std::vector<EventTriggerIn>& triggers = {}) {
        return write(events.data(), events.data() + events.size(), triggers.data(),
                     triggers.data() + triggers.size());
    }
    /// Writes every word given so far into the file, so that a reader, or what is left when the
    /// program is killed, sees all of it and the payload ends with a whole word; with `sync` the
    /// data is also put on the disk (fdatasync), so it survives a power loss. Meant for a timer
    /// (a few times a second): in direct mode the tail of the last block goes through the page
    /// cache and is written again with its block later.
    bool flush(bool sync);
    /// Puts what was written so far on the disk (fdatasync). The one call that may run on another
    /// thread while this one writes, so a slow disk's sync never holds up the writing; false with
    /// the reason in `error` (lastError() stays the writing thread's).
    bool syncToDisk(std::string& error) const;
    /// Flushes, closes and (atomic mode) renames into place.
    bool close();
    /// Stops writing and removes what was written (the temporary file in atomic mode, else the file).
    void abort();
    bool isOpen() const { return m_fd >= 0; }

    const std::string& lastError() const { return m_error; }
    uint64_t eventsWritten() const;
    uint64_t triggersWritten() const;
    uint64_t clampedCount() const;
    uint64_t droppedOutOfGeometry() const { return m_dropped; }
    uint64_t bytesWritten() const { return m_bytes; }

    // For cuts, which splice copied payload between encoded words.
    /// Writes the header declaring `timeBaseUs` and starts the encoder, if not done yet.
    bool beginStream(uint64_t timeBaseUs);
    EventEncoder& encoder() { return *m_encoder; }
    /// Writes what the encoder holds.
    bool flushEncoder();
    /// Appends payload bytes as they are (the encoder's buffer is flushed first).
    bool writePayload(const uint8_t* data, size_t size);
    /// Appends `size` bytes of the open file `srcFd` from `offset` as they are, copied inside the
    /// kernel where the file systems allow it. False on a read or write error (lastError()), or
    /// when the source is shorter than asked.
    bool copyPayloadFrom(int srcFd, uint64_t offset, uint64_t size);

private:
    bool writeAll(const uint8_t* data, size_t size);
    bool writeDirect(const uint8_t* data, size_t size);
    /// Writes what is staged; with `all`, the last partial block too (ordinary write) and the file
    /// leaves direct mode.
    bool drainStage(bool all);
    /// Direct mode: after a block ended inside a word, writes the rest of that word beyond it
    /// through m_tailFd, so the file never ends in a torn word for longer than this call.
    bool completeWord();
    bool fail(const std::string& what);

    int m_fd = -1;
    int m_tailFd = -1;     ///< direct mode: the same file without O_DIRECT, for partial blocks
    bool m_direct = false; ///< the file is open with O_DIRECT; data goes through m_stage
    std::unique_ptr<uint8_t, void (*)(void*)> m_stage{nullptr, std::free};
    size_t m_staged = 0;
    std::string m_path, m_writePath;
    TemporaryFileGuard m_tempGuard;
    Options m_options;
    std::unique_ptr<EventEncoder> m_encoder;
    bool m_headerWritten = false;
    uint64_t m_payloadStart = 0; ///< file offset of the first payload word
    uint64_t m_wordCompletedAt = UINT64_MAX; ///< block end whose torn word completeWord() wrote
    bool m_failed = false;
    uint64_t m_dropped = 0;
    uint64_t m_bytes = 0;
    std::vector<Event2D> m_filtered;
    std::string m_error;
};

} // namespace quorvel
