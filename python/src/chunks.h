#pragma once
// Recording.chunks(): iterating a recording as arrays of a fixed number of events or of a fixed
// time span, in one buffer that every chunk reuses.

#include "quorvel/DvsFileReader.h"

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>

namespace qvpy {

/// The iterator over [startUs, endUs) of `reader`: `nEvents` events per chunk, or, when nEvents
/// is 0, the events of each `durationUs` window from startUs (or the first event) on.
pybind11::object makeChunks(std::shared_ptr<quorvel::DvsFileReader> reader, uint64_t startUs, uint64_t endUs,
                            bool startGiven, size_t nEvents, uint64_t durationUs);

} // namespace qvpy
