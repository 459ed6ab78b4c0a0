#include "sim/SimulatedSensor.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quorvel::detail {

namespace {

constexpr uint32_t kSliceUs = 2000;
constexpr uint32_t kKnotUs = 250;
static_assert(kSliceUs / kKnotUs <= 8);
constexpr float kBaseThreshold = 0.22f;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

struct Rng {
    uint64_t s;
    uint64_t next() {
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    double uniform() { return (next() >> 11) * (1.0 / 9007199254740992.0); }
    double gauss() {
        double u1 = std::max(uniform(), 1e-300), u2 = uniform();
        return std::sqrt(-2.0 * std::log(u1)) * std::cos(kTwoPi * u2);
    }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>((next() >> 32) * n >> 32); }
};

/// Bar profile along its axis at pixel centre `c`. The bar wraps around with a period that puts
/// it entirely off the sensor at the moment of the jump, so the wrap is invisible.
struct BarGeom {
    float left; // start of the leading ramp
};

inline BarGeom barAt(const BarSpec& b, float extent, double tSec) {
    const double period = extent + b.widthPx + 2.0 * b.edgePx + 2.0;
    double pos = std::fmod(b.phasePx + b.speedPxPerS * tSec, period);
    if (pos < 0)
        pos += period;
    return {static_cast<float>(pos - b.widthPx - b.edgePx - 1.0)};
}

inline float ramp(float u) { return u <= 0.f ? 0.f : (u >= 1.f ? 1.f : u); }

void addBar(const BarSpec& b, float extent, double tSec, float* line, int n) {
    const BarGeom g = barAt(b, extent, tSec);
    const float e = std::max(b.edgePx, 0.5f);
    int lo = std::max(0, static_cast<int>(std::floor(g.left)) - 1);
    int hi = std::min(n - 1, static_cast<int>(std::ceil(g.left + b.widthPx + e)) + 1);
    for (int i = lo; i <= hi; ++i) {
        const float c = i + 0.5f;
        line[i] += b.contrast * (ramp((c - g.left) / e) - ramp((c - g.left - b.widthPx) / e));
    }
}

inline float rotorTerm(const RotorSpec& r, float angle, float phaseTurns) {
    float u = r.sectors * (angle * static_cast<float>(1.0 / kTwoPi) - phaseTurns);
    float f = u - std::floor(u);
    float tri = 1.0f - 4.0f * std::fabs(f - 0.5f);
    float v = r.sharpness * tri;
    v = v < -1.f ? -1.f : (v > 1.f ? 1.f : v);
    return 0.5f * r.contrast * v;
}

} // namespace

SimulatedSensor::SimulatedSensor(const SensorConfig& config)
    : m_w(config.width), m_h(config.height), m_seed(config.seed), m_scene(config.scene) {
    const size_t n = static_cast<size_t>(m_w) * m_h;
    m_px.resize(n);
    Rng rng{m_seed ^ 0x5EED5EEDull};
    // Static texture: smooth blobs plus a little per-pixel grain, so the background is not flat
    // (edges moving over it then produce slightly different event counts per row, as in real life).
    const float fx = 6.2831853f / std::max<int>(m_w, 1), fy = 6.2831853f / std::max<int>(m_h, 1);
    for (int y = 0; y < m_h; ++y)
        for (int x = 0; x < m_w; ++x) {
            Pixel& p = m_px[static_cast<size_t>(y) * m_w + x];
            p.bg = 0.25f * std::sin(3 * fx * x) * std::cos(2 * fy * y) + 0.05f * static_cast<float>(rng.gauss());
            p.mOn = std::clamp(1.0f + 0.04f * static_cast<float>(rng.gauss()), 0.8f, 1.2f);
            p.mOff = std::clamp(1.0f + 0.04f * static_cast<float>(rng.gauss()), 0.8f, 1.2f);
            p.ref = p.bg;
            p.rotorAngle = -1.0f;
            p.pad = 0;
            p.blockedUntil = 0;
        }
    if (m_scene.rotor.enabled) {
        const RotorSpec& r = m_scene.rotor;
        std::vector<std::pair<float, uint32_t>> list;
        for (int y = 0; y < m_h; ++y)
            for (int x = 0; x < m_w; ++x) {
                const float dx = x + 0.5f - r.cx, dy = y + 0.5f - r.cy;
                if (dx * dx + dy * dy > r.radius * r.radius)
                    continue;
                float a = std::atan2(dy, dx);
                if (a < 0)
                    a += static_cast<float>(kTwoPi);
                const uint32_t idx = static_cast<uint32_t>(y) * m_w + x;
                m_px[idx].rotorAngle = a;
                list.emplace_back(a, idx);
            }
        std::sort(list.begin(), list.end());
        for (const auto& [a, idx] : list) {
            m_rotorSortedAngle.push_back(a);
            m_rotorSorted.push_back(idx);
        }
    }
    m_col.resize(static_cast<size_t>(m_w) * (kMaxKnots + 1));
    m_row.resize(static_cast<size_t>(m_h) * (kMaxKnots + 1));
    m_colActive.resize(m_w);
    m_rowActive.resize(m_h);
    m_colMin.resize(m_w);
    m_colMax.resize(m_w);
    m_rowMin.resize(m_h);
    m_rowMax.resize(m_h);
    m_stamp.assign(n, 0);
    m_hist.resize(kSliceUs + 1);
    setBiases(BiasSettings{});
    reset(0);
}

void SimulatedSensor::setBiases(const BiasSettings& b) {
    // Exponential bias-to-physics curves, like the DACs of real pixel front ends: each step is a
    // constant ratio.
    m_thOn = kBaseThreshold * std::exp(b.diffOn / 60.0f);
    m_thOff = kBaseThreshold * std::exp(b.diffOff / 60.0f);
    m_refrUs = static_cast<uint32_t>(std::lround(50.0 * std::exp(b.refr / 50.0)));
    const double thMean = 0.5 * (m_thOn + m_thOff);
    m_baRate = m_scene.backgroundRateHz * std::exp(b.fo / 25.0) * std::exp(-b.hpf / 30.0) *
               std::pow(kBaseThreshold / thMean, 2.0);
}

void SimulatedSensor::prepareKnots(double t0Us, uint32_t len) {
    m_sliceStart = t0Us;
    m_knots = len == 0 ? 0 : static_cast<int>((len + kKnotUs - 1) / kKnotUs);
    for (int k = 0; k <= m_knots; ++k)
        m_knotT[k] = std::min<double>(static_cast<double>(k) * kKnotUs, len);
    for (int k = 0; k <= m_knots; ++k)
        m_knotTf[k] = static_cast<float>(m_knotT[k]);
    for (int k = 0; k < m_knots; ++k)
        m_knotInvF[k] = static_cast<float>(1.0 / (m_knotT[k + 1] - m_knotT[k]));
    std::fill(m_col.begin(), m_col.begin() + static_cast<size_t>(m_knots + 1) * m_w, 0.0f);
    std::fill(m_row.begin(), m_row.begin() + static_cast<size_t>(m_knots + 1) * m_h, 0.0f);
    for (int k = 0; k <= m_knots; ++k) {
        const double tSec = (t0Us + m_knotT[k]) * 1e-6;
        for (const BarSpec& b : m_scene.bars) {
            if (b.vertical)
                addBar(b, m_w, tSec, &m_col[static_cast<size_t>(k) * m_w], m_w);
            else
                addBar(b, m_h, tSec, &m_row[static_cast<size_t>(k) * m_h], m_h);
        }
        const double turns = m_scene.rotor.revPerS * tSec;
        m_rotorPhase[k] = static_cast<float>(turns - std::floor(turns));
        const FlickerSpec& f = m_scene.flicker;
        m_flick[k] = f.enabled ? f.amplitude * static_cast<float>(std::sin(kTwoPi * std::fmod(f.frequencyHz * tSec, 1.0)))
                               : 0.0f;
    }
    m_flickMin = *std::min_element(m_flick, m_flick + m_knots + 1);
    m_flickMax = *std::max_element(m_flick, m_flick + m_knots + 1);
    // Per column and per row: the range its profile covers over the slice's knots, and whether it
    // changes within the slice at all (the changing ones are swept whole).
    const auto bounds = [this](const std::vector<float>& knots, int n, std::vector<float>& lo,
                               std::vector<float>& hi, std::vector<uint8_t>& active) {
        for (int i = 0; i < n; ++i) {
            float a = knots[i], b = knots[i];
            for (int k = 1; k <= m_knots; ++k) {
                const float v = knots[static_cast<size_t>(k) * n + i];
                a = std::min(a, v);
                b = std::max(b, v);
            }
            lo[i] = a;
            hi[i] = b;
            active[i] = a != b;
        }
    };
    bounds(m_col, m_w, m_colMin, m_colMax, m_colActive);
    bounds(m_row, m_h, m_rowMin, m_rowMax, m_rowActive);
    m_activeCols.clear();
    for (int x = 0; x < m_w; ++x)
        if (m_colActive[x])
            m_activeCols.push_back(x);
}

inline bool SimulatedSensor::inFlicker(int x, int y) const {
    const FlickerSpec& f = m_scene.flicker;
    return f.enabled && x >= f.x && x < f.x + f.width && y >= f.y && y < f.y + f.height;
}

inline float SimulatedSensor::evalAt(int x, int y, int k) const {
    const Pixel& P = m_px[static_cast<size_t>(y) * m_w + x];
    float L = P.bg + m_col[static_cast<size_t>(k) * m_w + x] + m_row[static_cast<size_t>(k) * m_h + y];
    if (P.rotorAngle >= 0.0f)
        L += rotorTerm(m_scene.rotor, P.rotorAngle, m_rotorPhase[k]);
    if (inFlicker(x, y))
        L += m_flick[k];
    return L;
}

void SimulatedSensor::reset(uint64_t startUs) {
    m_now = startUs;
    prepareKnots(static_cast<double>(startUs), 0);
    for (int y = 0; y < m_h; ++y)
        for (int x = 0; x < m_w; ++x) {
            Pixel& p = m_px[static_cast<size_t>(y) * m_w + x];
            p.ref = evalAt(x, y, 0);
            p.blockedUntil = 0;
        }
}

void SimulatedSensor::processPixel(int x, int y) {
    Pixel& P = m_px[static_cast<size_t>(y) * m_w + x];
    const float thOn = m_thOn * P.mOn, thOff = m_thOff * P.mOff;
    const bool rotor = P.rotorAngle >= 0.0f, flick = inFlicker(x, y);
    const float base = P.bg;
    float ref = P.ref;
    {
        // Cheap bounds first: the column and row terms have known bounds over the slice, the
        // rotor term is monotonic between the slice's ends (it saturates at its extremes), and the
        // flicker's bounds are per slice. Most pixels near a slow edge are ruled out here without
        // evaluating any knot.
        float lo = base + m_colMin[x] + m_rowMin[y], hi = base + m_colMax[x] + m_rowMax[y];
        if (rotor) {
            const float r0 = rotorTerm(m_scene.rotor, P.rotorAngle, m_rotorPhase[0]);
            const float r1 = rotorTerm(m_scene.rotor, P.rotorAngle, m_rotorPhase[m_knots]);
            lo += std::min(r0, r1);
            hi += std::max(r0, r1);
        }
        if (flick) {
            lo += m_flickMin;
            hi += m_flickMax;
        }
        if (hi < ref + thOn && lo > ref - thOff)
            return;
    }
    float L[kMaxKnots + 1];
    const float* col = &m_col[static_cast<size_t>(x)];
    const float* row = &m_row[static_cast<size_t>(y)];
    for (int k = 0; k <= m_knots; ++k)
        L[k] = base + col[static_cast<size_t>(k) * m_w] + row[static_cast<size_t>(k) * m_h];
    if (rotor)
        for (int k = 0; k <= m_knots; ++k)
            L[k] += rotorTerm(m_scene.rotor, P.rotorAngle, m_rotorPhase[k]);
    if (flick)
        for (int k = 0; k <= m_knots; ++k)
            L[k] += m_flick[k];

    // Times below are relative to the slice start (floats are exact enough over 2 ms).
    const uint64_t sliceStart = m_now;
    float blocked = static_cast<float>(P.blockedUntil - static_cast<int64_t>(sliceStart));
    const float refr = static_cast<float>(m_refrUs);
    bool fired = false;
    for (int k = 0; k < m_knots; ++k) {
        const float La = L[k], Lb = L[k + 1];
        // Linear between knots: nothing can fire on a piece that stays inside both thresholds.
        if (std::max(La, Lb) < ref + thOn && std::min(La, Lb) > ref - thOff)
            continue;
        const float ta = m_knotTf[k], tb = m_knotTf[k + 1];
        const float slope = (Lb - La) * m_knotInvF[k];
        float ts = ta;
        for (int guard = 0; guard < 64; ++guard) {
            const float up = ref + thOn, dn = ref - thOff;
            const float Ls = La + slope * (ts - ta);
            float tc;
            uint8_t pol;
            if (Ls >= up) {
                tc = ts;
                pol = 1;
            } else if (Ls <= dn) {
                tc = ts;
                pol = 0;
            } else if (Lb > up) {
                tc = ta + (up - La) / slope;
                pol = 1;
            } else if (Lb < dn) {
                tc = ta + (dn - La) / slope;
                pol = 0;
            } else {
                break;
            }
            if (tc < ts)
                tc = ts;
            float te = tc;
            const bool delayed = te < blocked;
            if (delayed)
                te = blocked;
            if (te >= tb)
                break;
            const float Le = La + slope * (te - ta);
            if (delayed) {
                // The pixel was still resetting when the threshold was crossed: it fires as soon
                // as it can if the change is still there, and its new reference is the level at
                // that moment, so whatever happened meanwhile is lost (as in a real pixel).
                if (pol ? Le < up : Le > dn) {
                    ts = te;
                    continue;
                }
                ref = Le;
            } else {
                ref = pol ? up : dn;
            }
            const uint32_t tRel = static_cast<uint32_t>(te);
            m_tmp.emplace_back(static_cast<uint16_t>(x), static_cast<uint16_t>(y), pol, sliceStart + tRel);
            blocked = static_cast<float>(tRel) + refr;
            fired = true;
            ts = te;
        }
    }
    P.ref = ref;
    if (fired)
        P.blockedUntil = static_cast<int64_t>(sliceStart) + static_cast<int64_t>(blocked);
}

void SimulatedSensor::addRotorRanges() {
    const RotorSpec& r = m_scene.rotor;
    if (!r.enabled || m_rotorSorted.empty() || r.sectors <= 0)
        return;
    // Phase in turns at both ends of the slice; unwrap so that p1 follows p0.
    float p0 = m_rotorPhase[0], p1 = m_rotorPhase[m_knots];
    if (r.revPerS >= 0 && p1 < p0)
        p1 += 1.0f;
    if (r.revPerS < 0 && p1 > p0)
        p1 -= 1.0f;
    const double a0 = kTwoPi * std::min(p0, p1), a1 = kTwoPi * std::max(p0, p1);
    const double sectorAngle = kTwoPi / r.sectors;
    // Half-width of an edge's ramp, in angle, plus a margin for float rounding.
    const double hw = sectorAngle / (4.0 * r.sharpness) + 1e-3;
    const size_t n = m_rotorSorted.size();
    auto visit = [&](size_t i) {
        const uint32_t idx = m_rotorSorted[i];
        const int x = static_cast<int>(idx % m_w), y = static_cast<int>(idx / m_w);
        if (m_colActive[x] || m_rowActive[y] || m_stamp[idx] == m_stampValue)
            return;
        m_stamp[idx] = m_stampValue;
        processPixel(x, y);
    };
    for (int m = 0; m < 2 * r.sectors; ++m) {
        const double edge = sectorAngle * (0.25 + 0.5 * m);
        double lo = a0 + edge - hw, span = (a1 - a0) + 2 * hw;
        if (span >= kTwoPi) {
            for (size_t i = 0; i < n; ++i)
                visit(i);
            return;
        }
        lo = std::fmod(lo, kTwoPi);
        if (lo < 0)
            lo += kTwoPi;
        const double hiA = lo + span;
        auto first = std::lower_bound(m_rotorSortedAngle.begin(), m_rotorSortedAngle.end(), static_cast<float>(lo));
        auto last = std::upper_bound(m_rotorSortedAngle.begin(), m_rotorSortedAngle.end(),
                                     static_cast<float>(std::min(hiA, kTwoPi)));
        for (auto it = first; it != last; ++it)
            visit(static_cast<size_t>(it - m_rotorSortedAngle.begin()));
        if (hiA > kTwoPi) {
            auto wrapEnd = std::upper_bound(m_rotorSortedAngle.begin(), m_rotorSortedAngle.end(),
                                            static_cast<float>(hiA - kTwoPi));
            for (auto it = m_rotorSortedAngle.begin(); it != wrapEnd; ++it)
                visit(static_cast<size_t>(it - m_rotorSortedAngle.begin()));
        }
    }
}

void SimulatedSensor::addNoise(uint32_t len, uint64_t sliceIndex) {
    Rng rng{m_seed * 0x2545F4914F6CDD1Dull + sliceIndex};
    const double mean = m_baRate * m_w * m_h * len * 1e-6;
    if (mean <= 0)
        return;
    long n;
    if (mean < 30) {
        // Knuth's method is exact and cheap for small means.
        const double limit = std::exp(-mean);
        double prod = rng.uniform();
        n = 0;
        while (prod > limit) {
            ++n;
            prod *= rng.uniform();
        }
    } else {
        n = std::lround(mean + std::sqrt(mean) * rng.gauss());
    }
    const uint32_t npx = static_cast<uint32_t>(m_w) * m_h;
    for (long i = 0; i < n; ++i) {
        const uint32_t idx = rng.below(npx);
        Pixel& P = m_px[idx];
        const uint64_t t = static_cast<uint64_t>(m_sliceStart) + rng.below(len);
        if (static_cast<int64_t>(t) < P.blockedUntil)
            continue;
        P.blockedUntil = static_cast<int64_t>(t) + m_refrUs;
        m_tmp.emplace_back(static_cast<uint16_t>(idx % m_w), static_cast<uint16_t>(idx / m_w),
                           static_cast<uint8_t>(rng.next() & 1), t);
    }
}

void SimulatedSensor::slice(uint32_t len) {
    prepareKnots(static_cast<double>(m_now), len);
    if (++m_stampValue == 0) {
        std::fill(m_stamp.begin(), m_stamp.end(), 0);
        m_stampValue = 1;
    }
    // Row by row over the active columns, so pixel state is read in memory order.
    if (!m_activeCols.empty())
        for (int y = 0; y < m_h; ++y) {
            // The rows are a whole pixel line apart: fetch the next ones ahead of use.
            if (y + 2 < m_h)
                for (int x : m_activeCols)
                    __builtin_prefetch(&m_px[static_cast<size_t>(y + 2) * m_w + x], 1);
            for (int x : m_activeCols)
                processPixel(x, y);
        }
    for (int y = 0; y < m_h; ++y)
        if (m_rowActive[y])
            for (int x = 0; x < m_w; ++x)
                if (!m_colActive[x])
                    processPixel(x, y);
    addRotorRanges();
    const FlickerSpec& f = m_scene.flicker;
    if (f.enabled && f.amplitude != 0.0f && f.frequencyHz != 0.0f) {
        const int x1 = std::min<int>(m_w, f.x + f.width), y1 = std::min<int>(m_h, f.y + f.height);
        for (int y = std::max(0, f.y); y < y1; ++y) {
            if (m_rowActive[y])
                continue;
            for (int x = std::max(0, f.x); x < x1; ++x) {
                const size_t idx = static_cast<size_t>(y) * m_w + x;
                if (m_colActive[x] || m_stamp[idx] == m_stampValue)
                    continue;
                processPixel(x, y);
            }
        }
    }
    addNoise(len, m_sliceIndex++);
}

void SimulatedSensor::generate(uint32_t durationUs, std::vector<Event2D>& out, size_t keep) {
    // `out` is only grown, never cleared first, and cut to size at the end: resizing a vector of
    // Event2D writes every new element, which would double the memory traffic of this loop.
    size_t used = keep;
    uint32_t done = 0;
    while (done < durationUs) {
        const uint32_t len = std::min(kSliceUs, durationUs - done);
        m_tmp.clear();
        slice(len);
        // Counting sort by microsecond within the slice: stable, linear, and the slice is short.
        std::fill(m_hist.begin(), m_hist.begin() + len + 1, 0u);
        const uint64_t base = m_now;
        for (const Event2D& e : m_tmp)
            ++m_hist[e.timestamp - base + 1];
        for (uint32_t i = 1; i <= len; ++i)
            m_hist[i] += m_hist[i - 1];
        const size_t old = used;
        used += m_tmp.size();
        if (out.size() < used)
            out.resize(used);
        Event2D* dst = out.data() + old;
        for (const Event2D& e : m_tmp)
            dst[m_hist[e.timestamp - base]++] = e;
        m_now += len;
        done += len;
    }
    out.resize(used);
}

void SimulatedSensor::triggers(uint64_t fromUs, uint64_t toUs, std::vector<EventTriggerIn>& out) const {
    const size_t first = out.size();
    for (int ch = 0; ch < 2; ++ch) {
        const double hz = m_scene.triggerHz[ch];
        if (hz <= 0)
            continue;
        // Square wave: edge n at n half-periods, rising on even n.
        const double half = 1e6 / (2.0 * hz);
        uint64_t n = static_cast<uint64_t>(std::ceil(static_cast<double>(fromUs) / half));
        for (;; ++n) {
            const uint64_t t = static_cast<uint64_t>(std::llround(n * half));
            if (t < fromUs)
                continue;
            if (t >= toUs)
                break;
            out.emplace_back(static_cast<int16_t>(ch), static_cast<int16_t>(n % 2 == 0 ? 1 : 0), t);
        }
    }
    std::stable_sort(out.begin() + static_cast<long>(first), out.end(),
                     [](const EventTriggerIn& a, const EventTriggerIn& b) { return a.timestamp < b.timestamp; });
}

void SimulatedSensor::sceneLogIntensityAt(uint64_t tUs, std::vector<float>& out) {
    prepareKnots(static_cast<double>(tUs), 0); // a single knot at tUs
    out.resize(static_cast<size_t>(m_w) * m_h);
    for (int y = 0; y < m_h; ++y)
        for (int x = 0; x < m_w; ++x)
            out[static_cast<size_t>(y) * m_w + x] = evalAt(x, y, 0);
}

} // namespace quorvel::detail
