#include "quorvel/Calibrator.h"

#include <cmath>
#include <cstring>

namespace quorvel {

bool Calibrator::loadCalibrationParam(CalibratorParameters& param) {
    if (!param.isValid())
        return false;
    m_param = param;
    invalidateScratch();
    return true;
}

bool Calibrator::saveCalibrationParam(std::string& path) { return paramToJsonFile(m_param, path); }

void Calibrator::adjustAffineTranslation(double dx, double dy) {
    if (!std::isfinite(dx) || !std::isfinite(dy))
        return;
    m_param.translationX = dx;
    m_param.translationY = dy;
    invalidateScratch();
}

bool Calibrator::computeInverseAffine(const double* f, double* inv) {
    // [a b; d e] is the linear part, (c, f) the translation: x' = A x + t, so x = A^-1 (x' - t).
    const double a = f[0], b = f[1], c = f[2], d = f[3], e = f[4], t = f[5];
    const double det = a * e - b * d;
    if (!std::isfinite(det) || det == 0.0)
        return false;
    const double ia = e / det, ib = -b / det, id = -d / det, ie = a / det;
    const double r[6] = {ia, ib, -(ia * c + ib * t), id, ie, -(id * c + ie * t)};
    for (double v : r)
        if (!std::isfinite(v))
            return false;
    std::memcpy(inv, r, sizeof r);
    return true;
}

bool Calibrator::mapApsToDvs(ApsFrame& frame) {
    if (frame.empty())
        return false;
    if (!m_scratchValid || m_scratch.getWidth() != m_param.dvsWidth || m_scratch.getHeight() != m_param.dvsHeight) {
        m_scratch.reshape(m_param.dvsWidth, m_param.dvsHeight);
        std::memset(m_scratch.data(), 0, m_scratch.getDataSize());
        m_scratchValid = true;
    }
    mapApsToDvs(frame, m_scratch);
    // Swap the warped pixels into the caller's frame: copying the bytes is needed anyway because
    // the scratch must keep its black border for the next call.
    const uint64_t ts = frame.getTimestamp();
    const uint64_t seq = frame.getSequence();
    frame.reshape(m_scratch.getWidth(), m_scratch.getHeight());
    std::memcpy(frame.data(), m_scratch.data(), m_scratch.getDataSize());
    frame.setTimestamp(ts);
    frame.setSequence(seq);
    return true;
}

bool Calibrator::mapApsToDvs(const ApsFrame& aps, ApsFrame& out) {
    if (aps.empty())
        return false;
    const int outW = m_param.dvsWidth;
    const int outH = m_param.dvsHeight;
    out.reshape(outW, outH);
    out.setTimestamp(aps.getTimestamp());
    out.setSequence(aps.getSequence());

    const double a = m_param.affine[0], b = m_param.affine[1], c = m_param.affine[2];
    const double d = m_param.affine[3], e = m_param.affine[4], f = m_param.affine[5];
    const double dx = m_param.translationX, dy = m_param.translationY;
    const int srcW = aps.getWidth();
    const int srcH = aps.getHeight();
    const size_t srcStride = static_cast<size_t>(aps.getStride());
    const unsigned char* src = aps.data();
    unsigned char* dst = out.data();

    m_colX.resize(static_cast<size_t>(outW));
    m_colY.resize(static_cast<size_t>(outW));
    for (int x = 0; x < outW; ++x) {
        m_colX[static_cast<size_t>(x)] = x * a;
        m_colY[static_cast<size_t>(x)] = x * d;
    }
    const double* colX = m_colX.data();
    const double* colY = m_colY.data();

    bool columnsReady = false;
    // Source coordinates are truncated; a value in (-1, 0) truncates to 0 and is inside, so the
    // test is done on the truncated integer, like the formula says.
    for (int y = 0; y < outH; ++y) {
        const double rowX = y * b;
        const double rowY = y * e;
        unsigned char* o = dst + static_cast<size_t>(y) * static_cast<size_t>(outW) * 3;
        // Fast path: when both ends of the row land inside the image, every pixel between does
        // (the mapping is affine and truncation is monotonic), so the bounds test is skipped.
        const auto inside = [&](int x) {
            const double fx = colX[x] + rowX + c + dx;
            const double fy = colY[x] + rowY + f + dy;
            return fx > -1.0 && fx < static_cast<double>(srcW) && fy > -1.0 && fy < static_cast<double>(srcH);
        };
        const bool allInside = inside(0) && inside(outW - 1);
        if (allInside) {
            if (d == 0.0 && b == 0.0) {
                // Scale and shift only: y*b is zero, so every row reads the same source columns,
                // tabulated once per call (exactly the formula's values, computed in its order).
                if (!columnsReady) {
                    m_srcCol.resize(static_cast<size_t>(outW));
                    for (int x = 0; x < outW; ++x)
                        m_srcCol[static_cast<size_t>(x)] = static_cast<int>(colX[x] + rowX + c + dx) * 3;
                    columnsReady = true;
                }
                const int sy = static_cast<int>(colY[0] + rowY + f + dy);
                const unsigned char* srow = src + static_cast<size_t>(sy) * srcStride;
                const int* cols = m_srcCol.data();
                for (int x = 0; x < outW; ++x) {
                    const unsigned char* s = srow + cols[x];
                    o[0] = s[0];
                    o[1] = s[1];
                    o[2] = s[2];
                    o += 3;
                }
            } else if (d == 0.0) {
                // One source row for the whole output row (no rotation): the row offset is
                // computed once.
                const int sy = static_cast<int>(colY[0] + rowY + f + dy);
                const unsigned char* srow = src + static_cast<size_t>(sy) * srcStride;
                for (int x = 0; x < outW; ++x) {
                    const int sx = static_cast<int>(colX[x] + rowX + c + dx);
                    const unsigned char* s = srow + static_cast<size_t>(sx) * 3;
                    o[0] = s[0];
                    o[1] = s[1];
                    o[2] = s[2];
                    o += 3;
                }
            } else {
                for (int x = 0; x < outW; ++x) {
                    const int sx = static_cast<int>(colX[x] + rowX + c + dx);
                    const int sy = static_cast<int>(colY[x] + rowY + f + dy);
                    const unsigned char* s = src + static_cast<size_t>(sy) * srcStride + static_cast<size_t>(sx) * 3;
                    o[0] = s[0];
                    o[1] = s[1];
                    o[2] = s[2];
                    o += 3;
                }
            }
            continue;
        }
        for (int x = 0; x < outW; ++x, o += 3) {
            const double fx = colX[x] + rowX + c + dx;
            const double fy = colY[x] + rowY + f + dy;
            // Guard the conversion itself: a double beyond int range would be undefined.
            if (!(fx > -1.0 && fx < static_cast<double>(srcW)) || !(fy > -1.0 && fy < static_cast<double>(srcH)))
                continue;
            const int sx = static_cast<int>(fx);
            const int sy = static_cast<int>(fy);
            const unsigned char* s = src + static_cast<size_t>(sy) * srcStride + static_cast<size_t>(sx) * 3;
            o[0] = s[0];
            o[1] = s[1];
            o[2] = s[2];
        }
    }
    return true;
}

void Calibrator::mapDvsToAps(Event2D* begin, Event2D* end) const {
    const auto& m = m_param.affine;
    const double dx = m_param.translationX, dy = m_param.translationY;
    const double w = m_param.apsWidth, h = m_param.apsHeight;
    for (Event2D* ev = begin; ev != end; ++ev) {
        const double x = ev->x, y = ev->y;
        const double fx = x * m[0] + y * m[1] + m[2] + dx;
        const double fy = x * m[3] + y * m[4] + m[5] + dy;
        if (fx > -1.0 && fx < w && fy > -1.0 && fy < h) {
            ev->x = static_cast<uint16_t>(static_cast<int>(fx));
            ev->y = static_cast<uint16_t>(static_cast<int>(fy));
        } else {
            ev->x = 0xFFFF;
            ev->y = 0xFFFF;
        }
    }
}

} // namespace quorvel
