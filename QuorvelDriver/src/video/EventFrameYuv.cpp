#include "EventFrameYuv.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quorvel::video {

namespace {
uint8_t clampByte(double v) { return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L)); }
} // namespace

void EventFrameYuv::toYuv(RgbColor c, uint8_t& y, uint8_t& u, uint8_t& v) {
    const double r = c.r, g = c.g, b = c.b;
    y = clampByte(16.0 + (65.481 * r + 128.553 * g + 24.966 * b) / 255.0);
    u = clampByte(128.0 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255.0);
    v = clampByte(128.0 + (112.0 * r - 93.786 * g - 18.214 * b) / 255.0);
}

uint8_t EventFrameYuv::classOf(uint8_t packed) {
    const int off = packed & 3, on = (packed >> 2) & 3;
    if (off == 0 && on == 0)
        return 0;
    return on > off ? 1 : 2; // a tie shows OFF
}

EventFrameYuv::EventFrameYuv(int width, int height, int padWidth, int padHeight, const VideoExportOptions& o)
    : m_width(width), m_height(height), m_padWidth(padWidth), m_padHeight(padHeight),
      m_counts(static_cast<size_t>(width) * static_cast<size_t>(height), 0),
      m_padRow(static_cast<size_t>(padWidth), 0) {
    const RgbColor colours[3] = {o.backgroundColor, o.onColor, o.offColor};
    uint8_t y[3], u[3], v[3];
    for (int i = 0; i < 3; ++i)
        toYuv(colours[i], y[i], u[i], v[i]);
    for (int packed = 0; packed < 16; ++packed) {
        const int off = packed & 3, on = packed >> 2;
        m_bump[0][packed] = static_cast<uint8_t>((on << 2) | std::min(off + 1, 3));
        m_bump[1][packed] = static_cast<uint8_t>((std::min(on + 1, 3) << 2) | off);
        m_classOf[packed] = classOf(static_cast<uint8_t>(packed));
        m_lumaOf[packed] = y[m_classOf[packed]];
    }
    for (int k = 0; k < 81; ++k) {
        int su = 0, sv = 0;
        for (int q = 0, kk = k; q < 4; ++q, kk /= 3) {
            su += u[kk % 3];
            sv += v[kk % 3];
        }
        m_uOf[k] = static_cast<uint8_t>((su + 2) / 4);
        m_vOf[k] = static_cast<uint8_t>((sv + 2) / 4);
    }
}

void EventFrameYuv::clear() { std::memset(m_counts.data(), 0, m_counts.size()); }

void EventFrameYuv::accumulate(const Event2D* begin, const Event2D* end) {
    uint8_t* counts = m_counts.data();
    const uint32_t limit = static_cast<uint32_t>(m_counts.size()) * 2u;
    const uint32_t w = static_cast<uint32_t>(m_width);
    for (const Event2D* e = begin; e != end; ++e) {
        const uint32_t p = e->polarity ? 1u : 0u;
        const uint32_t idx = (uint32_t(e->y) * w + e->x) * 2u + p;
        if (idx >= limit)
            continue;
        uint8_t& c = counts[idx >> 1];
        c = m_bump[p][c];
    }
}

void EventFrameYuv::render(uint8_t* yPlane, int yStride, uint8_t* uPlane, int uStride, uint8_t* vPlane,
                           int vStride) {
    const auto row = [&](int y) -> const uint8_t* {
        return y < m_height ? m_counts.data() + static_cast<size_t>(y) * static_cast<size_t>(m_width)
                            : m_padRow.data();
    };
    const int evenW = m_width & ~1;
    for (int y = 0; y < m_padHeight; y += 2) {
        const uint8_t* a = row(y);
        const uint8_t* b = row(y + 1);
        uint8_t* y0 = yPlane + static_cast<size_t>(y) * yStride;
        uint8_t* y1 = y0 + yStride;
        uint8_t* u = uPlane + static_cast<size_t>(y / 2) * uStride;
        uint8_t* v = vPlane + static_cast<size_t>(y / 2) * vStride;
        int x = 0;
        for (; x < evenW; x += 2) {
            const uint8_t p00 = a[x], p01 = a[x + 1], p10 = b[x], p11 = b[x + 1];
            y0[x] = m_lumaOf[p00];
            y0[x + 1] = m_lumaOf[p01];
            y1[x] = m_lumaOf[p10];
            y1[x + 1] = m_lumaOf[p11];
            const int k = m_classOf[p00] + 3 * m_classOf[p01] + 9 * m_classOf[p10] + 27 * m_classOf[p11];
            u[x / 2] = m_uOf[k];
            v[x / 2] = m_vOf[k];
        }
        if (x < m_padWidth) {
            // Odd sensor width: the last real column shares its block with a padding column.
            const uint8_t p00 = a[x], p10 = b[x];
            y0[x] = m_lumaOf[p00];
            y0[x + 1] = m_lumaOf[0];
            y1[x] = m_lumaOf[p10];
            y1[x + 1] = m_lumaOf[0];
            const int k = m_classOf[p00] + 9 * m_classOf[p10];
            u[x / 2] = m_uOf[k];
            v[x / 2] = m_vOf[k];
        }
    }
}

} // namespace quorvel::video
