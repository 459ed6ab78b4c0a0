#pragma once
// Event counts to a YUV 4:2:0 picture in one pass, for the video export. Painting RGB first and
// converting afterwards would touch every pixel three more times; with only three colours in
// play, each pixel's luma and each 2x2 block's chroma come straight from small tables.
//
// Counts are kept one byte a pixel (OFF count in bits 0-1, ON count in bits 2-3, each saturating
// at 3): half the memory of two 16-bit counters, so a 1280x720 frame's counts stay in the L2
// cache while 20 M events/s land at random pixels, and a pixel's colour is one table look-up.

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
    /// Counts events with the event renderer's rule: index (y * width + x) * 2 + polarity in
    /// 32-bit arithmetic, only its upper bound checked (so x >= width lands in the next row), each
    /// count saturating at 3.
    void accumulate(const Event2D* begin, const Event2D* end);
    /// Paints the counts into the three planes.
    void render(uint8_t* y, int yStride, uint8_t* u, int uStride, uint8_t* v, int vStride);

    /// BT.601 limited-range YUV of an RGB colour (what players assume for SD/HD H.264 by default).
    static void toYuv(RgbColor c, uint8_t& y, uint8_t& u, uint8_t& v);

    /// The colour class of a pixel's packed counts: 0 no events, 1 ON (more ON than OFF), 2 OFF.
    static uint8_t classOf(uint8_t packed);

private:
    int m_width;
    int m_height;
    int m_padWidth;
    int m_padHeight;
    std::vector<uint8_t> m_counts;  // width * height, packed as described above
    uint8_t m_bump[2][16];          // packed counts after one more event of polarity p
    uint8_t m_lumaOf[16];           // by packed counts
    uint8_t m_classOf[16];
    uint8_t m_uOf[81];              // chroma of a 2x2 block by its four classes (base 3)
    uint8_t m_vOf[81];
    std::vector<uint8_t> m_padRow;  // zero counts for the padding row
};

} // namespace quorvel::video
