#include "src/log/configuration.h"

#include "tests/unit/log/log_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <thread>

namespace {

// The settings as the start of the library has them before the file is read.
LogSettings StartSettings()
{
    LogSettings settings;
    settings.timeFormat = LogTimeFormat_DateTimeMillisec;
    settings.fileCount = 5;
    return settings;
}

class ConfigurationTest : public testing::Test
{
protected:
    void Load(const std::string& text)
    {
        folder.Write("config.json", text);
        Load();
    }
    void Load() { LoadConfiguration(&settings, &pinPadEnabled, folder.Directory().c_str(), report); }

    // The settings that the file decides, as one text: the five flags, count, level, time format.
    std::string Values() const
    {
        std::string text;
        for (const bool flag : {bool{settings.logToConsole}, bool{settings.logToDebugger},
                                bool{settings.logToFile}, bool{settings.extensive}}) {
            text += flag ? '1' : '0';
        }
        return text + " " + std::to_string(settings.fileCount) + " " + std::to_string(settings.logFromLevel) +
               " " + std::to_string(settings.timeFormat);
    }

    std::string Path() const { return folder.Path("config.json").string(); }
    std::string ParseReport(const std::string& what) const
    {
        return "Exception in parsing " + Path() + ": " + what;
    }
    std::string MissingSection() const
    {
        return "Missing section \"log\" in " + Path() + " . Applying default values";
    }

    const LogFolder folder;
    LogSettings settings = StartSettings();
    bool pinPadEnabled = false;
    std::string report;
};

constexpr const char* defaultValues = "0010 5 2 1";
constexpr const char* allOn =
    R"("logToConsole": true, "logToDebugger": true, "logToFile": false, "extensive": true, "fileCount": 7)";

struct CountRow
{
    const char* name;
    const char* value;
    int count;
};

class FileCountTest : public ConfigurationTest, public testing::WithParamInterface<CountRow>
{
};

struct TypeErrorRow
{
    const char* name;
    const char* key;
    const char* value;
    const char* what;
};

class TypeErrorTest : public ConfigurationTest, public testing::WithParamInterface<TypeErrorRow>
{
};

struct NameRow
{
    const char* name;
    int value;
};

class LevelNameTest : public ConfigurationTest, public testing::WithParamInterface<NameRow>
{
};
class TimeFormatNameTest : public ConfigurationTest, public testing::WithParamInterface<NameRow>
{
};

template <typename Row>
std::string NameOfRow(const testing::TestParamInfo<Row>& row)
{
    return row.param.name;
}

} // namespace

TEST_F(ConfigurationTest, FileThatIsNotThereIsReportedWithoutItsPath)
{
    Load();
    EXPECT_EQ(report, "Configuration file not found ");
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, FolderOrPipeOfThatNameIsNoFile)
{
    std::filesystem::create_directory(folder.Path("config.json"));
    Load();
    EXPECT_EQ(report, "Configuration file not found ");
    std::filesystem::remove(folder.Path("config.json"));
    ASSERT_EQ(mkfifo(folder.Path("config.json").c_str(), 0600), 0);
    report.clear();
    Load(); // nobody writes into the pipe
    EXPECT_EQ(report, "Configuration file not found ");
}

TEST_F(ConfigurationTest, EveryKeyIsRead)
{
    Load(std::string("{\"pinPadEnabled\": true, \"log\": {") + allOn +
         R"(, "logFromLevel": "LogLevel_Debug", "timeFormat": "LogTimeFormat_Millisec"}})");
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), "1101 7 3 2");
    EXPECT_TRUE(pinPadEnabled);
}

TEST_F(ConfigurationTest, KeysThatAreAbsentLeaveWhatIsThere)
{
    Load(R"({"log": {}})");
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), defaultValues);
    EXPECT_FALSE(pinPadEnabled);
}

TEST_F(ConfigurationTest, UnknownKeysAreIgnored)
{
    Load(
        R"({"logs": 1, "log": {"rotationMode": 2, "logDirectory": "/", "maxFileSize": 1, "LogToConsole": true}})");
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), defaultValues);
    EXPECT_EQ(settings.rotationMode, 3);
    EXPECT_EQ(settings.maxFileSize, 2097152U);
    EXPECT_EQ(settings.logDirectory, u"./");
}

TEST_F(ConfigurationTest, NothingButTheSettingsThatHaveKeysIsTouched)
{
    Load(std::string("{\"log\": {") + allOn + "}}");
    EXPECT_EQ(settings.reserved5, 0);
    EXPECT_EQ(settings.maxFileAgeDays, 7U);
    EXPECT_EQ(settings.logFileName, u"CardAPI_default");
}

TEST_F(ConfigurationTest, MissingSectionIsReportedAndThePinPadKeyIsReadAllTheSame)
{
    Load(R"({"pinPadEnabled": true})");
    EXPECT_EQ(report, MissingSection());
    EXPECT_TRUE(pinPadEnabled);
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, RootThatIsNoObjectHasNoSection)
{
    for (const char* root : {"[]", "5", "\"log\"", "null", "true", "[{\"log\": {}}]"}) {
        report.clear();
        Load(root);
        EXPECT_EQ(report, MissingSection()) << root;
    }
}

TEST_F(ConfigurationTest, SectionThatIsNoObjectChangesAndReportsNothing)
{
    for (const char* section : {"5", "[]", "null", "\"text\"", "true", "[\"logToConsole\"]"}) {
        Load(std::string("{\"log\": ") + section + "}");
        EXPECT_EQ(report, "") << section;
        EXPECT_EQ(Values(), defaultValues) << section;
    }
}

TEST_F(ConfigurationTest, OfAKeyThatStandsTwiceTheLastCounts)
{
    Load(R"({"log": {"logToConsole": true, "fileCount": 3}, "log": {"fileCount": 1, "fileCount": 2}})");
    EXPECT_EQ(report, "");
    EXPECT_EQ(settings.fileCount, 2);
    EXPECT_FALSE(settings.logToConsole);
    Load(R"({"log": {"fileCount": 4}, "log": 5})");
    EXPECT_EQ(report, "");
    EXPECT_EQ(settings.fileCount, 2);
}

TEST_F(ConfigurationTest, KeysOfOtherObjectsAndListsDoNotCount)
{
    Load(
        R"({"a": {"log": {"fileCount": 3}, "pinPadEnabled": true}, "b": [{"log": {"fileCount": 3}}],)"
        R"( "log": {"c": {"fileCount": 3}, "d": [[{"fileCount": 3}]], "log": {"fileCount": 3}}, "fileCount": 3})");
    EXPECT_EQ(report, "");
    EXPECT_FALSE(pinPadEnabled);
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, EmptyFileReachesTheParser)
{
    Load("");
    EXPECT_TRUE(report.starts_with(ParseReport("[json.exception.parse_error.101]"))) << report;
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, BadSyntaxIsReportedWithTheParsersText)
{
    Load(R"({"log": {"logToConsole": true},})");
    EXPECT_TRUE(report.starts_with(ParseReport("[json.exception.parse_error.101]"))) << report;
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, CommentsAreNotAllowed)
{
    Load("{ /* a remark */ \"log\": {}}");
    EXPECT_TRUE(report.starts_with(ParseReport("[json.exception.parse_error.101]"))) << report;
}

TEST_F(ConfigurationTest, ZeroByteEndsTheText)
{
    Load(std::string(R"({"log": {"logToConsole": true}})") + '\0' + "and no JSON at all");
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), "1010 5 2 1");
}

TEST_F(ConfigurationTest, FileOf8191BytesGivesNoRemark)
{
    std::string text = R"({"log": {"extensive": true}})";
    text.resize(8191, ' ');
    Load(text);
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), "0011 5 2 1");
}

TEST_F(ConfigurationTest, FileOf8192BytesGivesARemarkAndIsApplied)
{
    std::string text = R"({"log": {"extensive": true}})";
    text.resize(8192, ' ');
    Load(text);
    EXPECT_EQ(report, "File is too large");
    EXPECT_EQ(Values(), "0011 5 2 1");
}

TEST_F(ConfigurationTest, LaterReportReplacesTheRemarkOnTheSize)
{
    std::string text = R"({"log": {"logFromLevel": "loud"}})";
    text.resize(9000, ' ');
    Load(text);
    EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  logFromLevel");
    report.clear();
    Load(std::string(9000, ' '));
    EXPECT_TRUE(report.starts_with(ParseReport(""))) << report;
}

TEST_P(LevelNameTest, StandsForItsValue)
{
    Load(std::string(R"({"log": {"logFromLevel": ")") + GetParam().name + "\"}}");
    EXPECT_EQ(report, "");
    EXPECT_EQ(int{settings.logFromLevel}, GetParam().value);
}
INSTANTIATE_TEST_SUITE_P(All, LevelNameTest,
                         testing::Values(NameRow{"LogLevel_Error", 0}, NameRow{"LogLevel_Warning", 1},
                                         NameRow{"LogLevel_Info", 2}, NameRow{"LogLevel_Debug", 3}),
                         NameOfRow<NameRow>);

TEST_P(TimeFormatNameTest, StandsForItsValue)
{
    Load(std::string(R"({"log": {"timeFormat": ")") + GetParam().name + "\"}}");
    EXPECT_EQ(report, "");
    EXPECT_EQ(int{settings.timeFormat}, GetParam().value);
}
INSTANTIATE_TEST_SUITE_P(All, TimeFormatNameTest,
                         testing::Values(NameRow{"LogTimeFormat_DateTime", 0},
                                         NameRow{"LogTimeFormat_DateTimeMillisec", 1},
                                         NameRow{"LogTimeFormat_Millisec", 2}),
                         NameOfRow<NameRow>);

TEST_F(ConfigurationTest, NamesAreComparedWithTheirCase)
{
    Load(R"({"log": {"logFromLevel": "LogLevel_debug"}})");
    EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  logFromLevel");
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, AnythingButANameIsInvalid)
{
    for (const char* value :
         {"null", "2", "true", "\"\"", "{}", "[\"LogLevel_Debug\"]", "255", "\"Debug\""}) {
        Load(std::string(R"({"log": {"logFromLevel": )") + value + "}}");
        EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  logFromLevel") << value;
        Load(std::string(R"({"log": {"timeFormat": )") + value + "}}");
        EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  timeFormat") << value;
        EXPECT_EQ(Values(), defaultValues) << value;
    }
}

TEST_F(ConfigurationTest, BothInvalidNamesStandInOneReport)
{
    Load(R"({"log": {"timeFormat": "x", "logFromLevel": 3, "logToConsole": true}})");
    EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  logFromLevel timeFormat");
    EXPECT_EQ(Values(), "1010 5 2 1");
}

TEST_F(ConfigurationTest, OneInvalidNameLeavesTheOtherInForce)
{
    Load(R"({"log": {"logFromLevel": 3, "timeFormat": "LogTimeFormat_DateTime"}})");
    EXPECT_EQ(report, "Invalid enum values in " + Path() + ":  logFromLevel");
    EXPECT_EQ(Values(), "0010 5 2 0");
}

TEST_P(FileCountTest, StoresLowByte)
{
    Load(std::string(R"({"log": {"fileCount": )") + GetParam().value + "}}");
    EXPECT_EQ(report, "");
    EXPECT_EQ(settings.fileCount, GetParam().count);
}
INSTANTIATE_TEST_SUITE_P(
    All, FileCountTest,
    testing::Values(CountRow{"Zero", "0", 0}, CountRow{"One", "1", 1}, CountRow{"Largest", "255", 255},
                    CountRow{"OneTooMany", "256", 0}, CountRow{"MinusOne", "-1", 255},
                    CountRow{"ThreeHundred", "300", 44},
                    CountRow{"LargestUnsigned", "18446744073709551615", 255}, CountRow{"True", "true", 1},
                    CountRow{"False", "false", 0}, CountRow{"Fraction", "2.9", 2},
                    CountRow{"NegativeFraction", "-1.5", 255}, CountRow{"Exponent", "1e2", 100},
                    CountRow{"Float256", "256.7", 0}, CountRow{"LargestFloat", "2147483647.5", 255},
                    CountRow{"FloatBeyond32Bits", "1e300", 0}, CountRow{"FloatBelow32Bits", "-1e300", 0}),
    NameOfRow<CountRow>);

TEST_P(TypeErrorTest, IsReportedWithTheParsersText)
{
    const std::string member = std::string("\"") + GetParam().key + "\": " + GetParam().value;
    Load(std::string(GetParam().key) == "pinPadEnabled" ? "{" + member + ", \"log\": {\"extensive\": true}}"
                                                        : "{\"log\": {" + member + "}}");
    EXPECT_EQ(report,
              ParseReport(std::string("[json.exception.type_error.302] type must be ") + GetParam().what));
    EXPECT_EQ(Values(), defaultValues);
}
INSTANTIATE_TEST_SUITE_P(
    All, TypeErrorTest,
    testing::Values(TypeErrorRow{"PinPadString", "pinPadEnabled", "\"no\"", "boolean, but is string"},
                    TypeErrorRow{"PinPadNull", "pinPadEnabled", "null", "boolean, but is null"},
                    TypeErrorRow{"ConsoleNumber", "logToConsole", "1", "boolean, but is number"},
                    TypeErrorRow{"ConsoleNull", "logToConsole", "null", "boolean, but is null"},
                    TypeErrorRow{"DebuggerString", "logToDebugger", "\"true\"", "boolean, but is string"},
                    TypeErrorRow{"FileArray", "logToFile", "[true]", "boolean, but is array"},
                    TypeErrorRow{"ExtensiveObject", "extensive", "{}", "boolean, but is object"},
                    TypeErrorRow{"CountString", "fileCount", "\"5\"", "number, but is string"},
                    TypeErrorRow{"CountNull", "fileCount", "null", "number, but is null"},
                    TypeErrorRow{"CountArray", "fileCount", "[5]", "number, but is array"},
                    TypeErrorRow{"CountObject", "fileCount", "{}", "number, but is object"}),
    NameOfRow<TypeErrorRow>);

TEST_F(ConfigurationTest, KeysBeforeOneOfAWrongTypeStayAppliedAndLaterOnesDoNotFollow)
{
    Load(
        R"({"log": {"timeFormat": "LogTimeFormat_DateTime", "logFromLevel": "LogLevel_Debug", "fileCount": "5",
             "extensive": true, "logToConsole": true}})");
    EXPECT_EQ(report, ParseReport("[json.exception.type_error.302] type must be number, but is string"));
    EXPECT_EQ(Values(), "1011 5 2 1");
}

TEST_F(ConfigurationTest, WrongTypeOfThePinPadKeyStopsAll)
{
    Load(R"({"log": {"logToConsole": true}, "pinPadEnabled": 0})");
    EXPECT_EQ(report, ParseReport("[json.exception.type_error.302] type must be boolean, but is number"));
    EXPECT_EQ(Values(), defaultValues);
}

TEST_F(ConfigurationTest, WithoutSettingsTheSectionIsNotRead)
{
    folder.Write("config.json", R"({"pinPadEnabled": true, "log": {"logToConsole": 5}})");
    LoadConfiguration(nullptr, &pinPadEnabled, folder.Directory().c_str(), report);
    EXPECT_EQ(report, "");
    EXPECT_TRUE(pinPadEnabled);
}

TEST_F(ConfigurationTest, WithoutAFlagThePinPadKeyIsNotRead)
{
    folder.Write("config.json", R"({"pinPadEnabled": "no boolean", "log": {"logToConsole": true}})");
    LoadConfiguration(&settings, nullptr, folder.Directory().c_str(), report);
    EXPECT_EQ(report, "");
    EXPECT_TRUE(settings.logToConsole);
}

TEST_F(ConfigurationTest, PathsBeyondAsciiWork)
{
    const auto directory = folder.Path("Zložka 🗝");
    std::filesystem::create_directory(directory);
    std::ofstream(directory / "config.json") << R"({"log": {"logFromLevel": 1}})";
    LoadConfiguration(&settings, &pinPadEnabled, (directory.u16string() + u"/").c_str(), report);
    EXPECT_EQ(report, "Invalid enum values in " + (directory / "config.json").string() + ":  logFromLevel");
}

TEST_F(ConfigurationTest, DirectoryThatIsNoPathHasNoFile)
{
    const char16_t halfAPair[] = {0xD800, u'/', 0};
    LoadConfiguration(&settings, &pinPadEnabled, halfAPair, report);
    EXPECT_EQ(report, "Configuration file not found ");
}

TEST_F(ConfigurationTest, ManyThreadsMayReadAtOnce)
{
    folder.Write("config.json", R"({"log": {"logFromLevel": "LogLevel_Debug", "timeFormat": "x"}})");
    std::vector<LogSettings> read(4);
    std::vector<std::thread> threads;
    threads.reserve(read.size());
    for (auto& own : read) {
        threads.emplace_back([&own, this] {
            std::string ownReport;
            LoadConfiguration(&own, nullptr, folder.Directory().c_str(), ownReport);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& own : read) {
        EXPECT_EQ(int{own.logFromLevel}, 3);
    }
}

TEST_F(ConfigurationTest, ExampleFileIsWellFormedAndGivesWhatItSays)
{
    std::filesystem::copy_file(EXAMPLE_CONFIGURATION, folder.Path("config.json"));
    Load();
    EXPECT_EQ(report, "");
    EXPECT_EQ(Values(), "0011 5 3 1");
}

TEST_F(ConfigurationTest, FileIsGivenWithAZeroByteBehindIt)
{
    folder.Write("config.json", "ab\r\nc");
    EXPECT_EQ(ReadConfigurationFile(folder.Directory().c_str(), report),
              (std::vector<char>{'a', 'b', '\r', '\n', 'c', '\0'}));
    EXPECT_EQ(report, "");
}
