// Log files for the tests of the log reader.
#pragma once

#include "tests/support/temporary_folder.h"
#include "tools/tavrik-log/log_line.h"

#include <filesystem>
#include <string>

// A folder of its own, gone at the end of the test.
class TestLog
{
public:
    TestLog() : folder("tavrik-log-") {}

    const std::filesystem::path& Folder() const { return folder.Path(); }
    void Append(const std::string& name, const std::string& text) const;
    void Rename(const std::string& from, const std::string& to) const;
    void Remove(const std::string& name) const;

    // Until a file can have its name again, which on Windows who reads it puts off.
    void RemoveAndAwait(const std::string& name) const;

private:
    TemporaryFolder folder;
};

inline const std::string testTime = "Thu Nov 12 12:10:02 2026";

// What the library writes at the start and at the end of a call.
inline constexpr const char* entering = "PKCS11_FUNCTION_ENTERING";
inline constexpr const char* leaving = "PKCS11_FUNCTION_LEAVING, result 0 CKR_OK";

// A line in the library's form, with its ending.
std::string PlainLine(const std::string& level, const std::string& time, const std::string& description);
std::string ExtensiveLine(const std::string& level, const std::string& time, const std::string& description,
                          const std::string& thread, const std::string& function,
                          const std::string& verbose = {});
std::string Header(const std::string& dateTime);

// Such a line as the reader takes it, which is without its ending.
logtool::LogLine Parsed(const std::string& line);
