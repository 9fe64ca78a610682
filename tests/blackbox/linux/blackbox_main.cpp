// Runs the tests as any program of GoogleTest does, or each in a forked child process, which loads the library anew at a
// fraction of the cost of a new program: with --each-in-a-child=SUITE those of one suite, one after the other, and with
// --in-host-locale all of them, several at once, in a host that has set locales of its own.
#include "tests/support/system.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr unsigned longestTest = 300; // seconds

constexpr std::string_view suiteOption = "--each-in-a-child=";

// The names of all tests, or of those of one suite.
std::vector<std::string> TestNames(const std::optional<std::string>& onlySuite = std::nullopt)
{
    std::vector<std::string> names;
    const auto& tests = *testing::UnitTest::GetInstance();
    for (int suite = 0; suite < tests.total_test_suite_count(); ++suite) {
        const auto& ofSuite = *tests.GetTestSuite(suite);
        if (onlySuite.has_value() && ofSuite.name() != *onlySuite) {
            continue;
        }
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
        blackbox::SetLocaleOfTheHost();
        testing::GTEST_FLAG(filter) = name;
        std::exit(RUN_ALL_TESTS()); // NOLINT(concurrency-mt-unsafe): as the end of main would
    }
    return child;
}

int RunEachInAChild(const std::vector<std::string>& names, std::size_t atOnce)
{
    std::map<pid_t, std::string> running;
    std::vector<std::string> failed;
    auto next = names.begin();
    while (next != names.end() || !running.empty()) {
        if (next != names.end() && running.size() < atOnce) {
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
        std::cout << "FAILED in a child process: " << name << '\n';
    }
    std::cout << names.size() - failed.size() << " of " << names.size() << " tests passed\n";
    return failed.empty() && !names.empty() ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    const std::string option = count == 2 ? arguments[1] : "";
    if (option == "--in-host-locale") {
        setenv(blackbox::hostLocaleVariable, "1", 1); // NOLINT(concurrency-mt-unsafe): no other thread runs
        testing::GTEST_FLAG(brief) = true;
        return RunEachInAChild(TestNames(), std::max(1U, std::thread::hardware_concurrency()));
    }
    if (option.starts_with(suiteOption)) {
        return RunEachInAChild(TestNames(option.substr(suiteOption.size())), 1);
    }
    return RUN_ALL_TESTS();
}
