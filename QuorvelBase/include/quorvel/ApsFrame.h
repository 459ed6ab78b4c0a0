#pragma once
// One APS (intensity) image in BGR order, 3 bytes a pixel, owned by value.
//
// Copies are deep: copying a frame copies its pixels, so a frame handed to another thread never
// aliases the producer's buffer. Buffers carry a few spare bytes past the last pixel, so that
// vectorised writers (video scalers) may overshoot the last row harmlessly. reshape() reuses the existing allocation when it is large enough,
// which lets a consumer pre-allocate a big frame once and refill it with frames of any size
// without allocating again.
//
// Errors: a negative width or height is treated as 0 (an empty frame); nothing throws except
// std::bad_alloc when memory runs out.
// Thread rules: a frame is not synchronised; share it between threads only by copy or move.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace quorvel {

class ApsFrame {
public:
    static constexpr int kChannels = 3;

    ApsFrame() = default;
    /// A width x height BGR frame, pixels zeroed. The two values are the capture timestamp in
    /// microseconds and the frame's sequence number (callers without them pass 0).
    ApsFrame(int width, int height, uint64_t timestampUs = 0, uint64_t sequence = 0);

    ApsFrame(const ApsFrame& other);
    ApsFrame& operator=(const ApsFrame& other);
    ApsFrame(ApsFrame&& other) noexcept;
    ApsFrame& operator=(ApsFrame&& other) noexcept;
    ~ApsFrame() = default;

    /// An independent deep copy.
    ApsFrame clone() const { return ApsFrame(*this); }

    unsigned char* data() { return m_data.get(); }
    const unsigned char* data() const { return m_data.get(); }
    /// Bytes of pixel data in use: width * height * 3.
    uint64_t getDataSize() const { return static_cast<uint64_t>(m_width) * m_height * kChannels; }
    /// Bytes allocated; at least getDataSize().
    uint64_t getCapacity() const { return m_capacity; }

    int getWidth() const { return m_width; }
    int getHeight() const { return m_height; }
    int getStride() const { return m_width * kChannels; }

    uint64_t getTimestamp() const { return m_timestampUs; }
    void setTimestamp(uint64_t timestampUs) { m_timestampUs = timestampUs; }
    uint64_t getSequence() const { return m_sequence; }
    void setSequence(uint64_t sequence) { m_sequence = sequence; }

    /// Changes the geometry. Keeps the allocation when it is large enough (pixel contents are then
    /// unspecified), otherwise allocates a zeroed buffer.
    void reshape(int width, int height);

    bool empty() const { return getDataSize() == 0; }

private:
    std::unique_ptr<unsigned char[]> m_data;
    uint64_t m_capacity = 0;
    int m_width = 0;
    int m_height = 0;
    uint64_t m_timestampUs = 0;
    uint64_t m_sequence = 0;
};

} // namespace quorvel
