#include "tools/tavrik-setup/programs/file_change.h"

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace setup {

namespace fs = std::filesystem;

FileChange ChangeToUndo(const Entry& entry, const FileKind& kind)
{
    FileChange change{ReadIfThere(entry.file), std::nullopt, entry};
    if (!change.before) {
        return change;
    }
    std::string rest;
    if (DigestOf(*change.before) == entry.digest) {
        rest = *change.before;
        rest.erase(entry.piece.offset, entry.piece.text.size());
    } else {
        rest = kind.Without(*change.before, entry.piece);
    }
    if (!rest.empty() || !entry.madeFile) {
        change.after = std::move(rest);
    }
    return change;
}

FileChange ChangeToSet(const Record& record, const std::string& program, const fs::path& file,
                       const FileKind& kind)
{
    FileChange change;
    const auto earlier = record.Find(program, file);
    if (earlier) {
        change = ChangeToUndo(*earlier, kind);
    } else {
        change.before = ReadIfThere(file);
        change.after = change.before;
    }
    const bool isNew = !change.before || !change.after; // by now, or by what was done earlier
    change.entry.program = program;
    change.entry.file = file;
    change.entry.madeFile = isNew;
    change.entry.piece = kind.PieceFor(change.after);
    change.after = WithPiece(change.after.value_or(""), change.entry.piece);
    change.entry.digest = DigestOf(*change.after);
    return change;
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

// The record is written first: what it says of a change that did not come about does no harm, and a change that it does not
// know of could not be taken back.
void SetFile(const Record& record, FileChange change, mode_t fileMode, mode_t folderMode)
{
    const auto earlier = record.Find(change.entry.program, change.entry.file);
    const auto made = MakeFolders(change.entry.file.parent_path(), folderMode);
    change.entry.madeFolders.insert(change.entry.madeFolders.end(), made.begin(), made.end());
    try {
        record.Put(change.entry);
        ReplaceFile(change.entry.file, change.before, *change.after, fileMode);
    } catch (const Refusal&) {
        DeleteEmptyFolders(made);
        if (earlier) {
            record.Put(*earlier);
        } else {
            record.Drop(change.entry.program, change.entry.file);
        }
        throw;
    }
}

void UndoChange(const Record& record, const FileChange& change)
{
    const Entry& entry = change.entry;
    if (change.before && !change.after) {
        DeleteFile(entry.file, *change.before);
    } else if (change.before != change.after) {
        ReplaceFile(entry.file, change.before, *change.after, 0);
    }
    if (!change.after) { // the record may have been given more folders since the change was planned
        DeleteEmptyFolders(record.Find(entry.program, entry.file).value_or(entry).madeFolders);
    }
    record.Drop(entry.program, entry.file);
}

} // namespace setup
