#include "Png.h"

#include <spng.h>

#include <cstdlib>
#include <memory>

namespace Vireo::Report {
namespace {

bool Encode(const uint8_t* pixels, int width, int height, int channels, std::string* out) {
    const std::unique_ptr<spng_ctx, void (*)(spng_ctx*)> ctx(spng_ctx_new(SPNG_CTX_ENCODER),
                                                             spng_ctx_free);
    if (!ctx) return false;
    spng_set_option(ctx.get(), SPNG_ENCODE_TO_BUFFER, 1);
    spng_set_option(ctx.get(), SPNG_IMG_COMPRESSION_LEVEL, 9);
    spng_ihdr ihdr{};
    ihdr.width = static_cast<uint32_t>(width);
    ihdr.height = static_cast<uint32_t>(height);
    ihdr.bit_depth = 8;
    ihdr.color_type = channels == 1 ? SPNG_COLOR_TYPE_GRAYSCALE : SPNG_COLOR_TYPE_TRUECOLOR;
    const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height * channels);
    if (spng_set_ihdr(ctx.get(), &ihdr) != 0 ||
        spng_encode_image(ctx.get(), pixels, size, SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE) != 0) {
        return false;
    }
    size_t length = 0;
    int error = 0;
    const std::unique_ptr<void, void (*)(void*)> png(
        spng_get_png_buffer(ctx.get(), &length, &error), std::free);
    if (!png || error != 0) return false;
    out->assign(static_cast<const char*>(png.get()), length);
    return true;
}

}  // namespace

std::string EncodePng(const std::vector<uint8_t>& pixels, int width, int height, int channels) {
    std::string out;
    if (width <= 0 || height <= 0 ||
        pixels.size() != static_cast<size_t>(width) * static_cast<size_t>(height * channels) ||
        !Encode(pixels.data(), width, height, channels, &out)) {
        return "";
    }
    return out;
}

std::string Base64(const std::string& bytes) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t n = std::min<size_t>(3, bytes.size() - i);
        uint32_t chunk = 0;
        for (size_t k = 0; k < 3; ++k) {
            chunk = chunk << 8 | (k < n ? static_cast<uint8_t>(bytes[i + k]) : 0u);
        }
        for (size_t k = 0; k < 4; ++k) {
            out += k <= n ? kDigits[(chunk >> (18 - 6 * k)) & 63] : '=';
        }
    }
    return out;
}

}  // namespace Vireo::Report
