#include "softcard/system/linux/file_descriptor.h"

#include <utility>

#include <unistd.h>

namespace softcard {

FileDescriptor::~FileDescriptor()
{
    if (IsOpen()) {
        close(descriptor_);
    }
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

} // namespace softcard
