// Runs the tests as any program of GoogleTest does; or, with --in-host-locale, each in a child process of its
// own, in a host that has set locales of its own. ctest makes a process for each test itself, but the making
// of so many would take far longer than the tests.
#include "tests/support/system.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned longestTest = 300; // seconds

std::vector<std::string> AllTests()
{
    std::vector<std::string> names;
    const auto& tests = *testing::UnitTest::GetInstance();
    for (int suite = 0; suite < tests.total_test_suite_count(); ++suite) {
        const auto& ofSuite = *tests.GetTestSuite(suite);
        for (int test = 0; test < ofSuite.total_test_count(); ++test) {
            names.push_back(std::string(ofSuite.name()) + "." + ofSuite.GetTestInfo(test)->name());
        }
    }
    return names;
}

pid_t StartTest(const std::string& name)
{
    std::cout << std::flush;
    const pid_t child = fork();
    if (child == 0) {
        alarm(longestTest);
        BlackBox::SetLocaleOfTheHost();
        testing::GTEST_FLAG(filter) = name;
        testing::GTEST_FLAG(brief) = true;
        std::exit(RUN_ALL_TESTS()); // NOLINT(concurrency-mt-unsafe): as the end of main would
    }
    return child;
}

int RunEachInAChild(const std::vector<std::string>& names)
{
    const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
    std::map<pid_t, std::string> running;
    std::vector<std::string> failed;
    auto next = names.begin();
    while (next != names.end() || !running.empty()) {
        if (next != names.end() && running.size() < most) {
            running.emplace(StartTest(*next), *next);
            ++next;
            continue;
        }
        int status = 0;
        const auto ended = running.find(wait(&status));
        if (ended == running.end()) {
            return 1;
        }
        if (status != 0) {
            failed.push_back(ended->second);
        }
        running.erase(ended);
    }
    for (const auto& name : failed) {
        std::cout << "FAILED in a host with locales: " << name << '\n';
    }
    std::cout << names.size() - failed.size() << " of " << names.size() << " tests passed\n";
    return failed.empty() && !names.empty() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    if (count == 2 && std::string(arguments[1]) == "--in-host-locale") {
        setenv(BlackBox::hostLocaleVariable, "1", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
        return RunEachInAChild(AllTests());
    }
    return RUN_ALL_TESTS();
}
