// What can be wrong with a request to change the store, told apart so that a script can tell it too.
#pragma once

#include <stdexcept>
#include <string>

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
    StoreError(StoreFailure failure, const std::string& what) : std::runtime_error(what), failure_(failure) {}

    [[nodiscard]] StoreFailure Failure() const { return failure_; }

private:
    StoreFailure failure_;
};

} // namespace softcard
