#include "Png.h"

#include <png.h>

#include <csetjmp>

namespace Vireo::Report {
namespace {

void Append(png_structp png, png_bytep data, png_size_t size) {
    auto* out = static_cast<std::string*>(png_get_io_ptr(png));
    out->append(reinterpret_cast<const char*>(data), size);
}

void NoFlush(png_structp) {}

// libpng reports errors by longjmp; nothing with a destructor lives in this
// frame, so jumping out of it is safe.
bool Encode(const uint8_t* pixels, int width, int height, int channels, std::string* out) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, out, Append, NoFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 9);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y) {
        png_write_row(png, pixels + static_cast<size_t>(y) * static_cast<size_t>(width * channels));
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
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
