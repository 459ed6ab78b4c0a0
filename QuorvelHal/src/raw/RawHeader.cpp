#include "quorvel/raw/RawHeader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr size_t kMaxHeaderBytes = 16u << 20; // a header larger than this is not a recording

std::vector<std::string> splitWords(const std::string& s) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t'))
            ++i;
        size_t j = i;
        while (j < s.size() && s[j] != ' ' && s[j] != '\t')
            ++j;
        if (j > i)
            words.emplace_back(s.substr(i, j - i));
        i = j;
    }
    return words;
}

bool parseUnsigned(const std::string& s, uint64_t& out) {
    if (s.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    const unsigned long long v = std::strtoull(s.c_str(), &end, 0);
    if (errno != 0 || end == s.c_str() || *end != '\0' || s[0] == '-')
        return false;
    out = v;
    return true;
}

struct Family {
    RawEncoding encoding;
    uint32_t width, height;
};

// Camera families of old files that name neither format nor geometry.
bool familyOf(uint64_t systemId, Family& f) {
    switch (systemId) {
    case 21: case 0x1C: case 0x29:
        f = {RawEncoding::Evt2, 640, 480};
        return true;
    case 0x1A: case 0x1F: case 0x27:
        f = {RawEncoding::Evt2, 1280, 720};
        return true;
    case 0x1E: case 0x2E: case 0x30: case 0x31: case 0x32:
        f = {RawEncoding::Evt3, 1280, 720};
        return true;
    case 0x28:
        f = {RawEncoding::Evt3, 640, 480};
        return true;
    default:
        return false;
    }
}

RawEncoding encodingFromName(const std::string& name) {
    std::string n;
    for (char c : name)
        n += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (n == "EVT3" || n == "EVT3.0" || n == "EVT30")
        return RawEncoding::Evt3;
    if (n == "EVT2" || n == "EVT2.0" || n == "EVT20")
        return RawEncoding::Evt2;
    if (n == "EVT21" || n == "EVT2.1")
        return RawEncoding::Evt21;
    return RawEncoding::Unknown;
}

bool parseGeometry(const std::string& s, uint32_t& w, uint32_t& h) {
    const size_t x = s.find('x');
    if (x == std::string::npos)
        return false;
    uint64_t a = 0, b = 0;
    if (!parseUnsigned(s.substr(0, x), a) || !parseUnsigned(s.substr(x + 1), b))
        return false;
    if (a == 0 || b == 0 || a > 65535 || b > 65535)
        return false;
    w = static_cast<uint32_t>(a);
    h = static_cast<uint32_t>(b);
    return true;
}

} // namespace

const char* rawEncodingName(RawEncoding e) {
    switch (e) {
    case RawEncoding::Evt2: return "EVT2";
    case RawEncoding::Evt21: return "EVT21";
    case RawEncoding::Evt3: return "EVT3";
    case RawEncoding::Dat: return "DAT";
    default: return "unknown";
    }
}

std::string RawHeader::value(const std::string& key) const {
    for (const auto& [k, v] : fields)
        if (k == key)
            return v;
    return {};
}

bool RawHeader::has(const std::string& key) const {
    return std::any_of(fields.begin(), fields.end(), [&](const auto& kv) { return kv.first == key; });
}

size_t RawHeader::wordSize() const {
    switch (encoding) {
    case RawEncoding::Evt3: return 2;
    case RawEncoding::Evt2: return 4;
    case RawEncoding::Evt21: return 8;
    case RawEncoding::Dat: return 8;
    default: return 1;
    }
}

bool parseRawHeader(const uint8_t* data, size_t size, bool isWholeFile, bool isDatHint,
                    RawHeader& out, std::string& error, bool* needMore) {
    out = RawHeader{};
    if (needMore)
        *needMore = false;
    if (size == 0 && isWholeFile) {
        error = "empty file";
        return false;
    }
    size_t pos = 0;
    bool ended = false;
    while (pos < size) {
        if (pos + 1 >= size) {
            if (!isWholeFile) {
                if (needMore) *needMore = true;
                error = "header too long";
                return false;
            }
            break; // a lone trailing byte: payload
        }
        if (data[pos] != '%' || data[pos + 1] != ' ')
            break;
        const uint8_t* nl = static_cast<const uint8_t*>(std::memchr(data + pos, '\n', size - pos));
        if (!nl && !isWholeFile) {
            if (needMore) *needMore = true;
            error = "header too long";
            return false;
        }
        const size_t lineEnd = nl ? static_cast<size_t>(nl - data) : size;
        std::string line(reinterpret_cast<const char*>(data) + pos + 2, lineEnd - pos - 2);
        pos = nl ? lineEnd + 1 : size;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        auto words = splitWords(line);
        if (words.empty())
            continue;
        std::string key = words[0];
        if (key == "Date")
            key = "date";
        std::string value;
        for (size_t i = 1; i < words.size(); ++i) {
            if (i > 1)
                value += ' ';
            value += words[i];
        }
        if (key == "end" && words.size() == 1) {
            ended = true;
            break;
        }
        auto it = std::find_if(out.fields.begin(), out.fields.end(),
                               [&](const auto& kv) { return kv.first == key; });
        if (it != out.fields.end())
            it->second = value;
        else
            out.fields.emplace_back(key, value);
    }
    out.hasEndLine = ended;
    out.payloadOffset = pos;

    // Encoding and geometry, by precedence.
    RawEncoding enc = RawEncoding::Unknown;
    uint32_t w = 0, h = 0;
    std::string endianness = out.value("endianness");
    bool formatGeometry = false;
    const std::string format = out.value("format");
    if (!format.empty()) {
        const size_t semi = format.find(';');
        const std::string name = format.substr(0, semi);
        enc = encodingFromName(name);
        if (enc == RawEncoding::Unknown) {
            error = "unsupported event format '" + printableText(name) + "'";
            return false;
        }
        uint64_t fw = 0, fh = 0;
        size_t at = semi;
        while (at != std::string::npos) {
            const size_t next = format.find(';', at + 1);
            const std::string opt = format.substr(at + 1, next == std::string::npos ? std::string::npos : next - at - 1);
            const size_t eq = opt.find('=');
            if (eq != std::string::npos) {
                const std::string k = opt.substr(0, eq), v = opt.substr(eq + 1);
                if (k == "width" && !parseUnsigned(v, fw)) fw = 0;
                if (k == "height" && !parseUnsigned(v, fh)) fh = 0;
                if (k == "endianness") endianness = v;
            }
            at = next;
        }
        if (fw > 0 && fh > 0) {
            if (fw > 65535 || fh > 65535) {
                error = "sensor geometry in 'format' is out of range";
                return false;
            }
            w = static_cast<uint32_t>(fw);
            h = static_cast<uint32_t>(fh);
            formatGeometry = true;
        }
    }
    if (!formatGeometry && out.has("geometry")) {
        if (!parseGeometry(out.value("geometry"), w, h)) {
            error = "invalid 'geometry' value '" + printableText(out.value("geometry")) + "'";
            return false;
        }
    }
    const std::string evt = out.value("evt");
    if (enc == RawEncoding::Unknown && !evt.empty()) {
        if (evt == "2.0" || evt == "2")
            enc = RawEncoding::Evt2;
        else if (evt == "2.1")
            enc = RawEncoding::Evt21;
        else if (evt == "3.0" || evt == "3")
            enc = RawEncoding::Evt3;
        else {
            error = "unsupported 'evt' version '" + printableText(evt) + "'";
            return false;
        }
    }
    uint64_t systemId = 0;
    const bool haveSystemId = parseUnsigned(out.value("system_ID"), systemId);
    Family fam{};
    const bool known = haveSystemId && familyOf(systemId, fam);
    if (enc == RawEncoding::Unknown && known)
        enc = fam.encoding;
    if (w == 0 && known && enc == fam.encoding) {
        w = fam.width;
        h = fam.height;
    }

    const bool looksRaw = !format.empty() || !evt.empty() || haveSystemId || out.has("geometry");
    if (enc == RawEncoding::Unknown && !looksRaw && (out.has("Version") || isDatHint)) {
        // DAT: after the header, one byte event type and one byte event size.
        if (pos + 2 > size) {
            error = "DAT file ends before its event type and size bytes";
            return false;
        }
        const uint8_t evSize = data[pos + 1];
        if (evSize != 8) {
            error = "unsupported DAT event size " + std::to_string(evSize) + " (only 8-byte records)";
            return false;
        }
        enc = RawEncoding::Dat;
        out.payloadOffset = pos + 2;
        uint64_t dw = 0, dh = 0;
        if (parseUnsigned(out.value("Width"), dw) && parseUnsigned(out.value("Height"), dh) && dw > 0 &&
            dh > 0 && dw <= 16384 && dh <= 16384) {
            w = static_cast<uint32_t>(dw);
            h = static_cast<uint32_t>(dh);
        }
        out.encoding = enc;
        out.width = w;
        out.height = h;
        return true;
    }

    if (enc == RawEncoding::Unknown) {
        error = out.fields.empty() ? "not a recording: no header"
                                   : "no event encoding: the header has no 'format', 'evt' or known 'system_ID'";
        return false;
    }
    if (w == 0 || h == 0) {
        error = "no sensor geometry: the header has no 'format' size, 'geometry' or known 'system_ID'";
        return false;
    }
    if ((enc == RawEncoding::Evt3 || enc == RawEncoding::Evt2 || enc == RawEncoding::Evt21) &&
        (w > 2048 || h > 2048)) {
        // x and y are 11-bit fields in every EVT encoding.
        error = "sensor geometry " + std::to_string(w) + "x" + std::to_string(h) +
                " exceeds the 2048x2048 the encoding can address";
        return false;
    }
    if (enc == RawEncoding::Evt21) {
        if (endianness == "legacy")
            out.evt21Legacy = true;
        else if (endianness == "little")
            out.evt21Legacy = false;
        else
            out.evt21Legacy = haveSystemId && systemId > 0 && systemId < 0x37;
    }
    uint64_t base = 0;
    if (parseUnsigned(out.value("time_base_us"), base))
        out.timeBaseUs = base;
    out.encoding = enc;
    out.width = w;
    out.height = h;
    return true;
}

std::string printableText(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02X", c);
            out += esc;
        }
    }
    return out;
}

int openRegularFile(const std::string& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return -1;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        const bool dir = S_ISDIR(st.st_mode), fifo = S_ISFIFO(st.st_mode);
        ::close(fd);
        error = "'" + path + "' is not a regular file" +
                (dir ? " (a folder)" : fifo ? " (a pipe)" : S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode) ? " (a device)" : "");
        return -1;
    }
    // Regular files never block; reads go back to ordinary mode.
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0)
        ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}

bool readRawHeader(const std::string& path, RawHeader& out, std::string& error) {
    const int fd = openRegularFile(path, error);
    if (fd < 0)
        return false;
    struct stat st {};
    const bool ok = ::fstat(fd, &st) == 0 && readRawHeader(fd, static_cast<uint64_t>(st.st_size), path, out, error);
    ::close(fd);
    return ok;
}

bool readRawHeader(int fd, uint64_t fileSize, const std::string& path, RawHeader& out, std::string& error) {
    const bool datHint = path.size() >= 4 && (path.compare(path.size() - 4, 4, ".dat") == 0 ||
                                              path.compare(path.size() - 4, 4, ".DAT") == 0);
    std::vector<uint8_t> buf;
    size_t want = 64 * 1024;
    for (;;) {
        const size_t n = static_cast<size_t>(std::min<uint64_t>(want, fileSize));
        buf.resize(n);
        size_t got = 0;
        errno = 0;
        while (got < n) {
            const ssize_t r = ::pread(fd, buf.data() + got, n - got, static_cast<off_t>(got));
            if (r < 0 && errno == EINTR)
                continue;
            if (r <= 0)
                break;
            got += static_cast<size_t>(r);
        }
        if (got < n) {
            error = "cannot read '" + path + "': " + (errno ? std::strerror(errno) : "short read");
            return false;
        }
        bool needMore = false;
        if (parseRawHeader(buf.data(), n, n == fileSize, datHint, out, error, &needMore))
            return true;
        if (!needMore)
            return false;
        if (want >= kMaxHeaderBytes) {
            error = "header longer than 16 MiB: not a recording";
            return false;
        }
        want *= 4;
    }
}

std::string makeRawHeaderText(RawEncoding encoding, uint32_t width, uint32_t height,
                              const std::string& serial, const std::string& date, uint64_t timeBaseUs,
                              const std::vector<std::pair<std::string, std::string>>& extra) {
    const char* evt = encoding == RawEncoding::Evt3 ? "3.0" : encoding == RawEncoding::Evt21 ? "2.1" : "2.0";
    const std::string w = std::to_string(width), h = std::to_string(height);
    std::string s;
    s += "% camera_integrator_name Quorvel\n";
    s += "% date " + (date.empty() ? std::string("1970-01-01 00:00:00") : date) + "\n";
    s += std::string("% evt ") + evt + "\n";
    s += std::string("% format ") + rawEncodingName(encoding) + ";height=" + h + ";width=" + w +
         (encoding == RawEncoding::Evt21 ? ";endianness=little" : "") + "\n";
    s += "% geometry " + w + "x" + h + "\n";
    s += "% plugin_name quorvel_sdk\n";
    s += "% serial_number " + (serial.empty() ? std::string("00000000") : serial) + "\n";
    if (timeBaseUs != 0)
        s += "% time_base_us " + std::to_string(timeBaseUs) + "\n";
    for (const auto& [k, v] : extra)
        s += "% " + k + " " + v + "\n";
    s += "% end\n";
    return s;
}

} // namespace quorvel
