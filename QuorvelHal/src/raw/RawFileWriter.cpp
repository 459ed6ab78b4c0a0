#include "quorvel/raw/RawFileWriter.h"

#include "quorvel/TimeUtils.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <vector>
#include <unistd.h>

namespace quorvel {

namespace {
constexpr size_t kFlushBytes = 1u << 20;
constexpr size_t kStageBytes = 4u << 20;   // direct writes: one block of this size at a time
constexpr size_t kDirectAlign = 4096;      // offset, size and address alignment of direct writes

std::string tempNameFor(const std::string& path) {
    std::random_device rd;
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%08x.part", static_cast<unsigned>(rd()));
    return path + suffix;
}
} // namespace

RawFileWriter::RawFileWriter() = default;

RawFileWriter::~RawFileWriter() {
    if (m_fd >= 0) {
        if (m_options.atomic)
            abort();
        else
            close();
    }
}

bool RawFileWriter::fail(const std::string& what) {
    m_failed = true;
    m_error = what;
    return false;
}

bool RawFileWriter::open(const std::string& path, const Options& options) {
    if (m_fd >= 0)
        close();
    m_failed = false;
    m_error.clear();
    m_headerWritten = false;
    m_dropped = 0;
    m_bytes = 0;
    m_payloadStart = 0;
    m_wordCompletedAt = UINT64_MAX;
    m_options = options;
    if (options.width == 0 || options.height == 0 || options.width > 2048 || options.height > 2048)
        return fail("invalid sensor geometry " + std::to_string(options.width) + "x" + std::to_string(options.height));
    m_encoder = EventEncoder::create(options.encoding, options.width, options.height);
    if (!m_encoder)
        return fail(std::string("cannot write the ") + rawEncodingName(options.encoding) + " format");
    m_path = path;
    m_writePath = options.atomic ? tempNameFor(path) : path;
    if (options.atomic)
        m_tempGuard = TemporaryFileGuard(m_writePath); // listed before it exists
    m_direct = false;
    m_staged = 0;
    if (options.direct) {
        m_stage.reset(static_cast<uint8_t*>(std::aligned_alloc(kDirectAlign, kStageBytes)));
        if (m_stage) {
            m_fd = ::open(m_writePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_DIRECT, 0644);
            m_direct = m_fd >= 0;
        }
    }
    if (m_direct) {
        m_tailFd = ::open(m_writePath.c_str(), O_WRONLY | O_CLOEXEC);
        if (m_tailFd < 0) { // cannot happen on a file just created; write plainly then
            ::close(m_fd);
            m_fd = -1;
            m_direct = false;
        }
    }
    if (m_fd < 0)
        m_fd = ::open(m_writePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (m_fd < 0) {
        const int e = errno;
        m_tempGuard.release();
        return fail("cannot create '" + m_writePath + "': " + std::strerror(e));
    }
    return true;
}

bool RawFileWriter::writeDirect(const uint8_t* data, size_t size) {
    while (size > 0) {
        const size_t n = std::min(size, kStageBytes - m_staged);
        std::memcpy(m_stage.get() + m_staged, data, n);
        m_staged += n;
        data += n;
        size -= n;
        if (m_staged == kStageBytes && !drainStage(false))
            return false;
    }
    return !m_direct || completeWord();
}

bool RawFileWriter::completeWord() {
    if (!m_headerWritten || m_bytes < m_payloadStart)
        return true;
    const uint64_t ws = m_options.encoding == RawEncoding::Evt3 ? 2 : m_options.encoding == RawEncoding::Evt2 ? 4 : 8;
    const uint64_t torn = (m_bytes - m_payloadStart) % ws;
    if (torn == 0 || m_wordCompletedAt == m_bytes || m_staged < ws - torn)
        return true;
    const size_t n = static_cast<size_t>(ws - torn);
    if (::pwrite(m_tailFd, m_stage.get(), n, static_cast<off_t>(m_bytes)) != static_cast<ssize_t>(n))
        return fail("cannot write '" + m_writePath + "': " + std::strerror(errno));
    m_wordCompletedAt = m_bytes;
    return true;
}

bool RawFileWriter::flush(bool sync) {
    if (m_failed || m_fd < 0)
        return false;
    if (!flushEncoder())
        return false;
    if (m_direct) {
        // Whole blocks go out directly; the partial block behind them is written through the page
        // cache without being taken from the stage, so the next direct write covers it again.
        if (m_staged >= kDirectAlign && !drainStage(false))
            return false;
        size_t done = 0;
        while (done < m_staged) {
            const ssize_t n = ::pwrite(m_tailFd, m_stage.get() + done, m_staged - done,
                                       static_cast<off_t>(m_bytes + done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return fail("cannot write '" + m_writePath + "': " + std::strerror(n < 0 ? errno : ENOSPC));
            done += static_cast<size_t>(n);
        }
    }
    if (sync && ::fdatasync(m_fd) != 0 && errno != EINVAL)
        return fail("cannot write '" + m_writePath + "' to the disk: " + std::strerror(errno));
    return true;
}

bool RawFileWriter::syncToDisk(std::string& error) const {
    const int fd = m_fd;
    if (fd < 0 || ::fdatasync(fd) == 0 || errno == EINVAL)
        return true;
    error = "cannot write '" + m_writePath + "' to the disk: " + std::strerror(errno);
    return false;
}

bool RawFileWriter::drainStage(bool all) {
    size_t blocks = m_staged / kDirectAlign * kDirectAlign;
    size_t done = 0;
    while (done < blocks) {
        const ssize_t n = ::pwrite(m_fd, m_stage.get() + done, blocks - done, static_cast<off_t>(m_bytes));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EINVAL) {
            blocks = done; // the file system wants other alignment after all: write the rest plainly
            all = true;
            break;
        }
        if (n <= 0)
            return fail("cannot write '" + m_writePath + "': " + std::strerror(n < 0 ? errno : ENOSPC));
        done += static_cast<size_t>(n);
        m_bytes += static_cast<uint64_t>(n);
    }
    std::memmove(m_stage.get(), m_stage.get() + done, m_staged - done);
    m_staged -= done;
    if (!all)
        return true;
    // The tail is no whole block: leave direct mode for it (and for anything after).
    const int flags = ::fcntl(m_fd, F_GETFL);
    if (flags < 0 || ::fcntl(m_fd, F_SETFL, flags & ~O_DIRECT) != 0 ||
        ::lseek(m_fd, static_cast<off_t>(m_bytes), SEEK_SET) < 0)
        return fail("cannot write '" + m_writePath + "': " + std::strerror(errno));
    m_direct = false;
    const size_t rest = m_staged;
    m_staged = 0;
    return writeAll(m_stage.get(), rest);
}

bool RawFileWriter::writeAll(const uint8_t* data, size_t size) {
    if (m_direct)
        return writeDirect(data, size);
    while (size > 0) {
        const ssize_t n = ::write(m_fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail("cannot write '" + m_writePath + "': " + std::strerror(n < 0 ? errno : ENOSPC));
        data += n;
        size -= static_cast<size_t>(n);
        m_bytes += static_cast<uint64_t>(n);
    }
    return true;
}

bool RawFileWriter::beginStream(uint64_t timeBaseUs) {
    if (m_failed || m_fd < 0)
        return false;
    if (m_headerWritten)
        return true;
    const std::string header =
        makeRawHeaderText(m_options.encoding, m_options.width, m_options.height, m_options.serial,
                          formatLocalDateTime(m_options.startTime), timeBaseUs, m_options.extraHeader);
    m_headerWritten = true;
    m_payloadStart = header.size();
    m_encoder->begin(timeBaseUs);
    return writeAll(reinterpret_cast<const uint8_t*>(header.data()), header.size());
}

bool RawFileWriter::flushEncoder() {
    if (m_failed)
        return false;
    if (m_encoder->size() == 0)
        return true;
    const bool ok = writeAll(m_encoder->data(), m_encoder->size());
    m_encoder->clearBuffer();
    return ok;
}

bool RawFileWriter::writePayload(const uint8_t* data, size_t size) {
    if (!flushEncoder())
        return false;
    return writeAll(data, size);
}

bool RawFileWriter::copyPayloadFrom(int srcFd, uint64_t offset, uint64_t size) {
    if (!flushEncoder() || (m_direct && !drainStage(true)))
        return false;
    loff_t from = static_cast<loff_t>(offset);
    bool inKernel = true;
    std::vector<uint8_t> buf;
    while (size > 0) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(size, 64u << 20));
        if (inKernel) {
            const ssize_t got = ::copy_file_range(srcFd, &from, m_fd, nullptr, n, 0);
            if (got > 0) {
                size -= static_cast<uint64_t>(got);
                m_bytes += static_cast<uint64_t>(got);
                continue;
            }
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
                inKernel = false; // file systems that cannot: copy through a buffer instead
                continue;
            }
            if (got == 0)
                return fail("cannot copy from the recording: it ended early");
            return fail("cannot write '" + m_writePath + "': " + std::strerror(errno));
        }
        buf.resize(std::min<size_t>(n, 8u << 20));
        const size_t chunk = std::min(n, buf.size());
        const ssize_t got = ::pread(srcFd, buf.data(), chunk, from);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return fail(std::string("cannot read the recording: ") + (got < 0 ? std::strerror(errno) : "it ended early"));
        if (!writeAll(buf.data(), static_cast<size_t>(got)))
            return false;
        from += got;
        size -= static_cast<uint64_t>(got);
    }
    return true;
}

bool RawFileWriter::write(const Event2D* eb, const Event2D* ee, const EventTriggerIn* tb, const EventTriggerIn* te) {
    if (m_failed || m_fd < 0)
        return m_fd < 0 ? fail("writer is not open") : false;
    if (eb == ee && tb == te)
        return true;
    if (!m_headerWritten) {
        uint64_t first = eb != ee ? eb->timestamp : tb->timestamp;
        if (tb != te && tb->timestamp < first)
            first = tb->timestamp;
        if (!beginStream(m_encoder->timeBaseFor(first)))
            return false;
    }
    // The decoder drops events outside the geometry; drop them here too so what is written reads
    // back exactly.
    const uint32_t W = m_options.width, H = m_options.height;
    const Event2D* bad = eb;
    while (bad != ee && bad->x < W && bad->y < H)
        ++bad;
    if (bad != ee) {
        m_filtered.assign(eb, bad);
        for (const Event2D* e = bad; e != ee; ++e) {
            if (e->x < W && e->y < H)
                m_filtered.push_back(*e);
            else
                ++m_dropped;
        }
        eb = m_filtered.data();
        ee = eb + m_filtered.size();
    }
    m_encoder->encode(eb, ee, tb, te);
    if (m_encoder->failed()) {
        flushEncoder(); // what came before the refused time stays readable
        return fail(m_encoder->error());
    }
    if (m_encoder->size() >= kFlushBytes)
        return flushEncoder();
    return true;
}

bool RawFileWriter::close() {
    if (m_fd < 0)
        return !m_failed;
    bool ok = !m_failed;
    if (ok && !m_headerWritten)
        ok = beginStream(0);
    if (ok)
        ok = flushEncoder();
    if (ok && m_direct)
        ok = drainStage(true);
    if (::close(m_fd) != 0 && ok)
        ok = fail("cannot close '" + m_writePath + "': " + std::strerror(errno));
    m_fd = -1;
    if (m_tailFd >= 0)
        ::close(m_tailFd);
    m_tailFd = -1;
    if (m_options.atomic) {
        if (ok && ::rename(m_writePath.c_str(), m_path.c_str()) != 0)
            ok = fail("cannot rename into '" + m_path + "': " + std::strerror(errno));
        if (!ok)
            ::unlink(m_writePath.c_str());
        m_tempGuard.release();
    }
    return ok;
}

void RawFileWriter::abort() {
    if (m_tailFd >= 0)
        ::close(m_tailFd);
    m_tailFd = -1;
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
        ::unlink(m_writePath.c_str());
        m_tempGuard.release();
    }
}

uint64_t RawFileWriter::eventsWritten() const { return m_encoder ? m_encoder->eventsEncoded() : 0; }
uint64_t RawFileWriter::triggersWritten() const { return m_encoder ? m_encoder->triggersEncoded() : 0; }
uint64_t RawFileWriter::clampedCount() const { return m_encoder ? m_encoder->clampedCount() : 0; }

} // namespace quorvel
