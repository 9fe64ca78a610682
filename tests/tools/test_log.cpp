#include "tests/tools/test_log.h"

#include "tests/support/eventually.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

void TestLog::Append(const std::string& name, const std::string& text) const
{
    std::ofstream(Folder() / name, std::ios::app | std::ios::binary) << text;
}

void TestLog::Rename(const std::string& from, const std::string& to) const
{
    std::filesystem::rename(Folder() / from, Folder() / to);
}

void TestLog::Remove(const std::string& name) const
{
    std::filesystem::remove(Folder() / name);
}

void TestLog::RemoveAndAwait(const std::string& name) const
{
    Remove(name);
    const auto isGone = [this, &name] {
        const std::filesystem::directory_iterator entries(Folder());
        return std::none_of(begin(entries), end(entries),
                            [&name](const auto& entry) { return entry.path().filename() == name; });
    };
    if (!blackbox::Eventually(isGone)) {
        throw std::runtime_error(name + " is still there");
    }
}

std::string PlainLine(const std::string& level, const std::string& time, const std::string& description)
{
    return level + "; " + time + "; " + "     pkcs11_x64; " + description + "\r\n";
}

std::string ExtensiveLine(const std::string& level, const std::string& time, const std::string& description,
                          const std::string& thread, const std::string& function, const std::string& verbose)
{
    const std::string behind = verbose.empty() ? "" : ";  " + verbose;
    return PlainLine(level, time, description + "; ThID: 0x" + thread + "; VERB: " + function + behind);
}

std::string Header(const std::string& dateTime)
{
    return "CardAPI, version: v4.8_RC2\r\nProcess name: /usr/bin/host\r\nProcess Architecture: x64\r\n"
           "Operating system: Debian 12 \r\nDateTime: " +
           dateTime +
           "\r\nLog Level; Time; Module; Description; Thread; VERB: Function; Verbose Description\r\n" +
           std::string(71, '-') + "\r\n\r\n";
}

logtool::LogLine Parsed(const std::string& line)
{
    constexpr std::size_t ending = 2; // CR and LF
    return logtool::ParseLine(line.substr(0, line.size() - ending));
}
