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

EventFrameYuv::EventFrameYuv(int width, int height, int padWidth, int padHeight, const VideoExportOptions& o)
    : m_width(width), m_height(height), m_padWidth(padWidth), m_padHeight(padHeight),
      m_counts(static_cast<size_t>(width) * static_cast<size_t>(height) * 2, 0) {
    const RgbColor colours[3] = {o.backgroundColor, o.onColor, o.offColor};
    uint8_t u[3], v[3];
    for (int i = 0; i < 3; ++i)
        toYuv(colours[i], m_lumaOf[i], u[i], v[i]);
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
    const uint32_t size = static_cast<uint32_t>(m_counts.size());
    const uint32_t w = static_cast<uint32_t>(m_width);
    for (const Event2D* e = begin; e != end; ++e) {
        const uint32_t idx = (uint32_t(e->y) * w + e->x) * 2u + (e->polarity ? 1u : 0u);
        if (idx >= size)
            continue;
        counts[idx] = static_cast<uint8_t>(counts[idx] + (counts[idx] < 3));
    }
}

void EventFrameYuv::render(uint8_t* yPlane, int yStride, uint8_t* uPlane, int uStride, uint8_t* vPlane,
                           int vStride) {
    // Class of a pixel: 0 no events, 1 ON wins, 2 OFF (OFF also wins ties).
    m_rowA.resize(static_cast<size_t>(m_padWidth));
    m_rowB.resize(static_cast<size_t>(m_padWidth));
    uint8_t* rowA = m_rowA.data();
    uint8_t* rowB = m_rowB.data();
    auto classify = [&](int y, uint8_t* cls) {
        if (y >= m_height) {
            std::memset(cls, 0, static_cast<size_t>(m_padWidth));
            return;
        }
        const uint8_t* c = m_counts.data() + static_cast<size_t>(y) * static_cast<size_t>(m_width) * 2;
        for (int x = 0; x < m_width; ++x) {
            const uint8_t off = c[2 * x], on = c[2 * x + 1];
            cls[x] = static_cast<uint8_t>((off | on) == 0 ? 0 : (on > off ? 1 : 2));
        }
        std::memset(cls + m_width, 0, static_cast<size_t>(m_padWidth - m_width));
    };
    for (int y = 0; y < m_padHeight; y += 2) {
        classify(y, rowA);
        classify(y + 1, rowB);
        uint8_t* y0 = yPlane + static_cast<size_t>(y) * yStride;
        uint8_t* y1 = y0 + yStride;
        uint8_t* u = uPlane + static_cast<size_t>(y / 2) * uStride;
        uint8_t* v = vPlane + static_cast<size_t>(y / 2) * vStride;
        for (int x = 0; x < m_padWidth; x += 2) {
            const uint8_t a = rowA[x], b = rowA[x + 1], c = rowB[x], d = rowB[x + 1];
            y0[x] = m_lumaOf[a];
            y0[x + 1] = m_lumaOf[b];
            y1[x] = m_lumaOf[c];
            y1[x + 1] = m_lumaOf[d];
            const int k = a + 3 * b + 9 * c + 27 * d;
            u[x / 2] = m_uOf[k];
            v[x / 2] = m_vOf[k];
        }
    }
}

} // namespace quorvel::video
