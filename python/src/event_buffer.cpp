#include "event_buffer.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <sys/mman.h>

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23 // Linux 5.14
#endif

namespace qvpy {

namespace {

constexpr size_t kHuge = 2u << 20;
constexpr size_t kSmall = 4096;

size_t roundUp(size_t v, size_t to) { return (v + to - 1) / to * to; }

std::mutex g_choiceMutex;
PageChoice g_choice;

double populateMs(char* p, size_t bytes, bool& ok) {
    const auto t0 = std::chrono::steady_clock::now();
    ok = ::madvise(p, bytes, MADV_POPULATE_WRITE) == 0;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

} // namespace

PageMode pageModeFromEnvironment() {
    const char* v = std::getenv("QUORVEL_HUGE_PAGES");
    if (!v)
        return PageMode::Auto;
    if (!std::strcmp(v, "1") || !std::strcmp(v, "on"))
        return PageMode::Huge;
    if (!std::strcmp(v, "0") || !std::strcmp(v, "off"))
        return PageMode::Small;
    return PageMode::Auto;
}

PageChoice lastPageChoice() {
    std::lock_guard lock(g_choiceMutex);
    return g_choice;
}

std::shared_ptr<EventBuffer> EventBuffer::create(size_t capacity) {
    std::shared_ptr<EventBuffer> b(new EventBuffer());
    const size_t bytes = roundUp(std::max<size_t>(capacity, 1) * sizeof(quorvel::Event2D), kSmall);
    const size_t align = bytes >= kLargeBytes ? kHuge : kSmall;
    // Address space only: pages appear as they are written (or populated).
    b->m_mapBytes = bytes + align - kSmall;
    void* p = ::mmap(nullptr, b->m_mapBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (p == MAP_FAILED)
        throw std::bad_alloc();
    b->m_map = static_cast<char*>(p);
    char* data = reinterpret_cast<char*>(roundUp(reinterpret_cast<uintptr_t>(p), align));
    b->m_data = reinterpret_cast<quorvel::Event2D*>(data);
    b->m_capacity = (b->m_map + b->m_mapBytes - data) / sizeof(quorvel::Event2D);
    return b;
}

EventBuffer::~EventBuffer() {
    if (m_map)
        ::munmap(m_map, m_mapBytes);
}

void EventBuffer::grow(size_t capacity) {
    if (capacity <= m_capacity)
        return;
    const size_t front = reinterpret_cast<char*>(m_data) - m_map;
    const size_t bytes = front + roundUp(capacity * sizeof(quorvel::Event2D), kSmall);
    void* p = ::mremap(m_map, m_mapBytes, bytes, MREMAP_MAYMOVE);
    if (p == MAP_FAILED)
        throw std::bad_alloc();
    m_map = static_cast<char*>(p);
    m_mapBytes = bytes;
    m_data = reinterpret_cast<quorvel::Event2D*>(m_map + front);
    m_capacity = (bytes - front) / sizeof(quorvel::Event2D);
}

void EventBuffer::trim(size_t events) {
    const size_t front = reinterpret_cast<char*>(m_data) - m_map;
    // Whole huge pages stay whole.
    const size_t unit = bytes() >= kLargeBytes ? kHuge : kSmall;
    const size_t keep = std::min(m_mapBytes, front + roundUp(std::max<size_t>(events, 1) * sizeof(quorvel::Event2D), unit));
    if (keep < m_mapBytes && ::munmap(m_map + keep, m_mapBytes - keep) == 0) {
        m_mapBytes = keep;
        m_capacity = (keep - front) / sizeof(quorvel::Event2D);
    }
}

Prefaulter::Prefaulter(char* begin, char* end, const std::atomic<size_t>& written, PageMode mode, size_t aheadBytes)
    : m_thread([=, this, &written] { run(begin, end, written, mode, aheadBytes); }) {}

void Prefaulter::run(char* begin, char* end, const std::atomic<size_t>& written, PageMode mode, size_t aheadBytes) {
    constexpr size_t kPiece = 32u << 20;
    // The kind not in use is tried again every this many pieces: which memory the kernel hands out
    // changes as an array grows (memory freed a moment ago first, then memory back from the host).
    constexpr int kRetryPieces = 32;
    // Last cost of a piece of each kind, in ms (negative: not tried yet); [0] huge, [1] small.
    double cost[2] = {mode == PageMode::Small ? 1e300 : -1, mode == PageMode::Huge ? 1e300 : -1};
    int sinceOther = 0;
    char* pos = begin;
    while (pos < end && !m_stop.load(std::memory_order_relaxed)) {
        const size_t done = written.load(std::memory_order_relaxed);
        if (static_cast<size_t>(pos - begin) >= done + aheadBytes) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            continue;
        }
        // Where the writer has caught up it faults its own pages: two threads faulting apart are
        // faster than two on the same pages, so this one moves on past it.
        if (static_cast<size_t>(pos - begin) < done + kPiece) {
            pos = begin + std::min(roundUp(done + kPiece, kHuge), static_cast<size_t>(end - begin));
            continue;
        }
        int kind = cost[0] < 0 ? 0 : cost[1] < 0 ? 1 : cost[0] <= cost[1] ? 0 : 1;
        if (mode == PageMode::Auto && ++sinceOther > kRetryPieces) {
            kind = 1 - kind;
            sinceOther = 0;
        }
        const size_t n = std::min<size_t>(kPiece, static_cast<size_t>(end - pos));
        ::madvise(pos, n, kind == 0 ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
        bool ok = false;
        const double ms = populateMs(pos, n, ok);
        if (!ok)
            break; // not supported here (or no memory): the writer faults its pages itself
        if (n == kPiece)
            cost[kind] = ms;
        (kind == 0 ? m_choice.hugeMiB : m_choice.smallMiB) += n >> 20;
        pos += n;
    }
    m_choice.hugeMs = cost[0] > 0 && cost[0] < 1e300 ? cost[0] : 0;
    m_choice.smallMs = cost[1] > 0 && cost[1] < 1e300 ? cost[1] : 0;
}

Prefaulter::~Prefaulter() {
    m_stop = true;
    m_thread.join();
    std::lock_guard lock(g_choiceMutex);
    g_choice = m_choice;
}

} // namespace qvpy
