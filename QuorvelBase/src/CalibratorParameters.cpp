#include "quorvel/CalibratorParameters.h"

#include "quorvel/JsonUtils.h"

#include <cmath>

namespace quorvel {

namespace {

thread_local std::string t_error;

bool fail(const std::string& msg) {
    t_error = msg;
    return false;
}

bool readNumber(const Json& v, double& out) {
    if (!v.is_number())
        return false;
    out = v.get<double>();
    return std::isfinite(out);
}

bool readGeometry(const Json& doc, const char* key, int& w, int& h) {
    auto it = doc.find(key);
    if (it == doc.end() || !it->is_object())
        return false;
    const Json& g = *it;
    if (!g.contains("width") || !g.contains("height") || !g["width"].is_number_integer() ||
        !g["height"].is_number_integer())
        return false;
    const auto wv = g["width"].get<long long>();
    const auto hv = g["height"].get<long long>();
    if (wv < 1 || wv > 65535 || hv < 1 || hv > 65535)
        return false;
    w = static_cast<int>(wv);
    h = static_cast<int>(hv);
    return true;
}

} // namespace

bool CalibratorParameters::isValid() const {
    for (double v : affine)
        if (!std::isfinite(v))
            return false;
    if (!std::isfinite(translationX) || !std::isfinite(translationY))
        return false;
    auto inRange = [](int v) { return v >= 1 && v <= 65535; };
    return inRange(dvsWidth) && inRange(dvsHeight) && inRange(apsWidth) && inRange(apsHeight);
}

bool paramToJsonFile(CalibratorParameters& param, std::string path) {
    if (!param.isValid())
        return fail("calibration parameters are not valid (non-finite value or bad geometry)");
    const auto& m = param.affine;
    Json doc = {
        {"affine_matrix", {{m[0], m[1], m[2]}, {m[3], m[4], m[5]}}},
        {"translation", {param.translationX, param.translationY}},
        {"dvs_geometry", {{"width", param.dvsWidth}, {"height", param.dvsHeight}}},
        {"aps_geometry", {{"width", param.apsWidth}, {"height", param.apsHeight}}},
    };
    std::string err;
    if (!writeJsonFile(path, doc, &err))
        return fail(err);
    return true;
}

bool jsonFileToParam(std::string path, CalibratorParameters& param) {
    Json doc;
    std::string err;
    if (!readJsonFile(path, doc, &err))
        return fail(err);
    if (!doc.is_object())
        return fail("'" + path + "': calibration file is not a JSON object");
    // Everything is parsed into a copy first so that a bad file changes nothing.
    CalibratorParameters p;
    auto mi = doc.find("affine_matrix");
    if (mi == doc.end() || !mi->is_array() || mi->size() != 2)
        return fail("'" + path + "': affine_matrix must be two rows of three numbers");
    for (size_t r = 0; r < 2; ++r) {
        const Json& row = (*mi)[r];
        if (!row.is_array() || row.size() != 3)
            return fail("'" + path + "': affine_matrix must be two rows of three numbers");
        for (size_t c = 0; c < 3; ++c)
            if (!readNumber(row[c], p.affine[r * 3 + c]))
                return fail("'" + path + "': affine_matrix holds a value that is not a finite number");
    }
    if (auto ti = doc.find("translation"); ti != doc.end()) {
        if (!ti->is_array() || ti->size() != 2 || !readNumber((*ti)[0], p.translationX) ||
            !readNumber((*ti)[1], p.translationY))
            return fail("'" + path + "': translation must be two finite numbers");
    }
    if (!readGeometry(doc, "dvs_geometry", p.dvsWidth, p.dvsHeight))
        return fail("'" + path + "': dvs_geometry needs integer width and height in 1 .. 65535");
    if (!readGeometry(doc, "aps_geometry", p.apsWidth, p.apsHeight))
        return fail("'" + path + "': aps_geometry needs integer width and height in 1 .. 65535");
    param = p;
    return true;
}

std::string calibrationLastError() { return t_error; }

} // namespace quorvel
