#pragma once
// A simulated event sensor: each pixel compares the scene's log intensity with the level at which
// it last fired and emits an ON or OFF event when the difference reaches its contrast threshold,
// then stays blind for the refractory period. Background activity adds random events.
//
// Speed: the scene is separable (bars depend on one coordinate, the rotor and the flickering light
// are small regions), so each 1 ms slice first works out which columns, rows and rotor sectors
// change at all and only evaluates those pixels, on a 250 µs knot grid with linear interpolation
// between knots; crossing times are solved exactly on each linear piece. Events of a slice are
// then put in time order with a counting sort over its microseconds.
//
// Determinism: the same seed, scene and bias history give the same events.
// Thread rules: one thread at a time.

#include "camera/CameraTools.h"
#include "quorvel/Event2D.h"
#include "sim/Scene.h"

#include <cstdint>
#include <vector>

namespace quorvel::detail {

struct SensorConfig {
    uint16_t width = 640;
    uint16_t height = 480;
    uint64_t seed = 1;
    SceneSpec scene;
};

class SimulatedSensor {
    static constexpr int kMaxKnots = 8; ///< slices are at most 2 ms on a 250 µs grid

public:
    explicit SimulatedSensor(const SensorConfig& config);

    uint16_t width() const { return m_w; }
    uint16_t height() const { return m_h; }
    const SceneSpec& scene() const { return m_scene; }

    void setBiases(const BiasSettings& biases);
    void setFlickerFrequency(float hz) { m_scene.flicker.frequencyHz = hz; }

    /// Moves the clock to `startUs` and lets every pixel adapt to the scene at that time.
    void reset(uint64_t startUs);
    /// Replaces `out` by the events of [now, now + durationUs), non-decreasing in time, and moves
    /// the clock on.
    void generate(uint32_t durationUs, std::vector<Event2D>& out) { generate(durationUs, out, 0); }
    /// Same, keeping out[0 .. keep) and putting the new events after them.
    void generate(uint32_t durationUs, std::vector<Event2D>& out, size_t keep);
    /// Appends the trigger-input edges (both channels) of [fromUs, toUs).
    void triggers(uint64_t fromUs, uint64_t toUs, std::vector<EventTriggerIn>& out) const;
    uint64_t now() const { return m_now; }
    /// The scene's log intensity at `tUs`, one value a pixel, row by row: what an intensity sensor
    /// looking at the same scene sees (the fusion camera's APS). Leaves the event state and now()
    /// alone: the next generate() prepares its own slice.
    void sceneLogIntensityAt(uint64_t tUs, std::vector<float>& out);

    // What the biases currently mean, for tests and the benchmark table.
    float onThreshold() const { return m_thOn; }
    float offThreshold() const { return m_thOff; }
    uint32_t refractoryUs() const { return m_refrUs; }
    double backgroundRatePerPixelHz() const { return m_baRate; }

private:
    struct Pixel {
        float ref;       ///< log intensity at which the pixel last fired
        float bg;        ///< static background texture
        float mOn, mOff; ///< per-pixel threshold mismatch (fixed-pattern noise)
        float rotorAngle; ///< angle around the rotor centre, -1 outside the rotor
        uint32_t pad;
        int64_t blockedUntil;
    };
    static_assert(sizeof(Pixel) == 32, "two pixels per cache line");

    void slice(uint32_t len);
    void prepareKnots(double t0Us, uint32_t len);
    float evalAt(int x, int y, int knot) const;
    bool inFlicker(int x, int y) const;
    void processPixel(int x, int y);
    void addRotorRanges();
    void addNoise(uint32_t len, uint64_t sliceIndex);

    uint16_t m_w, m_h;
    uint64_t m_seed;
    SceneSpec m_scene;
    std::vector<Pixel> m_px;
    float m_thOn = 0.22f, m_thOff = 0.22f;
    uint32_t m_refrUs = 50;
    double m_baRate = 0.1;
    uint64_t m_now = 0;

    // Per-slice work areas, reused.
    int m_knots = 0;
    double m_knotT[kMaxKnots + 1] = {};
    float m_knotTf[kMaxKnots + 1] = {};
    float m_knotInvF[kMaxKnots] = {};     ///< knot times relative to the slice start, µs
    double m_sliceStart = 0;
    std::vector<float> m_col;    ///< (knots+1) x width
    std::vector<float> m_row;    ///< (knots+1) x height
    std::vector<uint8_t> m_colActive, m_rowActive;
    float m_rotorPhase[kMaxKnots + 1] = {};
    float m_flick[kMaxKnots + 1] = {};
    float m_flickMin = 0, m_flickMax = 0;
    std::vector<float> m_colMin, m_colMax, m_rowMin, m_rowMax; ///< bounds over the slice's knots
    std::vector<int> m_activeCols;
    std::vector<uint32_t> m_rotorSorted; ///< rotor pixel indices by angle
    std::vector<float> m_rotorSortedAngle;
    std::vector<uint32_t> m_stamp;
    uint32_t m_stampValue = 0;
    std::vector<Event2D> m_tmp;
    std::vector<uint32_t> m_hist;
    uint64_t m_sliceIndex = 0;
};

} // namespace quorvel::detail
