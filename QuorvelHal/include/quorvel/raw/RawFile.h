#pragma once
// An open recording (`.raw` or `.dat`): its header, size and modification time, and a cursor that
// decodes its payload forward from any word boundary with a given decoder state.
//
// Nothing ever loads a whole recording: the cursor reads the payload in chunks of a few megabytes
// through pread(), so memory stays bounded whatever the file size, and several cursors (the
// reader, the index builder, a cut) can share one RawFile from different threads.
//
// Errors: RawFile::open() returns null and sets an error text (missing, unreadable, not a regular
// file, not a recording; a FIFO is refused without blocking on it); a cursor reports read errors through readFailed() and errorText(). A trailing
// partial word is counted by trailingBytes() and otherwise ignored.
// Thread rules: a RawFile is immutable after open() and safe to share; a cursor is used by one
// thread at a time.

#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/RawHeader.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

class RawFile {
public:
    static std::shared_ptr<RawFile> open(const std::string& path, std::string& error);
    ~RawFile();
    RawFile(const RawFile&) = delete;
    RawFile& operator=(const RawFile&) = delete;

    const std::string& path() const { return m_path; }
    const RawHeader& header() const { return m_header; }
    uint64_t fileSize() const { return m_size; }
    int64_t mtimeNs() const { return m_mtimeNs; }
    /// Device and inode: with size and modification time, what tells this file from one that
    /// replaced it under the same name.
    uint64_t device() const { return m_device; }
    uint64_t inode() const { return m_inode; }
    int fd() const { return m_fd; }
    uint64_t payloadBegin() const { return m_header.payloadOffset; }
    /// End of the last whole word of the payload.
    uint64_t payloadEnd() const;
    /// `batch`, or less for a small recording: room for every event its payload can hold (and
    /// what a decoder needs for one word), so that buffers are sized by the data.
    size_t eventBatchFor(size_t batch) const;

    /// Reads up to `size` bytes at `offset`; returns bytes read or -1 with errno set.
    long readAt(uint64_t offset, void* dst, size_t size) const;

private:
    RawFile() = default;
    std::string m_path;
    RawHeader m_header;
    uint64_t m_size = 0;
    int64_t m_mtimeNs = 0;
    uint64_t m_device = 0, m_inode = 0;
    int m_fd = -1;
};

class RawStreamCursor {
public:
    explicit RawStreamCursor(std::shared_ptr<const RawFile> file, size_t chunkBytes = 4u << 20);

    /// Positions at the payload start with the decoder's initial state.
    void rewind();
    /// Positions at a word boundary with the decoder state recorded there.
    void seek(uint64_t fileOffset, const DecoderState& state);

    /// Decodes into out[0 .. capacity) (capacity >= maxEventsPerWord), returning the events
    /// written; triggers are appended. Returns 0 with atEnd() at the end of the payload.
    size_t next(Event2D* out, size_t capacity, std::vector<EventTriggerIn>& triggers);
    /// Counts instead of decoding (see EventDecoder::count) the words up to file offset `limit`.
    /// Returns false at the end of the payload or on a read error.
    bool countUntil(uint64_t limit, std::vector<EventTriggerIn>& triggers);

    bool atEnd() const { return m_atEnd; }
    bool readFailed() const { return m_readFailed; }
    const std::string& errorText() const { return m_error; }
    /// File offset of the next word to decode.
    uint64_t offset() const { return m_bufOffset + m_bufPos; }
    EventDecoder& decoder() { return *m_decoder; }
    const DecoderState& state() const { return m_decoder->state(); }
    uint64_t trailingBytes() const { return m_trailing; }
    const RawFile& file() const { return *m_file; }

    /// Makes at least one whole word available; returns a pointer to the buffered bytes and their
    /// count (whole words only), or null at the end.
    const uint8_t* peek(size_t& available);
    /// Marks `bytes` of the peeked data as consumed.
    void consume(size_t bytes) { m_bufPos += bytes; }

private:
    bool refill();

    std::shared_ptr<const RawFile> m_file;
    std::unique_ptr<EventDecoder> m_decoder;
    std::vector<uint8_t> m_buf;
    size_t m_chunk;
    uint64_t m_bufOffset = 0; ///< file offset of m_buf[0]
    size_t m_bufPos = 0, m_bufLen = 0;
    uint64_t m_trailing = 0;
    bool m_atEnd = false;
    bool m_readFailed = false;
    std::string m_error;
};

} // namespace quorvel
