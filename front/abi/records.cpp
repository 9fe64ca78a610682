#include "front/abi/records.h"

#include <algorithm>
#include <limits>

namespace front {
namespace {

template <std::size_t width>
void CopyField(const packed::CK_BYTE (&from)[width], CK_BYTE (&to)[width])
{
    std::copy_n(from, width, to);
}

CK_VERSION WidenVersion(const packed::CK_VERSION& version)
{
    return {version.major, version.minor};
}

} // namespace

CK_ULONG Widen(packed::CK_ULONG number)
{
    return number == std::numeric_limits<packed::CK_ULONG>::max() ? CK_UNAVAILABLE_INFORMATION : number;
}

CK_INFO Widen(const packed::CK_INFO& info)
{
    CK_INFO wide{};
    wide.cryptokiVersion = WidenVersion(info.cryptokiVersion);
    CopyField(info.manufacturerID, wide.manufacturerID);
    wide.flags = info.flags;
    CopyField(info.libraryDescription, wide.libraryDescription);
    wide.libraryVersion = WidenVersion(info.libraryVersion);
    return wide;
}

CK_SLOT_INFO Widen(const packed::CK_SLOT_INFO& info)
{
    CK_SLOT_INFO wide{};
    CopyField(info.slotDescription, wide.slotDescription);
    CopyField(info.manufacturerID, wide.manufacturerID);
    wide.flags = info.flags;
    wide.hardwareVersion = WidenVersion(info.hardwareVersion);
    wide.firmwareVersion = WidenVersion(info.firmwareVersion);
    return wide;
}

CK_TOKEN_INFO Widen(const packed::CK_TOKEN_INFO& info)
{
    CK_TOKEN_INFO wide{};
    CopyField(info.label, wide.label);
    CopyField(info.manufacturerID, wide.manufacturerID);
    CopyField(info.model, wide.model);
    CopyField(info.serialNumber, wide.serialNumber);
    wide.flags = info.flags;
    wide.ulMaxSessionCount = Widen(packed::CK_ULONG{info.ulMaxSessionCount});
    wide.ulSessionCount = Widen(packed::CK_ULONG{info.ulSessionCount});
    wide.ulMaxRwSessionCount = Widen(packed::CK_ULONG{info.ulMaxRwSessionCount});
    wide.ulRwSessionCount = Widen(packed::CK_ULONG{info.ulRwSessionCount});
    wide.ulMaxPinLen = Widen(packed::CK_ULONG{info.ulMaxPinLen});
    wide.ulMinPinLen = Widen(packed::CK_ULONG{info.ulMinPinLen});
    wide.ulTotalPublicMemory = Widen(packed::CK_ULONG{info.ulTotalPublicMemory});
    wide.ulFreePublicMemory = Widen(packed::CK_ULONG{info.ulFreePublicMemory});
    wide.ulTotalPrivateMemory = Widen(packed::CK_ULONG{info.ulTotalPrivateMemory});
    wide.ulFreePrivateMemory = Widen(packed::CK_ULONG{info.ulFreePrivateMemory});
    wide.hardwareVersion = WidenVersion(info.hardwareVersion);
    wide.firmwareVersion = WidenVersion(info.firmwareVersion);
    CopyField(info.utcTime, wide.utcTime);
    return wide;
}

} // namespace front
