#include <spng.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "ImageFiles.h"

namespace Vireo::Import {
namespace {

// Decoded as RGBA, a picture takes 8 bytes a pixel: half a gigabyte here.
constexpr uint64_t kMaxPixels = uint64_t{1} << 26;

}  // namespace

bool ReadPng(const std::string& path, RgbImage& image, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = std::strerror(errno);
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    if (in.bad()) {
        error = "read error";
        return false;
    }
    const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> ctx(spng_ctx_new(0), spng_ctx_free);
    if (!ctx) {
        error = "out of memory";
        return false;
    }
    spng_ihdr ihdr{};
    int rc = spng_set_png_buffer(ctx.get(), bytes.data(), bytes.size());
    if (rc == 0) rc = spng_get_ihdr(ctx.get(), &ihdr);
    if (rc != 0) {
        error = std::string("not a readable PNG (") + spng_strerror(rc) + ")";
        return false;
    }
    if (static_cast<uint64_t>(ihdr.width) * ihdr.height > kMaxPixels) {
        error = "larger than 64 megapixels";
        return false;
    }
    // Sixteen-bit files decode to host-order 16-bit RGBA; everything else
    // to 8-bit RGBA, which keeps 8-bit values as stored.
    const bool sixteen = ihdr.bit_depth == 16;
    const int format = sixteen ? SPNG_FMT_RGBA16 : SPNG_FMT_RGBA8;
    size_t size = 0;
    rc = spng_decoded_image_size(ctx.get(), format, &size);
    std::vector<unsigned char> decoded;
    if (rc == 0) {
        decoded.resize(size);
        rc = spng_decode_image(ctx.get(), decoded.data(), size, format, 0);
    }
    if (rc != 0) {
        error = std::string("cannot decode the PNG (") + spng_strerror(rc) + ")";
        return false;
    }
    image = RgbImage{};
    image.width = static_cast<int>(ihdr.width);
    image.height = static_cast<int>(ihdr.height);
    image.bitDepth = sixteen ? 16 : 8;
    const size_t pixels = static_cast<size_t>(ihdr.width) * ihdr.height;
    image.rgb.resize(pixels * 3);
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c) {
            if (sixteen) {
                uint16_t v;
                std::memcpy(&v, &decoded[(i * 4 + c) * 2], sizeof v);
                image.rgb[i * 3 + c] = v;
            } else {
                image.rgb[i * 3 + c] = decoded[i * 4 + c];
            }
        }
    }
    return true;
}

}  // namespace Vireo::Import
