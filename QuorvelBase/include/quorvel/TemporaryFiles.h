#pragma once
// Files written under a temporary name (a conversion's `OUT.raw.<hex>.part`, an export's
// `OUT.mp4.tmp-PID`) are listed here for as long as they exist, so that a program ended by a
// signal can remove them from its handler instead of leaving them in the user's folder.
//
// A writer lists the name before it creates the file and takes it off the list after it renamed
// or removed the file; a name that was already renamed is harmless to unlink.
//
// Errors: registerTemporaryFile() returns -1 when the list (64 names) is full or the name is
// longer than 4095 bytes; such a file is then only not removed on a signal.
// Thread rules: register/unregister from any thread. removeTemporaryFiles() is async-signal-safe
// (no lock, no allocation) and meant for signal handlers; a name being listed or taken off at
// that very moment is skipped, never half read.

#include <string>

namespace quorvel {

int registerTemporaryFile(const std::string& path);
void unregisterTemporaryFile(int handle);
/// Unlinks every listed file.
void removeTemporaryFiles();

/// Lists a name for the lifetime of the object.
class TemporaryFileGuard {
public:
    TemporaryFileGuard() = default;
    explicit TemporaryFileGuard(const std::string& path) : m_handle(registerTemporaryFile(path)) {}
    ~TemporaryFileGuard() { release(); }
    TemporaryFileGuard(const TemporaryFileGuard&) = delete;
    TemporaryFileGuard& operator=(const TemporaryFileGuard&) = delete;
    TemporaryFileGuard(TemporaryFileGuard&& o) noexcept : m_handle(o.m_handle) { o.m_handle = -1; }
    TemporaryFileGuard& operator=(TemporaryFileGuard&& o) noexcept {
        if (this != &o) {
            release();
            m_handle = o.m_handle;
            o.m_handle = -1;
        }
        return *this;
    }
    /// Takes the name off the list (after the file was renamed into place or removed).
    void release() {
        if (m_handle >= 0)
            unregisterTemporaryFile(m_handle);
        m_handle = -1;
    }

private:
    int m_handle = -1;
};

} // namespace quorvel
