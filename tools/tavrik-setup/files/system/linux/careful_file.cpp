#include "tools/tavrik-setup/files/careful_file.h"

#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace setup {
namespace {

namespace fs = std::filesystem;
using softcard::FileDescriptor;

constexpr mode_t permissions = 07777;

mode_t FileMode(Readers readers)
{
    return readers == Readers::owner ? 0600 : 0644;
}

mode_t FolderMode(Readers readers)
{
    return readers == Readers::owner ? 0700 : 0755;
}

[[noreturn]] void RefuseForError(const fs::path& path, int error)
{
    std::string sentence = path.string() + ": " + std::generic_category().message(error) + ".";
    if ((error == EACCES || error == EPERM || error == EROFS) && geteuid() != 0) {
        sentence += " This needs root: call tavrik-setup with sudo.";
    }
    throw Refusal(sentence);
}

void RequireTrusted(uid_t owner, const fs::path& path)
{
    if (owner != 0 && owner != geteuid()) {
        throw Refusal(path.string() + " belongs to another user.");
    }
}

// The folder that a change takes place in, with the name of the file there. Links are resolved.
struct Location
{
    fs::path folder;
    fs::path name;

    [[nodiscard]] fs::path Path() const { return folder / name; }
};

std::optional<struct stat> Examine(const fs::path& path)
{
    struct stat facts
    {
    };
    if (lstat(path.c_str(), &facts) == 0) {
        return facts;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return std::nullopt;
    }
    RefuseForError(path, errno);
}

fs::path Resolve(const fs::path& path)
{
    std::error_code error;
    fs::path resolved = fs::canonical(path, error);
    if (error) {
        RefuseForError(path, error.value());
    }
    return resolved;
}

void RequireSafeFolder(const fs::path& folder)
{
    const auto facts = Examine(folder);
    if (!facts || !S_ISDIR(facts->st_mode)) {
        throw Refusal(folder.string() + " is no folder.");
    }
    RequireTrusted(facts->st_uid, folder);
    if ((facts->st_mode & S_IWOTH) != 0 && (facts->st_mode & S_ISVTX) == 0) {
        throw Refusal(folder.string() + " can be written to by every user.");
    }
}

// Nothing when there is no such file and no such folder.
std::optional<Location> Locate(const fs::path& file)
{
    const auto facts = Examine(file);
    if (facts && S_ISLNK(facts->st_mode)) {
        RequireTrusted(facts->st_uid, file);
        const fs::path target = Resolve(file);
        RequireSafeFolder(target.parent_path());
        return Location{target.parent_path(), target.filename()};
    }
    std::error_code missing;
    if (!fs::exists(file.parent_path(), missing)) {
        return std::nullopt;
    }
    const fs::path folder = Resolve(file.parent_path());
    RequireSafeFolder(folder);
    return Location{folder, file.filename()};
}

std::optional<std::string> Read(const Location& location)
{
    const auto facts = Examine(location.Path());
    if (!facts) {
        return std::nullopt;
    }
    if (geteuid() != 0) {
        RequireTrusted(facts->st_uid, location.Path());
    }
    try {
        return softcard::ReadFile(location.Path());
    } catch (const std::system_error& error) {
        if (error.code().category() == std::generic_category()) {
            RefuseForError(location.Path(), error.code().value());
        }
        throw Refusal(location.Path().string() + ": " + error.code().message() + ".");
    }
}

void RequireUnchanged(const Location& location, const std::optional<std::string>& before)
{
    if (Read(location) != before) {
        throw Refusal(location.Path().string() + " was changed meanwhile. Try again.");
    }
}

FileDescriptor OpenFolder(const fs::path& folder)
{
    FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!opened.IsOpen()) {
        RefuseForError(folder, errno);
    }
    return opened;
}

// A file beside the one that it is to become, taken away at the end unless it has become that.
class NewFile
{
public:
    NewFile(const FileDescriptor& itsFolder, const Location& itsLocation)
        : folder(itsFolder), location(itsLocation),
          name("." + location.name.string() + "." + std::to_string(std::random_device()())),
          file(openat(folder.Get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR))
    {
        if (!file.IsOpen()) {
            RefuseForError(location.Path(), errno);
        }
    }

    ~NewFile()
    {
        if (!isPlaced) {
            unlinkat(folder.Get(), name.c_str(), 0);
        }
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    NewFile(NewFile&&) = delete;
    NewFile& operator=(NewFile&&) = delete;

    void TakeOwnerAndMode(const struct stat& facts) const
    {
        Require(fchown(file.Get(), facts.st_uid, facts.st_gid) == 0);
        TakeMode(facts.st_mode & permissions);
    }

    void TakeMode(mode_t mode) const { Require(fchmod(file.Get(), mode) == 0); }

    void Write(std::string_view content) const
    {
        while (!content.empty()) {
            const ssize_t written = write(file.Get(), content.data(), content.size());
            Require(written >= 0 || errno == EINTR);
            content.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
        }
        Require(fsync(file.Get()) == 0);
    }

    // With RENAME_NOREPLACE, a file that came meanwhile stays.
    void Place(unsigned int flags)
    {
        Require(renameat2(folder.Get(), name.c_str(), folder.Get(), location.name.c_str(), flags) == 0);
        isPlaced = true;
        Require(fsync(folder.Get()) == 0);
    }

private:
    void Require(bool worked) const
    {
        if (!worked) {
            RefuseForError(location.Path(), errno);
        }
    }

    const FileDescriptor& folder;
    const Location& location;
    std::string name;
    FileDescriptor file;
    bool isPlaced = false;
};

Location RequireLocation(const fs::path& file)
{
    const auto location = Locate(file);
    if (!location) {
        RefuseForError(file.parent_path(), ENOENT);
    }
    return *location;
}

} // namespace

std::optional<std::string> ReadIfThere(const fs::path& file)
{
    const auto location = Locate(file);
    return location ? Read(*location) : std::nullopt;
}

void ReplaceContent(const fs::path& file, const std::optional<std::string>& before, const std::string& after,
                    Readers readersOfNew)
{
    const Location location = RequireLocation(file);
    const FileDescriptor folder = OpenFolder(location.folder);
    NewFile made(folder, location);
    const auto facts = Examine(location.Path());
    if (facts) {
        made.TakeOwnerAndMode(*facts);
    } else {
        made.TakeMode(FileMode(readersOfNew));
    }
    made.Write(after);
    RequireUnchanged(location, before);
    made.Place(before ? 0 : RENAME_NOREPLACE);
}

void RemoveFile(const fs::path& file, const std::string& before)
{
    const Location location = RequireLocation(file);
    const FileDescriptor folder = OpenFolder(location.folder);
    RequireUnchanged(location, before);
    if (unlinkat(folder.Get(), location.name.c_str(), 0) != 0) {
        RefuseForError(location.Path(), errno);
    }
    fsync(folder.Get());
}

std::vector<fs::path> MakeFolders(const fs::path& folder, Readers readers)
{
    std::error_code missing;
    if (fs::is_directory(folder, missing)) {
        return {};
    }
    std::vector<fs::path> made;
    if (folder.has_relative_path()) {
        made = MakeFolders(folder.parent_path(), readers);
    }
    RequireSafeFolder(Resolve(folder.parent_path()));
    if (mkdir(folder.c_str(), FolderMode(readers)) == 0) {
        made.push_back(folder);
        chmod(folder.c_str(), FolderMode(readers)); // which the mask of the process has cut
    } else if (errno != EEXIST) {
        const int error = errno;
        DeleteEmptyFolders(made);
        RefuseForError(folder, error);
    }
    return made;
}

void RequireWritable(const fs::path& file)
{
    fs::path folder = file.parent_path();
    std::error_code error;
    if (fs::exists(file, error)) {
        folder = fs::canonical(file, error).parent_path();
    }
    while (!fs::exists(folder, error) && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        throw Refusal("You may not write to " + folder.string() +
                      (geteuid() == 0 ? "." : ". This needs root: call tavrik-setup with sudo."));
    }
}

bool IsThere(const fs::path& path)
{
    std::error_code missing;
    return fs::exists(path, missing);
}

void DeleteEmptyFolders(const std::vector<fs::path>& folders)
{
    std::for_each(folders.rbegin(), folders.rend(), [](const fs::path& folder) { rmdir(folder.c_str()); });
}

} // namespace setup
