#include "errors.h"

#include <cerrno>
#include <sys/stat.h>

namespace qvpy {

void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw pybind11::error_already_set();
}

void raiseOpenError(const std::string& path, const std::string& message) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            raise(PyExc_FileNotFoundError, message);
        if (errno == EACCES)
            raise(PyExc_PermissionError, message);
        raise(PyExc_OSError, message);
    }
    if (S_ISDIR(st.st_mode))
        raise(PyExc_IsADirectoryError, message);
    if (message.find("Permission denied") != std::string::npos)
        raise(PyExc_PermissionError, message);
    raise(PyExc_ValueError, message);
}

} // namespace qvpy
