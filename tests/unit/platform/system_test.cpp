#include "src/platform/platform.h"

#include <gtest/gtest.h>

#include <sys/utsname.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <thread>
#include <vector>

TEST(WriteToDebugger, SendsTheTextAsItStandsWithoutItsLineEndToTheSystemLog)
{
    openlog("host", LOG_PERROR, LOG_USER); // to the standard error as well
    testing::internal::CaptureStderr();
    Platform::WriteToDebugger("50% of a line\r\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "host: 50% of a line\n");
    closelog();
}

TEST(ThreadId, DiffersBetweenThreadsAndStaysWithinOne)
{
    const auto own = Platform::ThreadId();
    uint32_t other = own;
    std::thread([&other] { other = Platform::ThreadId(); }).join();
    EXPECT_NE(own, other);
    EXPECT_EQ(own, Platform::ThreadId());
}

TEST(ProcessId, IsThatOfTheProcess)
{
    EXPECT_EQ(Platform::ProcessId(), static_cast<uint32_t>(getpid()));
}

TEST(ProcessId, DiffersInAForkedChild)
{
    const auto own = Platform::ProcessId();
    const pid_t child = fork();
    if (child == 0) {
        _exit(Platform::ProcessId() == own ? 1 : 0);
    }
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(SteadyClock, CountsTheNanosecondsOfTheSystemsMonotonicClock)
{
    const auto systemNanoseconds = [] {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
    };
    const auto before = systemNanoseconds();
    const auto reading = Platform::SteadyClockNanoseconds();
    EXPECT_GE(reading, before);
    EXPECT_LE(reading, systemNanoseconds());
}

TEST(FormatLocalTime, HasTheFormOfTheCLibrary)
{
    setenv("TZ", "UTC", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    char text[64] = {};
    Platform::FormatLocalTime(1794485402, text);
    EXPECT_STREQ(text, "Thu Nov 12 12:10:02 2026\n");
}

TEST(FormatLocalTime, IsInLocalTime)
{
    setenv("TZ", "MSK-03", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    char text[64] = {};
    Platform::FormatLocalTime(1794485402, text);
    EXPECT_STREQ(text, "Thu Nov 12 15:10:02 2026\n");
    unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
}

TEST(FormatLocalTime, IsWhatCtimeMakesOfEveryTime)
{
    constexpr std::time_t hour = 3600;
    constexpr std::time_t day = 24 * hour;
    constexpr std::time_t endOfYear9999 = 253402300799;
    constexpr std::time_t beginOfYearMinus999 = -93692592000;
    setenv("TZ", "UTC", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    std::vector<std::time_t> times = {0,
                                      -1,
                                      endOfYear9999,
                                      endOfYear9999 + 1,
                                      beginOfYearMinus999,
                                      beginOfYearMinus999 - 1,
                                      -62135596800,
                                      std::numeric_limits<std::time_t>::max(),
                                      std::numeric_limits<std::time_t>::min()};
    for (int i = 0; i < 366; ++i) { // every day of a year, and every hour, minute and second of a day
        times.push_back(1794485402 + i * (day + hour + 61));
    }
    for (const std::time_t time : times) {
        char expected[64] = {};
        if (ctime_r(&time, expected) == nullptr) {
            expected[0] = '\0';
        }
        char text[64] = {};
        Platform::FormatLocalTime(time, text);
        EXPECT_STREQ(text, expected) << time;
    }
    unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
}

TEST(LocalTime, IsTheCalendarRecordOfLocalTime)
{
    setenv("TZ", "MSK-03", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
    const std::tm time = Platform::LocalTime(1794485402);
    EXPECT_EQ(time.tm_year, 126);
    EXPECT_EQ(time.tm_mday, 12);
    EXPECT_EQ(time.tm_hour, 15);
    EXPECT_EQ(time.tm_sec, 2);
    unsetenv("TZ"); // NOLINT(concurrency-mt-unsafe): no other thread runs
    tzset();
}

TEST(OsVersionInfo, IsTheKernelsRelease)
{
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    const std::string release = system.release;
    const OsVersion version = Platform::GetOsVersionInfo();
    const auto numbers = std::to_string(version.majorNumber) + "." + std::to_string(version.minorNumber) +
                         "." + std::to_string(version.buildNumber);
    EXPECT_TRUE(release.starts_with(numbers)) << release << " and " << numbers;
    EXPECT_TRUE(release.ends_with(version.servicePack)) << release << " and " << version.servicePack;
    EXPECT_LE(numbers.size() + version.servicePack.size() + 1, release.size() + 1);
}
