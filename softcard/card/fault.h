// Faults on order: what is to go wrong with the next calls of an operation on a card. They lie in the card's
// folder, so that they reach a program that is running.
#pragma once

#include "softcard/card/card_error.h"
#include "softcard/card/directories.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace softcard {

inline constexpr const char* anyOperation = "any";
inline constexpr uint32_t longestFaultDelay = 600000; // milliseconds

struct Fault
{
    std::string operation;             // see FaultableOperations; or anyOperation
    std::optional<CardStatus> status;  // that the call answers instead of being done
    std::optional<uint32_t> codeState; // that a verification leaves in its result, with a status
    bool verified = false;             // and whether it says there that the code was accepted
    std::chrono::milliseconds delay{0};
    bool removesCard = false; // out of its reader, after the delay and before the call is done
    uint32_t count = 1;       // of calls that it happens to
};

// The operations that can be told to fail: the functions of the boundary that have to do with a card, without
// their prefix "CardAPI_".
const std::vector<std::string>& FaultableOperations();

// Those of them that `anyOperation` stands for. The others list, end or wait: they must be named.
const std::vector<std::string>& OperationsOnACard();

// The two that verify a code.
bool IsVerification(const std::string& operation);

// What MeetFault throws for a call that is not to be done.
class OrderedFailure : public CardError
{
public:
    OrderedFailure(CardStatus cardStatus, Fault ordered)
        : CardError(cardStatus, "A fault was ordered."), fault(std::move(ordered))
    {
    }

    [[nodiscard]] const Fault& Ordered() const { return fault; }

private:
    Fault fault;
};

// All throw std::exception when the card's folder cannot be read or written.
std::vector<Fault> ReadFaults(const std::filesystem::path& cardFolder);
void AddFault(const std::filesystem::path& cardFolder, const Fault& fault);
void ClearFaults(const std::filesystem::path& cardFolder);

// The first fault that was ordered for the operation, if any, happens now. Throws OrderedFailure when the
// call is not to be done. Otherwise returns whether there was one: the card may be elsewhere by now.
bool MeetFault(const Directories& directories, const std::string& card, const std::string& operation);

// The same for an operation that ends something, or has to do with other cards too: orders that cannot be
// read are none.
void MeetOrderedFault(const Directories& directories, const std::string& card, const std::string& operation);

} // namespace softcard
