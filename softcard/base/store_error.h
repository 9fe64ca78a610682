// What can be wrong with a request to change the store, told apart so that a script can tell it too.
#pragma once

#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace softcard {

enum class StoreFailure
{
    badArgument,
    unknownCard,
    unknownReader,
    nameTaken,
    alreadyInserted,
    readerOccupied,
    notInserted,
    wrongCode,
    codeUnusable, // locked or not initialised
    notImportable,
    cardBusy // another program has a transaction on it
};

class StoreError : public std::runtime_error
{
public:
    StoreError(StoreFailure kind, const std::string& what) : std::runtime_error(what), failure(kind) {}

    [[nodiscard]] StoreFailure Failure() const { return failure; }

private:
    StoreFailure failure;
};

// The store cannot be used. what() is a sentence for the user, like that of a StoreError.
class StoreTrouble : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;

    // Several sentences, each of which is told by itself; what() is the first. There is at least one.
    explicit StoreTrouble(std::vector<std::string> sentences)
        : std::runtime_error(sentences.front()), others(std::next(sentences.begin()), sentences.end())
    {
    }

    [[nodiscard]] const std::vector<std::string>& Others() const { return others; }

private:
    std::vector<std::string> others;
};

} // namespace softcard
