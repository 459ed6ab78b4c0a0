#include "quorvel/raw/RawFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvel {

std::shared_ptr<RawFile> RawFile::open(const std::string& path, std::string& error) {
    const int fd = openRegularFile(path, error);
    if (fd < 0)
        return nullptr;
    std::shared_ptr<RawFile> f(new RawFile());
    f->m_fd = fd;
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        error = "cannot stat '" + path + "': " + std::strerror(errno);
        return nullptr;
    }
    if (!readRawHeader(fd, static_cast<uint64_t>(st.st_size), path, f->m_header, error))
        return nullptr;
    f->m_path = path;
    f->m_size = static_cast<uint64_t>(st.st_size);
    f->m_mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    f->m_device = static_cast<uint64_t>(st.st_dev);
    f->m_inode = static_cast<uint64_t>(st.st_ino);
    ::posix_fadvise(f->m_fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return f;
}

RawFile::~RawFile() {
    if (m_fd >= 0)
        ::close(m_fd);
}

uint64_t RawFile::payloadEnd() const {
    const uint64_t begin = std::min(m_header.payloadOffset, m_size);
    const uint64_t ws = m_header.wordSize();
    return begin + (m_size - begin) / ws * ws;
}

size_t RawFile::eventBatchFor(size_t batch) const {
    const uint64_t ws = m_header.wordSize();
    const uint64_t perWord = m_header.encoding == RawEncoding::Evt3 ? 12 : m_header.encoding == RawEncoding::Evt21 ? 32 : 1;
    const uint64_t words = (payloadEnd() - std::min(payloadEnd(), payloadBegin())) / ws;
    return static_cast<size_t>(std::min<uint64_t>(batch, words * perWord + 64));
}

long RawFile::readAt(uint64_t offset, void* dst, size_t size) const {
    size_t got = 0;
    while (got < size) {
        const ssize_t n = ::pread(m_fd, static_cast<uint8_t*>(dst) + got, size - got, static_cast<off_t>(offset + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        got += static_cast<size_t>(n);
    }
    return static_cast<long>(got);
}

RawStreamCursor::RawStreamCursor(std::shared_ptr<const RawFile> file, size_t chunkBytes)
    : m_file(std::move(file)), m_decoder(EventDecoder::create(m_file->header())) {
    const size_t ws = m_file->header().wordSize();
    m_chunk = std::max(ws, chunkBytes / ws * ws);
    rewind();
}

void RawStreamCursor::rewind() {
    m_decoder->reset();
    m_bufOffset = m_file->payloadBegin();
    m_bufPos = m_bufLen = 0;
    m_atEnd = false;
    m_readFailed = false;
    m_trailing = 0;
}

void RawStreamCursor::seek(uint64_t fileOffset, const DecoderState& state) {
    m_decoder->state() = state;
    // Keep the buffer when the target lies inside it: seeks within a chunk are frequent.
    if (fileOffset >= m_bufOffset && fileOffset <= m_bufOffset + m_bufLen && !m_readFailed) {
        m_bufPos = static_cast<size_t>(fileOffset - m_bufOffset);
    } else {
        m_bufOffset = fileOffset;
        m_bufPos = m_bufLen = 0;
    }
    m_atEnd = false;
}

bool RawStreamCursor::refill() {
    const uint64_t end = m_file->payloadEnd();
    const uint64_t next = m_bufOffset + m_bufPos;
    if (next >= end) {
        m_atEnd = true;
        m_trailing = m_file->fileSize() > end ? m_file->fileSize() - end : 0;
        return false;
    }
    const size_t want = static_cast<size_t>(std::min<uint64_t>(m_chunk, end - next));
    if (m_buf.size() < want) // small files get small buffers
        m_buf.resize(want);
    const long n = m_file->readAt(next, m_buf.data(), want);
    if (n < 0) {
        m_readFailed = true;
        m_atEnd = true;
        m_error = std::string("read error: ") + std::strerror(errno);
        return false;
    }
    const size_t ws = m_file->header().wordSize();
    const size_t whole = static_cast<size_t>(n) / ws * ws;
    m_bufOffset = next;
    m_bufPos = 0;
    m_bufLen = whole;
    if (whole == 0) { // the file shrank under us
        m_atEnd = true;
        m_readFailed = true;
        m_error = "file ended early (truncated while open?)";
        return false;
    }
    return true;
}

const uint8_t* RawStreamCursor::peek(size_t& available) {
    if (m_bufPos >= m_bufLen && !refill()) {
        available = 0;
        return nullptr;
    }
    available = m_bufLen - m_bufPos;
    return m_buf.data() + m_bufPos;
}

size_t RawStreamCursor::next(Event2D* out, size_t capacity, std::vector<EventTriggerIn>& triggers) {
    while (!m_atEnd) {
        size_t avail = 0;
        const uint8_t* p = peek(avail);
        if (!p)
            return 0;
        const DecodeResult r = m_decoder->decode(p, avail, out, capacity, triggers);
        m_bufPos += r.bytesConsumed;
        if (r.eventsWritten > 0 || r.bytesConsumed == 0)
            return r.eventsWritten;
    }
    return 0;
}

bool RawStreamCursor::countUntil(uint64_t limit, std::vector<EventTriggerIn>& triggers) {
    while (offset() < limit) {
        size_t avail = 0;
        const uint8_t* p = peek(avail);
        if (!p)
            return false;
        const size_t n = static_cast<size_t>(std::min<uint64_t>(avail, limit - offset()));
        m_bufPos += m_decoder->count(p, n, triggers);
    }
    return true;
}

} // namespace quorvel
