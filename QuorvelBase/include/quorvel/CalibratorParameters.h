#pragma once
// The APS-to-DVS calibration of a fusion camera: where each DVS pixel looks in the APS image.
//
// The 2 x 3 affine matrix (a b c / d e f) maps a DVS pixel (x, y) to the APS pixel
// (x*a + y*b + c + dx, x*d + y*e + f + dy), where (dx, dy) is the manual translation the user
// adds on top of the factory calibration (APS panel, "APS Manual Calibration"). Keeping the manual
// part separate lets a user undo it without losing the factory matrix. The two geometries record
// the sensors the matrix was measured for; the DVS geometry is also the size of a warped image.
//
// File format (`<base>.json` of a fusion recording, and the manual calibration file):
//   {
//     "affine_matrix": [[a, b, c], [d, e, f]],
//     "translation":   [dx, dy],                 (optional, default [0, 0])
//     "dvs_geometry":  {"width": W, "height": H},
//     "aps_geometry":  {"width": W, "height": H}
//   }
//
// Errors: paramToJsonFile / jsonFileToParam return false on any failure; a malformed or
// incomplete file (missing key, wrong type, non-finite number, geometry not in 1 .. 65535) leaves
// the output untouched. calibrationLastError() names the problem (per thread).
// Thread rules: plain data; the file functions are safe to call from any thread.

#include <array>
#include <string>

namespace quorvel {

struct CalibratorParameters {
    /// a, b, c, d, e, f; identity by default.
    std::array<double, 6> affine{1.0, 0.0, 0.0, 0.0, 1.0, 0.0};
    double translationX = 0.0;
    double translationY = 0.0;
    int dvsWidth = 1280;
    int dvsHeight = 720;
    int apsWidth = 1280;
    int apsHeight = 720;

    /// Finite coefficients and geometries within 1 .. 65535.
    bool isValid() const;

    friend bool operator==(const CalibratorParameters&, const CalibratorParameters&) = default;
};

bool paramToJsonFile(CalibratorParameters& param, std::string path);
bool jsonFileToParam(std::string path, CalibratorParameters& param);
/// Why the last paramToJsonFile / jsonFileToParam on this thread failed.
std::string calibrationLastError();

} // namespace quorvel
