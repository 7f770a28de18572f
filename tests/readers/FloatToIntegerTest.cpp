// Slot-to-field conversion at the edges of the integer ranges, where a
// plain cast would be undefined.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "FloatToInteger.h"

namespace {

struct ConversionCase {
    float value;
    int32_t asSigned;
    uint32_t asUnsigned;
};

class FloatToIntegerTest : public testing::TestWithParam<ConversionCase> {};

TEST_P(FloatToIntegerTest, TruncatesTowardZeroAndSaturates) {
    EXPECT_EQ(Vireo::FloatToInt32(GetParam().value), GetParam().asSigned);
    EXPECT_EQ(Vireo::FloatToUInt32(GetParam().value), GetParam().asUnsigned);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, FloatToIntegerTest,
    testing::Values(ConversionCase{12.9f, 12, 12}, ConversionCase{-3.7f, -3, 0},
                    ConversionCase{0.99f, 0, 0}, ConversionCase{-0.99f, 0, 0},
                    ConversionCase{-0.0f, 0, 0}, ConversionCase{16777216.0f, 16777216, 16777216},
                    ConversionCase{2147483520.0f, 2147483520, 2147483520u},  // below 2^31
                    ConversionCase{2147483648.0f, INT32_MAX, 2147483648u},
                    ConversionCase{-2147483648.0f, INT32_MIN, 0},
                    ConversionCase{-2147483904.0f, INT32_MIN, 0},           // below -2^31
                    ConversionCase{4294967040.0f, INT32_MAX, 4294967040u},  // below 2^32
                    ConversionCase{4294967296.0f, INT32_MAX, UINT32_MAX},
                    ConversionCase{INFINITY, INT32_MAX, UINT32_MAX},
                    ConversionCase{-INFINITY, INT32_MIN, 0}, ConversionCase{NAN, 0, 0},
                    ConversionCase{-NAN, 0, 0}));

}  // namespace
