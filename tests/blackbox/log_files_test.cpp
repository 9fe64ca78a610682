// What the start of the library reads from config.json, and the log files that it then writes.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

#include <fstream>
#include <thread>

namespace blackbox {
namespace {

constexpr const char* everything = R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug"}})";
constexpr size_t sizeLimit = 2097152;

class LogFilesTest : public BlackBoxTest
{
protected:
    void Configure(const std::string& text) const { WriteFile(Directory() / "config.json", text); }
    std::string Log(const std::string& name = "Pkcs11.log") const { return ReadFile(Directory() / name); }

    // What stands behind the frame of the line that begins with this description, level included.
    std::vector<std::string> Descriptions() const
    {
        std::vector<std::string> found;
        const std::string module = ";      pkcs11_x64; ";
        for (const std::string& line : LinesOf(Log())) {
            const size_t begin = line.find(module);
            if (begin != std::string::npos) {
                found.push_back(line.substr(0, 4) + " " + line.substr(begin + module.size()));
            }
        }
        return found;
    }

    // The line of the report, with its verbose text, of a start with this configuration.
    std::string ReportOf(const std::string& configuration)
    {
        Configure(configuration);
        std::filesystem::remove(Directory() / "Pkcs11.log");
        const std::string output = OutputOf(LogHostCommand(Directory(), 0));
        for (const std::string& line : LinesOf(Log())) {
            const size_t begin = line.find("Log parse info");
            if (begin != std::string::npos) {
                return line.substr(line.find("VERB: ", begin));
            }
        }
        return "none";
    }
    std::string Path() const { return Directory().string() + "/config.json"; }

    Bytes SettingsOfCardInitialize()
    {
        const auto* settings = static_cast<const uint8_t*>(script->CallsOf("Initialize").back().pointer);
        return {settings, settings + 14};
    }
};

TEST_F(LogFilesTest, StartOpensTheLogInTheUsersFolder)
{
    Initialize();
    const std::string text = Log();
    EXPECT_TRUE(
        text.starts_with("\r\n" + std::string(71, '-') + "\r\nCardAPI, version: v4.8_RC2\r\nProcess name: " +
                         RunningProgram().string() + "\r\nProcess Architecture: x64\r\nOperating system: "))
        << text;
    EXPECT_NE(
        text.find(
            "\r\nLog Level; Time; Module; Description; Thread; VERB: Function; Verbose Description\r\n" +
            std::string(71, '-') + "\r\n\r\n"),
        std::string::npos);
    EXPECT_EQ(Descriptions(), Texts{}) << "nothing that is worth a line at Info";
}

TEST_F(LogFilesTest, ErrorsReachTheFileWithoutAConfiguration)
{
    Initialize();
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(Descriptions(), Texts{" ERR PKCS11_FUNCTION_LEAVING, result 7 CKR_ARGUMENTS_BAD"});
}

TEST_F(LogFilesTest, FirstStartIsInTheFileFromTheCardLayersStartOn)
{
    Configure(R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    Initialize();
    const auto lines = Descriptions();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0], " DBG CardAPI initialized");
    EXPECT_EQ(lines[1], " DBG Going to initialize Internal cache");
    EXPECT_EQ(lines.back(), " DBG PKCS11_FUNCTION_LEAVING, result 0 CKR_OK");
}

TEST_F(LogFilesTest, LogIsOpenWhenTheCardLayerStarts)
{
    std::string seen;
    script->Next("Initialize", {.hook = [&] { seen = Log(); }});
    Initialize();
    EXPECT_NE(seen.find("CardAPI, version: v4.8_RC2"), std::string::npos);
}

TEST_F(LogFilesTest, CardLayerIsGivenTheSettingsOfTheFile)
{
    Configure(R"({"pinPadEnabled": true, "log": {"logToDebugger": false, "extensive": true, "fileCount": 9,
                  "logFromLevel": "LogLevel_Warning", "timeFormat": "LogTimeFormat_Millisec"}})");
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(SettingsOfCardInitialize(), (Bytes{0, 0, 1, 1, 1, 0, 2, 0, 0, 0, 0, 0, 0, 9}));
}

TEST_F(LogFilesTest, EachStartReadsTheFileAnewFromTheDefaults)
{
    Configure(everything);
    Initialize();
    Finalize();
    Configure(R"({"log": {"fileCount": 3}})");
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(SettingsOfCardInitialize(), (Bytes{0, 0, 1, 2, 0, 0, 1, 0, 0, 0, 0, 0, 0, 3}));
}

TEST_F(LogFilesTest, ConfigurationAndLogsHaveFoldersOfTheirOwn)
{
    const auto configuration = Directory() / "configuration";
    const auto logs = Directory() / "Záznamy";
    std::filesystem::create_directory(configuration);
    std::filesystem::create_directory(logs);
    WriteFile(configuration / "config.json", everything);
    script->SetDirectories(configuration.u16string() + u"/", logs.u16string() + u"/");
    Initialize();
    EXPECT_NE(ReadFile(logs / "Pkcs11.log").find("VERB: InitializePKCS11"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(configuration / "Pkcs11.log"));
}

TEST_F(LogFilesTest, ReportIsLoggedBehindTheCardLayersStart)
{
    Configure(R"({"log": {"logFromLevel": "LogLevel_Debug", "timeFormat": "x"}})");
    Initialize();
    const auto lines = Descriptions();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[1], " DBG Log parse info") << "the report itself is verbose text";
}

TEST_F(LogFilesTest, ConfigurationWithoutAFaultLogsNoReport)
{
    EXPECT_EQ(ReportOf(everything), "none");
}

TEST_F(LogFilesTest, ReportsStandBehindTheMarkerWithItsBlank)
{
    const std::string front = "VERB: InitializePKCS11;   ";
    const std::string loud = R"("extensive": true, "logFromLevel": "LogLevel_Debug")";
    EXPECT_EQ(ReportOf("{\"log\": {" + loud + ", \"timeFormat\": 1}}"),
              front + "Invalid enum values in " + Path() + ":  timeFormat");
    EXPECT_EQ(ReportOf("{\"log\": {" + loud + "}}" + std::string(8192, ' ')), front + "File is too large");
}

TEST_F(LogFilesTest, FaultReadBeforeTheLogKeysIsNotLogged)
{
    // A fault before them leaves the level at Info, and the report unseen.
    EXPECT_EQ(ReportOf(R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug", "fileCount": "5"}})"),
              "none");
    EXPECT_EQ(
        ReportOf(R"({"pinPadEnabled": 1, "log": {"extensive": true, "logFromLevel": "LogLevel_Debug"}})"),
        "none");
}

TEST_F(LogFilesTest, ConfigurationThatIsNoJsonLogsNothing)
{
    Configure("no JSON");
    Initialize();
    EXPECT_EQ(Descriptions(), Texts{});
}

TEST_F(LogFilesTest, SecondStartInOneProcessLosesItsLinesToTheFile)
{
    Configure(everything);
    Initialize();
    Finalize();
    const std::string first = Log();
    EXPECT_NE(first.find("C_Finalize"), std::string::npos);
    std::string atSecondStart;
    script->Next("GetAppDataDir", {.hook = [&] { atSecondStart = Log(); }});
    Initialize();
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(atSecondStart.substr(first.size()).find("C_Initialize") != std::string::npos, true)
        << "up to the start of the log the lines of the second start are in the file";
    EXPECT_NE(Log().find("Going to initialize CardAPI"), std::string::npos);
    EXPECT_EQ(CountOf(Log(), "CardAPI initialized"), 1U);
    EXPECT_EQ(Log().find("CKR_ARGUMENTS_BAD"), std::string::npos);
}

TEST_F(LogFilesTest, FullFileIsRetiredDuringACall)
{
    Configure(everything);
    Initialize();
    std::ofstream(Directory() / "Pkcs11.log", std::ios::app) << std::string(sizeLimit, 'x');
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_NE(Log("Pkcs11_1.log").find("VERB: C_GetInfo"), std::string::npos) << "the entering line";
    EXPECT_TRUE(Log().starts_with("CardAPI, version: "));
    EXPECT_NE(Log().find("CKR_ARGUMENTS_BAD"), std::string::npos) << "the leaving line";
}

TEST_F(LogFilesTest, LibraryWorksWithoutTheLogFolder)
{
    script->SetDirectories(u"/no such folder/", u"/no such folder/");
    Initialize();
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
}

// The host's name decides whether its standard output may be used.
class HostNameTest : public LogFilesTest
{
protected:
    std::string OutputUnderName(const std::string& name) const
    {
        Configure(R"({"log": {"logToConsole": true, "logToFile": false}})");
        return OutputOf(LogHostCommand(Directory(), 0, "", CopyOfLogHost(Directory(), name)));
    }
};

TEST_F(HostNameTest, QuillsignHasNoConsoleLogWhateverItsCase)
{
    for (const char* name : {"Quillsign.exe", "qUILLSIGN.EXE"}) {
        EXPECT_EQ(OutputUnderName(name), "") << name;
    }
}

TEST_F(HostNameTest, EveryOtherNameHasOne)
{
    for (const char* name : {"Quillsign2.exe", "Quillsig.exe", "log.exe"}) {
        EXPECT_TRUE(OutputUnderName(name).starts_with("CardAPI, version: ")) << name;
    }
}

} // namespace
} // namespace blackbox
