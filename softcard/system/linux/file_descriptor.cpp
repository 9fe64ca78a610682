#include "softcard/system/linux/file_descriptor.h"

#include "src/platform/linux/descriptor_place.h"

#include <utility>

#include <unistd.h>

namespace softcard {

FileDescriptor::FileDescriptor(int open) : descriptor(OutOfTheWay(open)) {}

FileDescriptor::~FileDescriptor()
{
    if (IsOpen()) {
        close(descriptor);
    }
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    std::swap(descriptor, other.descriptor);
    return *this;
}

} // namespace softcard
