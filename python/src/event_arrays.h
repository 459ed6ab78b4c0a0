#pragma once
// NumPy views of the SDK's records.
//
// An event array has the dtype EVENT_DTYPE: fields t (uint64, microseconds), x, y (uint16) and
// p (uint8, 1 = ON), laid out exactly like quorvel::Event2D (16 bytes, t at offset 8), so that
// decoders write straight into array memory. Trigger arrays have TRIGGER_DTYPE: t (uint64),
// p (int16, 1 = rising edge) and id (int16, the channel), laid out like EventTriggerIn.

#include "event_buffer.h"

#include "quorvel/Event2D.h"

#include <pybind11/numpy.h>

#include <memory>

namespace qvpy {

pybind11::dtype eventDtype();
pybind11::dtype triggerDtype();

/// `count` events at the front of `buffer`, which the array keeps alive. Needs the GIL.
pybind11::array eventsOver(const std::shared_ptr<EventBuffer>& buffer, size_t count);
/// A new array holding a copy of the events. Needs the GIL.
pybind11::array copyEvents(const quorvel::Event2D* events, size_t count);
pybind11::array copyTriggers(const quorvel::EventTriggerIn* triggers, size_t count);

} // namespace qvpy
