#include "TextToNumber.h"

#include <cfloat>
#include <cstdlib>
#include <limits>

namespace Vireo {

namespace {

// Powers of ten that a double holds exactly.
constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMaxExactPower = 22;
constexpr uint64_t kMaxExactMantissa = uint64_t{1} << 53;
constexpr int kMaxMantissaDigits = 19;  // always fits in 64 bits

// The "C" locale's white space, as isspace sees it.
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

unsigned DigitValue(char c) { return static_cast<unsigned>(static_cast<unsigned char>(c) - '0'); }

bool IsDigit(char c) { return DigitValue(c) < 10; }

double LibraryStrtod(const char* text) { return std::strtod(text, nullptr); }

// Leading white space and an optional sign, as strtod and strtol take them:
// moves p past both and tells whether the sign was '-'.
bool SkipSpaceAndSign(const char** p) {
    while (IsSpace(**p)) {
        ++*p;
    }
    const bool negative = **p == '-';
    if (**p == '-' || **p == '+') {
        ++*p;
    }
    return negative;
}

}  // namespace

double TextToDouble(const char* text) {
    // The exact path below needs every operation rounded once to double.
    if (FLT_EVAL_METHOD != 0) {
        return LibraryStrtod(text);
    }
    const char* p = text;
    const bool negative = SkipSpaceAndSign(&p);
    const char first = *p;
    if (first == '0' && (p[1] == 'x' || p[1] == 'X')) {
        return LibraryStrtod(text);  // hexadecimal
    }

    uint64_t mantissa = 0;
    int mantissaDigits = 0;  // significant digits, leading zeros not counted
    int exponent = 0;
    bool sawDigit = false;
    // Returns false when the digits no longer fit the exact path. Counting
    // stops the mantissa before it can wrap around in 64 bits.
    auto take = [&](char c) {
        sawDigit = true;
        const unsigned digit = DigitValue(c);
        if (mantissaDigits == 0 && digit == 0) {
            return true;
        }
        if (++mantissaDigits > kMaxMantissaDigits) {
            return false;
        }
        mantissa = mantissa * 10 + digit;
        return true;
    };
    for (; IsDigit(*p); ++p) {
        if (!take(*p)) {
            return LibraryStrtod(text);
        }
    }
    if (*p == '.') {
        for (++p; IsDigit(*p); ++p) {
            if (!take(*p)) {
                return LibraryStrtod(text);
            }
            --exponent;
        }
    }
    if (!sawDigit) {
        if (first == 'i' || first == 'I' || first == 'n' || first == 'N') {
            return LibraryStrtod(text);  // inf, infinity, nan, nan(...)
        }
        return 0.0;
    }
    // An exponent counts only with at least one digit: "1e" and "1e+" are 1.
    if (*p == 'e' || *p == 'E') {
        const char* q = p + 1;
        const bool negativeExponent = *q == '-';
        if (*q == '-' || *q == '+') {
            ++q;
        }
        if (IsDigit(*q)) {
            int value = 0;
            for (; IsDigit(*q); ++q) {
                if (value < 100000) {  // far beyond any finite double; no overflow
                    value = value * 10 + static_cast<int>(DigitValue(*q));
                }
            }
            exponent += negativeExponent ? -value : value;
        }
    }
    if (mantissa == 0) {
        return negative ? -0.0 : 0.0;
    }
    if (mantissa > kMaxExactMantissa || exponent < -kMaxExactPower || exponent > kMaxExactPower) {
        return LibraryStrtod(text);
    }
    // Both operands are exact, so the one rounding of the product or quotient
    // is the correctly rounded result that strtod gives.
    double value = static_cast<double>(mantissa);
    value =
        exponent < 0 ? value / kExactPowersOfTen[-exponent] : value * kExactPowersOfTen[exponent];
    return negative ? -value : value;
}

int64_t TextToInt64(const char* text) {
    const char* p = text;
    const bool negative = SkipSpaceAndSign(&p);
    uint64_t magnitude = 0;
    // Eighteen digits always fit; only longer numbers need the overflow test.
    for (int taken = 0; taken < 18 && IsDigit(*p); ++taken, ++p) {
        magnitude = magnitude * 10 + DigitValue(*p);
    }
    if (IsDigit(*p)) {
        const uint64_t limit = negative
                                   ? uint64_t{1} << 63
                                   : static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        for (; IsDigit(*p); ++p) {
            const unsigned digit = DigitValue(*p);
            if (magnitude > (limit - digit) / 10) {
                return negative ? std::numeric_limits<int64_t>::min()
                                : std::numeric_limits<int64_t>::max();
            }
            magnitude = magnitude * 10 + digit;
        }
    }
    // Two's complement negation in unsigned arithmetic also covers -2^63.
    return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

}  // namespace Vireo
