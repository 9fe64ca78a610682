#include "src/log/process_name.h"

#include "src/platform/platform.h"

const std::u16string& GetProcessName()
{
    static const std::u16string name = [] {
        auto executable = Platform::ProcessName();
        return executable.empty() ? std::u16string(u"unknown") : executable;
    }();
    return name;
}
