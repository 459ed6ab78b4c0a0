#pragma once
// The parts of the quorvel module, each registering its functions and classes.

#include <pybind11/pybind11.h>

namespace qvpy {

void bindArrays(pybind11::module_& m);
void bindRecording(pybind11::module_& m);
void bindChunks(pybind11::module_& m);
void bindWriter(pybind11::module_& m);
void bindCameras(pybind11::module_& m);

} // namespace qvpy
