#include "chunks.h"

#include "bindings.h"
#include "errors.h"
#include "event_arrays.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace py = pybind11;
using namespace quorvel;

namespace qvpy {

namespace {

// Time windows are filled this many events at a time, so that little is decoded past a window.
constexpr size_t kWindowStep = 1u << 16;
constexpr size_t kFirstWindowCapacity = 1u << 20;

bool lessTs(const Event2D& e, uint64_t t) { return e.timestamp < t; }

class EventChunks {
public:
    EventChunks(std::shared_ptr<DvsFileReader> reader, uint64_t start, uint64_t end, bool startGiven, size_t nEvents,
                uint64_t durationUs)
        : m_reader(std::move(reader)), m_stream(m_reader->openEventStream(start, end)), m_end(end),
          m_nEvents(nEvents), m_duration(durationUs), m_windowStart(start), m_startKnown(startGiven) {
        m_buf = EventBuffer::create(nEvents ? nEvents : kFirstWindowCapacity);
    }

    py::array next() {
        // Two threads stepping one iterator would write the same buffer at once.
        if (m_busy.exchange(true))
            raise(PyExc_RuntimeError, "this chunk iterator is being used by another thread");
        struct Done {
            std::atomic<bool>& f;
            ~Done() { f = false; }
        } done{m_busy};
        size_t count = 0;
        bool more = false;
        {
            py::gil_scoped_release nogil;
            more = m_nEvents ? nextCount(count) : nextWindow(count);
        }
        if (m_stream->failed())
            raise(PyExc_OSError, "cannot read the recording: " + m_stream->lastError());
        if (!more)
            throw py::stop_iteration();
        return eventsOver(m_buf, count);
    }

private:
    bool nextCount(size_t& count) {
        count = m_stream->read(m_buf->data(), m_nEvents);
        return count > 0;
    }

    // The events of [m_windowStart, m_windowStart + duration) at the front of the buffer; events
    // already decoded past the window wait behind them for the next window.
    bool nextWindow(size_t& count) {
        Event2D* data = m_buf->data();
        if (m_head) {
            std::memmove(static_cast<void*>(data), data + m_head, (m_tail - m_head) * sizeof(Event2D));
            m_tail -= m_head;
            m_head = 0;
        }
        if (!m_startKnown) {
            fillWhile([&] { return m_tail == 0; });
            if (m_tail == 0)
                return false; // no events at all
            m_windowStart = data[0].timestamp;
            m_startKnown = true;
        }
        if (m_windowStart >= m_end)
            return false;
        const uint64_t windowEnd = std::min(m_end, m_windowStart > UINT64_MAX - m_duration ? UINT64_MAX : m_windowStart + m_duration);
        fillWhile([&] { return m_tail == 0 || m_buf->data()[m_tail - 1].timestamp < windowEnd; });
        data = m_buf->data();
        if (m_tail == 0)
            return false; // every event was handed out: no more windows
        count = static_cast<size_t>(std::lower_bound(data, data + m_tail, windowEnd, lessTs) - data);
        m_head = count;
        m_windowStart = windowEnd;
        return true;
    }

    template <typename Cond>
    void fillWhile(Cond more) {
        while (more() && !m_stream->atEnd()) {
            if (m_tail == m_buf->capacity()) {
                // A window larger than the buffer: a new one, the old one stays with its arrays.
                auto bigger = EventBuffer::create(m_buf->capacity() * 2);
                std::memcpy(static_cast<void*>(bigger->data()), m_buf->data(), m_tail * sizeof(Event2D));
                m_buf = std::move(bigger);
            }
            m_tail += m_stream->read(m_buf->data() + m_tail, std::min(kWindowStep, m_buf->capacity() - m_tail));
        }
    }

    std::shared_ptr<DvsFileReader> m_reader;
    std::unique_ptr<DvsEventStream> m_stream;
    const uint64_t m_end;
    const size_t m_nEvents;
    const uint64_t m_duration;
    uint64_t m_windowStart;
    bool m_startKnown;
    std::shared_ptr<EventBuffer> m_buf;
    size_t m_head = 0, m_tail = 0;
    std::atomic<bool> m_busy{false};
};

} // namespace

py::object makeChunks(std::shared_ptr<DvsFileReader> reader, uint64_t startUs, uint64_t endUs, bool startGiven,
                      size_t nEvents, uint64_t durationUs) {
    return py::cast(new EventChunks(std::move(reader), startUs, endUs, startGiven, nEvents, durationUs),
                    py::return_value_policy::take_ownership);
}

void bindChunks(py::module_& m) {
    py::class_<EventChunks>(m, "EventChunks",
                            "Iterator of Recording.chunks(): arrays of EVENT_DTYPE that share one buffer (each "
                            "chunk is overwritten by the next; copy what you keep).")
        .def("__iter__", [](EventChunks& c) -> EventChunks& { return c; }, "Returns the iterator itself.")
        .def("__next__", &EventChunks::next,
             "The next chunk; StopIteration after the last. OSError on a read error. The GIL is released "
             "while decoding.");
}

} // namespace qvpy
