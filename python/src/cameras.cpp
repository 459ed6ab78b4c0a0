// quorvel.cameras() / quorvel.Camera: the SDK's cameras (simulated, replayed recordings, network
// cameras served by quorvel-camd) streaming into NumPy arrays.

#include "bindings.h"
#include "errors.h"
#include "event_arrays.h"

#include "quorvel/DvsCameraManager.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <map>
#include <thread>

namespace py = pybind11;
using namespace quorvel;

namespace qvpy {

namespace {

std::string folded(const std::string& s) {
    std::string out;
    for (char c : s)
        if (c != ' ' && c != '_')
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

py::dict describe(const CameraDescription& d) {
    // The keys of `quorvel cameras --json`.
    py::dict o;
    o["serial"] = d.serial;
    o["product"] = d.product;
    o["manufacturer"] = d.manufacturer;
    o["interface"] = d.interfaceType;
    o["ip"] = d.ip;
    o["local_ip"] = d.localIp;
    o["mask"] = d.mask;
    o["gateway"] = d.gateway;
    o["firmware"] = d.firmware;
    o["width"] = d.width;
    o["height"] = d.height;
    return o;
}

const char* typeName(ParameterType t) {
    switch (t) {
    case ParameterType::Int: return "int";
    case ParameterType::Float: return "float";
    case ParameterType::Bool: return "bool";
    case ParameterType::Enum: return "enum";
    default: return "string";
    }
}

class Camera {
public:
    explicit Camera(const std::string& serial) : m_serial(serial) {
        {
            py::gil_scoped_release nogil;
            m_camera = m_manager.openCamera(serial);
        }
        if (!m_camera)
            raise(PyExc_RuntimeError, "cannot open camera '" + serial + "': " + DvsCameraManager::lastError());
    }

    DvsCamera& cam() const {
        if (!m_camera)
            raise(PyExc_ValueError, "the camera '" + m_serial + "' is closed");
        return *m_camera;
    }

    void start() {
        int rc = 0;
        {
            py::gil_scoped_release nogil;
            rc = cam().start();
        }
        if (rc != 0)
            raise(PyExc_RuntimeError, "cannot start camera '" + m_serial + "': " + cam().lastError());
    }

    bool stop() {
        py::gil_scoped_release nogil;
        return cam().stop();
    }

    py::array getEvents() {
        {
            py::gil_scoped_release nogil;
            if (!cam().getEvents(m_events))
                m_events.clear();
        }
        return copyEvents(m_events.data(), m_events.size());
    }

    std::vector<std::string> tools() const {
        std::vector<std::string> names;
        for (const auto& t : cam().getAllToolsInfo())
            if (*toolSectionKey(t.type))
                names.emplace_back(toolSectionKey(t.type));
        return names;
    }

    py::dict params(const std::string& toolName) const {
        auto tool = findTool(toolName);
        std::map<std::string, BasicParameterInfo> infos;
        tool->getAllParamsInfo(infos);
        py::dict out;
        for (const auto& [name, info] : infos) {
            py::dict d;
            d["type"] = typeName(info.type);
            d["description"] = info.description;
            switch (info.type) {
            case ParameterType::Int: {
                IntParameterInfo i;
                if (tool->getIntParamInfo(name, i)) {
                    d["min"] = i.min, d["max"] = i.max, d["default"] = i.default_value, d["unit"] = i.unit;
                }
                break;
            }
            case ParameterType::Float: {
                FloatParameterInfo f;
                if (tool->getFloatParamInfo(name, f)) {
                    d["min"] = f.min, d["max"] = f.max, d["default"] = f.default_value, d["unit"] = f.unit;
                }
                break;
            }
            case ParameterType::Bool: {
                BoolParameterInfo b;
                if (tool->getBoolParamInfo(name, b))
                    d["default"] = b.default_value;
                break;
            }
            case ParameterType::Enum: {
                EnumParameterInfo e;
                if (tool->getEnumParamInfo(name, e)) {
                    d["options"] = e.options, d["default"] = e.default_value;
                }
                break;
            }
            default: break;
            }
            out[py::str(name)] = d;
        }
        return out;
    }

    py::object get(const std::string& toolName, const std::string& name) const {
        auto tool = findTool(toolName);
        switch (paramType(*tool, toolName, name)) {
        case ParameterType::Int: {
            int v = 0;
            if (tool->getIntParam(name, v))
                return py::int_(v);
            break;
        }
        case ParameterType::Float: {
            float v = 0;
            if (tool->getFloatParam(name, v))
                return py::float_(v);
            break;
        }
        case ParameterType::Bool: {
            bool v = false;
            if (tool->getBoolParam(name, v))
                return py::bool_(v);
            break;
        }
        default: {
            std::string v;
            if (tool->getEnumParam(name, v))
                return py::str(v);
            break;
        }
        }
        raise(PyExc_RuntimeError, "cannot read " + toolName + "." + name + ": " + cam().lastError());
    }

    void set(const std::string& toolName, const std::string& name, py::handle value) {
        auto tool = findTool(toolName);
        const std::string what = toolName + "." + name;
        bool ok = false;
        std::string expected;
        switch (paramType(*tool, toolName, name)) {
        case ParameterType::Int:
            if (!py::isinstance<py::int_>(value) || py::isinstance<py::bool_>(value))
                raise(PyExc_TypeError, what + " takes an int");
            ok = tool->setIntParam(name, value.cast<int>());
            if (IntParameterInfo i; !ok && tool->getIntParamInfo(name, i))
                expected = " (" + std::to_string(i.min) + " .. " + std::to_string(i.max) + ")";
            break;
        case ParameterType::Float:
            if (!py::isinstance<py::float_>(value) && !py::isinstance<py::int_>(value))
                raise(PyExc_TypeError, what + " takes a number");
            ok = tool->setFloatParam(name, value.cast<float>());
            if (FloatParameterInfo f; !ok && tool->getFloatParamInfo(name, f))
                expected = " (" + std::to_string(f.min) + " .. " + std::to_string(f.max) + ")";
            break;
        case ParameterType::Bool:
            if (!py::isinstance<py::bool_>(value))
                raise(PyExc_TypeError, what + " takes True or False");
            ok = tool->setBoolParam(name, value.cast<bool>());
            break;
        default: {
            if (!py::isinstance<py::str>(value))
                raise(PyExc_TypeError, what + " takes one of its option texts");
            ok = tool->setEnumParam(name, value.cast<std::string>());
            if (EnumParameterInfo e; !ok && tool->getEnumParamInfo(name, e)) {
                expected = " (one of:";
                for (const auto& o : e.options)
                    expected += " '" + o + "'";
                expected += ")";
            }
            break;
        }
        }
        if (!ok)
            raise(PyExc_ValueError, "the camera refused " + what + " = " + std::string(py::repr(value)) + expected);
    }

    size_t record(const std::string& path, double seconds) {
        if (!(seconds > 0) || seconds > 86400)
            raise(PyExc_ValueError, "seconds must be above 0 and at most a day");
        DvsCamera& c = cam();
        const bool wasStreaming = c.isStreaming();
        if (!wasStreaming)
            start();
        bool started = false;
        {
            py::gil_scoped_release nogil;
            started = c.startRecording(path);
        }
        if (!started) {
            if (!wasStreaming)
                stop();
            raise(PyExc_OSError, "cannot record to '" + path + "': " + c.lastError());
        }
        const auto end = std::chrono::steady_clock::now() +
                         std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
        bool interrupted = false;
        while (std::chrono::steady_clock::now() < end && c.isRecording() && c.isConnected()) {
            {
                py::gil_scoped_release nogil;
                std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
                    std::chrono::milliseconds(20), end - std::chrono::steady_clock::now()));
            }
            if (PyErr_CheckSignals() != 0) { // Ctrl-C: finish the file, then let the exception go
                interrupted = true;
                break;
            }
        }
        const bool lost = !c.isConnected();
        bool ok = false;
        {
            py::gil_scoped_release nogil;
            ok = c.stopRecording();
            if (!wasStreaming)
                c.stop();
        }
        if (interrupted)
            throw py::error_already_set();
        if (!ok)
            raise(PyExc_OSError, "recording to '" + path + "' failed: " + c.lastError());
        if (lost)
            raise(PyExc_RuntimeError, "camera '" + m_serial + "' was lost during the recording: " + c.lastError());
        return static_cast<size_t>(c.lastRecordingEventCount());
    }

    void startRecording(const std::string& path) {
        bool ok = false;
        {
            py::gil_scoped_release nogil;
            ok = cam().startRecording(path);
        }
        if (!ok)
            raise(PyExc_OSError, "cannot record to '" + path + "': " + cam().lastError());
    }

    size_t stopRecording() {
        bool ok = false;
        {
            py::gil_scoped_release nogil;
            ok = cam().stopRecording();
        }
        if (!ok)
            raise(PyExc_OSError, "the recording failed or was not running: " + cam().lastError());
        return static_cast<size_t>(cam().lastRecordingEventCount());
    }

    void close() {
        if (!m_camera)
            return;
        py::gil_scoped_release nogil;
        if (m_camera->isRecording())
            m_camera->stopRecording();
        m_camera->stop();
        m_camera.reset();
    }

    const std::string& serial() const { return m_serial; }
    bool closed() const { return !m_camera; }

private:
    std::shared_ptr<CameraTool> findTool(const std::string& name) const {
        const std::string want = folded(name);
        std::string known;
        for (const auto& t : cam().getAllToolsInfo()) {
            if (!*toolSectionKey(t.type))
                continue;
            if (folded(toolSectionKey(t.type)) == want || folded(toolDisplayName(t.type)) == want)
                if (auto tool = cam().getTool(t.type))
                    return tool;
            known += std::string(known.empty() ? "" : ", ") + toolSectionKey(t.type);
        }
        raise(PyExc_KeyError, "camera '" + m_serial + "' has no tool '" + name + "' (it has: " + known + ")");
    }

    static ParameterType paramType(CameraTool& tool, const std::string& toolName, const std::string& name) {
        std::map<std::string, BasicParameterInfo> infos;
        tool.getAllParamsInfo(infos);
        const auto it = infos.find(name);
        if (it == infos.end()) {
            std::string known;
            for (const auto& [n, i] : infos)
                known += (known.empty() ? "" : ", ") + n;
            raise(PyExc_KeyError, "tool '" + toolName + "' has no parameter '" + name + "' (it has: " + known + ")");
        }
        return it->second.type;
    }

    std::string m_serial;
    DvsCameraManager m_manager;
    std::shared_ptr<DvsCamera> m_camera;
    std::vector<Event2D> m_events; ///< swapped with the camera's queue, so its capacity is reused
};

} // namespace

void bindCameras(py::module_& m) {
    m.def(
        "cameras",
        [] {
            std::vector<CameraDescription> list;
            {
                py::gil_scoped_release nogil;
                DvsCameraManager manager;
                list = manager.getCameraDescs();
            }
            py::list out;
            for (const auto& d : list)
                out.append(describe(d));
            return out;
        },
        "Every camera the SDK reaches now, as dicts with the keys of `quorvel cameras --json` (serial, product, "
        "manufacturer, interface, ip, local_ip, mask, gateway, firmware, width, height): the simulated DVS and "
        "fusion cameras (hidden by QUORVEL_VIRTUAL_CAMERAS=0), recordings named in QUORVEL_REPLAY replayed as "
        "live cameras, and network cameras (QUORVEL_DISCOVERY_ADDRS).");

    py::class_<Camera>(m, "Camera",
                       "An open camera. Events collect in the camera's queue while it streams (the newest 8 M are "
                       "kept); get_events() takes them out. Tools are named by their configuration sections "
                       "('Biases', 'TirggerIn', 'AntiFlicker', 'EventTrailFilter', 'EventRateControl', 'ROI', "
                       "'APS') or display names, case and spaces ignored.")
        .def(py::init<const std::string&>(), py::arg("serial"),
             "Opens the camera with this serial (see cameras()). RuntimeError when there is none.")
        .def_property_readonly("serial", &Camera::serial, "The camera's serial.")
        .def_property_readonly(
            "width", [](const Camera& c) { return c.cam().getWidth(); }, "Sensor width in pixels.")
        .def_property_readonly(
            "height", [](const Camera& c) { return c.cam().getHeight(); }, "Sensor height in pixels.")
        .def_property_readonly(
            "description", [](const Camera& c) { return describe(c.cam().getDescription()); },
            "The camera's entry as in cameras().")
        .def("start", &Camera::start, "Starts streaming. RuntimeError with the camera's message when it cannot.")
        .def("stop", &Camera::stop, "Stops streaming; False when it was not streaming.")
        .def_property_readonly(
            "is_streaming", [](const Camera& c) { return c.cam().isStreaming(); }, "True while streaming.")
        .def_property_readonly(
            "is_connected", [](const Camera& c) { return c.cam().isConnected(); },
            "False once the camera is gone (unplugged, or a replayed file became unreadable).")
        .def_property_readonly(
            "dropped_events", [](const Camera& c) { return c.cam().droppedEvents(); },
            "Events the queue dropped because get_events() was not called in time.")
        .def("get_events", &Camera::getEvents,
             "Everything streamed since the previous call as a new array of EVENT_DTYPE (empty when nothing "
             "came).")
        .def("tools", &Camera::tools, "The section names of the tools this camera has.")
        .def("params", &Camera::params, py::arg("tool"),
             "The parameters of a tool: {name: {'type': 'int'|'float'|'bool'|'enum', 'description', and 'min', "
             "'max', 'default', 'unit' or 'options', 'default'}}. KeyError for an unknown tool.")
        .def("get", &Camera::get, py::arg("tool"), py::arg("name"),
             "The current value of a tool parameter (int, float, bool or option text). KeyError for an unknown "
             "tool or parameter.")
        .def("set", &Camera::set, py::arg("tool"), py::arg("name"), py::arg("value"),
             "Sets a tool parameter. ValueError (with the allowed range or options) when the camera refuses the "
             "value, TypeError for a value of the wrong type, KeyError for an unknown tool or parameter.")
        .def("record", &Camera::record, py::arg("path"), py::arg("seconds"),
             "Records `seconds` of the stream into the EVT 3.0 file `path` (starting the camera if it is not "
             "streaming, and stopping it again afterwards) and returns the number of events written. The GIL "
             "is released while recording; Ctrl-C ends the recording cleanly.")
        .def("start_recording", &Camera::startRecording, py::arg("path"),
             "Starts recording the stream into `path` (the camera must be streaming to fill it). OSError when "
             "the file cannot be created or a recording runs.")
        .def("stop_recording", &Camera::stopRecording,
             "Finishes the recording and returns the number of events written. OSError when it failed.")
        .def("close", &Camera::close, "Stops recording and streaming and lets the camera go.")
        .def_property_readonly("closed", &Camera::closed, "True after close().")
        .def("__enter__", [](Camera& c) -> Camera& { return c; }, "Returns the camera itself.")
        .def(
            "__exit__", [](Camera& c, py::args) { c.close(); }, "Closes the camera.")
        .def(
            "__repr__", [](const Camera& c) { return "<quorvel.Camera '" + c.serial() + "'>"; },
            "The camera's serial.");
}

} // namespace qvpy
