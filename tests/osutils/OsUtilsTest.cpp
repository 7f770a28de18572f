#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "OsUtils.h"

using Vireo::OsUtils::StrLCat;
using Vireo::OsUtils::StrLCpy;

namespace {

struct BoundedCase {
    const char* start;  // buffer contents before the call
    const char* source;
    size_t size;  // size handed to the call
    const char* expected;
    size_t returned;
};

class StrLCpyTest : public testing::TestWithParam<BoundedCase> {};
class StrLCatTest : public testing::TestWithParam<BoundedCase> {};

TEST_P(StrLCpyTest, KeepsAtMostSizeMinusOneAndTerminates) {
    const BoundedCase& c = GetParam();
    char buffer[16];
    std::memset(buffer, 'Z', sizeof buffer);
    EXPECT_EQ(StrLCpy(buffer, c.source, c.size), c.returned);
    if (c.size > 0) {
        EXPECT_STREQ(buffer, c.expected);
    }
    EXPECT_EQ(buffer[c.size == 0 ? 0 : c.size], 'Z') << "wrote past the given size";
}

INSTANTIATE_TEST_SUITE_P(Cases, StrLCpyTest,
                         testing::Values(BoundedCase{"", "abc", 8, "abc", 3},
                                         BoundedCase{"", "abcdefgh", 8, "abcdefg", 8},
                                         BoundedCase{"", "abcdefg", 8, "abcdefg", 7},
                                         BoundedCase{"", "", 8, "", 0},
                                         BoundedCase{"", "abc", 1, "", 3},
                                         BoundedCase{"", "abc", 0, "", 3}));

TEST_P(StrLCatTest, AppendsWithinSizeAndTerminates) {
    const BoundedCase& c = GetParam();
    char buffer[16];
    std::memset(buffer, 'Z', sizeof buffer);
    std::memcpy(buffer, c.start, std::strlen(c.start) + 1);
    EXPECT_EQ(StrLCat(buffer, c.source, c.size), c.returned);
    EXPECT_STREQ(buffer, c.expected);
    EXPECT_EQ(buffer[c.size], 'Z') << "wrote past the given size";
}

INSTANTIATE_TEST_SUITE_P(Cases, StrLCatTest,
                         testing::Values(BoundedCase{"ab", "cd", 8, "abcd", 4},
                                         BoundedCase{"abc", "defgh", 8, "abcdefg", 8},
                                         BoundedCase{"abcdefg", "x", 8, "abcdefg", 8},
                                         BoundedCase{"", "abcdefghij", 8, "abcdefg", 10},
                                         BoundedCase{"abc", "", 8, "abc", 3}));

TEST(LibMap, FailsWithNullForMissingLibraryAndSymbol) {
    EXPECT_EQ(Vireo::OsUtils::LibMap("/nonexistent/libnothing.so"), nullptr);
    // dlopen would hand back the main program for these.
    EXPECT_EQ(Vireo::OsUtils::LibMap(""), nullptr);
    EXPECT_EQ(Vireo::OsUtils::LibMap(nullptr), nullptr);
    EXPECT_EQ(Vireo::OsUtils::LibGetAddr(nullptr, "CreateAWBSimulationWrapper"), nullptr);
}

}  // namespace
