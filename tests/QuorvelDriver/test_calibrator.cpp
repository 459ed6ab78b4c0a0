#include "quorvel/Calibrator.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

using namespace quorvel;
using namespace quorvel::test;

namespace {

ApsFrame randomFrame(int w, int h, uint32_t seed) {
    ApsFrame f(w, h, 123456, 7);
    std::mt19937 rng(seed);
    for (uint64_t i = 0; i < f.getDataSize(); ++i)
        f.data()[i] = static_cast<unsigned char>(rng());
    return f;
}

// The warp written the plain way, straight from the definition.
void referenceWarp(const CalibratorParameters& p, const ApsFrame& aps, ApsFrame& out) {
    const auto& m = p.affine;
    for (int y = 0; y < p.dvsHeight; ++y)
        for (int x = 0; x < p.dvsWidth; ++x) {
            const double fx = x * m[0] + y * m[1] + m[2] + p.translationX;
            const double fy = x * m[3] + y * m[4] + m[5] + p.translationY;
            if (fx <= -1.0 || fy <= -1.0 || fx >= aps.getWidth() || fy >= aps.getHeight())
                continue;
            const int sx = static_cast<int>(fx), sy = static_cast<int>(fy);
            std::memcpy(out.data() + (static_cast<size_t>(y) * p.dvsWidth + x) * 3,
                        aps.data() + (static_cast<size_t>(sy) * aps.getWidth() + sx) * 3, 3);
        }
}

CalibratorParameters params(std::array<double, 6> m, int dvsW, int dvsH, int apsW, int apsH, double dx = 0,
                            double dy = 0) {
    CalibratorParameters p;
    p.affine = m;
    p.dvsWidth = dvsW;
    p.dvsHeight = dvsH;
    p.apsWidth = apsW;
    p.apsHeight = apsH;
    p.translationX = dx;
    p.translationY = dy;
    return p;
}

} // namespace

TEST(Calibrator, WarpMatchesTheDefinitionForManyMappings) {
    const ApsFrame aps = randomFrame(200, 150, 3);
    const std::vector<CalibratorParameters> cases = {
        params({1, 0, 0, 0, 1, 0}, 160, 120, 200, 150),
        params({1.5, 0, 10.25, 0, 1.5, -3.75}, 160, 120, 200, 150),          // scale, partly outside
        params({0.98, 0.17, 5.5, -0.17, 0.98, 30.1}, 160, 120, 200, 150),    // rotation
        params({1.0123, 0.0031, -0.5, 0.002, 0.9977, -0.9}, 160, 120, 200, 150), // near identity, edges at -1..0
        params({1, 0, 0, 0, 1, 0}, 160, 120, 200, 150, 50.7, -20.2),         // manual translation
        params({-1, 0, 199, 0, 1, 0}, 160, 120, 200, 150),                   // mirror
        params({3, 0, -150, 0, 3, -120}, 160, 120, 200, 150),                // mostly outside
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        CalibratorParameters p = cases[i];
        Calibrator cal;
        ASSERT_TRUE(cal.loadCalibrationParam(p));
        ApsFrame expected(p.dvsWidth, p.dvsHeight), got(p.dvsWidth, p.dvsHeight);
        // Pre-fill both: pixels without a source must keep what the output held.
        std::memset(expected.data(), 0x5A, expected.getDataSize());
        std::memset(got.data(), 0x5A, got.getDataSize());
        referenceWarp(p, aps, expected);
        ASSERT_TRUE(cal.mapApsToDvs(aps, got));
        ASSERT_EQ(got.getWidth(), p.dvsWidth);
        ASSERT_EQ(got.getHeight(), p.dvsHeight);
        EXPECT_EQ(got.getTimestamp(), aps.getTimestamp());
        EXPECT_EQ(0, std::memcmp(expected.data(), got.data(), got.getDataSize()));
    }
}

TEST(Calibrator, InPlaceWarpHasDvsGeometryAndBlackBorder) {
    Calibrator cal;
    CalibratorParameters p = params({1, 0, 100, 0, 1, 0}, 64, 32, 120, 40);
    ASSERT_TRUE(cal.loadCalibrationParam(p));
    for (int round = 0; round < 2; ++round) {
        ApsFrame f = randomFrame(120, 40, 9 + round);
        const ApsFrame src = f.clone();
        ASSERT_TRUE(cal.mapApsToDvs(f));
        ASSERT_EQ(f.getWidth(), 64);
        ASSERT_EQ(f.getHeight(), 32);
        EXPECT_EQ(f.getTimestamp(), 123456u);
        EXPECT_EQ(f.getSequence(), 7u);
        // Columns 0..19 read APS columns 100..119; the rest has no source and stays black.
        EXPECT_EQ(0, std::memcmp(f.data() + (5 * 64 + 19) * 3, src.data() + (5 * 120 + 119) * 3, 3));
        const unsigned char black[3] = {0, 0, 0};
        EXPECT_EQ(0, std::memcmp(f.data() + (5 * 64 + 20) * 3, black, 3));
    }
    ApsFrame empty;
    EXPECT_FALSE(cal.mapApsToDvs(empty));
}

TEST(Calibrator, ManualTranslationReplacesAndEventsMapIntoApsGeometry) {
    Calibrator cal;
    CalibratorParameters p = params({2, 0, 1, 0, 2, 3}, 100, 100, 300, 300);
    ASSERT_TRUE(cal.loadCalibrationParam(p));
    cal.adjustAffineTranslation(5, 5);
    cal.adjustAffineTranslation(-0.5, 10.7); // absolute, not added to the previous call
    EXPECT_DOUBLE_EQ(cal.getCalibrationParam().translationX, -0.5);
    EXPECT_DOUBLE_EQ(cal.getCalibrationParam().translationY, 10.7);

    // The last column and row that still land inside, and the first ones that do not.
    std::vector<Event2D> ev = {{0, 0, 1, 10}, {10, 20, 0, 11}, {149, 142, 1, 12}, {150, 0, 1, 13}, {0, 144, 0, 14}};
    cal.mapDvsToAps(ev.data(), ev.data() + ev.size());
    EXPECT_EQ(ev[0], Event2D(0, 13, 1, 10));    // (0.5, 13.7)
    EXPECT_EQ(ev[1], Event2D(20, 53, 0, 11));   // (20.5, 53.7)
    EXPECT_EQ(ev[2], Event2D(298, 297, 1, 12)); // (298.5, 297.7)
    EXPECT_EQ(ev[3], Event2D(0xFFFF, 0xFFFF, 1, 13)); // x 300.5
    EXPECT_EQ(ev[4], Event2D(0xFFFF, 0xFFFF, 0, 14)); // y 301.7
}

TEST(Calibrator, InverseAffineUndoesTheForwardMapping) {
    const double fwd[6] = {0.98, 0.17, 5.5, -0.21, 1.03, 30.1};
    double inv[6] = {};
    ASSERT_TRUE(Calibrator::computeInverseAffine(fwd, inv));
    for (double x : {0.0, 17.0, 640.0})
        for (double y : {0.0, 33.0, 719.0}) {
            const double ax = x * fwd[0] + y * fwd[1] + fwd[2];
            const double ay = x * fwd[3] + y * fwd[4] + fwd[5];
            EXPECT_NEAR(ax * inv[0] + ay * inv[1] + inv[2], x, 1e-9);
            EXPECT_NEAR(ax * inv[3] + ay * inv[4] + inv[5], y, 1e-9);
        }
    const double singular[6] = {1, 2, 3, 2, 4, 5};
    double untouched[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_FALSE(Calibrator::computeInverseAffine(singular, untouched));
    for (double v : untouched)
        EXPECT_EQ(v, 9);
}

TEST(CalibratorParameters, JsonRoundTripThroughCalibrator) {
    TempDir dir;
    Calibrator cal;
    CalibratorParameters p = params({1.25, -0.01, 12.5, 0.02, 1.24, -7.125}, 1280, 720, 1920, 1080);
    ASSERT_TRUE(cal.loadCalibrationParam(p));
    cal.adjustAffineTranslation(3, -4);
    std::string path = dir.file("cal.json");
    ASSERT_TRUE(cal.saveCalibrationParam(path)) << calibrationLastError();

    CalibratorParameters back;
    ASSERT_TRUE(jsonFileToParam(path, back)) << calibrationLastError();
    CalibratorParameters want = p;
    want.translationX = 3;
    want.translationY = -4;
    EXPECT_EQ(back, want);
    Calibrator other;
    ASSERT_TRUE(other.loadCalibrationParam(back));
    EXPECT_EQ(other.getCalibrationParam(), want);

    // Written by hand without the optional translation: defaults to none.
    writeFile(dir.file("plain.json"), R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]],
        "dvs_geometry": {"width": 640, "height": 480}, "aps_geometry": {"width": 800, "height": 600}})");
    CalibratorParameters plain;
    ASSERT_TRUE(jsonFileToParam(dir.file("plain.json"), plain));
    EXPECT_EQ(plain.affine[2], 2);
    EXPECT_EQ(plain.translationX, 0);
    EXPECT_EQ(plain.apsHeight, 600);
}

TEST(CalibratorParameters, MalformedFilesChangeNothing) {
    TempDir dir;
    const std::string geo = R"("dvs_geometry": {"width": 640, "height": 480}, "aps_geometry": {"width": 800, "height": 600})";
    const std::vector<std::string> bad = {
        "",
        "{not json",
        "[1, 2, 3]",
        "{" + geo + "}",                                                        // no matrix
        R"({"affine_matrix": [[1, 0, 2]], )" + geo + "}",                      // one row
        R"({"affine_matrix": [[1, 0], [0, 1]], )" + geo + "}",                 // two columns
        R"({"affine_matrix": [[1, 0, "2"], [0, 1, 3]], )" + geo + "}",         // string value
        R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]], "translation": [1], )" + geo + "}",
        R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]], "aps_geometry": {"width": 800, "height": 600}})",
        R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]], "dvs_geometry": {"width": 0, "height": 480}, "aps_geometry": {"width": 800, "height": 600}})",
        R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]], "dvs_geometry": {"width": 640.5, "height": 480}, "aps_geometry": {"width": 800, "height": 600}})",
        R"({"affine_matrix": [[1, 0, 2], [0, 1, 3]], "dvs_geometry": {"width": 70000, "height": 480}, "aps_geometry": {"width": 800, "height": 600}})",
    };
    const CalibratorParameters sentinel = params({7, 7, 7, 7, 7, 7}, 11, 12, 13, 14, 1, 2);
    for (size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(bad[i]);
        writeFile(dir.file("bad.json"), bad[i]);
        CalibratorParameters p = sentinel;
        EXPECT_FALSE(jsonFileToParam(dir.file("bad.json"), p));
        EXPECT_EQ(p, sentinel);
        EXPECT_FALSE(calibrationLastError().empty());
    }
    CalibratorParameters p = sentinel;
    EXPECT_FALSE(jsonFileToParam(dir.file("missing.json"), p));
    EXPECT_EQ(p, sentinel);

    // The calibrator refuses invalid parameters and keeps the ones in force.
    Calibrator cal;
    CalibratorParameters good = params({2, 0, 0, 0, 2, 0}, 10, 10, 20, 20);
    ASSERT_TRUE(cal.loadCalibrationParam(good));
    CalibratorParameters nan = good;
    nan.affine[4] = std::nan("");
    EXPECT_FALSE(cal.loadCalibrationParam(nan));
    CalibratorParameters zero = good;
    zero.dvsHeight = 0;
    EXPECT_FALSE(cal.loadCalibrationParam(zero));
    EXPECT_EQ(cal.getCalibrationParam(), good);
    // Writing into a folder that does not exist fails and reports it.
    std::string nowhere = dir.file("no/such/dir/cal.json");
    EXPECT_FALSE(cal.saveCalibrationParam(nowhere));
    EXPECT_FALSE(std::filesystem::exists(nowhere));
}
