#include <gtest/gtest.h>

#include <array>
#include <string>

#include "CfgFileParser.h"
#include "TestSupport.h"

namespace {

using Values = std::array<std::string, 5>;

struct ConfigCase {
    const char* name;
    std::string content;
    Values expected;
};

Values Fields(const Vireo::CfgFileParser& config) {
    return {config.tuningFile, config.awbDLL, config.awbSimWrapperDLL, config.dataDir,
            config.outputDir};
}

void PrintTo(const ConfigCase& c, std::ostream* os) { *os << c.name; }

class ConfigFile : public testing::TestWithParam<ConfigCase> {};

TEST_P(ConfigFile, FieldsAreTakenByPosition) {
    Vireo::Testing::TempDir dir;
    Vireo::Testing::WriteFile(dir / "run.cfg", GetParam().content);
    Vireo::CfgFileParser config(dir / "run.cfg");
    EXPECT_EQ(config.cfgLoaded, 1);
    EXPECT_EQ(config.cfgTemplateGenerated, 0);
    EXPECT_EQ(Fields(config), GetParam().expected);
}

const std::string k2047(2047, 'a');

INSTANTIATE_TEST_SUITE_P(
    Forms, ConfigFile,
    testing::Values(
        ConfigCase{"Template",
                   "tuningFile=\nawbDLL=\nawbSimWrapperDLL=\ndataDir=\noutputDir=\n",
                   {"", "", "", "", ""}},
        ConfigCase{"FiveLines",
                   "tuningFile=/t\nawbDLL=/a\nawbSimWrapperDLL=/w\ndataDir=/d\noutputDir=/o\n",
                   {"/t", "/a", "/w", "/d", "/o"}},
        ConfigCase{"OneLineBlanksAndTabs",
                   "tuningFile=/t awbDLL=/a\tawbSimWrapperDLL=/w  dataDir=/d outputDir=/o",
                   {"/t", "/a", "/w", "/d", "/o"}},
        ConfigCase{
            "CarriageReturns",
            "tuningFile=/t\r\nawbDLL=/a\r\nawbSimWrapperDLL=/w\r\ndataDir=/d\r\noutputDir=/o\r\n",
            {"/t", "/a", "/w", "/d", "/o"}},
        ConfigCase{"KeysAreNotChecked",
                   "outputDir=/x b=/a c=/w d=/d e=/o",
                   {"/x", "/a", "/w", "/d", "/o"}},
        ConfigCase{
            "ValueHoldsEquals", "a=1 b=2 c=3 dataDir=/x=y e=5", {"1", "2", "3", "/x=y", "5"}},
        ConfigCase{"ThreeWordsRepeatTheLast", "a=1 b=2 c=3", {"1", "2", "3", "3", "3"}},
        ConfigCase{"NoWordAtAll", "", {"", "", "", "", ""}},
        ConfigCase{"WordWithoutEqualsIsTheValue",
                   "a=1 /plain c=3 d=4 e=5",
                   {"1", "/plain", "3", "4", "5"}},
        ConfigCase{"SixthWordIgnored", "a=1 b=2 c=3 d=4 e=5 f=6 junk", {"1", "2", "3", "4", "5"}},
        ConfigCase{
            "Value2047KeptWhole", "a=" + k2047 + " b=2 c=3 d=4 e=5", {k2047, "2", "3", "4", "5"}},
        ConfigCase{
            "Value2048Cut", "a=" + k2047 + "b b=2 c=3 d=4 e=5", {k2047, "2", "3", "4", "5"}}),
    [](const testing::TestParamInfo<ConfigCase>& info) { return std::string(info.param.name); });

TEST(ConfigFile, UnreadableFileLeavesEmptyPathsAndNoFlag) {
    Vireo::Testing::TempDir dir;
    Vireo::CfgFileParser config(dir / "missing.cfg");
    EXPECT_EQ(config.cfgLoaded, 0);
    EXPECT_EQ(config.cfgTemplateGenerated, 0);
    EXPECT_EQ(Fields(config), (Values{"", "", "", "", ""}));
}

TEST(ConfigFile, TemplateRequestIsCaseSensitiveAndWhole) {
    // "-GENCFG" and "-gencfg " are ordinary (missing) file names.
    for (const char* argument : {"-GENCFG", "-gencfg "}) {
        Vireo::CfgFileParser config(argument);
        EXPECT_EQ(config.cfgTemplateGenerated, 0) << argument;
        EXPECT_EQ(config.cfgLoaded, 0) << argument;
    }
}

}  // namespace
