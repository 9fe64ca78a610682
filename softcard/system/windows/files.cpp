// What is made here is its owner's alone. A file that another program has open can't be replaced, removed or, as that
// program likes it, read; such programs are waited for a little.
#include "softcard/system/files.h"

#include "softcard/base/text.h"
#include "softcard/system/file_steps.h"
#include "softcard/system/windows/handle.h"
#include "softcard/system/windows/last_error.h"
#include "softcard/system/windows/owner_rights.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cwctype>
#include <random>
#include <thread>
#include <utility>

namespace softcard {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::chrono::milliseconds longestObstacle{500};
constexpr std::chrono::milliseconds pause{2};
constexpr std::chrono::milliseconds lockPause{5};
constexpr size_t uniqueCharacters = 6;

bool IsInTheWay(DWORD error)
{
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED || error == ERROR_LOCK_VIOLATION;
}

// Tries until `attempt` returns true, or fails for good; what went wrong is the last error then.
template <typename Attempt>
bool TryForAWhile(const Attempt& attempt)
{
    const auto deadline = std::chrono::steady_clock::now() + longestObstacle;
    while (!attempt()) {
        const DWORD error = GetLastError();
        if (!IsInTheWay(error) || std::chrono::steady_clock::now() >= deadline) {
            SetLastError(error);
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

Handle Open(const std::filesystem::path& path, DWORD access, DWORD share, DWORD disposition)
{
    Handle file;
    // For a file that is made; one that is there keeps its own.
    SECURITY_ATTRIBUTES rights = OwnFileRights(path);
    const bool opened = TryForAWhile([&] {
        file = Own(
            CreateFileW(path.c_str(), access, share, &rights, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
        return file != nullptr;
    });
    if (!opened) {
        ThrowLastError(path);
    }
    return file;
}

void WriteAll(const Handle& file, const std::filesystem::path& path, std::string_view content)
{
    while (!content.empty()) {
        DWORD written = 0;
        if (::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ==
            FALSE) {
            ThrowLastError(path);
        }
        content.remove_prefix(written);
    }
}

// What a program that was killed has left there is taken away first: it would keep the rights that it has.
Handle MakeTemporary(const std::filesystem::path& temporary)
{
    const bool isFree = TryForAWhile([&temporary] {
        return DeleteFileW(temporary.c_str()) != FALSE || GetLastError() == ERROR_FILE_NOT_FOUND;
    });
    if (!isFree) {
        ThrowLastError(temporary);
    }
    return Open(temporary, GENERIC_WRITE, 0, CREATE_NEW);
}

void WriteTemporary(const std::filesystem::path& temporary, std::string_view content)
{
    const Handle file = MakeTemporary(temporary);
    WriteAll(file, temporary, content);
    if (FlushFileBuffers(file.get()) == FALSE) {
        ThrowLastError(temporary);
    }
}

std::wstring UniqueEnding()
{
    constexpr std::wstring_view characters = L"abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::uniform_int_distribution<size_t> any(0, characters.size() - 1);
    std::wstring ending;
    while (ending.size() < uniqueCharacters) {
        ending.push_back(characters[any(random)]);
    }
    return ending;
}

// The devices that have names in every folder, with any ending.
bool IsDevice(std::string_view name)
{
    std::string stem(name.substr(0, name.find('.')));
    stem.erase(stem.find_last_not_of(' ') + 1);
    std::transform(stem.begin(), stem.end(), stem.begin(), [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    });
    constexpr std::array<std::string_view, 6> single = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
    constexpr std::array<std::string_view, 12> numbers = {"1", "2", "3", "4",      "5",      "6",
                                                          "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};
    const std::string_view number = std::string_view(stem).substr(std::min<size_t>(stem.size(), 3));
    const bool hasPorts = stem.starts_with("COM") || stem.starts_with("LPT");
    return std::find(single.begin(), single.end(), stem) != single.end() ||
           (hasPorts && std::find(numbers.begin(), numbers.end(), number) != numbers.end());
}

} // namespace

void MakePrivateFolder(const std::filesystem::path& folder)
{
    SECURITY_ATTRIBUTES rights = OwnFolderRights(folder);
    if (CreateDirectoryW(folder.c_str(), &rights) == FALSE && GetLastError() != ERROR_ALREADY_EXISTS) {
        ThrowLastError(folder);
    }
}

std::filesystem::path MakeUniqueFolder(const std::filesystem::path& beginning)
{
    SECURITY_ATTRIBUTES rights = OwnFolderRights(beginning);
    while (true) {
        std::filesystem::path folder = beginning;
        folder += UniqueEnding();
        if (CreateDirectoryW(folder.c_str(), &rights) != FALSE) {
            return folder;
        }
        if (GetLastError() != ERROR_ALREADY_EXISTS) {
            ThrowLastError(beginning);
        }
    }
}

bool MoveFolder(const std::filesystem::path& from, const std::filesystem::path& to)
{
    bool isTaken = false;
    const bool done = TryForAWhile([&] {
        if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE) {
            return true;
        }
        const DWORD error = GetLastError();
        isTaken = GetFileAttributesW(to.c_str()) != INVALID_FILE_ATTRIBUTES;
        SetLastError(error);
        return isTaken;
    });
    if (!done) {
        ThrowLastError(to);
    }
    return !isTaken;
}

bool IsFolder(const std::filesystem::path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

bool HasThisName(const std::filesystem::path& path)
{
    WIN32_FIND_DATAW found{};
    HANDLE search = FindFirstFileW(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    FindClose(search);
    return path.filename() == found.cFileName;
}

bool CanBeAName(std::string_view name)
{
    return name.find_first_of("<>:\"/\\|?*") == std::string_view::npos && !name.ends_with('.') &&
           !name.ends_with(' ') && !IsDevice(name);
}

std::string_view NameRule()
{
    return " It has none of <>:\"/\\|?*, no '.' or space at its end, and is not the name of a device such as "
           "CON.";
}

std::string ReadFile(const std::filesystem::path& path, Links links)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
    if (isThere && ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
                    (links == Links::refused && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0))) {
        throw std::system_error(FileFault::notRegular, Utf8Of(path));
    }
    const Handle file = Open(path, GENERIC_READ, shareAll, OPEN_EXISTING);
    LARGE_INTEGER size{};
    if (GetFileType(file.get()) != FILE_TYPE_DISK || GetFileSizeEx(file.get(), &size) == FALSE) {
        throw std::system_error(FileFault::notRegular, Utf8Of(path));
    }
    if (size.QuadPart > static_cast<LONGLONG>(longestFile)) {
        throw std::system_error(FileFault::tooLarge, Utf8Of(path));
    }
    std::string content;
    std::array<char, 4096> buffer{};
    while (true) {
        DWORD length = 0;
        if (::ReadFile(file.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr) ==
            FALSE) {
            ThrowLastError(path);
        }
        if (length == 0) {
            return content;
        }
        content.append(buffer.data(), length);
        if (content.size() > longestFile) { // it grows while it is read
            throw std::system_error(FileFault::tooLarge, Utf8Of(path));
        }
    }
}

void AppendToFile(const std::filesystem::path& path, std::string_view content)
{
    WriteAll(Open(path, FILE_APPEND_DATA, shareAll, OPEN_ALWAYS), path, content);
}

void WriteFileAtomically(const std::filesystem::path& path, std::string_view content)
{
    const std::filesystem::path temporary = TemporaryName(path);
    try {
        WriteTemporary(temporary, content);
        const bool replaced = TryForAWhile([&] {
            return MoveFileExW(temporary.c_str(), path.c_str(),
                               MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
        });
        if (!replaced) {
            ThrowLastError(path);
        }
    } catch (const std::system_error&) {
        DeleteFileW(temporary.c_str());
        throw;
    }
}

void RemoveFile(const std::filesystem::path& path)
{
    if (!TryForAWhile([&] { return DeleteFileW(path.c_str()) != FALSE; })) {
        ThrowLastError(path);
    }
}

// Beside the folder: one with an open file in it cannot be moved.
std::filesystem::path LockFileOf(const std::filesystem::path& folder, const std::string& name)
{
    return WithDot(folder, "." + name);
}

struct FileLock::Held
{
    explicit Held(const std::filesystem::path& path)
        : file(Open(path, GENERIC_READ | GENERIC_WRITE, shareAll, OPEN_ALWAYS))
    {
    }

    // False when another process or thread has it. Closing the file gives it up, and so does the end of the process.
    [[nodiscard]] bool Lock(const std::filesystem::path& path, DWORD flags) const
    {
        OVERLAPPED from{}; // the first byte, whether the file has one or not
        if (LockFileEx(file.get(), flags, 0, 1, 0, &from) != FALSE) {
            return true;
        }
        if (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING) {
            ThrowLastError(path);
        }
        return false;
    }

    Handle file;
};

// What has the file open keeps its path from being taken by another one.
FileLock::FileLock(const std::filesystem::path& path, std::chrono::milliseconds longestWait)
    : held(std::make_unique<Held>(path))
{
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (!held->Lock(path, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            held.reset(); // it has nothing to give up
            throw std::system_error(FileFault::lockHeld, Utf8Of(path));
        }
        std::this_thread::sleep_for(lockPause);
    }
}

FileLock::FileLock(std::unique_ptr<Held> lock) : held(std::move(lock)) {}

// Windows gives a lock up some time after its file was closed, unless it is told to first.
FileLock::~FileLock()
{
    if (held) {
        OVERLAPPED from{};
        UnlockFileEx(held->file.get(), 0, 1, 0, &from);
    }
}

FileLock::FileLock(FileLock&& other) noexcept = default;

FileLock& FileLock::operator=(FileLock&& other) noexcept
{
    std::swap(held, other.held);
    return *this;
}

std::optional<FileLock> FileLock::Try(const std::filesystem::path& path)
{
    auto held = std::make_unique<Held>(path);
    return held->Lock(path, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY)
               ? std::optional(FileLock(std::move(held)))
               : std::nullopt;
}

std::optional<FileLock> FileLock::TryShared(const std::filesystem::path& path)
{
    auto held = std::make_unique<Held>(path);
    return held->Lock(path, LOCKFILE_FAIL_IMMEDIATELY) ? std::optional(FileLock(std::move(held)))
                                                       : std::nullopt;
}

} // namespace softcard
