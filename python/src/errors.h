#pragma once
// Python exceptions carrying the SDK's messages.

#include <pybind11/pybind11.h>

#include <string>

namespace qvpy {

/// Raises `type` (a Python exception class such as PyExc_ValueError) with `message`.
[[noreturn]] void raise(PyObject* type, const std::string& message);

/// Raises what fits a recording that cannot be opened: FileNotFoundError when nothing is at
/// `path`, PermissionError when it cannot be read, IsADirectoryError for a folder, ValueError
/// for a file that is not a recording. `message` is the SDK's text.
[[noreturn]] void raiseOpenError(const std::string& path, const std::string& message);

} // namespace qvpy
