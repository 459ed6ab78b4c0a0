#include "quorvel/TemporaryFiles.h"

#include <atomic>
#include <cstring>
#include <unistd.h>

namespace quorvel {

namespace {

constexpr int kSlots = 64;
constexpr size_t kMaxPath = 4096;

// Each slot's word holds a generation (upper bits) and a state (low two bits). The handler copies
// a live slot's name and uses it only when the word is unchanged afterwards, so a slot reused
// meanwhile is never read half old, half new.
enum : unsigned { kFree = 0, kFilling = 1, kLive = 2 };

struct Slot {
    std::atomic<unsigned> word{0};
    char path[kMaxPath];
};
Slot g_slots[kSlots];

static_assert(std::atomic<unsigned>::is_always_lock_free, "used from signal handlers");

} // namespace

int registerTemporaryFile(const std::string& path) {
    if (path.empty() || path.size() >= kMaxPath)
        return -1;
    for (int i = 0; i < kSlots; ++i) {
        unsigned w = g_slots[i].word.load(std::memory_order_relaxed);
        if ((w & 3u) != kFree)
            continue;
        const unsigned next = ((w >> 2) + 1) << 2;
        if (!g_slots[i].word.compare_exchange_strong(w, next | kFilling, std::memory_order_acquire))
            continue;
        std::memcpy(g_slots[i].path, path.c_str(), path.size() + 1);
        g_slots[i].word.store(next | kLive, std::memory_order_release);
        return i;
    }
    return -1;
}

void unregisterTemporaryFile(int handle) {
    if (handle < 0 || handle >= kSlots)
        return;
    const unsigned w = g_slots[handle].word.load(std::memory_order_relaxed);
    g_slots[handle].word.store(((w >> 2) + 1) << 2 | kFree, std::memory_order_release);
}

void removeTemporaryFiles() {
    char local[kMaxPath];
    for (auto& slot : g_slots) {
        const unsigned w = slot.word.load(std::memory_order_acquire);
        if ((w & 3u) != kLive)
            continue;
        std::memcpy(local, slot.path, kMaxPath);
        local[kMaxPath - 1] = 0;
        std::atomic_thread_fence(std::memory_order_acquire);
        if (slot.word.load(std::memory_order_relaxed) != w)
            continue;
        ::unlink(local);
    }
}

} // namespace quorvel
