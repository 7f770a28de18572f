// The fast conversions must equal the C library's atof/atol/atoi bit for bit.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "TextToNumber.h"

namespace {

uint64_t Bits(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

void ExpectSameAsLibrary(const std::string& text) {
    EXPECT_EQ(Bits(Vireo::TextToDouble(text.c_str())), Bits(std::atof(text.c_str())))
        << "atof of \"" << text << "\"";
    EXPECT_EQ(Vireo::TextToInt64(text.c_str()), std::atol(text.c_str()))
        << "atol of \"" << text << "\"";
    EXPECT_EQ(Vireo::TextToLow16(text.c_str()), static_cast<uint16_t>(std::atoi(text.c_str())))
        << "atoi of \"" << text << "\"";
}

class TextToNumberTest : public testing::TestWithParam<const char*> {};

TEST_P(TextToNumberTest, MatchesCLibrary) { ExpectSameAsLibrary(GetParam()); }

// Hexadecimal, inf, nan, overlong and out-of-range texts also come in bulk
// from the differential test, there after rounding to single precision.
INSTANTIATE_TEST_SUITE_P(
    Texts, TextToNumberTest,
    testing::Values(
        // white space, signs and partial numbers
        "12.9", "+.5", "-.", "-", "+", "250\r", " \t\v\f\r42", "\n7", "  -0", "-0.0e5", "0e999",
        "00012.50", "1_000", "1,5", "1e-", "1E5", "1e+5", "2.5E+3", "2e-3x", "0X1P-2", "-0x10",
        "0xg", "INFINITE", "in", "NaN(123)", "nan(", "-nan",
        // rounding to double at the edges of the exact path
        "0.1", "3.14159265358979323846", "9007199254740993", "123456789012345",
        "1234567890123456789", "12345678901234567890123", "0.000000000000000000000000001", "1e22",
        "9007199254740992e22", "123456789012345e-22", "1e-22", "1e-23", "1.7976931348623157e308",
        "1e99999999999999999999",
        // integer limits, and mantissas that wrap to zero in 64 bits
        "65536", "-9223372036854775808", "99999999999999999999999", "18446744073709551616",
        "0.18446744073709551616e20", "9223372036854775808000"));

// Random decimals of every shape the fast path takes or declines.
TEST(TextToNumberRandom, MatchesCLibrary) {
    std::mt19937_64 random(20240611);
    auto digits = [&](std::string& text) {
        for (uint64_t count = random() % 22; count > 0; --count) text += char('0' + random() % 10);
    };
    for (int i = 0; i < 20000 && !HasFailure(); ++i) {
        std::string text = (random() % 3 == 0) ? "-" : "";
        digits(text);
        if (random() % 2) digits(text += '.');
        if (random() % 3 == 0) text += "e" + std::to_string(static_cast<int>(random() % 80) - 40);
        ExpectSameAsLibrary(text);
    }
}

}  // namespace
