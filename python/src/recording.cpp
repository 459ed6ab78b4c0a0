// quorvel.open() / quorvel.Recording: a recording read through the SDK's DvsFileReader.

#include "bindings.h"
#include "chunks.h"
#include "errors.h"
#include "event_arrays.h"

#include "quorvel/DvsFileReader.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace py = pybind11;
using namespace quorvel;

namespace qvpy {

namespace {

// The decoder fills the array in slices so that the prefaulting thread knows where it is.
constexpr size_t kReadSlice = 4u << 20;

class Recording {
public:
    Recording(Recording&& o) noexcept : m_path(std::move(o.m_path)), m_reader(std::move(o.m_reader)) {}
    explicit Recording(const std::string& path) : m_path(path) {
        std::unique_ptr<DvsFileReader> r;
        {
            py::gil_scoped_release nogil;
            r = DvsFileReader::createFileReader(path);
        }
        if (!r)
            raiseOpenError(path, DvsFileReader::lastCreateError());
        m_reader = std::move(r);
    }

    /// The reader, shared so that a close() on another thread cannot pull it away mid-call.
    std::shared_ptr<DvsFileReader> reader() const {
        std::shared_ptr<DvsFileReader> r;
        {
            std::lock_guard lock(m_mutex);
            r = m_reader;
        }
        if (!r)
            raise(PyExc_ValueError, "the recording '" + m_path + "' is closed");
        return r;
    }

    void close() {
        std::shared_ptr<DvsFileReader> r;
        std::lock_guard lock(m_mutex);
        r.swap(m_reader);
    }
    bool closed() const {
        std::lock_guard lock(m_mutex);
        return !m_reader;
    }
    const std::string& path() const { return m_path; }

    DvsFileStats stats() const {
        auto r = reader();
        DvsFileStats s;
        bool ok = false;
        {
            py::gil_scoped_release nogil;
            ok = r->getFileStats(s);
        }
        if (!ok)
            raise(PyExc_OSError, "cannot index '" + m_path + "': " + r->lastError());
        return s;
    }

    py::dict info() const {
        auto r = reader();
        const DvsFileStats s = stats();
        const bool any = s.events > 0;
        py::dict d;
        d["format"] = r->formatName();
        d["width"] = r->getWidth();
        d["height"] = r->getHeight();
        d["serial"] = r->serialNumber();
        d["date"] = r->headerDate();
        d["first_ts"] = any ? py::object(py::int_(s.firstTimestamp)) : py::object(py::none());
        d["last_ts"] = any ? py::object(py::int_(s.lastTimestamp)) : py::object(py::none());
        d["duration_us"] = any ? s.lastTimestamp - s.firstTimestamp : 0;
        d["events"] = s.events;
        d["on_events"] = s.onEvents;
        d["triggers"] = s.triggers;
        d["errors"] = s.errors();
        return d;
    }

    py::array read(std::optional<uint64_t> startUs, std::optional<uint64_t> endUs) const {
        const uint64_t start = startUs.value_or(0), end = endUs.value_or(std::numeric_limits<uint64_t>::max());
        if (end < start)
            raise(PyExc_ValueError, "end_us (" + std::to_string(end) + ") is before start_us (" +
                                        std::to_string(start) + ")");
        auto r = reader();
        std::shared_ptr<EventBuffer> buf;
        size_t n = 0;
        std::string error;
        {
            py::gil_scoped_release nogil;
            try {
                n = decodeRange(*r, start, end, buf, error);
            } catch (const std::bad_alloc&) {
                error = "not enough memory for the events of the range";
            }
        }
        if (!error.empty())
            raise(error.rfind("not enough memory", 0) == 0 ? PyExc_MemoryError : PyExc_OSError,
                  "cannot read '" + m_path + "': " + error);
        return eventsOver(buf, n);
    }

    py::array triggers() const {
        auto r = reader();
        const DvsFileStats s = stats();
        if (s.triggers == 0)
            return copyTriggers(nullptr, 0);
        std::vector<EventTriggerIn> list;
        try {
            list = r->getTriggerList();
        } catch (const std::runtime_error&) {
            // no trigger records after all
        }
        return copyTriggers(list.data(), list.size());
    }

    void cut(const std::string& out, uint64_t startUs, uint64_t endUs) const {
        if (startUs > endUs)
            raise(PyExc_ValueError, "start_us (" + std::to_string(startUs) + ") is after end_us (" +
                                        std::to_string(endUs) + ")");
        auto r = reader();
        bool ok = false;
        {
            py::gil_scoped_release nogil;
            ok = r->exportRawRange(startUs, endUs, out);
        }
        if (!ok)
            raise(PyExc_OSError, r->lastError());
    }

    py::object chunks(std::optional<size_t> nEvents, std::optional<uint64_t> durationUs, std::optional<uint64_t> startUs,
                      std::optional<uint64_t> endUs) const {
        if (nEvents.has_value() == durationUs.has_value())
            raise(PyExc_TypeError, "chunks() takes either n_events or duration_us");
        if ((nEvents && *nEvents == 0) || (durationUs && *durationUs == 0))
            raise(PyExc_ValueError, "chunks() needs a chunk size above 0");
        const uint64_t start = startUs.value_or(0), end = endUs.value_or(std::numeric_limits<uint64_t>::max());
        if (end < start)
            raise(PyExc_ValueError, "end_us is before start_us");
        auto r = reader();
        if (startUs) {
            // Seeking goes through the index (built in the background since opening).
            py::gil_scoped_release nogil;
            r->waitForIndex();
        }
        return makeChunks(std::move(r), start, end, startUs.has_value(), nEvents.value_or(0), durationUs.value_or(0));
    }

private:
    // Decodes [start, end) into a buffer sized from the index, with large buffers prefaulted.
    static size_t decodeRange(DvsFileReader& r, uint64_t start, uint64_t end, std::shared_ptr<EventBuffer>& buf,
                              std::string& error) {
        // Seeking and sizing use the index: built in the background since opening (or loaded
        // from the cache), so this rarely waits.
        r.waitForIndex();
        auto stream = r.openEventStream(start, end);
        buf = EventBuffer::create(static_cast<size_t>(std::min<uint64_t>(r.maxEventsInRange(start, end),
                                                                         std::numeric_limits<size_t>::max() / 32)));
        size_t n = 0;
        std::atomic<size_t> written{0};
        std::unique_ptr<Prefaulter> prefaulter;
        if (buf->bytes() >= EventBuffer::kLargeBytes) {
            char* data = reinterpret_cast<char*>(buf->data());
            prefaulter = std::make_unique<Prefaulter>(data, data + buf->bytes(), written, pageModeFromEnvironment());
        }
        while (!stream->atEnd()) {
            if (n == buf->capacity()) {
                // Only a bound from an index that failed can be short; the pages move, no copy.
                prefaulter.reset();
                buf->grow(std::max<size_t>(buf->capacity() * 2, 1u << 16));
            }
            n += stream->read(buf->data() + n, std::min(kReadSlice, buf->capacity() - n));
            written.store(n * sizeof(Event2D), std::memory_order_relaxed);
        }
        prefaulter.reset();
        if (stream->failed()) {
            error = stream->lastError();
            return 0;
        }
        buf->trim(n);
        return n;
    }

    std::string m_path;
    mutable std::mutex m_mutex;
    std::shared_ptr<DvsFileReader> m_reader;
};

} // namespace

void bindRecording(py::module_& m) {
    py::class_<Recording>(m, "Recording",
                          "An event recording (.raw in EVT 2.0, 2.1 or 3.0, or .dat) opened for reading.\n\n"
                          "Times are the sensor's own microseconds, never shifted to zero. The seek index is "
                          "built in the background on opening (or loaded from the cache folder, "
                          "$XDG_CACHE_HOME/Quorvel), never written beside the recording.")
        .def(py::init<const std::string&>(), py::arg("path"),
             "Opens the recording at `path`. Raises FileNotFoundError when there is no such file and "
             "ValueError when the file is not a recording the SDK reads, with the SDK's message.")
        .def_property_readonly("path", &Recording::path, "The path the recording was opened with.")
        .def_property_readonly(
            "format", [](const Recording& r) { return r.reader()->formatName(); },
            "'EVT2', 'EVT21', 'EVT3' or 'DAT'.")
        .def_property_readonly(
            "width", [](const Recording& r) { return r.reader()->getWidth(); }, "Sensor width in pixels (0 if unknown).")
        .def_property_readonly(
            "height", [](const Recording& r) { return r.reader()->getHeight(); }, "Sensor height in pixels (0 if unknown).")
        .def_property_readonly("info", &Recording::info,
                               "What `quorvel info --json` prints, as a dict: format, width, height, serial, "
                               "date, first_ts, last_ts (None without events), duration_us, events, on_events, "
                               "triggers, errors. Waits for the index.")
        .def("read", &Recording::read, py::arg("start_us") = py::none(), py::arg("end_us") = py::none(),
             "Returns the events with start_us <= t < end_us (default: the whole recording) as one array of "
             "EVENT_DTYPE (fields t, x, y, p), exactly the events `quorvel dump` prints. Large arrays are "
             "filled at decoding speed (huge pages where they are cheaper, pages populated ahead on a second "
             "thread); the GIL is released while decoding.")
        .def("chunks", &Recording::chunks, py::kw_only(), py::arg("n_events") = py::none(),
             py::arg("duration_us") = py::none(), py::arg("start_us") = py::none(), py::arg("end_us") = py::none(),
             "Iterates the events of [start_us, end_us) as arrays of EVENT_DTYPE: n_events events each (the "
             "last one fewer), or the events of each duration_us window from start_us (default: the first "
             "event) on, empty arrays for quiet windows, until the last event. Every chunk is written into "
             "the same memory as the one before it: keep a chunk beyond the next step with chunk.copy(). "
             "Memory stays flat over any file length.")
        .def("triggers", &Recording::triggers,
             "The trigger-input edges of the whole recording as an array of TRIGGER_DTYPE (fields t, p, id), "
             "in file order; empty when the recording has none. Waits for the index.")
        .def("cut", &Recording::cut, py::arg("out"), py::arg("start_us"), py::arg("end_us"),
             "Writes the events with start_us <= t <= end_us (both ends included, like `quorvel cut`) and the "
             "triggers of that range to the new recording `out`; EVT 3.0 and EVT 2.0 keep their format. "
             "Nothing appears at `out` when the cut fails (OSError).")
        .def("close", &Recording::close, "Closes the recording; arrays already read stay valid.")
        .def_property_readonly("closed", &Recording::closed, "True after close().")
        .def("__enter__", [](Recording& r) -> Recording& { return r; }, "Returns the recording itself.")
        .def(
            "__exit__", [](Recording& r, py::args) { r.close(); }, "Closes the recording.")
        .def(
            "__repr__",
            [](const Recording& r) {
                if (r.closed())
                    return "<quorvel.Recording '" + r.path() + "' closed>";
                auto rd = r.reader();
                return "<quorvel.Recording '" + r.path() + "' " + rd->formatName() + " " +
                       std::to_string(rd->getWidth()) + "x" + std::to_string(rd->getHeight()) + ">";
            },
            "Path, format and geometry.");

    m.def(
        "open", [](const std::string& path) { return Recording(path); }, py::arg("path"),
        "Opens a recording for reading: quorvel.Recording(path). Usable in a with statement.");
}

} // namespace qvpy
