// Pipes to a program that is started.
#pragma once

#include "softcard/system/windows/handle.h"

#include <optional>
#include <vector>

namespace softcard {

struct Pipe
{
    Handle readEnd;
    Handle writeEnd;
};

// The program inherits the one end; what other threads start meanwhile must not get the other. Nothing when there can be no
// more pipes.
std::optional<Pipe> MakePipe(Handle Pipe::*inherited);

// The list of the handles that a program inherits, whatever else could be inherited at that moment.
class InheritedHandles
{
public:
    explicit InheritedHandles(std::vector<HANDLE> inherited);
    ~InheritedHandles();
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    InheritedHandles(InheritedHandles&&) = delete;
    InheritedHandles& operator=(InheritedHandles&&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST List();

private:
    std::vector<HANDLE> handles;
    std::vector<unsigned char> memory;
    bool isReady = false;
};

} // namespace softcard
