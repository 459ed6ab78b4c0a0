// quorvel.write(): an EVT 3.0 recording from NumPy arrays, through the SDK's RawFileWriter.

#include "bindings.h"
#include "errors.h"
#include "event_arrays.h"

#include "quorvel/raw/RawFileWriter.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace py = pybind11;
using namespace quorvel;

namespace qvpy {

namespace {

constexpr size_t kBatch = 1u << 16;

// One integer column of any NumPy integer or bool type and any stride, read without the GIL
// (the caller keeps the array alive).
class Column {
public:
    Column(const std::string& name, py::handle obj) : m_name(name) {
        m_array = py::array::ensure(obj);
        if (!m_array || m_array.ndim() != 1)
            raise(PyExc_ValueError, "'" + name + "' must be a one-dimensional array");
        const char kind = m_array.dtype().kind();
        if (kind != 'i' && kind != 'u' && kind != 'b')
            raise(PyExc_TypeError, "'" + name + "' must hold integers, not " + std::string(py::str(m_array.dtype())));
        m_signed = kind == 'i';
        m_size = static_cast<size_t>(m_array.itemsize());
        if (!m_array.dtype().attr("isnative").cast<bool>())
            raise(PyExc_ValueError, "'" + name + "' must be in the machine's byte order");
        m_data = static_cast<const char*>(m_array.data());
        m_stride = m_array.strides(0);
        m_length = static_cast<size_t>(m_array.shape(0));
    }

    const std::string& name() const { return m_name; }
    size_t size() const { return m_length; }

    /// Element i as a signed 64-bit value; unsigned values beyond its range come back as -1,
    /// which every check below refuses.
    int64_t at(size_t i) const {
        const char* p = m_data + static_cast<ptrdiff_t>(i) * m_stride;
        switch (m_size) {
        case 1: return m_signed ? int64_t{*reinterpret_cast<const int8_t*>(p)} : int64_t{*reinterpret_cast<const uint8_t*>(p)};
        case 2: return m_signed ? int64_t{*reinterpret_cast<const int16_t*>(p)} : int64_t{*reinterpret_cast<const uint16_t*>(p)};
        case 4: return m_signed ? int64_t{*reinterpret_cast<const int32_t*>(p)} : int64_t{*reinterpret_cast<const uint32_t*>(p)};
        default: {
            if (m_signed)
                return *reinterpret_cast<const int64_t*>(p);
            const uint64_t v = *reinterpret_cast<const uint64_t*>(p);
            return v > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) ? -1 : static_cast<int64_t>(v);
        }
        }
    }

    /// Element i of a time column: unsigned values keep their full range; -1 for negative ones.
    bool time(size_t i, uint64_t& out) const {
        if (!m_signed && m_size == 8) {
            out = *reinterpret_cast<const uint64_t*>(m_data + static_cast<ptrdiff_t>(i) * m_stride);
            return true;
        }
        const int64_t v = at(i);
        out = static_cast<uint64_t>(v);
        return v >= 0;
    }

private:
    std::string m_name;
    py::array m_array;
    const char* m_data = nullptr;
    ptrdiff_t m_stride = 0;
    size_t m_length = 0, m_size = 0;
    bool m_signed = false;
};

bool hasField(py::handle obj, const char* name) {
    if (!py::isinstance<py::array>(obj))
        return false;
    py::object names = py::reinterpret_borrow<py::array>(obj).dtype().attr("names");
    return !names.is_none() && names.contains(name);
}

// The columns of a structured array (by field name) or of a sequence of arrays (by position).
std::vector<Column> columns(py::handle obj, const char* what, const std::vector<const char*>& names, size_t required) {
    std::vector<Column> cols;
    if (py::isinstance<py::array>(obj) && !py::reinterpret_borrow<py::array>(obj).dtype().attr("names").is_none()) {
        for (size_t i = 0; i < names.size(); ++i) {
            if (hasField(obj, names[i]))
                cols.emplace_back(names[i], obj[py::str(names[i])]);
            else if (i < required)
                raise(PyExc_ValueError, std::string(what) + " need a field '" + names[i] + "'");
        }
    } else if (py::isinstance<py::array>(obj)) {
        // A plain (n, k) array: one column per field, in order (what `quorvel dump` prints).
        auto a = py::reinterpret_borrow<py::array>(obj);
        if (a.ndim() != 2 || a.shape(1) < static_cast<py::ssize_t>(required) ||
            a.shape(1) > static_cast<py::ssize_t>(names.size()))
            raise(PyExc_ValueError, std::string(what) + " as a plain array must have shape (n, " +
                                        std::to_string(required) + ")" +
                                        (required < names.size() ? " or (n, " + std::to_string(names.size()) + ")" : ""));
        for (py::ssize_t i = 0; i < a.shape(1); ++i)
            cols.emplace_back(names[static_cast<size_t>(i)], obj[py::make_tuple(py::slice(py::none(), py::none(), py::none()), i)]);
    } else if (py::isinstance<py::sequence>(obj) && !py::isinstance<py::str>(obj)) {
        auto seq = py::reinterpret_borrow<py::sequence>(obj);
        if (seq.size() < required || seq.size() > names.size())
            raise(PyExc_ValueError, std::string(what) + " must be a structured array or " + std::to_string(required) +
                                        (required < names.size() ? " or " + std::to_string(names.size()) : "") +
                                        " arrays (" + names[0] + ", " + names[1] + ", ...)");
        for (size_t i = 0; i < seq.size(); ++i)
            cols.emplace_back(names[i], seq[i]);
    } else {
        raise(PyExc_TypeError, std::string(what) + " must be a structured array or a sequence of arrays");
    }
    for (const auto& c : cols)
        if (c.size() != cols[0].size())
            raise(PyExc_ValueError, std::string(what) + ": '" + c.name() + "' has " + std::to_string(c.size()) +
                                        " elements, '" + cols[0].name() + "' " + std::to_string(cols[0].size()));
    return cols;
}

std::string at(const std::string& name, size_t i) { return name + "[" + std::to_string(i) + "]"; }

// Converts and checks events [begin, end); returns the first problem, "" when there is none.
std::string loadEvents(const std::vector<Column>& c, size_t begin, size_t end, uint32_t width, uint32_t height,
                       uint64_t& prev, std::vector<Event2D>& out) {
    out.resize(end - begin);
    for (size_t i = begin; i < end; ++i) {
        uint64_t t = 0;
        if (!c[0].time(i, t))
            return at("t", i) + " is negative";
        if (t < prev)
            return "event times must not decrease: " + at("t", i) + " = " + std::to_string(t) + " comes after " +
                   at("t", i - 1) + " = " + std::to_string(prev) + " (sort the events by time first)";
        prev = t;
        const int64_t x = c[1].at(i), y = c[2].at(i), p = c[3].at(i);
        if (x < 0 || x >= width || y < 0 || y >= height)
            return "event " + std::to_string(i) + " at x=" + std::to_string(x) + ", y=" + std::to_string(y) +
                   " is outside the " + std::to_string(width) + "x" + std::to_string(height) + " sensor";
        if (p != 0 && p != 1)
            return at("p", i) + " = " + std::to_string(p) + ": polarity must be 0 (OFF) or 1 (ON)";
        out[i - begin] = Event2D(static_cast<uint16_t>(x), static_cast<uint16_t>(y), static_cast<uint8_t>(p), t);
    }
    return {};
}

std::string loadTriggers(const std::vector<Column>& c, std::vector<EventTriggerIn>& out) {
    const size_t n = c.empty() ? 0 : c[0].size();
    out.resize(n);
    uint64_t prev = 0;
    for (size_t i = 0; i < n; ++i) {
        uint64_t t = 0;
        if (!c[0].time(i, t))
            return "trigger " + at("t", i) + " is negative";
        if (t < prev)
            return "trigger times must not decrease: " + at("t", i) + " = " + std::to_string(t) + " comes after " +
                   std::to_string(prev);
        prev = t;
        const int64_t p = c[1].at(i), id = c.size() > 2 ? c[2].at(i) : 0;
        if (p != 0 && p != 1)
            return "trigger " + at("p", i) + " = " + std::to_string(p) + ": an edge is 0 (falling) or 1 (rising)";
        if (id < 0 || id > std::numeric_limits<int16_t>::max())
            return "trigger " + at("id", i) + " = " + std::to_string(id) + " is not a channel number";
        out[i] = EventTriggerIn(static_cast<int16_t>(id), static_cast<int16_t>(p), t);
    }
    return {};
}

// Events converted and written a batch at a time, each batch with the trigger edges up to its last
// event's time. A problem found on the way stops the write; the caller aborts it, so that nothing
// appears under the target name.
bool writeAll(RawFileWriter& w, const std::vector<Column>& ev, uint32_t width, uint32_t height,
              const std::vector<EventTriggerIn>& tr, std::string& problem) {
    std::vector<Event2D> batch;
    uint64_t prev = 0;
    size_t ti = 0;
    const size_t n = ev[0].size();
    for (size_t b = 0; b < n; b += kBatch) {
        const size_t e = std::min(n, b + kBatch);
        problem = loadEvents(ev, b, e, width, height, prev, batch);
        if (!problem.empty())
            return false;
        const size_t from = ti;
        while (ti < tr.size() && tr[ti].timestamp <= batch.back().timestamp)
            ++ti;
        if (!w.write(batch.data(), batch.data() + batch.size(), tr.data() + from, tr.data() + ti))
            return false;
    }
    return w.write(nullptr, nullptr, tr.data() + ti, tr.data() + tr.size());
}

} // namespace

size_t writeRecording(const std::string& path, py::handle events, uint32_t width, uint32_t height,
                      py::handle triggers, const std::string& serial) {
    if (width == 0 || height == 0 || width > 2048 || height > 2048)
        raise(PyExc_ValueError, "width and height must be 1 .. 2048 (got " + std::to_string(width) + "x" +
                                    std::to_string(height) + ")");
    const auto ev = columns(events, "events", {"t", "x", "y", "p"}, 4);
    const auto tr = triggers.is_none() ? std::vector<Column>{} : columns(triggers, "triggers", {"t", "p", "id"}, 2);
    std::string problem, error;
    size_t written = 0;
    {
        py::gil_scoped_release nogil;
        std::vector<EventTriggerIn> trs;
        problem = loadTriggers(tr, trs);
        if (problem.empty()) {
            RawFileWriter w;
            RawFileWriter::Options o;
            o.width = width;
            o.height = height;
            o.serial = serial;
            o.atomic = true; // a failed or refused write leaves nothing under `path`
            if (!w.open(path, o) || !writeAll(w, ev, width, height, trs, problem) || !w.close()) {
                if (problem.empty())
                    error = w.lastError();
                w.abort();
            } else {
                written = static_cast<size_t>(w.eventsWritten());
            }
        }
    }
    if (!problem.empty())
        raise(PyExc_ValueError, problem);
    if (!error.empty())
        raise(PyExc_OSError, "cannot write '" + path + "': " + error);
    return written;
}

void bindWriter(py::module_& m) {
    m.def("write", &writeRecording, py::arg("path"), py::arg("events"), py::arg("width"), py::arg("height"),
          py::arg("triggers") = py::none(), py::arg("serial") = "",
          "Writes an EVT 3.0 recording of a width x height sensor to `path` and returns the number of events "
          "written.\n\n"
          "`events` is a structured array with fields t, x, y, p (EVENT_DTYPE or any integer types), a "
          "sequence of four arrays (t, x, y, p) or an (n, 4) array of those columns; `triggers` likewise "
          "with fields t, p and optionally id (TRIGGER_DTYPE). Times are microseconds and must not decrease; x < width, y < height, p is 0 or 1. "
          "Anything else raises ValueError before a byte is written. The file appears only when complete "
          "(OSError otherwise). The GIL is released while encoding.");
}

} // namespace qvpy
