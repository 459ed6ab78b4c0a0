#include "ApsRender.h"

#include <algorithm>
#include <cmath>

namespace quorvel::video {

CalibratorParameters simulatedCalibration(int dvsWidth, int dvsHeight, double scale, double shiftX, double shiftY) {
    CalibratorParameters c;
    c.affine = {scale, 0.0, shiftX, 0.0, scale, shiftY};
    c.dvsWidth = dvsWidth;
    c.dvsHeight = dvsHeight;
    c.apsWidth = static_cast<int>(std::lround(dvsWidth * scale / 2.0)) * 2;
    c.apsHeight = static_cast<int>(std::lround(dvsHeight * scale / 2.0)) * 2;
    return c;
}

void renderApsFrame(const std::vector<float>& logI, int dvsW, int dvsH, const CalibratorParameters& cal, float logGain,
                    ApsFrame& f) {
    const int w = f.getWidth(), h = f.getHeight();
    // Only scale and shift are simulated (a, e, c, f); the sensors are mounted square to each other.
    const double invX = 1.0 / cal.affine[0], invY = 1.0 / cal.affine[4];
    const double shiftX = cal.affine[2], shiftY = cal.affine[5];
    // The scene spans about -1.6 .. 1.6 in log intensity around the background; a log-like tone
    // curve puts that on most of 0 .. 255.
    const float offset = 128.0f + 70.0f * logGain;
    std::vector<int> x0s(static_cast<size_t>(w)), x1s(static_cast<size_t>(w));
    std::vector<float> fxs(static_cast<size_t>(w));
    for (int u = 0; u < w; ++u) {
        // APS pixel u holds what DVS position (u - shift) / scale shows; pixel corners at integers.
        const double xd = std::clamp((u + 0.5 - shiftX) * invX - 0.5, 0.0, dvsW - 1.0);
        x0s[u] = std::min(static_cast<int>(xd), dvsW - 1);
        x1s[u] = std::min(x0s[u] + 1, dvsW - 1);
        fxs[u] = static_cast<float>(xd - x0s[u]);
    }
    for (int v = 0; v < h; ++v) {
        const double yd = std::clamp((v + 0.5 - shiftY) * invY - 0.5, 0.0, dvsH - 1.0);
        const int y0 = std::min(static_cast<int>(yd), dvsH - 1), y1 = std::min(y0 + 1, dvsH - 1);
        const float fy = static_cast<float>(yd - y0);
        const float* r0 = logI.data() + static_cast<size_t>(y0) * dvsW;
        const float* r1 = logI.data() + static_cast<size_t>(y1) * dvsW;
        unsigned char* row = f.data() + static_cast<size_t>(v) * w * 3;
        for (int u = 0; u < w; ++u) {
            const int a = x0s[u], b = x1s[u];
            const float fx = fxs[u];
            const float top = r0[a] + (r0[b] - r0[a]) * fx;
            const float bottom = r1[a] + (r1[b] - r1[a]) * fx;
            const float level = std::clamp(offset + 70.0f * (top + (bottom - top) * fy), 0.0f, 255.0f);
            const auto g = static_cast<unsigned char>(level + 0.5f > 255.0f ? 255.0f : level + 0.5f);
            row[u * 3 + 0] = g;
            row[u * 3 + 1] = g;
            row[u * 3 + 2] = g;
        }
    }
}

} // namespace quorvel::video
