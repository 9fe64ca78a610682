#pragma once

namespace softcard {

// An open file, closed at the end of its scope. It never stands in the place of a standard stream, also in a host that
// has closed them: what the host writes there would go into the file, and a program that is started would get it.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int open);
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int Get() const { return descriptor; }
    [[nodiscard]] bool IsOpen() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

} // namespace softcard
