// What was changed, kept so that it can be taken back.
#pragma once

#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/piece.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace setup {

struct Entry
{
    std::string program;
    std::filesystem::path file;
    Piece piece;
    std::string digest; // of the file as the change left it
    bool madeFile = false;
    std::vector<std::filesystem::path> madeFolders;
    std::map<std::string, std::string> madeBeside; // further files in the same folder, with their digests
};

std::string DigestOf(const std::string& content);

// The file of the record, read at each use. The functions throw Refusal when it cannot be read or written, or is damaged.
class Record
{
public:
    // Its folder, if it is new, gets these readers.
    Record(std::filesystem::path itsFile, Readers itsReaders);

    [[nodiscard]] std::vector<Entry> Of(const std::string& program) const;
    [[nodiscard]] std::optional<Entry> Find(const std::string& program,
                                            const std::filesystem::path& file) const;

    // In the place of the one for the same program and file.
    void Put(const Entry& entry) const;
    // Folders that were made for it and are there still become those of another entry whose file is in them.
    void Drop(const std::string& program, const std::filesystem::path& file) const;

private:
    void Store(const std::optional<std::string>& before, const std::vector<Entry>& entries) const;

    std::filesystem::path path;
    Readers readers;
};

} // namespace setup
