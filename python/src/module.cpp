// The quorvel Python module: recordings and cameras of the Quorvel SDK as NumPy arrays.

#include "bindings.h"

PYBIND11_MODULE(quorvel, m) {
    m.doc() = "Event recordings and event cameras of the Quorvel SDK as NumPy arrays.\n\n"
              "quorvel.open(path) reads .raw (EVT 2.0, 2.1, 3.0) and .dat recordings; quorvel.write() writes "
              "EVT 3.0; quorvel.cameras() and quorvel.Camera(serial) stream and record cameras. Events are "
              "structured arrays of EVENT_DTYPE (t: uint64 microseconds, x, y: uint16, p: uint8 with 1 = ON).";
    m.attr("__version__") = QV_VERSION;
    qvpy::bindArrays(m);
    qvpy::bindRecording(m);
    qvpy::bindChunks(m);
    qvpy::bindWriter(m);
    qvpy::bindCameras(m);
}
