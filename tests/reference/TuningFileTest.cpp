// Every kind of bad tuning file is refused by the wrapper's LoadTuningData
// with one line on standard error; a good one is taken silently.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TuningCodec.h"
#include "WrapperHarness.h"

namespace Vireo {
namespace {

Tuning::TuningParams GoodParams() {
    Tuning::TuningParams p;
    p.ctCurve = {{2850, 0.85f, 0.36f}, {5000, 0.58f, 0.56f}, {6500, 0.50f, 0.64f}};
    return p;
}

void PutU32(std::vector<uint8_t>* bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) (*bytes)[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Rewrites the payload and fixes size and checksum, so only the content is bad.
std::vector<uint8_t> WithPayload(std::vector<uint8_t> payload) {
    std::vector<uint8_t> file = Tuning::Encode(GoodParams());
    file.resize(Tuning::kHeaderSize);
    PutU32(&file, 8, static_cast<uint32_t>(payload.size()));
    PutU32(&file, 12, Tuning::Crc32(payload.data(), payload.size()));
    file.insert(file.end(), payload.begin(), payload.end());
    return file;
}

std::vector<uint8_t> GoodPayload() {
    std::vector<uint8_t> file = Tuning::Encode(GoodParams());
    return {file.begin() + Tuning::kHeaderSize, file.end()};
}

struct BadFile {
    const char* name;
    std::vector<uint8_t> (*make)();
    const char* reason;  // a word the one-line message must hold
};

const BadFile kBadFiles[] = {
    {"Empty", [] { return std::vector<uint8_t>(); }, "truncated"},
    {"ShorterThanHeader",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f.resize(10);
         return f;
     },
     "truncated"},
    {"PayloadCut",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f.resize(f.size() - 4);
         return f;
     },
     "truncated"},
    {"TrailingBytes",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f.push_back(0);
         return f;
     },
     "trailing"},
    {"OtherMagic",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f[0] = 'X';
         return f;
     },
     "magic"},
    {"NextFormatVersion",
     [] {
         auto f = Tuning::Encode(GoodParams());
         PutU32(&f, 4, Tuning::kFormatVersion + 1);
         return f;
     },
     "version"},
    {"FlippedPayloadBit",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f[Tuning::kHeaderSize + 9] ^= 0x10;
         return f;
     },
     "checksum"},
    {"WrongChecksum",
     [] {
         auto f = Tuning::Encode(GoodParams());
         f[12] ^= 1;
         return f;
     },
     "checksum"},
    {"CurveCountBeyondPayload",
     [] {
         auto p = GoodPayload();
         PutU32(&p, 44, 20);  // curve count, after mode and ten floats
         return WithPayload(p);
     },
     "malformed"},
    {"CurveDescending",
     [] {
         auto params = GoodParams();
         std::swap(params.ctCurve[0], params.ctCurve[2]);
         auto f = Tuning::Encode(params);
         return f;
     },
     "ascending"},
    {"NegativeGreyZone",
     [] {
         auto params = GoodParams();
         params.greyZoneWidth = -0.1f;
         return Tuning::Encode(params);
     },
     "grey_zone_width"},
    {"UnknownMode",
     [] {
         auto p = GoodPayload();
         PutU32(&p, 0, 7);
         return WithPayload(p);
     },
     "mode"},
};

class BadTuningFile : public ::testing::TestWithParam<BadFile> {};

std::string WriteTemporary(const std::string& name, const std::vector<uint8_t>& bytes) {
    // One file per process: ctest runs the cases side by side.
    const auto path = std::filesystem::temp_directory_path() /
                      ("vireo_tuning_" + std::to_string(getpid()) + "_" + name + ".bin");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path.string();
}

TEST_P(BadTuningFile, IsRefusedWithOneLineSayingWhy) {
    const BadFile& bad = GetParam();
    const std::string path = WriteTemporary(bad.name, bad.make());
    auto wrapper = Testing::MakeWrapper();
    ASSERT_NE(wrapper, nullptr);
    ::testing::internal::CaptureStderr();
    const int32_t status = wrapper->LoadTuningData(path.c_str());
    const std::string message = ::testing::internal::GetCapturedStderr();
    std::remove(path.c_str());
    EXPECT_NE(status, 0);
    ASSERT_FALSE(message.empty());
    EXPECT_EQ(message.find('\n'), message.size() - 1) << message;
    EXPECT_NE(message.find(bad.reason), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(Kinds, BadTuningFile, ::testing::ValuesIn(kBadFiles),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TuningFile, MissingFileIsRefused) {
    auto wrapper = Testing::MakeWrapper();
    ::testing::internal::CaptureStderr();
    EXPECT_NE(wrapper->LoadTuningData("/nonexistent/TintraBinaryParameterSet.bin"), 0);
    const std::string message = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(message.find("cannot open"), std::string::npos) << message;
}

TEST(TuningFile, GoodFileLoadsSilentlyAndDecodesToWhatWasEncoded) {
    const auto bytes = Tuning::Encode(GoodParams());
    Tuning::TuningParams decoded;
    std::string error;
    ASSERT_TRUE(Tuning::Decode(bytes.data(), bytes.size(), &decoded, &error)) << error;
    EXPECT_TRUE(decoded == GoodParams());
    // The bytes of the header are fixed by the documented layout.
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "VWBT");
    EXPECT_EQ(bytes[4], 1);
    EXPECT_EQ(bytes.size(), Tuning::kHeaderSize + bytes[8] + 256u * bytes[9]);

    const std::string path = WriteTemporary("good", bytes);
    auto wrapper = Testing::MakeWrapper();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(wrapper->LoadTuningData(path.c_str()), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    std::remove(path.c_str());
}

TEST(TuningFile, Crc32IsTheZlibOne) {
    const char text[] = "123456789";
    EXPECT_EQ(Tuning::Crc32(reinterpret_cast<const uint8_t*>(text), 9), 0xCBF43926u);
}

}  // namespace
}  // namespace Vireo
