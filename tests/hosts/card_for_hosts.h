// The cards of the hostile hosts, each in a home of the test's own, and the running of the host.
#pragma once

#include "tests/support/program.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hosts {

inline constexpr const char* bok = "123456";
inline constexpr const char* pin = "654321";
inline constexpr const char* puk = "12345678";

// TAVRIK_HOME has the card "anna" in "Reader 0", and "boris" in no reader. The keyboard answers every question with the
// PIN. The log has everything that it can have. The parameter is "library" or "front".
class HostTest : public testing::TestWithParam<std::string>
{
protected:
    HostTest();

    [[nodiscard]] const std::filesystem::path& Home() const { return home.Path(); }

    // By the tool, which must succeed.
    static void Tool(const std::vector<std::string>& arguments);

    // The lines that the keyboard answers with, one for each question.
    void Answer(const std::string& lines) const;

    [[nodiscard]] static std::string Module(const std::string& kind);
    [[nodiscard]] static std::string OtherModule(const std::string& kind);

    // With the module that the parameter names; the mode and its arguments.
    [[nodiscard]] static std::vector<std::string> HostCommand(const std::vector<std::string>& mode);
    static void ExpectHostSucceeds(const std::vector<std::string>& mode);

    // All that was logged.
    [[nodiscard]] std::string Log() const;

private:
    TemporaryFolder home{"tavrik_host_"};
};

std::string ContentOf(const std::filesystem::path& file);

} // namespace hosts
