// The form of the log lines, and which of them are let through.
#include "tests/support/black_box_test.h"
#include "tests/support/eventually.h"
#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <regex>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace blackbox {
namespace {

const std::string dateTime = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}";
const std::string openedLine = ";      pkcs11_x64; Session opened";

// Whether the whole text matches the extended regular expression.
bool Matches(const std::string& text, const std::string& pattern)
{
    return std::regex_match(text, std::regex(pattern, std::regex::extended));
}

class LogLinesTest : public BlackBoxTest
{
protected:
    // The raw line of C_OpenSession that reports the session.
    std::string OpenedLine(const scripted::LogSwitches& switches)
    {
        LogCapture log(script, switches);
        InitializeWithCard();
        log.Forget();
        OpenSession(1);
        for (const LogLine& line : log.Lines()) {
            if (line.description == "Session opened") {
                return line.raw;
            }
        }
        return "";
    }

    static std::string ThisThread()
    {
        std::array<char, 16> text{};
        static_cast<void>(std::snprintf(text.data(), text.size(), "0x%x", ThreadId()));
        return text.data();
    }

    // One successful and one refused call, with lines at the levels 0, 2 and 3.
    void Speak()
    {
        OpenSession(1);
        CK_SESSION_HANDLE session = 0;
        f->C_OpenSession(99, CKF_SERIAL_SESSION, nullptr, nullptr, &session);
    }

    Texts LevelsOfSpeech(uint8_t fromLevel)
    {
        LogCapture log(script, {.fromLevel = fromLevel});
        InitializeWithCard();
        log.Forget();
        Speak();
        Texts levels;
        for (const LogLine& line : log.Lines()) {
            levels.push_back(line.level);
        }
        return levels;
    }
};

TEST_F(LogLinesTest, NameOfAReaderMakesNoLineOfItsOwn)
{
    LogCapture log(script, {.extensive = true});
    // The library keeps the low byte of each character.
    script->AddReader(u"Reader\r\n ERR; forged; one\u010A ERR; forged; two\x7F\x1B[2J\there",
                      CertifiedCard());
    Initialize();
    const std::string all = log.Raw();
    EXPECT_NE(all.find("added in reader: Reader?? ERR; forged; one? ERR; forged; two??[2J\there;"),
              std::string::npos);
    std::size_t begin = 0;
    for (auto end = all.find("\r\n"); end != std::string::npos; end = all.find("\r\n", begin)) {
        const std::string line = all.substr(begin, end - begin);
        EXPECT_TRUE(Matches(line, "( ERR|WARN|INFO| DBG); [^[:cntrl:]]*; +pkcs11_x64; ([^[:cntrl:]]|\t)*"))
            << line;
        begin = end + 2;
    }
    EXPECT_EQ(begin, all.size());
}

TEST_F(LogLinesTest, PlainLineHasLevelTimeModuleAndDescription)
{
    const std::string line = OpenedLine({.extensive = false, .timeFormat = 1});
    EXPECT_TRUE(Matches(line, "INFO; " + dateTime + " [0-9]{8}" + openedLine + "\r\n")) << line;
}

TEST_F(LogLinesTest, ExtensiveLineAddsThreadFunctionAndVerboseText)
{
    const std::string line = OpenedLine({.extensive = true, .timeFormat = 1});
    EXPECT_TRUE(
        Matches(line, "INFO; " + dateTime + " [0-9]{8}" + openedLine +
                          "; ThID: 0x[0-9a-f]+; VERB: C_OpenSession;  slotID 1 session handle 0x1\r\n"))
        << line;
}

TEST_F(LogLinesTest, TimeFormatOfDateAndTimeOnly)
{
    const std::string line = OpenedLine({.extensive = false, .timeFormat = 0});
    EXPECT_TRUE(Matches(line, "INFO; " + dateTime + openedLine + "\r\n")) << line;
}

TEST_F(LogLinesTest, TimeFormatOfMillisecondsOnly)
{
    const std::string line = OpenedLine({.extensive = false, .timeFormat = 2});
    EXPECT_TRUE(Matches(line, "INFO; [0-9]{8}" + openedLine + "\r\n")) << line;
}

TEST_F(LogLinesTest, UnknownTimeFormatLeavesTheFieldEmpty)
{
    EXPECT_EQ(OpenedLine({.extensive = false, .timeFormat = 3}), "INFO; " + openedLine + "\r\n");
}

TEST_F(LogLinesTest, DateAndTimeAreTheLocalOnes)
{
    const std::time_t before = std::time(nullptr);
    const std::string line = OpenedLine({.extensive = false, .timeFormat = 0});
    const std::time_t after = std::time(nullptr);
    bool found = false;
    for (std::time_t moment = before; moment <= after; ++moment) {
        const std::string text(std::ctime(&moment), 24); // NOLINT(concurrency-mt-unsafe): the only thread
        found = found || line.find(text) != std::string::npos;
    }
    EXPECT_TRUE(found) << line;
}

TEST_F(LogLinesTest, MillisecondCounterRunsFromTheMakingOfTheLogger)
{
    LogCapture log(script, {.timeFormat = 2});
    InitializeWithCard();
    log.Forget();
    using Milliseconds = std::chrono::duration<double, std::milli>;
    const auto begin = std::chrono::steady_clock::now();
    OpenSession(1);
    const auto afterFirst = std::chrono::steady_clock::now();
    ASSERT_TRUE(
        Eventually([&] { return std::chrono::steady_clock::now() - afterFirst >= Milliseconds(20); }));
    const Milliseconds between = std::chrono::steady_clock::now() - afterFirst;
    OpenSession(1);
    const Milliseconds whole = std::chrono::steady_clock::now() - begin;
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    const auto counted = static_cast<double>(std::stol(lines.back().time) - std::stol(lines.front().time));
    EXPECT_GT(counted, between.count() - 1);
    EXPECT_LT(counted, whole.count() + 1);
    long previous = 0;
    for (const LogLine& line : lines) {
        EXPECT_GE(std::stol(line.time), previous);
        previous = std::stol(line.time);
    }
}

TEST_F(LogLinesTest, ModuleFieldIsRightAligned)
{
    LogCapture log(script);
    InitializeWithCard();
    for (const LogLine& line : log.Lines()) {
        EXPECT_EQ(line.module, "     pkcs11_x64");
    }
}

TEST_F(LogLinesTest, ThreadFieldIsTheCallingThread)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    OpenSession(1);
    for (const LogLine& line : log.Lines()) {
        EXPECT_EQ(line.thread, ThisThread());
    }
    log.Forget();
    script->InsertCard(readerB, Card{});
    ProcessEvents();
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    for (const LogLine& line : lines) {
        EXPECT_NE(line.thread, ThisThread());
        EXPECT_EQ(line.thread, lines.front().thread);
    }
}

TEST_F(LogLinesTest, LineWithoutVerboseTextEndsWithTheFunction)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    f->C_GetInfo(nullptr);
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines.front().raw.ends_with("; VERB: C_GetInfo\r\n")) << lines.front().raw;
}

TEST_F(LogLinesTest, BlankBehindTheMarkerIsKept)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    log.Forget();
    f->C_CloseSession(session);
    EXPECT_NE(log.Raw().find("; Session closed; ThID: " + ThisThread() +
                             "; VERB: C_CloseSession;   handle 0x1\r\n"),
              std::string::npos);
}

TEST_F(LogLinesTest, VerboseTextIsLostWhenNotExtensive)
{
    LogCapture log(script, {.extensive = false});
    InitializeWithCard();
    log.Forget();
    Speak();
    for (const LogLine& line : log.Lines()) {
        EXPECT_FALSE(line.extensive);
        EXPECT_EQ(line.raw.find("VERB"), std::string::npos);
        EXPECT_EQ(line.raw.find(" \r\n"), std::string::npos) << "the blank before the marker goes with it";
    }
    EXPECT_EQ(log.Raw().find("slotID"), std::string::npos);
}

TEST_F(LogLinesTest, LevelsAreWrittenInFourCharacters)
{
    EXPECT_EQ(LevelsOfSpeech(3), (Texts{" DBG", " DBG", "INFO", " DBG", " DBG", " ERR", " ERR"}));
}

TEST_F(LogLinesTest, FromLevelInfoLetsNoDebugThrough)
{
    EXPECT_EQ(LevelsOfSpeech(2), (Texts{"INFO", " ERR", " ERR"}));
}

TEST_F(LogLinesTest, FromLevelWarningLetsErrorsThroughOnly)
{
    EXPECT_EQ(LevelsOfSpeech(1), (Texts{" ERR", " ERR"}));
}

TEST_F(LogLinesTest, FromLevelErrorLetsErrorsThroughOnly)
{
    EXPECT_EQ(LevelsOfSpeech(0), (Texts{" ERR", " ERR"}));
}

TEST_F(LogLinesTest, SuccessfulCallIsSilentBelowDebugAndAFailedOneNever)
{
    LogCapture log(script, {.fromLevel = 0});
    Initialize();
    log.Forget();
    CK_INFO info{};
    f->C_GetInfo(&info);
    EXPECT_EQ(log.Take(), Texts{});
    f->C_GetInfo(nullptr);
    EXPECT_EQ(log.Take(), Texts{LeavingLine("C_GetInfo", "7 CKR_ARGUMENTS_BAD")});
}

TEST_F(LogLinesTest, NothingIsWrittenWithAllSinksOff)
{
    LogCapture log(script, {.toConsole = false});
    InitializeWithCard();
    Speak();
    EXPECT_EQ(log.Raw(), "");
}

TEST_F(LogLinesTest, FileSinkAloneWritesNothingToStandardOutput)
{
    LogCapture log(script, {.toConsole = false, .toFile = true});
    InitializeWithCard();
    Speak();
    EXPECT_EQ(log.Raw(), "");
}

TEST_F(LogLinesTest, InitializeSwitchesTheConsoleOffEvenWhenItIsRefused)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    EXPECT_EQ(f->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
    f->C_GetInfo(nullptr);
    EXPECT_EQ(log.Raw(), "");
}

TEST_F(LogLinesTest, FunctionListSwitchesTheConsoleOffEvenWhenItIsRefused)
{
    for (CK_FUNCTION_LIST* list : {f, static_cast<CK_FUNCTION_LIST*>(nullptr)}) {
        LogCapture log(script);
        Initialize();
        log.Forget();
        f->C_GetFunctionList(list == nullptr ? nullptr : &list);
        f->C_GetInfo(nullptr);
        EXPECT_EQ(log.Raw(), "");
        Finalize();
    }
}

TEST_F(LogLinesTest, StartIsLoggedStepByStep)
{
    LogCapture log(script);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(
        log.Take(),
        (Texts{"DBG InitializePKCS11: CardAPI initialized",
               "DBG InitializePKCS11: Log parse info VERB: Configuration file not found ",
               "DBG InitializePKCS11: Going to initialize Internal cache",
               "DBG InternalCache::InternalCache: InternalCache will be created",
               "DBG InternalCache::InternalCache: InternalCache created",
               "DBG InitializePKCS11: Internal cache initialized",
               "DBG InitializePKCS11: Going to start MonitoringThread",
               "DBG LoadSlotList: LoadSlotList call start", "DBG LoadSlotList: CardAPI session is null",
               "DBG LoadSlotList: LoadSlotList call end",
               "DBG MonitoringThread::Start: Going to start DoMonitoring thread",
               "DBG InitializePKCS11: MonitoringThread started", LeavingLine("C_Initialize", "0 CKR_OK")}));
}

TEST_F(LogLinesTest, FinalizeIsLoggedInItsFrame)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    EXPECT_EQ(f->C_Finalize(&log), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_Finalize"), LeavingLine("C_Finalize", "7 CKR_ARGUMENTS_BAD")}));
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_Finalize"), LeavingLine("C_Finalize", "0 CKR_OK")}));
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_Finalize"),
                                 LeavingLine("C_Finalize", "190 CKR_CRYPTOKI_NOT_INITIALIZED")}));
}

TEST_F(LogLinesTest, FailedInitializeIsLoggedFromItsCatchClause)
{
    LogCapture log(script);
    script->Next("GetReaderList", {.hook = [] { throw std::runtime_error("scripted"); }});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    const Texts lines = log.Take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), LeavingLine("C_Initialize", "6 CKR_FUNCTION_FAILED"));
}

TEST_F(LogLinesTest, InfoIsLoggedInItsFrame)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    CK_INFO info{};
    f->C_GetInfo(&info);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetInfo"), LeavingLine("C_GetInfo", "0 CKR_OK")}));
}

// Callbacks that take the lines which were written up to each of their calls.
struct LinesAtCallbacks
{
    static LinesAtCallbacks& Instance()
    {
        static LinesAtCallbacks instance;
        return instance;
    }

    static CK_C_INITIALIZE_ARGS Arguments()
    {
        return {[](CK_VOID_PTR_PTR mutex) -> CK_RV {
                    *mutex = &Instance();
                    return CKR_OK;
                },
                [](CK_VOID_PTR) -> CK_RV { return Take("DestroyMutex"); },
                [](CK_VOID_PTR) -> CK_RV { return Take("LockMutex"); },
                [](CK_VOID_PTR) -> CK_RV { return Take("UnlockMutex"); },
                0,
                nullptr};
    }

    static CK_RV Take(const std::string& callback)
    {
        if (Instance().log != nullptr) {
            Instance().seen = Instance().seen + Instance().log->Take() + Texts{callback};
        }
        return CKR_OK;
    }

    LogCapture* log = nullptr;
    Texts seen; // lines and callbacks in their order
};

class LogOrderTest : public LogLinesTest
{
protected:
    LogOrderTest()
    {
        CK_C_INITIALIZE_ARGS arguments = LinesAtCallbacks::Arguments();
        script->AddReader(readerA, Card{});
        if (f->C_Initialize(&arguments) != CKR_OK) {
            throw std::runtime_error("no start");
        }
        log.Forget();
        LinesAtCallbacks::Instance() = {&log, {}};
    }

    ~LogOrderTest() override { LinesAtCallbacks::Instance().log = nullptr; }

    void TearDown() override
    {
        LinesAtCallbacks::Instance().log = nullptr;
        LogLinesTest::TearDown();
    }

    // Lines and callbacks of what ran since the start.
    Texts Seen() { return LinesAtCallbacks::Instance().seen + log.Take(); }

    LogCapture log{script};
};

TEST_F(LogOrderTest, FunctionsEnterBeforeTheLockAndLeaveInsideIt)
{
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(Seen(), (Texts{EnteringLine("C_GetInfo"), "LockMutex", LeavingLine("C_GetInfo", "0 CKR_OK"),
                             "UnlockMutex"}));
}

TEST_F(LogOrderTest, RefusedFunctionsLeaveInsideTheLockToo)
{
    EXPECT_EQ(f->C_CloseSession(99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Seen(), (Texts{EnteringLine("C_CloseSession"), "LockMutex",
                             LeavingLine("C_CloseSession", "b3 CKR_SESSION_HANDLE_INVALID"), "UnlockMutex"}));
}

TEST_F(LogOrderTest, FinalizeEntersInsideTheLockAndLeavesAfterTheMutexIsDestroyed)
{
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    EXPECT_EQ(Seen(), (Texts{"LockMutex", EnteringLine("C_Finalize"), "UnlockMutex", "DestroyMutex",
                             LeavingLine("C_Finalize", "0 CKR_OK")}));
}

TEST_F(LogOrderTest, FunctionListTakesTheLockBeforeTheConsoleGoesOff)
{
    CK_FUNCTION_LIST* list = nullptr;
    EXPECT_EQ(f->C_GetFunctionList(&list), CKR_OK);
    EXPECT_EQ(Seen(), (Texts{"LockMutex", "UnlockMutex"}));
}

TEST_F(LogLinesTest, FunctionsThatCannotTakeTheLockEnterAndDoNotLeave)
{
    LogCapture log(script);
    InitializeWithCard();
    Texts lines;
    script->Next("StartTransaction", {.hook = [&] {
                     log.Forget();
                     CK_INFO info{};
                     EXPECT_THROW(f->C_GetInfo(&info), std::system_error);
                     EXPECT_EQ(f->C_Finalize(nullptr), CKR_FUNCTION_FAILED);
                     CK_FUNCTION_LIST* list = nullptr;
                     EXPECT_THROW(f->C_GetFunctionList(&list), std::system_error);
                     EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
                     lines = log.Take();
                 }});
    OpenSession(1);
    EXPECT_EQ(lines, (Texts{EnteringLine("C_GetInfo"), LeavingLine("C_Finalize", "6 CKR_FUNCTION_FAILED"),
                            EnteringLine("C_GetInfo"), LeavingLine("C_GetInfo", "7 CKR_ARGUMENTS_BAD")}))
        << "and the console is still on";
}

TEST_F(LogLinesTest, FormatCharactersInAReaderNameAreText)
{
    LogCapture log(script);
    script->AddReader(u"%s%n%x VERB: 100%", Card{});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    const Texts lines = log.TakeOf("InternalCache::AddCardToken");
    EXPECT_EQ(lines,
              Texts{"DBG InternalCache::AddCardToken: New card token added in reader: %s%n%x VERB: 100%"})
        << "a marker from outside splits the line like any other";
}

TEST_F(LogLinesTest, LongReaderNameIsLoggedWhole)
{
    LogCapture log(script);
    script->AddReader(std::u16string(1000, u'r'), Card{});
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(
        log.TakeOf("InternalCache::AddCardToken"),
        Texts{"DBG InternalCache::AddCardToken: New card token added in reader: " + std::string(1000, 'r')});
}

TEST_F(LogLinesTest, OverlongMessageLosesItsEndAndTheLineStaysInItsBounds)
{
    Card card;
    card.qes.push_back(TestCertifiedKey(0, 1, "Signs what it is given"));
    LogCapture log(script);
    InitializeWithCard(card);
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_SignInit(session, &mechanism, FindAll(session).back()), CKR_OK);
    log.Forget();
    Bytes data(3000, 0xAB);
    Bytes signature(128);
    CK_ULONG length = 128;
    ASSERT_EQ(f->C_Sign(session, data.data(), 3000, signature.data(), &length), CKR_OK);
    const std::vector<LogLine> lines = log.Lines();
    const auto line = std::find_if(lines.begin(), lines.end(), [](const LogLine& candidate) {
        return candidate.description.starts_with("DataToSign: ");
    });
    ASSERT_NE(line, lines.end());
    EXPECT_EQ(line->description.size(), 3839U);
    EXPECT_LE(line->raw.size(), 4095U);
    EXPECT_TRUE(line->raw.ends_with("; VERB: SignManager::Sign\r\n"));
}

TEST_F(LogLinesTest, LinesOfManyThreadsNeverMix)
{
    constexpr int threadCount = 4;
    constexpr int callCount = 200;
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    LogCapture log(script);
    Initialize(&arguments);
    log.Forget();
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] {
            for (int call = 0; call < callCount; ++call) {
                f->C_GetInfo(nullptr);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const Texts lines = log.Take();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), EnteringLine("C_GetInfo")), threadCount * callCount);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), LeavingLine("C_GetInfo", "7 CKR_ARGUMENTS_BAD")),
              threadCount * callCount);
    EXPECT_EQ(lines.size(), size_t{2} * threadCount * callCount);
}

} // namespace
} // namespace blackbox
