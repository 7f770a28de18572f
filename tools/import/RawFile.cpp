// Camera raw files through LibRaw: only open_file() and unpack(), which
// leave the mosaic as the sensor gave it (no black subtraction, no scaling,
// no demosaicing), so that each photosite goes to its own colour's sums.
#include <libraw/libraw.h>

#include <algorithm>
#include <memory>

#include "ImageFiles.h"

namespace Vireo::Import {

bool RawSupported() { return true; }

bool ReadRaw(const std::string& path, CfaImage& image, Exposure& exposure, std::string& error) {
    const auto raw = std::make_unique<LibRaw>();
    int rc = raw->open_file(path.c_str());
    if (rc == LIBRAW_SUCCESS) rc = raw->unpack();
    if (rc != LIBRAW_SUCCESS) {
        error = std::string("LibRaw cannot read it (") + libraw_strerror(rc) + ")";
        return false;
    }
    const libraw_data_t& d = raw->imgdata;
    const unsigned filters = d.idata.filters;
    if (filters == 0 || d.rawdata.raw_image == nullptr) {
        error = "no single-channel colour filter mosaic (linear or multi-channel raw data)";
        return false;
    }
    if (raw->is_fuji_rotated()) {
        error = "a 45-degree rotated (Fuji SuperCCD) mosaic is not read";
        return false;
    }
    if (filters < 1000) {
        error = "unknown CFA pattern (not a 2x2 repeat, e.g. X-Trans)";
        return false;
    }

    // The colour of the four photosites of a cell, by the letter LibRaw
    // gives each colour index: one R, one B and two G, the G beside the R
    // being GR.
    image = CfaImage{};
    std::string letters;
    int reds = 0, greens = 0, blues = 0;
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            const char letter = d.idata.cdesc[raw->COLOR(y, x) & 3];
            letters += letter;
            reds += letter == 'R', greens += letter == 'G', blues += letter == 'B';
        }
    }
    if (reds != 1 || greens != 2 || blues != 1) {
        error = "unknown CFA pattern " + letters + " (only R, G, G, B in a 2x2 cell is read)";
        return false;
    }
    const int redRow = letters.find('R') / 2;
    const unsigned* cblack = d.color.cblack;
    if (cblack[4] > 2 || cblack[5] > 2) {
        error = "black-level pattern larger than the 2x2 CFA cell";
        return false;
    }
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            const int index = raw->COLOR(y, x);
            const char letter = letters[static_cast<size_t>(y * 2 + x)];
            const int channel = letter == 'R' ? kR : letter == 'B' ? kB : y == redRow ? kGR : kGB;
            image.pattern[y][x] = channel;
            unsigned black = d.color.black + cblack[index & 3];
            if (cblack[4] > 0 && cblack[5] > 0) {
                black += cblack[6 + (y % cblack[4]) * cblack[5] + x % cblack[5]];
            }
            image.black[channel] = static_cast<int>(black);
        }
    }

    const libraw_image_sizes_t& s = d.sizes;
    image.width = s.width;
    image.height = s.height;
    image.white = static_cast<int>(d.color.maximum);
    if (image.white <= *std::max_element(image.black.begin(), image.black.end())) {
        error = "white level " + std::to_string(image.white) + " is not above the black level";
        return false;
    }
    image.values.resize(static_cast<size_t>(s.width) * s.height);
    const size_t pitch = s.raw_pitch / sizeof(unsigned short);
    for (int y = 0; y < s.height; ++y) {
        const unsigned short* row =
            d.rawdata.raw_image + (y + s.top_margin) * pitch + s.left_margin;
        std::copy(row, row + s.width, image.values.begin() + static_cast<long>(y) * s.width);
    }
    exposure.iso = d.other.iso_speed;
    exposure.shutterSeconds = d.other.shutter;
    exposure.fNumber = d.other.aperture;
    return true;
}

}  // namespace Vireo::Import
