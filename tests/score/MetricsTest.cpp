#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "Metrics.h"
#include "Results.h"

namespace {

using namespace Vireo::Score;

TEST(AngularError, HandComputedCases) {
    const struct {
        double rGain, gGain, bGain, rOverG, bOverG, degrees;
    } cases[] = {
        {1, 1, 1, 1, 1, 0.0},
        {2, 2, 2, 1, 1, 0.0},                 // only the direction counts
        {0.5, 1, 0.25, 2, 4, 0.0},            // gains undo the white exactly
        {1, 1, 1, 1, 2, 19.471220634490695},  // acos(4 / sqrt(18))
        {1, 1, 0.5, 1, 1, 19.471220634490695},
        {1, 1, 1, 0.5, 0.5, 19.471220634490695},  // acos(2 / sqrt(3 * 1.5))
        {0, 1, 1, 1, 1, 180.0},                   // a failed estimate
        {NAN, 1, 1, 1, 1, 180.0},
        {1, 1, INFINITY, 1, 1, 180.0},
    };
    for (const auto& c : cases)
        EXPECT_NEAR(AngularErrorFromGains(c.rGain, c.gGain, c.bGain, c.rOverG, c.bOverG), c.degrees,
                    1e-9)
            << c.rGain << " " << c.gGain << " " << c.bGain << " vs " << c.rOverG << " " << c.bOverG;
}

TEST(MiredError, DifferenceOfReciprocals) {
    EXPECT_DOUBLE_EQ(MiredError(5000, 4000), 50.0);
    EXPECT_DOUBLE_EQ(MiredError(4000, 5000), 50.0);
    EXPECT_DOUBLE_EQ(MiredError(0, 5000), 800.0);
}

TEST(Summarise, HandComputedCases) {
    const struct {
        std::vector<double> values;
        Summary expected;
    } cases[] = {
        {{3}, {1, 3, 3, 3, 3, 3}},
        {{8, 1, 7, 2, 6, 3, 5, 4}, {8, 4.5, 4.5, 4.5, 1.5, 7.5}},  // Q1 2.75, Q3 6.25
        {{0, 10, 0, 0}, {4, 2.5, 0, 0.625, 0, 10}},                // Q3 2.5
        {{1, 2}, {2, 1.5, 1.5, 1.5, 1, 2}},                        // quarter of at least one
    };
    for (const auto& c : cases) {
        const Summary s = Summarise(c.values);
        EXPECT_EQ(s.count, c.expected.count);
        EXPECT_DOUBLE_EQ(s.mean, c.expected.mean);
        EXPECT_DOUBLE_EQ(s.median, c.expected.median);
        EXPECT_DOUBLE_EQ(s.trimean, c.expected.trimean);
        EXPECT_DOUBLE_EQ(s.best25, c.expected.best25);
        EXPECT_DOUBLE_EQ(s.worst25, c.expected.worst25);
    }
    EXPECT_EQ(Summarise({}).count, 0);
}

const char* const kTwoRecords =
    "/data//ball/sample_0001.txt\nr_gain : 2.5\ng_gain : 1\nb_gain : 1.25e+00\ncct    : 3000\n"
    "debugDataSize : 16\n\n"
    "d/chart/x.txt\nr_gain : nan\ng_gain : 1\nb_gain : 2\ncct    : 0\ndebugDataSize : 0\n\n";

TEST(Results, ReadsRecordsAndSplitsSceneAndFile) {
    std::istringstream in(kTwoRecords);
    std::vector<ResultRecord> r;
    std::string error;
    ASSERT_TRUE(ReadResults(in, r, error)) << error;
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].scene, "ball");
    EXPECT_EQ(r[0].file, "sample_0001.txt");
    EXPECT_DOUBLE_EQ(r[0].rGain, 2.5);
    EXPECT_DOUBLE_EQ(r[0].bGain, 1.25);
    EXPECT_DOUBLE_EQ(r[0].cct, 3000);
    EXPECT_DOUBLE_EQ(r[0].debugDataSize, 16);
    EXPECT_EQ(r[1].scene, "chart");
    EXPECT_TRUE(std::isnan(r[1].rGain));
}

TEST(Results, RefusesMalformedRecordsWithTheLine) {
    const std::string ok =
        "a/b/c\nr_gain : 1\ng_gain : 1\nb_gain : 1\ncct    : 5000\ndebugDataSize : 0\n";
    const struct {
        const char* name;
        std::string text;
        const char* line;
    } cases[] = {
        {"cct label spacing",
         "a/b/c\nr_gain : 1\ng_gain : 1\nb_gain : 1\ncct : 5000\ndebugDataSize : 0\n\n", "line 5"},
        {"no empty line", ok + "a/b/d\n", "line 7"},
        {"truncated", "a/b/c\nr_gain : 1\n", "line 3"},
        {"text for a gain", "a/b/c\nr_gain : one\ng_gain : 1\n", "line 2"},
        {"trailing text", "a/b/c\nr_gain : 1x\n", "line 2"},
        {"empty path", "\n", "line 1"},
        {"carriage return", "a/b/c\r\nr_gain : 1\r\n", "line 1, column 6"},
    };
    for (const auto& c : cases) {
        std::istringstream in(c.text);
        std::vector<ResultRecord> r;
        std::string error;
        EXPECT_FALSE(ReadResults(in, r, error)) << c.name;
        EXPECT_EQ(error.rfind(c.line, 0), 0u) << c.name << ": " << error;
    }
}

}  // namespace
