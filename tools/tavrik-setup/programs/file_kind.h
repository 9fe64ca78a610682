// The kinds of change that are made to a file.
#pragma once

#include "tools/tavrik-setup/files/piece.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace setup {

class FileKind
{
public:
    FileKind() = default;
    virtual ~FileKind() = default;
    FileKind(const FileKind&) = delete;
    FileKind& operator=(const FileKind&) = delete;
    FileKind(FileKind&&) = delete;
    FileKind& operator=(FileKind&&) = delete;

    // Whether a file with this content says what is wanted, whoever wrote it.
    [[nodiscard]] virtual bool IsIn(const std::string& content) const = 0;

    // What makes it say so; the content is nothing for a file that is not there. Throws Refusal when it cannot be put in
    // safely.
    [[nodiscard]] virtual Piece PieceFor(const std::optional<std::string>& content) const = 0;

    // The content without the piece that was put in earlier; the rest of it may have changed since. Throws Refusal when the
    // piece cannot be told from the rest any more.
    [[nodiscard]] virtual std::string Without(const std::string& content, const Piece& piece) const = 0;

    // What a person adds by hand where it cannot be put in.
    [[nodiscard]] virtual std::string ByHand() const = 0;
};

// Some lines between two comments, at the end of a text file.
class TextBlock : public FileKind
{
public:
    // The program's name stands in the comments. A file that has each line of `telling` says what is wanted, also where a
    // person has changed others in the block. A word of `exclusive` may begin no other line of the file.
    TextBlock(const std::string& itsProgram, std::vector<std::string> itsLines,
              std::vector<std::string> itsTelling, std::vector<std::string> itsExclusive);

    [[nodiscard]] bool IsIn(const std::string& content) const override;
    [[nodiscard]] Piece PieceFor(const std::optional<std::string>& content) const override;
    [[nodiscard]] std::string Without(const std::string& content, const Piece& piece) const override;
    [[nodiscard]] std::string ByHand() const override;

private:
    struct Span
    {
        size_t begin;
        size_t end;
    };
    [[nodiscard]] std::optional<Span> Find(const std::string& content) const;
    [[nodiscard]] std::string Text() const;

    std::string begin;
    std::string end;
    std::vector<std::string> lines;
    std::vector<std::string> telling;
    std::vector<std::string> exclusive;
};

// The module among the security devices of a policies.json, as Firefox and Thunderbird read it. The rest of the file stays
// as it was written.
class PolicyDevice : public FileKind
{
public:
    explicit PolicyDevice(std::string itsModule) : module(std::move(itsModule)) {}

    [[nodiscard]] bool IsIn(const std::string& content) const override;
    [[nodiscard]] Piece PieceFor(const std::optional<std::string>& content) const override;
    [[nodiscard]] std::string Without(const std::string& content, const Piece& piece) const override;
    [[nodiscard]] std::string ByHand() const override;

private:
    std::string module;
};

// A file that has no other purpose.
class OwnFile : public FileKind
{
public:
    explicit OwnFile(std::string itsContent) : text(std::move(itsContent)) {}

    // A file that a person goes on with: one that has the line `telling` says what is wanted, whatever else it holds.
    // `toAdd` is what a person adds to one that holds something else.
    OwnFile(std::string itsContent, std::string itsTelling, std::string itsAddition)
        : text(std::move(itsContent)), telling(std::move(itsTelling)), toAdd(std::move(itsAddition))
    {
    }

    [[nodiscard]] bool IsIn(const std::string& content) const override;
    [[nodiscard]] Piece PieceFor(const std::optional<std::string>& content) const override;
    [[nodiscard]] std::string Without(const std::string& content, const Piece& piece) const override;
    [[nodiscard]] std::string ByHand() const override;

private:
    std::string text;
    std::string telling; // may be empty
    std::string toAdd;   // may be empty
};

} // namespace setup
