#pragma once
// Maps between the APS image and the DVS pixel grid of a fusion camera with the affine calibration
// of CalibratorParameters (DVS pixel -> APS pixel) plus the user's manual translation.
//
// mapApsToDvs warps an APS frame into DVS geometry: for every output pixel (x, y) the source is
// (x*a + y*b + c + dx, x*d + y*e + f + dy), each coordinate truncated towards zero; its three
// bytes are copied when the source lies inside the APS image, otherwise the output pixel keeps
// what it held (nearest neighbour, no interpolation). The products x*a, x*d, y*b and y*e are
// tabulated once per call, so each pixel costs additions only, summed in the order of the formula
// above: the result is bit-for-bit that formula, not an approximation by running increments.
//
// mapDvsToAps moves events into APS coordinates with the same mapping. An event whose APS
// position falls outside the APS geometry gets x = y = 0xFFFF, which every renderer's bounds check
// drops; the batch keeps its length so callers' pointers stay valid.
//
// Errors: loadCalibrationParam refuses invalid parameters (returns false, nothing changes);
// saveCalibrationParam returns false when the file cannot be written.
// Thread rules: not synchronised; one thread at a time (the fusion processor's).

#include "quorvel/ApsFrame.h"
#include "quorvel/CalibratorParameters.h"
#include "quorvel/Event2D.h"

#include <string>
#include <vector>

namespace quorvel {

class Calibrator {
public:
    Calibrator() = default;

    bool loadCalibrationParam(CalibratorParameters& param);
    /// Writes the parameters in force (matrix, manual translation, geometries) as JSON.
    bool saveCalibrationParam(std::string& path);
    const CalibratorParameters& getCalibrationParam() const { return m_param; }

    /// Warps `frame` in place into DVS geometry (the result keeps the frame's timestamp and
    /// sequence). Pixels with no APS source are black: the scratch image they come from is
    /// cleared whenever the mapping or the geometry changes, and a fixed mapping never writes
    /// them. False for an empty frame.
    bool mapApsToDvs(ApsFrame& frame);
    /// Warps `aps` into `out`, which is reshaped to DVS geometry and otherwise left as it was
    /// where no APS pixel maps (a caller can pre-fill it). False for an empty `aps`.
    bool mapApsToDvs(const ApsFrame& aps, ApsFrame& out);

    void mapDvsToAps(Event2D* begin, Event2D* end) const;

    /// Sets the manual translation (dx, dy) in APS pixels. It replaces, not accumulates: the APS
    /// panel always sends the absolute offsets of its two rows.
    void adjustAffineTranslation(double dx, double dy);

    /// The inverse of the 2 x 3 affine `forward` (a..f) into `inverse` (a..f); false, with
    /// `inverse` untouched, when the matrix is singular or not finite.
    static bool computeInverseAffine(const double* forward, double* inverse);

private:
    void invalidateScratch() { m_scratchValid = false; }

    CalibratorParameters m_param;
    ApsFrame m_scratch;
    bool m_scratchValid = false;
    std::vector<double> m_colX; // x*a
    std::vector<double> m_colY; // x*d
    std::vector<int> m_srcCol;  // byte offset of each output column's source (scale and shift only)
};

} // namespace quorvel
