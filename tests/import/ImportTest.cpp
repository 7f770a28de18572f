// vireo-import end to end: pictures written here, imported by the real
// program, read back with the driver's readers and run through the driver.
#include <gtest/gtest.h>
#include <spng.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "GroundTruth.h"
#include "SampleStats.h"
#include "TestSupport.h"

#if VIREO_TEST_RAW
#include <tiffio.h>
#endif

namespace {

using Vireo::Testing::TempDir;

struct Picture {
    int width, height, bits;
    std::vector<uint16_t> rgb;
};

// Values that differ widely from pixel to pixel, so that a pixel given to
// the wrong region or with the wrong area moves a mean by far more than
// rounding; some pixels masked (0, 0, 0), some with a clipped green.
Picture MakePicture(int width, int height, int bits) {
    Picture p{width, height, bits, {}};
    const int top = (1 << bits) - 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 3; ++c) {
                int v = 1 + (x * 7919 + y * 104729 + c * 1237) % (top - 1);
                if ((x + 2 * y) % 5 == 0) v = 0;
                if ((3 * x + y) % 7 == 0 && c == 1) v = top;
                p.rgb.push_back(static_cast<uint16_t>(v));
            }
        }
    }
    return p;
}

std::string PngBytes(const Picture& p) {
    spng_ctx* ctx = spng_ctx_new(SPNG_CTX_ENCODER);
    spng_set_option(ctx, SPNG_ENCODE_TO_BUFFER, 1);
    spng_ihdr ihdr{static_cast<uint32_t>(p.width),
                   static_cast<uint32_t>(p.height),
                   static_cast<uint8_t>(p.bits),
                   SPNG_COLOR_TYPE_TRUECOLOR,
                   0,
                   0,
                   0};
    spng_set_ihdr(ctx, &ihdr);
    std::vector<uint8_t> eight(p.rgb.begin(), p.rgb.end());
    const void* data = p.bits == 16 ? static_cast<const void*>(p.rgb.data()) : eight.data();
    spng_encode_image(ctx, data, p.rgb.size() * p.bits / 8, SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE);
    size_t size = 0;
    int error = 0;
    void* png = spng_get_png_buffer(ctx, &size, &error);
    std::string bytes(static_cast<const char*>(png), size);
    std::free(png);
    spng_ctx_free(ctx);
    return bytes;
}

// Standard error joined to standard output.
Vireo::Testing::RunResult Import(const TempDir& dir, std::vector<std::string> args) {
    args.insert(args.begin(), {"-c", "exec \"$0\" \"$@\" 2>&1", VIREO_IMPORT_EXE});
    return Vireo::Testing::Run("/bin/sh", args, dir.path());
}

Vireo::Score::SampleStats Load(const std::string& path) {
    Vireo::Score::SampleStats sample;
    std::string error;
    EXPECT_TRUE(Vireo::Score::LoadSample(path, sample, error)) << error;
    return sample;
}

TEST(ImportImages, RegionSumsShareEdgePixelsByArea) {
    const struct {
        int width, height, bits, columns, rows;
        std::vector<std::string> options;
        int white, black;
        double clip;
        int regionWidth, regionHeight, bitDepth, divisor;
    } cases[] = {
        // 1.5 x 1.33 pixels a region: pixels split 2 x 3.
        {6, 4, 16, 4, 3, {}, 65535, 0, 0.98, 3, 4, 16, 1},
        {5,
         7,
         8,
         2,
         3,
         {"--black", "3", "--white", "200", "--clip-fraction", "0.9"},
         200,
         3,
         0.9,
         5,
         7,
         8,
         1},
        // 66600 pixels in one region: counts halved, sums with them.
        {370, 180, 16, 1, 1, {}, 65535, 0, 0.98, 370, 180, 16, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.width);
        TempDir dir;
        const Picture p = MakePicture(c.width, c.height, c.bits);
        Vireo::Testing::MakeDirs(dir / "in");
        Vireo::Testing::WriteFile(dir / "in/p.png", PngBytes(p));
        Vireo::Testing::WriteFile(dir / "truth.csv", "file,r,g,b\np.png,0.5,1,0.25\n");
        std::vector<std::string> args = {
            "images",  "--images",  "in",
            "--truth", "truth.csv", "--out",
            "data",    "--grid",    std::to_string(c.columns) + "x" + std::to_string(c.rows)};
        args.insert(args.end(), c.options.begin(), c.options.end());
        const auto run = Import(dir, args);
        ASSERT_EQ(run.exitStatus, 0) << run.standardOutput;
        const auto s = Load(dir / "data/ball/p.txt");
        EXPECT_EQ(s.header.regionWidth, c.regionWidth);
        EXPECT_EQ(s.header.regionHeight, c.regionHeight);
        EXPECT_EQ(s.header.statsROI[2], static_cast<uint32_t>(c.regionWidth * c.columns));
        EXPECT_EQ(s.header.statsROI[3], static_cast<uint32_t>(c.regionHeight * c.rows));
        EXPECT_EQ(s.header.bitDepth, c.bitDepth);
        const double clip = c.white * c.clip;
        EXPECT_EQ(s.header.saturationThreshold[3], static_cast<int32_t>(std::ceil(clip)) - c.black);

        // The area-weighted means in continuous pixel coordinates.
        const double w = static_cast<double>(c.width) / c.columns,
                     h = static_cast<double>(c.height) / c.rows;
        const double subPixels = static_cast<double>(c.regionWidth) * c.regionHeight / (w * h);
        for (int ry = 0; ry < c.rows; ++ry) {
            for (int rx = 0; rx < c.columns; ++rx) {
                double area = 0, sum[3] = {0, 0, 0};
                for (int y = 0; y < c.height; ++y) {
                    for (int x = 0; x < c.width; ++x) {
                        const uint16_t* v = &p.rgb[(y * c.width + x) * 3];
                        if ((v[0] | v[1] | v[2]) == 0 || v[0] >= clip || v[1] >= clip ||
                            v[2] >= clip)
                            continue;
                        const double a = std::max(0.0, std::min(x + 1.0, (rx + 1) * w) -
                                                           std::max(x * 1.0, rx * w)) *
                                         std::max(0.0, std::min(y + 1.0, (ry + 1) * h) -
                                                           std::max(y * 1.0, ry * h));
                        area += a;
                        for (int k = 0; k < 3; ++k) sum[k] += a * std::max(0, v[k] - c.black);
                    }
                }
                const auto& got = s.regions[ry * c.columns + rx];
                const double count = std::round(area * subPixels / c.divisor);
                ASSERT_EQ(got.rCount, count);
                ASSERT_EQ(got.gbCount, count);
                const int64_t sums[3] = {got.rSum, got.grSum, got.bSum};
                for (int k = 0; k < 3; ++k)
                    ASSERT_NEAR(sums[k] / count, sum[k] / area, 0.5 / count) << rx << "," << ry;
                ASSERT_EQ(got.gbSum, got.grSum);
            }
        }
    }
}

TEST(ImportImages, DriverAndScorerRunOnTheImportedFolder) {
    TempDir dir;
    Vireo::Testing::MakeDirs(dir / "in");
    Vireo::Testing::WriteFile(dir / "in/a.png", PngBytes(MakePicture(16, 12, 16)));
    Vireo::Testing::WriteFile(dir / "in/b.png", PngBytes(MakePicture(16, 12, 8)));
    Vireo::Testing::WriteFile(
        dir / "truth.csv",
        "file,r,g,b,scene,lux,cct\na.png,0.6,1,0.5,,,\nb,1,2,0.5,chart,1000,6500\n");
    const auto run = Import(dir, {"images", "--images", "in", "--truth", "truth.csv", "--out",
                                  "data", "--grid", "8x6", "--scene", "outdoor_2"});
    ASSERT_EQ(run.exitStatus, 0) << run.standardOutput;
    EXPECT_EQ(Vireo::Testing::ReadFile(dir / "data/ground_truth.csv"),
              Vireo::Datagen::GroundTruthHeader() +
                  "outdoor_2/a.txt,outdoor_2,measured,,,,0.6,0.5,1.66666667,1,2,,260,0\n"
                  "chart/b.txt,chart,measured,,6500,,0.5,0.25,2,1,4,1000,275,0\n");
    EXPECT_EQ(Load(dir / "data/chart/b.txt").header.luxIndex, 275.0f);
    const auto verify = Import(dir, {"verify", "--images", "in", "--data", "data"});
    EXPECT_EQ(verify.exitStatus, 0);
    EXPECT_EQ(verify.standardOutput.rfind("2 images: grey world on pixels vs on regions", 0), 0u);

    Vireo::Testing::WriteFile(dir / "run.cfg", "tuningFile=" VIREO_TEST_DEFAULT_TUNING
                                               "\nawbDLL=" VIREO_TEST_AWB_LIBRARY
                                               "\nawbSimWrapperDLL=" VIREO_TEST_WRAPPER_LIBRARY
                                               "\ndataDir=data\noutputDir=out\n");
    EXPECT_EQ(Vireo::Testing::Run(VIREO_TEST_DRIVER, {"run.cfg"}, dir.path()).exitStatus, 0);
    const auto score = Vireo::Testing::Run(VIREO_SCORE_EXE,
                                           {"--results", "out/awbSimulationOutput.txt", "--truth",
                                            "data/ground_truth.csv", "--data", "data", "--csv"},
                                           dir.path());
    EXPECT_EQ(score.exitStatus, 0) << score.standardOutput;
    // A record for every sample; a mired figure only where the CCT is known.
    auto row = [&](const std::string& start) {
        const auto at = score.standardOutput.find("\n" + start);
        const auto end = score.standardOutput.find('\n', at + 1);
        return at == std::string::npos ? "" : score.standardOutput.substr(at + 1, end - at - 1);
    };
    EXPECT_EQ(row("outdoor_2,awb,1,").substr(row("outdoor_2,awb,1,").size() - 3), ",,0");
    EXPECT_NE(row("chart,awb,1,").substr(row("chart,awb,1,").size() - 3), ",,0");
}

// Every failure: one line naming the file and the reason, exit status 1, no
// ground truth and nothing half written (the good picture before the bad
// one is a complete sample).
void ExpectCleanFailure(const TempDir& dir, const std::vector<std::string>& args,
                        const std::string& message) {
    const auto run = Import(dir, args);
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.standardOutput.rfind("vireo-import: ", 0), 0u) << run.standardOutput;
    EXPECT_NE(run.standardOutput.find(message), std::string::npos) << run.standardOutput;
    EXPECT_EQ(run.standardOutput.find('\n'), run.standardOutput.size() - 1);
    EXPECT_FALSE(Vireo::Testing::Exists(dir / "data/ground_truth.csv"));
    if (!Vireo::Testing::Exists(dir / "data")) return;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir / "data")) {
        EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
        if (entry.is_regular_file()) Load(entry.path().string());
    }
}

TEST(ImportImages, BadInputFailsCleanly) {
    const std::string png = PngBytes(MakePicture(16, 12, 16));
    const std::string truth = "file,r,g,b\na.png,1,1,1\nb.png,1,1,1\n";
    const struct {
        std::string b, truth, out, message;
    } cases[] = {
        {png.substr(0, png.size() / 2), truth, "data", "in/b.png: cannot decode the PNG"},
        {"not a picture", truth, "data", "in/b.png: not a readable PNG"},
        {PngBytes(MakePicture(4, 4, 8)), truth, "data",
         "in/b.png: a 4x4 image has fewer pixels than the 8x6 grid"},
        {png, "file,r,g,b\na.png,1,1,1\n", "data", "in/b.png: no row in truth.csv"},
        {png, truth + "a.png,1,1,1\n", "data", "truth.csv:4: a.png already has a row (line 2)"},
        {png, truth + "c.png,1,1,1\n", "data", "truth.csv:4: no picture c.png in in/"},
        {png, "file,r,g,b\na.png,x,1,1\n", "data", "truth.csv:2: the white r,g,b of a.png"},
        {png, truth, "file/data", "cannot make the folder file: Not a directory"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        Vireo::Testing::MakeDirs(dir / "in");
        Vireo::Testing::WriteFile(dir / "in/a.png", png);
        Vireo::Testing::WriteFile(dir / "in/b.png", c.b);
        Vireo::Testing::WriteFile(dir / "truth.csv", c.truth);
        Vireo::Testing::WriteFile(dir / "file", "");
        ExpectCleanFailure(
            dir,
            {"images", "--images", "in", "--truth", "truth.csv", "--out", c.out, "--grid", "8x6"},
            c.message);
    }
}

#if VIREO_TEST_RAW
// A raw mosaic and how it was taken.
struct Mosaic {
    int width = 44, height = 26;
    uint8_t pattern[4];  // DNG CFAPattern: 0 R, 1 G, 2 B, row by row
    float black[4] = {64, 65, 66, 67};
    uint32_t white = 4000;
    std::vector<uint16_t> values;
};

// Spread values, some under the black level, some at the white level.
Mosaic MakeMosaic(const uint8_t (&pattern)[4]) {
    Mosaic m;
    std::copy(pattern, pattern + 4, m.pattern);
    for (int y = 0; y < m.height; ++y) {
        for (int x = 0; x < m.width; ++x) {
            int v = 70 + (x * 389 + y * 2011) % 3500;
            if ((x * y) % 13 == 5) v = 4000 + x % 2;  // at the white level, or above
            if ((x + y) % 17 == 3) v = 30;
            m.values.push_back(static_cast<uint16_t>(v));
        }
    }
    return m;
}

// A minimal DNG: one uncompressed CFA image, per-cell black levels, the
// white level and the exposure in an EXIF directory (ISO 100, 1/100 s, f/4).
void WriteDng(const std::string& path, const Mosaic& m) {
    TIFF* t = TIFFOpen(path.c_str(), "w");
    const uint16_t cell[2] = {2, 2};
    const uint8_t version[4] = {1, 4, 0, 0};
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    TIFFSetField(t, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, m.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, m.height);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, m.height);
    TIFFSetField(t, TIFFTAG_MAKE, "Vireo");
    TIFFSetField(t, TIFFTAG_MODEL, "Test");
    TIFFSetField(t, TIFFTAG_UNIQUECAMERAMODEL, "Vireo Test");
    TIFFSetField(t, TIFFTAG_DNGVERSION, version);
    TIFFSetField(t, TIFFTAG_CFAREPEATPATTERNDIM, cell);
    TIFFSetField(t, TIFFTAG_CFAPATTERN, 4, m.pattern);
    TIFFSetField(t, TIFFTAG_BLACKLEVELREPEATDIM, cell);
    TIFFSetField(t, TIFFTAG_BLACKLEVEL, 4, m.black);
    TIFFSetField(t, TIFFTAG_WHITELEVEL, 1, &m.white);
    TIFFSetField(t, TIFFTAG_COLORMATRIX1, 9, identity);
    TIFFSetField(t, TIFFTAG_EXIFIFD, uint64_t{0});
    for (int y = 0; y < m.height; ++y)
        TIFFWriteScanline(t, const_cast<uint16_t*>(&m.values[y * m.width]), y, 0);
    TIFFWriteDirectory(t);
    TIFFCreateEXIFDirectory(t);
    const uint16_t iso = 100;
    TIFFSetField(t, EXIFTAG_EXPOSURETIME, 0.01);
    TIFFSetField(t, EXIFTAG_FNUMBER, 4.0);
    TIFFSetField(t, EXIFTAG_ISOSPEEDRATINGS, 1, &iso);
    uint64_t exif = 0;
    TIFFWriteCustomDirectory(t, &exif);
    TIFFSetDirectory(t, 0);
    TIFFSetField(t, TIFFTAG_EXIFIFD, exif);
    TIFFClose(t);
}

TEST(ImportRaw, SumsComeFromTheTrueCfaPositions) {
    const struct {
        uint8_t pattern[4];
        bool greyCard;
    } cases[] = {
        {{0, 1, 1, 2}, false}, {{2, 1, 1, 0}, false}, {{1, 0, 2, 1}, false}, {{1, 2, 0, 1}, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(int{c.pattern[0]} * 100 + c.pattern[1] * 10 + c.pattern[2]);
        TempDir dir;
        const Mosaic m = MakeMosaic(c.pattern);
        WriteDng(dir / "shot.dng", m);
        Vireo::Testing::WriteFile(dir / "truth.csv", "file,r,g,b\nshot.dng,0.5,1,0.25\n");
        const auto run = Import(
            dir, {"raw", "shot.dng", "--out", "data", "--grid", "4x3",
                  c.greyCard ? "--truth-roi" : "--truth", c.greyCard ? "5,3,6,4" : "truth.csv"});
        ASSERT_EQ(run.exitStatus, 0) << run.standardOutput;
        const auto s = Load(dir / "data/ball/shot.txt");
        // Regions of 10 x 8 photosites (44 / 4 and 26 / 3 rounded down to
        // even) over the centred 40 x 24; 12 bits hold 4000 - 64.
        EXPECT_EQ(s.header.regionWidth, 10);
        EXPECT_EQ(s.header.regionHeight, 8);
        EXPECT_EQ(s.header.statsROI[0], 2u);
        EXPECT_EQ(s.header.statsROI[2], 40u);
        EXPECT_EQ(s.header.bitDepth, 12);
        EXPECT_FLOAT_EQ(s.header.luxIndex, 229.8f);  // 4000 lux

        // Expected: file channel order R, GR, B, GB.
        std::vector<Vireo::SampleRegionValues> want(12);
        double card[4] = {0, 0, 0, 0}, cardCount[4] = {0, 0, 0, 0};
        const int redRow = (c.pattern[0] == 0 || c.pattern[1] == 0) ? 0 : 1;
        for (int y = 0; y < 24; ++y) {
            for (int x = 2; x < 42; ++x) {
                const int cellAt = (y % 2) * 2 + x % 2, colour = c.pattern[cellAt];
                const int channel = colour == 0 ? 0 : colour == 2 ? 2 : y % 2 == redRow ? 1 : 3;
                const int raw = m.values[y * m.width + x];
                const int value = std::max(0, raw - static_cast<int>(m.black[cellAt]));
                if (raw >= 4000) continue;
                if (c.greyCard && x >= 5 && x < 11 && y >= 3 && y < 7) {
                    card[channel] += value, ++cardCount[channel];
                    continue;
                }
                auto& region = want[(y / 8) * 4 + (x - 2) / 10];
                region.sums[channel] += value;
                ++region.counts[channel];
            }
        }
        for (size_t i = 0; i < want.size(); ++i) {
            const auto& got = s.regions[i];
            EXPECT_EQ((std::array<int64_t, 4>{got.rSum, got.grSum, got.bSum, got.gbSum}),
                      want[i].sums)
                << i;
            EXPECT_EQ((std::array<int64_t, 4>{got.rCount, got.grCount, got.bCount, got.gbCount}),
                      want[i].counts)
                << i;
        }
        std::vector<Vireo::Datagen::TruthRow> truth;
        std::string error;
        ASSERT_TRUE(Vireo::Datagen::ReadGroundTruth(dir / "data/ground_truth.csv", truth, error));
        const double g = (card[1] / cardCount[1] + card[3] / cardCount[3]) / 2;
        EXPECT_NEAR(truth.at(0).whiteRG, c.greyCard ? card[0] / cardCount[0] / g : 0.5, 1e-8);
        EXPECT_NEAR(truth.at(0).whiteBG, c.greyCard ? card[2] / cardCount[2] / g : 0.25, 1e-8);
    }
}

TEST(ImportRaw, BadInputFailsCleanly) {
    TempDir dir;
    WriteDng(dir / "a.dng", MakeMosaic({0, 1, 1, 2}));
    WriteDng(dir / "b.dng", MakeMosaic({1, 1, 1, 2}));
    Vireo::Testing::WriteFile(dir / "c.dng", "not a raw file");
    ExpectCleanFailure(
        dir, {"raw", "a.dng", "b.dng", "--out", "data", "--grid", "4x3", "--truth-roi", "0,0,4,4"},
        "b.dng: unknown CFA pattern");
    ExpectCleanFailure(dir, {"raw", "c.dng", "--out", "data", "--truth-roi", "0,0,4,4"},
                       "c.dng: LibRaw cannot read it");
    ExpectCleanFailure(
        dir, {"raw", "a.dng", "--out", "data", "--grid", "30x3", "--truth-roi", "0,0,4,4"},
        "a.dng: a 44x26 visible area is too small for a 30x3 grid");
}

#endif  // VIREO_TEST_RAW

}  // namespace
