// The physical model against published colorimetry: if these drift, every
// white point of the data set drifts with them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "CameraProfile.h"
#include "Illuminants.h"
#include "Surfaces.h"
#include "TestSupport.h"

namespace {

using namespace Vireo::Datagen;

struct KnownWhite {
    const char* name;
    Spectrum spectrum;
    double x, y, tolerance;
};

TEST(Colorimetry, StandardIlluminantsHaveTheirPublishedChromaticity) {
    Spectrum equal;
    equal.fill(1.0);
    const KnownWhite cases[] = {{"D65", Daylight(6504), 0.3127, 0.3290, 0.001},
                                {"D50", Daylight(5003), 0.3457, 0.3585, 0.001},
                                {"A", Planckian(2856), 0.4476, 0.4074, 0.002},
                                {"E", equal, 1.0 / 3.0, 1.0 / 3.0, 0.001},
                                {"F1", MeasuredTube("F1").spectrum, 0.3131, 0.3371, 0.002}};
    for (const auto& c : cases) {
        const Chromaticity xy = ToChromaticity(ToXyz(c.spectrum));
        EXPECT_NEAR(xy.x, c.x, c.tolerance) << c.name;
        EXPECT_NEAR(xy.y, c.y, c.tolerance) << c.name;
    }
}

class CctRoundTrip : public testing::TestWithParam<double> {};

TEST_P(CctRoundTrip, PlanckianAndBalancedSourcesComeBackAtTheirTemperature) {
    const double kelvin = GetParam();
    double duv = 1.0;
    EXPECT_NEAR(CorrelatedColorTemperature(ToChromaticity(ToXyz(Planckian(kelvin))), &duv), kelvin,
                kelvin * 1e-3);
    EXPECT_NEAR(duv, 0.0, 1e-5);
    // Lamps are made for the range of indoor light only.
    if (kelvin <= 6504) {
        EXPECT_NEAR(WhiteLed(kelvin, "led").cct, kelvin, kelvin * 2e-3);
        EXPECT_NEAR(TriphosphorTube(kelvin, "tube").cct, kelvin, kelvin * 2e-3);
    }
    // Daylight lies above the Planckian locus (towards green).
    if (kelvin >= 4000) {
        EXPECT_GT(DaylightLight(kelvin, "d").duv, 0.002);
    }
}

INSTANTIATE_TEST_SUITE_P(Temperatures, CctRoundTrip,
                         testing::Values(2300.0, 2856.0, 4000.0, 5003.0, 6504.0, 9000.0),
                         [](const auto& info) {
                             return std::to_string(static_cast<int>(info.param)) + "K";
                         });

TEST(Surfaces, EveryCheckerPatchHasItsMeasuredColour) {
    ASSERT_EQ(ColorCheckerPatches().size(), 24u);
    for (const auto& p : ColorCheckerPatches()) {
        for (double r : p.reflectance) {
            ASSERT_GE(r, 0.0) << p.name;
            ASSERT_LE(r, 1.0) << p.name;
        }
    }
    // White (D01) and a saturated blue (C01) as the file gives them.
    const Lab white = LabUnderD50(ColorCheckerPatches()[18].reflectance);
    EXPECT_NEAR(white.l, 96.54, 0.05);
    EXPECT_NEAR(white.b, 1.19, 0.05);
    const Lab blue = LabUnderD50(ColorCheckerPatches()[12].reflectance);
    EXPECT_NEAR(blue.a, 14.18, 0.1);
    EXPECT_NEAR(blue.b, -50.30, 0.1);
}

// A minimal DNG camera profile: little-endian TIFF with the "RC" magic.
std::string MakeDcp(const std::vector<int32_t>& m1, int illum1, const std::vector<int32_t>& m2,
                    int illum2) {
    std::vector<uint8_t> b = {'I', 'I', 'R', 'C', 8, 0, 0, 0};
    auto u16 = [&](uint32_t v) { b.push_back(v & 0xff), b.push_back((v >> 8) & 0xff); };
    auto u32 = [&](uint32_t v) { u16(v & 0xffff), u16(v >> 16); };
    const int entries = 4;
    const uint32_t dataAt = 8 + 2 + 12 * entries + 4;
    u16(entries);
    u16(50721), u16(10), u32(9), u32(dataAt);
    u16(50722), u16(10), u32(9), u32(dataAt + 72);
    u16(50778), u16(3), u32(1), u32(static_cast<uint32_t>(illum1));
    u16(50779), u16(3), u32(1), u32(static_cast<uint32_t>(illum2));
    u32(0);
    for (const auto* m : {&m1, &m2})
        for (int32_t v : *m) u32(static_cast<uint32_t>(v)), u32(10000);
    return std::string(b.begin(), b.end());
}

TEST(CameraProfiles, ReadsTheMatricesAndIlluminantsOfAProfile) {
    Vireo::Testing::TempDir dir;
    Vireo::Testing::WriteFile(dir / "cam.dcp",
                              MakeDcp({10000, -5000, 0, 0, 10000, 0, 0, 2500, 5000}, 17,
                                      {8000, 0, -1000, -4000, 12000, 2000, 0, 2000, 6000}, 21));
    CameraProfile p;
    std::string error;
    ASSERT_TRUE(ReadDcpProfile(dir / "cam.dcp", p, error)) << error;
    EXPECT_EQ(p.calibrationIlluminant1, 17);
    EXPECT_EQ(p.calibrationIlluminant2, 21);
    EXPECT_DOUBLE_EQ(p.colorMatrix1[1], -0.5);
    EXPECT_DOUBLE_EQ(p.colorMatrix2[5], 0.2);
    // Interpolation is linear in mired between A and D65, clamped outside.
    EXPECT_DOUBLE_EQ(ColorMatrixAt(p, 2856)[0], 1.0);
    EXPECT_DOUBLE_EQ(ColorMatrixAt(p, 2000)[0], 1.0);
    EXPECT_DOUBLE_EQ(ColorMatrixAt(p, 10000)[0], 0.8);
    const double halfway = 2.0 / (1.0 / 2856 + 1.0 / 6504);
    EXPECT_NEAR(ColorMatrixAt(p, halfway)[0], 0.9, 1e-9);
}

TEST(CameraProfiles, RefusesFilesThatAreNoProfile) {
    Vireo::Testing::TempDir dir;
    const std::string good =
        MakeDcp({1, 0, 0, 0, 1, 0, 0, 0, 1}, 17, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 21);
    const struct {
        const char* name;
        std::string bytes;
    } cases[] = {{"empty", ""},
                 {"short", good.substr(0, 6)},
                 {"bad byte order", "XX" + good.substr(2)},
                 {"directory past the end",
                  good.substr(0, 4) + std::string("\xff\x00\x00\x00", 4) + good.substr(8)},
                 {"no ColorMatrix1", good.substr(0, 8) + std::string("\x00\x00", 2)}};
    for (const auto& c : cases) {
        Vireo::Testing::WriteFile(dir / "bad.dcp", c.bytes);
        CameraProfile p;
        std::string error;
        EXPECT_FALSE(ReadDcpProfile(dir / "bad.dcp", p, error)) << c.name;
        EXPECT_FALSE(error.empty()) << c.name;
    }
}

// The built-in numbers are the package's: checked against the installed
// profiles when Debian's rawtherapee-data is there.
TEST(CameraProfiles, BuiltInCamerasMatchTheInstalledProfiles) {
    for (const auto& cam : BuiltInCameras()) {
        const std::string path = std::string(kRawTherapeeProfileDir) + "/" + cam.name + ".dcp";
        if (!Vireo::Testing::Exists(path)) GTEST_SKIP() << "rawtherapee-data is not installed";
        CameraProfile file;
        std::string error;
        ASSERT_TRUE(ReadDcpProfile(path, file, error)) << error;
        EXPECT_EQ(file.calibrationIlluminant1, cam.calibrationIlluminant1) << cam.name;
        EXPECT_EQ(file.calibrationIlluminant2, cam.calibrationIlluminant2) << cam.name;
        for (int i = 0; i < 9; ++i) {
            EXPECT_NEAR(file.colorMatrix1[i], cam.colorMatrix1[i], 1e-4) << cam.name;
            EXPECT_NEAR(file.colorMatrix2[i], cam.colorMatrix2[i], 1e-4) << cam.name;
        }
    }
}

}  // namespace
