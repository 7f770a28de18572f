// Small images for the report: PNG through libpng, kept in memory, and the
// base64 text a data: address or embedded JSON carries them in.
#ifndef VIREO_REPORT_PNG_H
#define VIREO_REPORT_PNG_H

#include <cstdint>
#include <string>
#include <vector>

namespace Vireo::Report {

// 8-bit pixels, row by row, `channels` (1 grey, 3 RGB) per pixel. Empty
// when libpng fails.
std::string EncodePng(const std::vector<uint8_t>& pixels, int width, int height, int channels);

std::string Base64(const std::string& bytes);

}  // namespace Vireo::Report

#endif  // VIREO_REPORT_PNG_H
