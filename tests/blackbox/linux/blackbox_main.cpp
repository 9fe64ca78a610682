// Runs the tests as any program of GoogleTest does, or with --each-in-a-child=SUITE those of one suite, each in a forked
// child process, which loads the library anew at a fraction of the cost of a new program.
#include "tests/support/system.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr unsigned longestTest = 300; // seconds

constexpr std::string_view suiteOption = "--each-in-a-child=";

std::vector<std::string> TestNames(const std::string& suiteName)
{
    std::vector<std::string> names;
    const auto& tests = *testing::UnitTest::GetInstance();
    for (int suite = 0; suite < tests.total_test_suite_count(); ++suite) {
        const auto& ofSuite = *tests.GetTestSuite(suite);
        for (int test = 0; ofSuite.name() == suiteName && test < ofSuite.total_test_count(); ++test) {
            names.push_back(suiteName + "." + ofSuite.GetTestInfo(test)->name());
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

int RunEachInAChild(const std::vector<std::string>& names)
{
    std::vector<std::string> failed;
    for (const auto& name : names) {
        int status = 0;
        if (waitpid(StartTest(name), &status, 0) < 0 || status != 0) {
            failed.push_back(name);
        }
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
    if (option.starts_with(suiteOption)) {
        return RunEachInAChild(TestNames(option.substr(suiteOption.size())));
    }
    return RUN_ALL_TESTS();
}
