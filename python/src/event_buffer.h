#pragma once
// Memory for the event arrays the module hands to NumPy, and the page handling that makes
// filling a multi-gigabyte array run at decoding speed.
//
// A fresh page costs a fault on first write: micro-seconds each, which for a 6 GB array of 16-byte
// events is the whole budget several times over when the decoder pays it. So large arrays are
// reserved as 2 MiB-aligned anonymous mappings, and a second thread populates their pages
// (MADV_POPULATE_WRITE) ahead of the decoder, 32 MiB at a time. Where the decoder catches up it
// faults its own pages and the second thread moves on past it, so the two fault different pages
// side by side instead of queueing on the same ones. Each piece gets huge or small pages by
// what they cost so far: on bare metal, and in a virtual machine for memory the
// guest freed a moment ago, a huge page is far cheaper than 512 small ones; but a virtual machine
// that hands free memory back to its host (free page reporting) faults every fresh huge page in
// from the host piece by piece, several times slower than small pages taken from memory the guest
// still holds. Both kinds are tried on the first pieces; the cheaper one is kept until its cost
// rises above the other's, and the other is tried again every 1 GiB. QUORVEL_HUGE_PAGES=1 or =0
// forces one kind.
//
// Thread rules: an EventBuffer is used by one thread at a time (the NumPy arrays over it only
// read or write its memory); a Prefaulter owns its thread and joins it when destroyed.

#include "quorvel/Event2D.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>

namespace qvpy {

enum class PageMode { Auto, Huge, Small };

/// QUORVEL_HUGE_PAGES: unset or "auto" measures, "1"/"on" huge pages, "0"/"off" small pages.
PageMode pageModeFromEnvironment();

/// How the last prefaulted array was populated (for the benchmark): MiB of huge and of small
/// pages, and the last measured cost of 32 MiB of each kind in milliseconds (0 when not tried).
struct PageChoice {
    size_t hugeMiB = 0, smallMiB = 0;
    double hugeMs = 0, smallMs = 0;
};
PageChoice lastPageChoice();

class EventBuffer {
public:
    /// Arrays at least this large get huge pages and a prefaulting thread.
    static constexpr size_t kLargeBytes = 256u << 20;

    /// Room for `capacity` events; throws std::bad_alloc when the address space is refused.
    static std::shared_ptr<EventBuffer> create(size_t capacity);
    ~EventBuffer();
    EventBuffer(const EventBuffer&) = delete;
    EventBuffer& operator=(const EventBuffer&) = delete;

    quorvel::Event2D* data() const { return m_data; }
    size_t capacity() const { return m_capacity; }
    size_t bytes() const { return m_capacity * sizeof(quorvel::Event2D); }

    /// Grows to at least `capacity` events, keeping the content (the pages are moved, not
    /// copied). Throws std::bad_alloc.
    void grow(size_t capacity);
    /// Gives back the pages beyond the first `events` events.
    void trim(size_t events);

private:
    EventBuffer() = default;
    char* m_map = nullptr;
    size_t m_mapBytes = 0;
    quorvel::Event2D* m_data = nullptr;
    size_t m_capacity = 0;
};

/// Populates the pages of [begin, end) (2 MiB-aligned) on a thread of its own, piece by piece,
/// at most `aheadBytes` beyond what the writer reports in `written` (bytes from `begin`), so that
/// a loose size bound never populates much more than is used, and never the piece the writer is in. Nothing is written into the memory:
/// populating a page that the writer already filled leaves it as it is.
class Prefaulter {
public:
    Prefaulter(char* begin, char* end, const std::atomic<size_t>& written, PageMode mode,
               size_t aheadBytes = 512u << 20);
    /// Stops populating, joins the thread and publishes what it chose (lastPageChoice()).
    ~Prefaulter();
    Prefaulter(const Prefaulter&) = delete;
    Prefaulter& operator=(const Prefaulter&) = delete;

private:
    void run(char* begin, char* end, const std::atomic<size_t>& written, PageMode mode, size_t aheadBytes);

    std::atomic<bool> m_stop{false};
    PageChoice m_choice;
    std::thread m_thread;
};

} // namespace qvpy
