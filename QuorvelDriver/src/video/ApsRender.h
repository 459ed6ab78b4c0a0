#pragma once
// APS frames of the simulated scene: the picture an intensity sensor beside the event sensor takes,
// used by the virtual fusion camera and by offline fusion recordings.

#include "quorvel/ApsFrame.h"
#include "quorvel/CalibratorParameters.h"

#include <vector>

namespace quorvel::video {

/// Fills `frame` (already shaped to the APS geometry): each APS pixel shows the scene's log
/// intensity at the DVS position that the inverse of `cal` gives (bilinear between DVS pixels, the
/// border repeated outside), as a grey level. `logGain` (natural log of exposure x gain relative
/// to the nominal setting) brightens or darkens the picture as a longer exposure would.
void renderApsFrame(const std::vector<float>& logIntensity, int dvsWidth, int dvsHeight, const CalibratorParameters& cal,
                    float logGain, ApsFrame& frame);

/// The calibration of a simulated APS sensor `scale` times finer than the event sensor and
/// shifted by (shiftX, shiftY) APS pixels; the APS geometry is rounded to even sizes.
CalibratorParameters simulatedCalibration(int dvsWidth, int dvsHeight, double scale, double shiftX, double shiftY);

} // namespace quorvel::video
