// Saving and loading seek indexes, and the cache folder that holds them.
//
// An index file names the recording it belongs to (size, modification time, device, inode and a
// fingerprint of sampled content), carries a checksum of everything in it, and is checked field
// by field on loading: whatever a damaged or tampered index says, counts are bounded by what the
// recording's size allows and entries are ordered, or the index is refused and rebuilt.
#include "quorvel/raw/RawIndex.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr char kMagic[8] = {'Q', 'V', 'I', 'D', 'X', '\x02', '\r', '\n'};
constexpr uint32_t kVersion = 3;
constexpr size_t kStatCount = 10;

struct FileHeader {
    char magic[8];
    uint32_t version;
    uint32_t entrySize;
    uint64_t fileSize;
    int64_t mtimeNs;
    uint64_t device;
    uint64_t inode;
    uint64_t fingerprint;
    uint64_t payloadOffset;
    uint64_t entryCount;
    uint64_t triggerCount;
    uint64_t stats[kStatCount];
    uint64_t trailingBytes;
    uint64_t checksum; ///< of the header (this field 0), the entries and the triggers
};

struct PackedTrigger {
    uint64_t timestamp;
    int16_t polarity;
    int16_t id;
    uint32_t zero;
};

// A 64-bit checksum over a byte sequence, fed in pieces.
struct Checksum {
    uint64_t h = 0x9E3779B97F4A7C15ull;
    void add(const void* data, size_t size) {
        const auto* p = static_cast<const uint8_t*>(data);
        for (; size >= 8; p += 8, size -= 8) {
            uint64_t w;
            std::memcpy(&w, p, 8);
            h = (h ^ w) * 0xFF51AFD7ED558CCDull;
            h ^= h >> 29;
        }
        for (; size; ++p, --size)
            h = (h ^ *p) * 0x100000001B3ull;
    }
};

uint64_t hashText(const std::string& s) {
    Checksum c;
    c.add(s.data(), s.size());
    return c.h;
}

// Samples of the recording's bytes (start, end and six places between): a recording replaced by
// another of the same size and time stamp still differs here.
uint64_t contentFingerprint(const RawFile& file) {
    constexpr size_t kBlock = 4096;
    std::vector<uint8_t> buf(kBlock);
    Checksum c;
    const uint64_t size = file.fileSize();
    for (int i = 0; i < 8; ++i) {
        const uint64_t at = size <= kBlock ? 0 : (size - kBlock) / 7 * static_cast<uint64_t>(i);
        const long n = file.readAt(at, buf.data(), static_cast<size_t>(std::min<uint64_t>(kBlock, size)));
        if (n > 0)
            c.add(buf.data(), static_cast<size_t>(n));
    }
    return c.h;
}

// All of `size` bytes through read(2) or write(2), resuming after signals and short transfers;
// false on an error or an early end of file.
template <typename Byte, typename Io>
bool transferFully(int fd, Byte* p, size_t size, Io io) {
    while (size) {
        const ssize_t n = io(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool writeFully(int fd, const void* data, size_t size) {
    return transferFully(fd, static_cast<const uint8_t*>(data), size, ::write);
}

bool readFully(int fd, void* data, size_t size) { return transferFully(fd, static_cast<uint8_t*>(data), size, ::read); }

std::vector<PackedTrigger> packTriggers(const std::vector<EventTriggerIn>& triggers) {
    std::vector<PackedTrigger> packed;
    packed.reserve(triggers.size());
    for (const auto& t : triggers)
        packed.push_back({t.timestamp, t.polarity, t.id, 0});
    return packed;
}

// What a sound index of `file` can hold; "" when `idx` is one, else what is wrong.
std::string implausible(const RawIndex& idx, const RawFile& file, size_t wordSize, size_t maxEventsPerWord) {
    const uint64_t begin = file.payloadBegin(), end = file.payloadEnd();
    const uint64_t words = end > begin ? (end - begin) / wordSize : 0;
    const DecodeStats& s = idx.totals.stats;
    const uint64_t maxEvents = words * maxEventsPerWord;
    if (s.events > maxEvents || s.invalidEvents > maxEvents || s.onEvents > s.events || s.timeBackwards > s.events)
        return "event counts beyond what the recording can hold";
    if (s.triggers > words || s.triggers != idx.triggers.size() || s.reservedWords > words || s.timeJumps > words)
        return "word counts beyond what the recording can hold";
    if (s.events && s.firstEventTs > s.lastEventTs)
        return "a first event after the last";
    if (s.timeJumps && (s.firstTimeJumpOffset < begin || s.firstTimeJumpOffset >= end))
        return "a time jump outside the payload";
    if (idx.totals.trailingBytes != file.fileSize() - end)
        return "a wrong trailing byte count";
    const auto& en = idx.entries;
    if (en.empty() || en.front().offset != begin || en.back().offset != end)
        return "entries that do not span the payload";
    for (size_t i = 0; i < en.size(); ++i) {
        const RawIndexEntry& e = en[i];
        if (e.offset != end && (e.offset - begin) % RawIndex::kEntryBytes != 0)
            return "an entry off its place";
        if (e.eventsBefore > s.events || e.errorsBefore > decodingErrors(s) || e.state.floor > e.timeUs || e.state.y >= 2048 || e.state.started > 1 ||
            e.state.cdEnabled > 1 || e.state.polarity > 1)
            return "an entry with an impossible state";
        if (i > 0 && (e.offset <= en[i - 1].offset || e.timeUs < en[i - 1].timeUs ||
                      e.eventsBefore < en[i - 1].eventsBefore || e.errorsBefore < en[i - 1].errorsBefore))
            return "entries out of order";
    }
    for (const auto& t : idx.triggers)
        if (t.polarity < 0 || t.polarity > 1 || t.id < 0 || t.id > 31)
            return "an impossible trigger";
    return "";
}

struct CachedFile {
    std::string path;
    uint64_t size;
    int64_t mtimeNs;
};

} // namespace

bool RawIndex::save(const std::string& path, const RawFile& file, std::string& error) const {
    const std::string tmp = path + ".tmp" + std::to_string(::getpid());
    const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        error = "cannot create '" + tmp + "': " + std::strerror(errno);
        return false;
    }
    FileHeader h{};
    std::memcpy(h.magic, kMagic, 8);
    h.version = kVersion;
    h.entrySize = sizeof(RawIndexEntry);
    h.fileSize = fileSize;
    h.mtimeNs = mtimeNs;
    h.device = file.device();
    h.inode = file.inode();
    h.fingerprint = contentFingerprint(file);
    h.payloadOffset = payloadOffset;
    h.entryCount = entries.size();
    h.triggerCount = triggers.size();
    const DecodeStats& s = totals.stats;
    const uint64_t st[kStatCount] = {s.events,       s.onEvents,     s.triggers,    s.invalidEvents, s.reservedWords,
                                     s.timeBackwards, s.firstEventTs, s.lastEventTs, s.timeJumps,     s.firstTimeJumpOffset};
    std::memcpy(h.stats, st, sizeof st);
    h.trailingBytes = totals.trailingBytes;
    const std::vector<PackedTrigger> packed = packTriggers(triggers);
    Checksum c;
    c.add(&h, sizeof h);
    c.add(entries.data(), entries.size() * sizeof(RawIndexEntry));
    c.add(packed.data(), packed.size() * sizeof(PackedTrigger));
    h.checksum = c.h;
    bool ok = complete && writeFully(fd, &h, sizeof h) &&
              writeFully(fd, entries.data(), entries.size() * sizeof(RawIndexEntry)) &&
              writeFully(fd, packed.data(), packed.size() * sizeof(PackedTrigger));
    const int writeErrno = errno;
    if (::close(fd) != 0)
        ok = false;
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        error = "cannot write '" + path + "': " + std::strerror(ok ? errno : writeErrno);
        ::unlink(tmp.c_str());
        return false;
    }
    return true;
}

bool RawIndex::load(const std::string& path, const RawFile& file, bool totalsOnly, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error = "no index at '" + path + "'";
        return false;
    }
    struct stat st {};
    FileHeader h{};
    const bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && readFully(fd, &h, sizeof h);
    const auto fail = [&](const std::string& why) {
        ::close(fd);
        entries.clear();
        triggers.clear();
        complete = false;
        error = "index '" + path + "' " + why;
        return false;
    };
    if (!ok || std::memcmp(h.magic, kMagic, 8) != 0 || h.version != kVersion || h.entrySize != sizeof(RawIndexEntry))
        return fail("is not an index of this version");
    if (h.fileSize != file.fileSize() || h.mtimeNs != file.mtimeNs() || h.payloadOffset != file.payloadBegin() ||
        h.device != file.device() || h.inode != file.inode() || h.fingerprint != contentFingerprint(file))
        return fail("is stale (the recording changed)");
    // Sizes first: nothing is allocated for counts the file itself cannot hold.
    if (h.entryCount == 0 || h.entryCount > st.st_size / sizeof(RawIndexEntry) ||
        h.triggerCount > st.st_size / sizeof(PackedTrigger) ||
        static_cast<uint64_t>(st.st_size) !=
            sizeof h + h.entryCount * sizeof(RawIndexEntry) + h.triggerCount * sizeof(PackedTrigger))
        return fail("is damaged (wrong size)");
    entries.resize(static_cast<size_t>(h.entryCount));
    std::vector<PackedTrigger> packed(static_cast<size_t>(h.triggerCount));
    if (!readFully(fd, entries.data(), entries.size() * sizeof(RawIndexEntry)) ||
        !readFully(fd, packed.data(), packed.size() * sizeof(PackedTrigger)))
        return fail("is truncated");
    ::close(fd);
    FileHeader zeroed = h;
    zeroed.checksum = 0;
    Checksum c;
    c.add(&zeroed, sizeof zeroed);
    c.add(entries.data(), entries.size() * sizeof(RawIndexEntry));
    c.add(packed.data(), packed.size() * sizeof(PackedTrigger));
    if (c.h != h.checksum) {
        error = "index '" + path + "' is damaged (checksum)";
        entries.clear();
        return false;
    }
    fileSize = h.fileSize;
    mtimeNs = h.mtimeNs;
    payloadOffset = h.payloadOffset;
    DecodeStats& s = totals.stats;
    s = {};
    s.events = h.stats[0];
    s.onEvents = h.stats[1];
    s.triggers = h.stats[2];
    s.invalidEvents = h.stats[3];
    s.reservedWords = h.stats[4];
    s.timeBackwards = h.stats[5];
    s.firstEventTs = h.stats[6];
    s.lastEventTs = h.stats[7];
    s.timeJumps = h.stats[8];
    s.firstTimeJumpOffset = h.stats[9];
    totals.trailingBytes = h.trailingBytes;
    totals.readFailed = false;
    triggers.clear();
    triggers.reserve(packed.size());
    for (const auto& p : packed)
        triggers.emplace_back(p.id, p.polarity, p.timestamp);
    const auto decoder = EventDecoder::create(file.header());
    const std::string wrong =
        decoder ? implausible(*this, file, decoder->wordSize(), decoder->maxEventsPerWord()) : "names no decoder";
    if (!wrong.empty()) {
        entries.clear();
        triggers.clear();
        error = "index '" + path + "' is damaged (" + wrong + ")";
        return false;
    }
    complete = true;
    if (totalsOnly) {
        entries.clear();
        entries.shrink_to_fit();
        triggers.clear();
        triggers.shrink_to_fit();
    }
    return true;
}

std::string RawIndex::cacheDir() {
    if (const char* x = std::getenv("XDG_CACHE_HOME"); x && *x == '/')
        return std::string(x) + "/Quorvel";
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return std::string(home) + "/.cache/Quorvel";
    return {};
}

uint64_t RawIndex::cacheLimitBytes() {
    if (const char* mb = std::getenv("QUORVEL_INDEX_CACHE_MB"); mb && *mb) {
        char* end = nullptr;
        const unsigned long long v = std::strtoull(mb, &end, 10);
        if (end && *end == '\0')
            return v << 20;
    }
    return uint64_t{512} << 20;
}

std::string RawIndex::cachePath(const RawFile& file) {
    const std::string dir = cacheDir();
    if (dir.empty())
        return {};
    std::error_code ec;
    const std::filesystem::path abs = std::filesystem::absolute(file.path(), ec).lexically_normal();
    // The name's first part says which recording path it is for (so older versions of it can be
    // found and removed), the second which version of the file: a changed or replaced recording
    // gets a new name, and never an index built for another.
    const std::string identity = std::to_string(file.device()) + ":" + std::to_string(file.inode()) + ":" +
                                 std::to_string(file.fileSize()) + ":" + std::to_string(file.mtimeNs());
    std::string base = abs.filename().string().substr(0, 64);
    for (char& ch : base)
        if (static_cast<unsigned char>(ch) < 0x20 || ch == '/')
            ch = '_';
    char key[40];
    std::snprintf(key, sizeof key, "%016llx-%016llx-", static_cast<unsigned long long>(hashText(abs.string())),
                  static_cast<unsigned long long>(hashText(identity)));
    return dir + "/" + key + base + ".qvidx";
}

bool RawIndex::loadFor(const RawFile& file, bool totalsOnly, std::string& error) {
    const std::string path = cachePath(file);
    if (path.empty()) {
        error = "no cache folder (neither XDG_CACHE_HOME nor HOME is set)";
        return false;
    }
    if (!load(path, file, totalsOnly, error))
        return false;
    // Used now: the size bound removes the least recently used indexes first.
    ::utimensat(AT_FDCWD, path.c_str(), nullptr, 0);
    return true;
}

std::string RawIndex::saveFor(const RawFile& file, std::string& error) const {
    const std::string path = cachePath(file);
    if (path.empty()) {
        error = "no cache folder (neither XDG_CACHE_HOME nor HOME is set)";
        return {};
    }
    const std::filesystem::path dir = std::filesystem::path(path).parent_path();
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!save(path, file, error))
        return {};
    // Older versions of this recording's index, then the least recently used others while the
    // folder holds more than its bound.
    const std::string mine = std::filesystem::path(path).filename().string();
    const std::string samePath = mine.substr(0, 17);
    std::vector<CachedFile> files;
    uint64_t total = 0;
    for (auto it = std::filesystem::directory_iterator(dir, ec); !ec && it != std::filesystem::directory_iterator();
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.size() < 6 || name.compare(name.size() - 6, 6, ".qvidx") != 0 || name == mine)
            continue;
        struct stat st {};
        if (::lstat(it->path().c_str(), &st) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (name.compare(0, samePath.size(), samePath) == 0) {
            std::filesystem::remove(it->path(), ec);
            continue;
        }
        files.push_back({it->path().string(), static_cast<uint64_t>(st.st_size),
                         static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec});
        total += static_cast<uint64_t>(st.st_size);
    }
    struct stat me {};
    if (::stat(path.c_str(), &me) == 0)
        total += static_cast<uint64_t>(me.st_size);
    const uint64_t limit = cacheLimitBytes();
    std::sort(files.begin(), files.end(), [](const CachedFile& a, const CachedFile& b) { return a.mtimeNs < b.mtimeNs; });
    for (const auto& f : files) {
        if (total <= limit)
            break;
        if (::unlink(f.path.c_str()) == 0)
            total -= f.size;
    }
    return path;
}

} // namespace quorvel
