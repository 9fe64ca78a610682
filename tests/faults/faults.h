// The faults that are tried at the calls of a scenario, and what may come of each.
#pragma once

#include "src/card/card_api.h"
#include "tests/faults/scenarios.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace faults {

enum class Kind
{
    status,      // a card function answers a status
    exception,   // a card function throws
    delay,       // a card function takes its time
    cardOut,     // the card leaves its reader inside a card function
    allocation,  // an allocation of the module fails
    thread,      // a thread cannot be started
    descriptors, // there is no free descriptor
};

const char* KindName(Kind kind);

struct Fault
{
    Kind kind = Kind::status;
    uint64_t n = 1;         // the n-th call, allocation, thread or step fails
    std::string function{}; // of the card layer, without its prefix
    CardStatus status = 0;
    bool foreign = false; // exception: of a type that is no std::exception
    bool lasting = false; // descriptors: until the end of the scenario, and not for one step
    bool second = false;  // delay: a second, and not a moment

    [[nodiscard]] std::string Text() const;
};

// Makes the fault happen in what follows, until Remove.
class FaultMaker
{
public:
    FaultMaker(Fault itsFault, ScriptedCard& itsScript);
    ~FaultMaker();
    FaultMaker(const FaultMaker&) = delete;
    FaultMaker& operator=(const FaultMaker&) = delete;

    void Remove();
    // The step in which the fault happened; none when it did not.
    [[nodiscard]] std::optional<std::size_t> Step() const;

private:
    void InstallCardFault();

    Fault fault;
    ScriptedCard& script;
    bool removed = false;
};

// How often a scenario calls each card function, allocates and starts threads, by a run without a fault.
struct Reach
{
    std::map<std::string, uint64_t> cardCalls;
    uint64_t allocations = 0;
    uint64_t threads = 0;
    std::size_t firstStep = 0; // of the body of the scenario
    std::size_t steps = 0;
};

std::vector<Fault> FaultsOf(Kind kind, const Reach& reach);

// What is wrong with the answers of a run with the fault, against those without; empty when nothing is.
std::vector<std::string> Judge(const Fault& fault, std::optional<std::size_t> step, const Run& run,
                               const std::vector<Step>& usual);

} // namespace faults
