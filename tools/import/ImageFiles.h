// Reading the pictures the importer takes in: PNG files of linear RGB (via
// libspng) and camera raw files (via LibRaw, without demosaicing).
#ifndef VIREO_IMPORT_IMAGE_FILES_H
#define VIREO_IMPORT_IMAGE_FILES_H

#include <string>

#include "GridStats.h"

namespace Vireo::Import {

// 8- or 16-bit PNG of any colour type, values as stored (no gamma applied);
// grey turns into three equal channels, alpha is dropped. False with a
// reason (without the path) when the file cannot be read or decoded.
bool ReadPng(const std::string& path, RgbImage& image, std::string& error);

// Exposure metadata of a raw file; 0 where the file does not say.
struct Exposure {
    double iso = 0.0, shutterSeconds = 0.0, fNumber = 0.0;
};

// The visible area of a 2 x 2 Bayer mosaic with its pattern, per-channel
// black levels and white level. False with a reason for anything else
// (X-Trans, linear DNG, colour filters other than R, G, G, B).
bool ReadRaw(const std::string& path, CfaImage& image, Exposure& exposure, std::string& error);

// True when this build reads raw files.
bool RawSupported();

}  // namespace Vireo::Import

#endif  // VIREO_IMPORT_IMAGE_FILES_H
