// A log whose lines are taken as they come.
#pragma once

#include "tests/tools/test_log.h"
#include "tools/tavrik-log/log_source.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

class LogSourceTest : public testing::Test
{
protected:
    std::string Poll()
    {
        std::string lines;
        source.Poll([&lines](int, std::string_view line) { lines.append(line).append(" "); });
        return lines;
    }

    TestLog log;
    logtool::LogSource source{log.Folder() / "sub", "Pkcs11"};
};
