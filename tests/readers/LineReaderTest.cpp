// The line rule, checked against explicit expectations and against the
// stream library's getline that it stands in for.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "LineReader.h"
#include "ReaderTestSupport.h"

namespace {

using Vireo::Line;
using Vireo::LineReader;

std::vector<std::string> LinesOf(const std::string& path, size_t chunkSize) {
    std::vector<std::string> lines;
    LineReader reader(path.c_str(), chunkSize);
    Line line;
    while (reader.Next(line)) {
        lines.emplace_back(line.text);  // up to the first NUL, like a C string
        EXPECT_GE(line.length, lines.back().size());
        EXPECT_EQ(line.MayHoldKey(), std::memchr(line.text, ':', line.length) != nullptr);
    }
    EXPECT_FALSE(reader.Next(line)) << "a finished reader must stay finished";
    return lines;
}

std::vector<std::string> GetlineLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream stream(path);
    char buffer[100];
    while (stream.getline(buffer, 100)) {
        lines.emplace_back(buffer);
    }
    return lines;
}

struct LineCase {
    const char* name;
    std::string content;
    std::vector<std::string> expected;
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class LineRuleTest : public testing::TestWithParam<LineCase> {};

TEST_P(LineRuleTest, MatchesGetline) {
    const LineCase& c = GetParam();
    Vireo::Testing::TempDir folder;
    const std::string path = Vireo::Testing::WriteSample(folder, "sample.txt", c.content);
    ASSERT_EQ(GetlineLines(path), c.expected) << "expectation differs from getline itself";
    EXPECT_EQ(LinesOf(path, LineReader::kSmallChunk), c.expected);
    EXPECT_EQ(LinesOf(path, 7), c.expected) << "tiny chunks";
}

const std::string k99(99, '7');

// Long lines, NUL bytes and carriage returns also come in bulk from the
// differential test; these pin the rule itself against getline.
INSTANTIATE_TEST_SUITE_P(
    Cases, LineRuleTest,
    testing::Values(LineCase{"LastLineUnterminated", "a\nb", {"a", "b"}}, LineCase{"Empty", "", {}},
                    LineCase{"BlankLines", "\n\nx\n", {"", "", "x"}},
                    LineCase{"ColonsAroundWordEdges",
                             "1\n:2345678\nabcdefghij:\n1234567:\nxy:",
                             {"1", ":2345678", "abcdefghij:", "1234567:", "xy:"}},
                    LineCase{"CarriageReturnStays", "a\r\nb\r\n", {"a\r", "b\r"}},
                    LineCase{"Exactly99", k99 + "\nx\n" + k99, {k99, "x", k99}},
                    LineCase{"Exactly100Ends", "x\n" + k99 + "7\ny\n", {"x"}},
                    LineCase{"Exactly100AtEnd", "x\n" + k99 + "7", {"x"}},
                    LineCase{"NulCountsForLength99",
                             std::string("1\0", 2) + std::string(97, ' ') + "\nz\n",
                             {"1", "z"}},
                    LineCase{"NulCountsForLength100",
                             std::string("1\0", 2) + std::string(98, ' ') + "\nz\n",
                             {}}),
    [](const testing::TestParamInfo<LineCase>& info) { return std::string(info.param.name); });

// Lines that straddle the chunk boundaries, overlong ones among them.
TEST(LineRuleChunks, LinesAcrossChunkBoundariesMatchGetline) {
    Vireo::Testing::TempDir folder;
    for (size_t overlongAt : {size_t{4090}, size_t{65530}, size_t{65536}, size_t{200000}}) {
        std::string content;
        for (size_t length = 0; content.size() < 150000; length = (length + 13) % 100) {
            if (content.size() >= overlongAt && content.size() < overlongAt + 100) {
                content += std::string(100, '9') + "\n";
            }
            content += std::string(length, '5') + "\n";
        }
        const std::string path = Vireo::Testing::WriteSample(folder, "big.txt", content);
        const std::vector<std::string> expected = GetlineLines(path);
        EXPECT_EQ(LinesOf(path, LineReader::kLargeChunk), expected) << overlongAt;
        EXPECT_EQ(LinesOf(path, LineReader::kSmallChunk), expected) << overlongAt;
    }
}

}  // namespace
