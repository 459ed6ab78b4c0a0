// The whole reading path on arbitrary files: header, index, range reads, seeks and a cut.
// Whatever the input, nothing crashes or hangs, and range reads agree with one another. Only the
// first 4 KiB of an input are used (libFuzzer's own default size): the work per run stays that
// of a small file whatever its clock claims (a thousand runs a second and more).
#include "quorvel/DvsFileReader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

using namespace quorvel;

namespace {
std::string g_dir; // one scratch folder per fuzzing process, removed when it exits
void removeScratch() {
    std::error_code ec;
    std::filesystem::remove_all(g_dir, ec);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (g_dir.empty()) {
        char tmpl[] = "/tmp/qv-fuzz-XXXXXX";
        const char* d = ::mkdtemp(tmpl);
        if (!d)
            std::abort();
        g_dir = d;
        ::setenv("XDG_CACHE_HOME", d, 1);
        std::atexit(removeScratch);
    }
    const std::string& dir = g_dir;
    const std::string path = dir + "/in.raw", out = dir + "/cut.raw";
    size = std::min<size_t>(size, 4u << 10);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    DvsFileReader::Options o;
    o.persistIndex = false;
    o.backgroundIndex = false;
    auto r = DvsFileReader::createFileReader(path, o);
    if (!r) {
        if (DvsFileReader::lastCreateError().empty())
            std::abort();
        return 0;
    }
    uint64_t a = 0, b = 0;
    if (!r->getStartTimestamp(a) || !r->getEndTimestamp(b))
        return 0;
    DvsFileStats s;
    if (!r->getFileStats(s) || a > b)
        std::abort();
    DvsFileInfo info;
    r->getFileInfo(info);
    (void)info.localTimeAt(b);
    (void)info.localTimeAt(0);
    auto all = r->getEventsInRange(a, b - a + 1);
    if (!all || all->size() != s.events)
        std::abort();
    // Two halves add up to the whole.
    const uint64_t mid = a + (b - a) / 2;
    auto first = r->getEventsInRange(a, mid - a);
    auto second = r->getEventsInRange(mid, b - mid + 1);
    if (!first || !second || first->size() + second->size() != all->size())
        std::abort();
    if (r->seekTime(mid)) {
        auto again = r->getNTimeEvents(b - mid + 1);
        if (!again || again->size() != second->size())
            std::abort();
    }
    if (r->exportRawRange(a, mid, out)) {
        auto c = DvsFileReader::createFileReader(out, o);
        if (!c)
            std::abort();
        uint64_t ca = 0, cb = 0;
        if (c->getStartTimestamp(ca) && c->getEndTimestamp(cb)) {
            auto cut = c->getEventsInRange(ca, cb - ca + 1);
            // The cut holds exactly the events a <= t <= mid.
            size_t expect = 0;
            for (const auto& e : *all)
                expect += e.timestamp <= mid;
            if (!cut || cut->size() != expect)
                std::abort();
        }
        std::remove(out.c_str());
    }
    try {
        r->getTriggerList();
    } catch (const std::exception&) {
    }
    return 0;
}
