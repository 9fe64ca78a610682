// The files that the library reads and writes. Whatever lies under their names, only a regular file is
// opened, and opening one never waits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

// What becomes of a link in the place of a file. Links among the folders of its path are always followed.
enum class Links
{
    followed,
    refused
};

enum class Content
{
    binary,
    text // with the system's line ends
};

// The size in bytes; nothing for what is no regular file, a link to one included.
std::optional<uint64_t> SizeOfRegularFile(const std::filesystem::path& file);

class InputFile
{
public:
    InputFile(const std::filesystem::path& file, Links links, Content content);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    [[nodiscard]] bool IsOpen() const { return descriptor >= 0; }

    // As it was when the file was opened, in bytes; 0 for one that is not open.
    [[nodiscard]] uint64_t Size() const { return size; }

    // Reads at most `most` bytes, and fewer only at the end of the file or after a failure.
    std::size_t Read(char* buffer, std::size_t most);

private:
    int descriptor = -1;
    uint64_t size = 0;
};

// A file that is written to at its end, also when other processes write to it. A new one is its owner's
// alone, where the system knows owners. No program that the host starts inherits it.
class AppendedFile
{
public:
    AppendedFile() = default;
    ~AppendedFile() { Close(); }
    AppendedFile(const AppendedFile&) = delete;
    AppendedFile& operator=(const AppendedFile&) = delete;

    // Opens the file, and makes it when there is none. A link is refused. Where this fails, and where a file
    // is open already, nothing is written until the next Open that succeeds, which needs a Close before.
    void Open(const std::filesystem::path& file);

    // Writes the text at once. After a failure nothing more is written, until the file is opened anew.
    void Write(std::string_view text);

    void Close();

private:
    int descriptor = -1;
    bool failed = false;
};
