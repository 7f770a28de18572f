// Every kind of bad tuning file is refused by the wrapper's LoadTuningData
// with one line on standard error; a good one is taken silently.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TuningCodec.h"
#include "WrapperHarness.h"

namespace Vireo {
namespace {

using Bytes = std::vector<uint8_t>;
using Testing::ThreePointTuning;

void PutU32(Bytes* bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) (*bytes)[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

// Sets one payload word and fixes size and checksum, so only the content is bad.
void PutPayloadU32(Bytes* file, size_t at, uint32_t value) {
    PutU32(file, Tuning::kHeaderSize + at, value);
    const size_t size = file->size() - Tuning::kHeaderSize;
    PutU32(file, 8, static_cast<uint32_t>(size));
    PutU32(file, 12, Tuning::Crc32(file->data() + Tuning::kHeaderSize, size));
}

Bytes EncodeWith(void (*edit)(Tuning::TuningParams&)) {
    Tuning::TuningParams params = ThreePointTuning();
    edit(params);
    return Tuning::Encode(params);
}

struct BadFile {
    const char* name;
    void (*spoil)(Bytes* file);  // of a good file
    const char* reason;          // a word the one-line message must hold
};

const BadFile kBadFiles[] = {
    {"Empty", [](Bytes* f) { f->clear(); }, "truncated"},
    {"ShorterThanHeader", [](Bytes* f) { f->resize(10); }, "truncated"},
    {"PayloadCut", [](Bytes* f) { f->resize(f->size() - 4); }, "truncated"},
    {"TrailingBytes", [](Bytes* f) { f->push_back(0); }, "trailing"},
    {"OtherMagic", [](Bytes* f) { (*f)[0] = 'X'; }, "magic"},
    {"NextFormatVersion", [](Bytes* f) { PutU32(f, 4, Tuning::kFormatVersion + 1); }, "version"},
    {"FlippedPayloadBit", [](Bytes* f) { (*f)[Tuning::kHeaderSize + 9] ^= 0x10; }, "checksum"},
    {"WrongChecksum", [](Bytes* f) { (*f)[12] ^= 1; }, "checksum"},
    // The curve count follows the mode and ten floats.
    {"CurveCountBeyondPayload", [](Bytes* f) { PutPayloadU32(f, 44, 20); }, "malformed"},
    {"UnknownMode", [](Bytes* f) { PutPayloadU32(f, 0, 7); }, "mode"},
    {"CurveDescending",
     [](Bytes* f) { *f = EncodeWith([](auto& p) { std::swap(p.ctCurve[0], p.ctCurve[2]); }); },
     "ascending"},
    // The ends of ranges: an open one refuses the end itself.
    {"ZeroGreyZone", [](Bytes* f) { *f = EncodeWith([](auto& p) { p.greyZoneWidth = 0; }); },
     "grey_zone_width is 0, outside (0, 1]"},
    {"DarkFractionOne", [](Bytes* f) { *f = EncodeWith([](auto& p) { p.darkFraction = 1; }); },
     "dark_fraction"},
};

// Status and standard error of loading `path`.
std::pair<int32_t, std::string> Load(const std::string& path) {
    auto wrapper = Testing::MakeWrapper();
    if (wrapper == nullptr) return {-1, ""};
    ::testing::internal::CaptureStderr();
    const int32_t status = wrapper->LoadTuningData(path.c_str());
    return {status, ::testing::internal::GetCapturedStderr()};
}

class BadTuningFile : public ::testing::TestWithParam<BadFile> {};

TEST_P(BadTuningFile, IsRefusedWithOneLineSayingWhy) {
    Bytes bytes = Tuning::Encode(ThreePointTuning());
    GetParam().spoil(&bytes);
    const std::string path = Testing::WriteTemporary(GetParam().name, bytes);
    const auto [status, message] = Load(path);
    std::remove(path.c_str());
    EXPECT_NE(status, 0);
    ASSERT_FALSE(message.empty());
    EXPECT_EQ(message.find('\n'), message.size() - 1) << message;
    EXPECT_NE(message.find(GetParam().reason), std::string::npos) << message;
}

INSTANTIATE_TEST_SUITE_P(Kinds, BadTuningFile, ::testing::ValuesIn(kBadFiles),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(TuningFile, MissingFileIsRefused) {
    const auto [status, message] = Load("/nonexistent/TintraBinaryParameterSet.bin");
    EXPECT_NE(status, 0);
    EXPECT_NE(message.find("cannot open"), std::string::npos) << message;
}

TEST(TuningFile, GoodFileLoadsSilentlyAndDecodesToWhatWasEncoded) {
    const Bytes bytes = Tuning::Encode(ThreePointTuning());
    Tuning::TuningParams decoded;
    std::string error;
    ASSERT_TRUE(Tuning::Decode(bytes.data(), bytes.size(), &decoded, &error)) << error;
    EXPECT_TRUE(decoded == ThreePointTuning());
    // The header's bytes are fixed by the documented layout; the checksum is zlib's CRC-32.
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "VWBT");
    EXPECT_EQ(bytes[4], 1);
    EXPECT_EQ(bytes.size(), Tuning::kHeaderSize + bytes[8] + 256u * bytes[9]);
    EXPECT_EQ(Tuning::Crc32(reinterpret_cast<const uint8_t*>("123456789"), 9), 0xCBF43926u);

    const std::string path = Testing::WriteTemporary("good", bytes);
    EXPECT_EQ(Load(path), std::make_pair(0, std::string()));
    std::remove(path.c_str());
}

// The learned model's layout, written out here by hand: after version 1's
// payload the bins, bin width, u and v start, then bins x bins floats of
// each map - filter_means, filter_contrast, filter_bright, bias and, from
// version 3, filter_dark and filter_top, from version 4 filter_grey. Files
// of each version decode to those maps and encode back to the same bytes.
TEST(TuningFile, LearnedModelLiesWhereItsVersionSays) {
    for (const uint32_t version : {2u, 3u, 4u}) {
        const uint32_t bins = 8;
        Tuning::TuningParams v1 = ThreePointTuning();
        v1.mode = Tuning::AwbMode::Learned;
        const Bytes v1File = Tuning::Encode(v1);  // no model yet: version 1
        Bytes file(v1File.begin(), v1File.end());
        auto put = [&](uint32_t word) {
            for (int i = 0; i < 4; ++i) file.push_back(static_cast<uint8_t>(word >> (8 * i)));
        };
        auto putFloat = [&](float value) {
            uint32_t word;
            std::memcpy(&word, &value, sizeof word);
            put(word);
        };
        put(bins);
        putFloat(0.0625f);
        putFloat(-0.5f);
        putFloat(0.25f);
        const int maps = version == 2 ? 4 : version == 3 ? 6 : 7;
        for (int map = 0; map < maps; ++map) {
            for (uint32_t k = 0; k < bins * bins; ++k) putFloat(static_cast<float>(map * 100 + k));
        }
        PutU32(&file, 4, version);
        PutU32(&file, 8, static_cast<uint32_t>(file.size() - Tuning::kHeaderSize));
        PutU32(&file, 12,
               Tuning::Crc32(file.data() + Tuning::kHeaderSize, file.size() - Tuning::kHeaderSize));

        Tuning::TuningParams decoded;
        std::string error;
        ASSERT_TRUE(Tuning::Decode(file.data(), file.size(), &decoded, &error))
            << version << ": " << error;
        const Tuning::LearnedModel& m = decoded.learned;
        EXPECT_EQ(m.bins, bins);
        EXPECT_EQ(m.binWidth, 0.0625f);
        EXPECT_EQ(m.uStart, -0.5f);
        EXPECT_EQ(m.vStart, 0.25f);
        const std::vector<float>* inOrder[] = {&m.filterMeans, &m.filterContrast, &m.filterBright,
                                               &m.bias,        &m.filterDark,     &m.filterTop,
                                               &m.filterGrey};
        for (int map = 0; map < 7; ++map) {
            ASSERT_EQ(inOrder[map]->size(), map < maps ? bins * bins : 0u) << version << " " << map;
            if (map < maps) {
                EXPECT_EQ((*inOrder[map])[5], map * 100 + 5.0f) << version << " " << map;
            }
        }
        EXPECT_EQ(Tuning::Encode(decoded), file) << version;
    }
}

// A model holds the maps of one format version and of every version before:
// a later map without the earlier ones is refused, as is a half of a pair.
TEST(TuningFile, LearnedMapsComeAVersionAtATime) {
    struct Case {
        const char* name;
        std::vector<std::vector<float> Tuning::LearnedModel::*> dropped;
        const char* refusal;  // "" when valid
    };
    using M = Tuning::LearnedModel;
    const Case cases[] = {
        {"Version4", {}, ""},
        {"Version3", {&M::filterGrey}, ""},
        {"Version2", {&M::filterGrey, &M::filterDark, &M::filterTop}, ""},
        {"GreyWithoutDarkAndTop", {&M::filterDark, &M::filterTop}, "filter_grey needs"},
        {"TopWithoutDark", {&M::filterDark}, "come together"},
        {"NoBias", {&M::bias}, "bins x bins"},
    };
    for (const Case& c : cases) {
        Tuning::TuningParams p = ThreePointTuning();
        p.mode = Tuning::AwbMode::Learned;
        p.learned.bins = 8;
        p.learned.binWidth = 0.0625f;
        for (const Tuning::LearnedMapKey& key : Tuning::kLearnedMapKeys)
            (p.learned.*key.member).assign(64, 0.5f);
        for (auto member : c.dropped) (p.learned.*member).clear();
        const std::string why = Tuning::Validate(p);
        if (*c.refusal == '\0') {
            EXPECT_EQ(why, "") << c.name;
        } else {
            EXPECT_NE(why.find(c.refusal), std::string::npos) << c.name << ": " << why;
        }
    }
}

// The docs' Keys table gives each scalar key's unit, default and range, and
// lists them in the payload order that its layout section refers to.
TEST(TuningFile, DocsKeysTableSaysWhatTheKeyTableSays) {
    std::string expected, documented;
    std::set<std::string> keyCells;  // "| `name` |" of each scalar key
    for (const Tuning::ScalarKey& key : Tuning::kScalarKeys) {
        char row[200];
        std::snprintf(row, sizeof row, "| `%s` | %s | %g | %s |\n", key.name, key.unit,
                      static_cast<double>(key.defaultValue), Tuning::RangeText(key).c_str());
        expected += row;
        keyCells.insert("| `" + std::string(key.name) + "` |");
    }
    std::ifstream doc(VIREO_TEST_TUNING_DOC);
    for (std::string line; std::getline(doc, line);) {
        if (keyCells.count(line.substr(0, line.find('|', 1) + 1)) == 0) continue;
        size_t end = 0;
        for (int bar = 0; bar < 5; ++bar) end = line.find('|', end) + 1;
        documented += line.substr(0, end) + "\n";
    }
    EXPECT_EQ(documented, expected);
}

}  // namespace
}  // namespace Vireo
