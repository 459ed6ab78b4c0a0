#include "quorvel/ApsFrame.h"

#include <algorithm>
#include <cstring>

namespace quorvel {

namespace {
// Every buffer ends in this many spare bytes: vectorised converters (FFmpeg's scaler among them)
// store whole vectors and may write a few bytes past the last pixel of the last row.
constexpr uint64_t kTailPadding = 64;

std::unique_ptr<unsigned char[]> allocatePixels(uint64_t size) {
    return std::make_unique<unsigned char[]>(size + kTailPadding); // value-initialised: zeroed
}
} // namespace

ApsFrame::ApsFrame(int width, int height, uint64_t timestampUs, uint64_t sequence)
    : m_timestampUs(timestampUs), m_sequence(sequence) {
    reshape(width, height);
}

ApsFrame::ApsFrame(const ApsFrame& other)
    : m_width(other.m_width), m_height(other.m_height), m_timestampUs(other.m_timestampUs),
      m_sequence(other.m_sequence) {
    const uint64_t size = other.getDataSize();
    if (size > 0) {
        m_data = allocatePixels(size);
        m_capacity = size;
        std::memcpy(m_data.get(), other.m_data.get(), size);
    }
}

ApsFrame& ApsFrame::operator=(const ApsFrame& other) {
    if (this == &other)
        return *this;
    const uint64_t size = other.getDataSize();
    if (size > m_capacity) {
        m_data = allocatePixels(size);
        m_capacity = size;
    }
    m_width = other.m_width;
    m_height = other.m_height;
    m_timestampUs = other.m_timestampUs;
    m_sequence = other.m_sequence;
    if (size > 0)
        std::memcpy(m_data.get(), other.m_data.get(), size);
    return *this;
}

ApsFrame::ApsFrame(ApsFrame&& other) noexcept
    : m_data(std::move(other.m_data)), m_capacity(other.m_capacity), m_width(other.m_width),
      m_height(other.m_height), m_timestampUs(other.m_timestampUs), m_sequence(other.m_sequence) {
    other.m_capacity = 0;
    other.m_width = other.m_height = 0;
}

ApsFrame& ApsFrame::operator=(ApsFrame&& other) noexcept {
    if (this == &other)
        return *this;
    m_data = std::move(other.m_data);
    m_capacity = other.m_capacity;
    m_width = other.m_width;
    m_height = other.m_height;
    m_timestampUs = other.m_timestampUs;
    m_sequence = other.m_sequence;
    other.m_capacity = 0;
    other.m_width = other.m_height = 0;
    return *this;
}

void ApsFrame::reshape(int width, int height) {
    m_width = std::max(width, 0);
    m_height = std::max(height, 0);
    const uint64_t size = getDataSize();
    if (size > m_capacity) {
        m_data = allocatePixels(size);
        m_capacity = size;
    }
}

} // namespace quorvel
