#include "softcard/system/windows/child_pipes.h"

#include <utility>

namespace softcard {

std::optional<Pipe> MakePipe(Handle Pipe::*inherited)
{
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (CreatePipe(&readEnd, &writeEnd, nullptr, 0) == FALSE) {
        return std::nullopt;
    }
    Pipe pipe{Handle(readEnd), Handle(writeEnd)};
    SetHandleInformation((pipe.*inherited).get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return pipe;
}

InheritedHandles::InheritedHandles(std::vector<HANDLE> inherited) : handles(std::move(inherited))
{
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory.resize(size);
    isReady = InitializeProcThreadAttributeList(List(), 1, 0, &size) != FALSE;
    if (isReady) {
        UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                  sizeof(HANDLE) * handles.size(), nullptr, nullptr);
    }
}

InheritedHandles::~InheritedHandles()
{
    if (isReady) {
        DeleteProcThreadAttributeList(List());
    }
}

LPPROC_THREAD_ATTRIBUTE_LIST InheritedHandles::List()
{
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
}

} // namespace softcard
