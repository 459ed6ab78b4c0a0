#pragma once
// The ASCII header of a `.raw` recording (and of a `.dat` file): `% key value` lines before the
// binary payload, and what they say about the encoding and the sensor geometry.
//
// Old files lack `format`, `geometry` and `% end`; the encoding and geometry then come from the
// `evt` key and the camera family in `system_ID`. The precedence is format > geometry > (evt +
// system_ID), and a later duplicate key overrides an earlier one (`Date` is the old spelling of
// `date`).
//
// Errors: parseRawHeader() returns false with a one-line reason when no encoding or no geometry
// can be derived, when the geometry is contradictory or out of range, or when the header does not
// end within the bytes given.
// Thread rules: plain data and pure functions.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

enum class RawEncoding { Unknown, Evt2, Evt21, Evt3, Dat };

/// "EVT2", "EVT21", "EVT3", "DAT" (the names used in `format` lines), "unknown" otherwise.
const char* rawEncodingName(RawEncoding e);

struct RawHeader {
    RawEncoding encoding = RawEncoding::Unknown;
    /// EVT 2.1 only: 32-bit halves swapped (old cameras) instead of one little-endian word.
    bool evt21Legacy = false;
    /// Sensor geometry in pixels. DAT files may not carry one: both are 0 then and coordinates are
    /// only limited by the 14-bit fields of the records.
    uint32_t width = 0;
    uint32_t height = 0;
    /// File offset of the first payload byte (for DAT, after the event type and size bytes).
    uint64_t payloadOffset = 0;
    /// Time that the stream's own clock counts from. EVT 3.0 only carries 24 time bits plus wraps,
    /// so a file that starts late (a cut, a long recording split in parts) would otherwise decode
    /// shifted; our writer stores the whole wraps it skipped under `time_base_us`.
    uint64_t timeBaseUs = 0;
    bool hasEndLine = false;
    /// Every key with its last value, in first-seen order.
    std::vector<std::pair<std::string, std::string>> fields;

    /// Value of a key, or "" when absent. `Date` is reported as `date`.
    std::string value(const std::string& key) const;
    bool has(const std::string& key) const;
    std::string serial() const { return value("serial_number"); }
    std::string date() const { return value("date"); }
    /// Size in bytes of one payload word (2, 4, 8 or 8 for DAT records).
    size_t wordSize() const;
};

/// Parses the header at the start of `data`. `size` is how many bytes of the file are available
/// (the whole file or a prefix); `isDatHint` says the file name ends in `.dat`, which lets a file
/// with no RAW keys be read as DAT. Returns false and sets `error` when the file cannot be read.
/// `needMore` is set when the header runs past `size` bytes while the file is longer than that,
/// so the caller should retry with more bytes.
bool parseRawHeader(const uint8_t* data, size_t size, bool isWholeFile, bool isDatHint,
                    RawHeader& out, std::string& error, bool* needMore = nullptr);

/// Reads and parses the header of a file. Sets `error` (file missing, unreadable, not a regular
/// file, not a recording, ...) and returns false on failure. A FIFO or device is refused without
/// blocking on it.
bool readRawHeader(const std::string& path, RawHeader& out, std::string& error);
/// The same on an open regular file of `size` bytes; `path` is only used in messages.
bool readRawHeader(int fd, uint64_t size, const std::string& path, RawHeader& out, std::string& error);

/// Opens `path` for reading without blocking (a FIFO with no writer would block an ordinary
/// open) and checks that it is a regular file. Returns the descriptor, or -1 with `error` set.
int openRegularFile(const std::string& path, std::string& error);

/// `text` with bytes that are not printable ASCII written as \xNN, for messages that echo what a
/// file holds.
std::string printableText(const std::string& text);

/// The header our writers emit: evt, format, geometry, date, serial_number, our integrator and
/// plugin names, optional extra keys, then `% end`.
std::string makeRawHeaderText(RawEncoding encoding, uint32_t width, uint32_t height,
                              const std::string& serial, const std::string& date,
                              uint64_t timeBaseUs,
                              const std::vector<std::pair<std::string, std::string>>& extra = {});

} // namespace quorvel
