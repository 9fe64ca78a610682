#include "tools/tavrik-setup/programs/file_change.h"

#include "tools/tavrik-setup/files/refusal.h"

#include <utility>

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

// The record is written first: what it says of a change that did not come about does no harm, and a change that it does not
// know of could not be taken back.
void SetFile(const Record& record, FileChange change, Readers readers)
{
    const auto earlier = record.Find(change.entry.program, change.entry.file);
    const auto made = MakeFolders(change.entry.file.parent_path(), readers);
    change.entry.madeFolders.insert(change.entry.madeFolders.end(), made.begin(), made.end());
    try {
        record.Put(change.entry);
        ReplaceContent(change.entry.file, change.before, *change.after, readers);
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
        RemoveFile(entry.file, *change.before);
    } else if (change.before != change.after) {
        ReplaceContent(entry.file, change.before, *change.after, Readers::owner);
    }
    if (!change.after) { // the record may have been given more folders since the change was planned
        DeleteEmptyFolders(record.Find(entry.program, entry.file).value_or(entry).madeFolders);
    }
    record.Drop(entry.program, entry.file);
}

} // namespace setup
