#include "event_arrays.h"

#include "bindings.h"

#include <cstddef>
#include <cstring>
#include <vector>

namespace py = pybind11;
using quorvel::Event2D;
using quorvel::EventTriggerIn;

namespace qvpy {

static_assert(offsetof(Event2D, x) == 0 && offsetof(Event2D, y) == 2 && offsetof(Event2D, polarity) == 4 &&
              offsetof(Event2D, timestamp) == 8 && sizeof(Event2D) == 16);
static_assert(offsetof(EventTriggerIn, polarity) == 0 && offsetof(EventTriggerIn, timestamp) == 8 &&
              offsetof(EventTriggerIn, id) == 16 && sizeof(EventTriggerIn) == 24);

namespace {

py::dtype makeDtype(py::tuple names, py::tuple formats, py::tuple offsets, size_t itemsize) {
    py::dict d;
    d["names"] = names;
    d["formats"] = formats;
    d["offsets"] = offsets;
    d["itemsize"] = itemsize;
    return py::dtype::from_args(d);
}

} // namespace

py::dtype eventDtype() {
    // Made once and kept for the life of the process (never destroyed after the interpreter).
    static auto* dt = new py::dtype(makeDtype(py::make_tuple("t", "x", "y", "p"),
                                              py::make_tuple("<u8", "<u2", "<u2", "u1"), py::make_tuple(8, 0, 2, 4),
                                              sizeof(Event2D)));
    return *dt;
}

py::dtype triggerDtype() {
    static auto* dt = new py::dtype(makeDtype(py::make_tuple("t", "p", "id"), py::make_tuple("<u8", "<i2", "<i2"),
                                              py::make_tuple(8, 0, 16), sizeof(EventTriggerIn)));
    return *dt;
}

py::array eventsOver(const std::shared_ptr<EventBuffer>& buffer, size_t count) {
    py::capsule owner(new std::shared_ptr<EventBuffer>(buffer),
                      [](void* p) { delete static_cast<std::shared_ptr<EventBuffer>*>(p); });
    return py::array(eventDtype(), {static_cast<py::ssize_t>(count)}, {static_cast<py::ssize_t>(sizeof(Event2D))},
                     buffer->data(), owner);
}

py::array copyEvents(const Event2D* events, size_t count) {
    py::array a(eventDtype(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(count)});
    if (count)
        std::memcpy(a.mutable_data(), events, count * sizeof(Event2D));
    return a;
}

py::array copyTriggers(const EventTriggerIn* triggers, size_t count) {
    py::array a(triggerDtype(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(count)});
    if (count)
        std::memcpy(a.mutable_data(), triggers, count * sizeof(EventTriggerIn));
    return a;
}

void bindArrays(py::module_& m) {
    m.attr("EVENT_DTYPE") = eventDtype();
    m.attr("TRIGGER_DTYPE") = triggerDtype();
    m.def(
        "_last_page_choice",
        [] {
            const PageChoice c = lastPageChoice();
            py::dict d;
            d["huge_mib"] = c.hugeMiB;
            d["small_mib"] = c.smallMiB;
            d["huge_ms"] = c.hugeMs;
            d["small_ms"] = c.smallMs;
            return d;
        },
        "How the pages of the last large array were populated: {'huge_mib', 'small_mib'} with the last "
        "milliseconds 32 MiB of each kind took ('huge_ms', 'small_ms'; 0 when not tried). For the "
        "benchmark; QUORVEL_HUGE_PAGES=1 or 0 forces one kind.");
}

} // namespace qvpy
