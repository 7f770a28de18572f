// Number conversion of value lines, giving bit for bit what glibc's atof and
// atol give in the "C" locale, but without locale look-ups on the common
// path.
#ifndef VIREO_TEXT_TO_NUMBER_H
#define VIREO_TEXT_TO_NUMBER_H

#include <cstdint>

namespace Vireo {

// As atof: leading white space, the longest prefix that forms a number
// (decimal, hexadecimal, inf, nan), +0.0 when there is none.
double TextToDouble(const char* text);

// As atol on a 64-bit long: leading white space, optional sign, decimal
// digits; saturates at the 64-bit limits.
int64_t TextToInt64(const char* text);

// As the low 16 bits of atoi. atoi is (int)strtol, and truncating to int
// keeps the low bits, so these are the low 16 bits of the saturated long.
inline uint16_t TextToLow16(const char* text) {
    return static_cast<uint16_t>(static_cast<uint64_t>(TextToInt64(text)));
}

}  // namespace Vireo

#endif  // VIREO_TEXT_TO_NUMBER_H
