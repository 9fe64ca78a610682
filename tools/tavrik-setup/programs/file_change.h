// The change of one file, between its planning and its doing.
#pragma once

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/programs/file_kind.h"
#include "tools/tavrik-setup/programs/record.h"

#include <filesystem>
#include <optional>
#include <string>

namespace setup {

struct FileChange
{
    std::optional<std::string> before; // nothing for no file
    std::optional<std::string> after;
    Entry entry; // what the record is to say, or said
};

// The functions below throw Refusal.

// What makes the file say what is wanted, in the place of what was put in earlier.
FileChange ChangeToSet(const Record& record, const std::string& program, const std::filesystem::path& file,
                       const FileKind& kind);

// What takes that away again: with the file as it was left, to the byte.
FileChange ChangeToUndo(const Entry& entry, const FileKind& kind);

// The readers are those of what is new.
void SetFile(const Record& record, FileChange change, Readers readers);
void UndoChange(const Record& record, const FileChange& change);

} // namespace setup
