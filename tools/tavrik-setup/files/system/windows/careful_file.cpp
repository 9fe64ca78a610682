#include "tools/tavrik-setup/files/careful_file.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "softcard/system/windows/handle.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"
#include "tools/tavrik-setup/files/system/windows/folder_rights.h"
#include "tools/tavrik-setup/files/system/windows/registry.h"
#include "tools/tavrik-setup/files/system/windows/share.h"

#include <algorithm>
#include <random>
#include <system_error>

namespace setup {
namespace {

namespace fs = std::filesystem;
using softcard::Handle;
using softcard::Own;
using softcard::Utf8Of;

[[noreturn]] void RefuseForError(const fs::path& path, DWORD error)
{
    throw Refusal(Utf8Of(path) + ": " + ErrorText(error) + "." +
                  (IsLackOfRights(error) ? AdviceForRights() : ""));
}

bool IsMissing(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

void RequireSafeFolder(const fs::path& folder)
{
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        RefuseForError(folder, GetLastError());
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        throw Refusal(Utf8Of(folder) + " is no folder.");
    }
    if (!BelongsToTrusted(folder)) {
        throw Refusal(Utf8Of(folder) + " belongs to another user.");
    }
    if (OthersCanWrite(folder)) {
        throw Refusal(Utf8Of(folder) + " can be written to by other users.");
    }
}

std::optional<std::string> ReadContent(const fs::path& file)
{
    try {
        return softcard::ReadFile(file);
    } catch (const std::system_error& error) {
        if (error.code().category() != std::system_category()) {
            throw Refusal(Utf8Of(file) + ": " + error.code().message() + ".");
        }
        const auto number = static_cast<DWORD>(error.code().value());
        if (IsMissing(number)) {
            return std::nullopt;
        }
        RefuseForError(file, number);
    }
}

void RequireUnchanged(const fs::path& file, const std::optional<std::string>& before)
{
    if (ReadContent(file) != before) {
        throw Refusal(Utf8Of(file) + " was changed meanwhile. Try again.");
    }
}

// A file beside the one that it is to become, taken away at the end unless it has become that.
class NewFile
{
public:
    explicit NewFile(const fs::path& itsTarget) : target(itsTarget), path(itsTarget.parent_path())
    {
        path /= L"." + target.filename().native() + L"." + std::to_wstring(std::random_device()());
        file = Own(
            CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) {
            RefuseForError(target, GetLastError());
        }
    }

    ~NewFile()
    {
        file.reset();
        if (!isPlaced) {
            DeleteFileW(path.c_str());
        }
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    NewFile(NewFile&&) = delete;
    NewFile& operator=(NewFile&&) = delete;

    void Write(std::string_view content)
    {
        while (!content.empty()) {
            DWORD written = 0;
            Require(::WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written,
                                nullptr));
            content.remove_prefix(written);
        }
        Require(FlushFileBuffers(file.get()));
        file.reset();
    }

    // A file that came meanwhile stays.
    void PlaceAsNew()
    {
        Require(MoveFileExW(path.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH));
        isPlaced = true;
    }

    // The rights of the file that was there stay.
    void PlaceInstead()
    {
        Require(
            ReplaceFileW(target.c_str(), path.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH, nullptr, nullptr));
        isPlaced = true;
    }

private:
    void Require(BOOL worked) const
    {
        if (worked == FALSE) {
            RefuseForError(target, GetLastError());
        }
    }

    fs::path target;
    fs::path path;
    Handle file;
    bool isPlaced = false;
};

} // namespace

std::optional<std::string> ReadIfThere(const fs::path& file)
{
    if (IsInRegistry(file)) {
        return ReadValue(file);
    }
    if (!IsThere(file.parent_path())) {
        return std::nullopt;
    }
    RequireSafeFolder(file.parent_path());
    return ReadContent(file);
}

void ReplaceContent(const fs::path& file, const std::optional<std::string>& before, const std::string& after,
                    Readers /*readersOfNew*/)
{
    if (IsInRegistry(file)) {
        ReplaceValue(file, before, after);
        return;
    }
    RequireSafeFolder(file.parent_path());
    NewFile made(file);
    made.Write(after);
    RequireUnchanged(file, before);
    if (before) {
        made.PlaceInstead();
    } else {
        made.PlaceAsNew();
    }
}

void RemoveFile(const fs::path& file, const std::string& before)
{
    if (IsInRegistry(file)) {
        DeleteValue(file, before);
        return;
    }
    RequireSafeFolder(file.parent_path());
    RequireUnchanged(file, before);
    if (DeleteFileW(file.c_str()) == FALSE) {
        RefuseForError(file, GetLastError());
    }
}

// Who can read a new folder or file, its place decides.
std::vector<fs::path> MakeFolders(const fs::path& folder, Readers readers)
{
    if (IsInRegistry(folder)) {
        return MakeKeys(folder);
    }
    if (IsThere(folder)) {
        return {};
    }
    std::vector<fs::path> made;
    if (folder.has_relative_path()) {
        made = MakeFolders(folder.parent_path(), readers);
    }
    RequireSafeFolder(folder.parent_path());
    if (CreateDirectoryW(folder.c_str(), nullptr) != FALSE) {
        made.push_back(folder);
    } else if (GetLastError() != ERROR_ALREADY_EXISTS) {
        const DWORD error = GetLastError();
        DeleteEmptyFolders(made);
        RefuseForError(folder, error);
    }
    return made;
}

void RequireWritable(const fs::path& file)
{
    if (IsInRegistry(file)) {
        RequireWritableValue(file);
        return;
    }
    fs::path folder = file.parent_path();
    while (!IsThere(folder) && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    const Handle opened = Own(CreateFileW(folder.c_str(), FILE_ADD_FILE, shareAll, nullptr, OPEN_EXISTING,
                                          FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!opened) {
        throw Refusal("You may not write to " + Utf8Of(folder) + "." + AdviceForRights());
    }
}

bool IsThere(const fs::path& path)
{
    return IsInRegistry(path) ? IsKeyOrValue(path)
                              : GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void DeleteEmptyFolders(const std::vector<fs::path>& folders)
{
    std::for_each(folders.rbegin(), folders.rend(), [](const fs::path& folder) {
        if (IsInRegistry(folder)) {
            DeleteEmptyKey(folder);
        } else {
            RemoveDirectoryW(folder.c_str());
        }
    });
}

} // namespace setup
