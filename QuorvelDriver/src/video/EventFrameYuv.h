#pragma once
// Event counts to a YUV 4:2:0 picture in one pass, for the video export. Painting RGB first and
// converting afterwards would touch every pixel three more times; with only three colours in
// play, each pixel's luma and each 2x2 block's chroma come straight from small tables.

#include "quorvel/Event2D.h"
#include "quorvel/VideoExportOptions.h"

#include <cstdint>
#include <vector>

namespace quorvel::video {

class EventFrameYuv {
public:
    /// `width` x `height` is the sensor; the picture is `padWidth` x `padHeight` (even, >= sensor).
    EventFrameYuv(int width, int height, int padWidth, int padHeight, const VideoExportOptions& colours);

    void clear();
    /// Counts events with the renderer's rule: index (y * width + x) * 2 + p, upper bound only,
    /// each count saturating at 3.
    void accumulate(const Event2D* begin, const Event2D* end);
    /// Paints the counts into the three planes.
    void render(uint8_t* y, int yStride, uint8_t* u, int uStride, uint8_t* v, int vStride);

    /// BT.601 limited-range YUV of an RGB colour (what players assume for SD/HD H.264 by default).
    static void toYuv(RgbColor c, uint8_t& y, uint8_t& u, uint8_t& v);

private:
    int m_width;
    int m_height;
    int m_padWidth;
    int m_padHeight;
    std::vector<uint8_t> m_counts; // width * height * 2
    uint8_t m_lumaOf[3];           // class 0 background, 1 ON, 2 OFF
    uint8_t m_uOf[81];             // chroma of a 2x2 block by its four classes (base 3)
    uint8_t m_vOf[81];
    std::vector<uint8_t> m_rowA, m_rowB; // pixel classes of the two rows being painted
};

} // namespace quorvel::video
