// The subcommand that orders faults.
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/fault.h"
#include "src/card/card_status.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/support.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <limits>
#include <memory>
#include <string_view>

namespace softcard {
namespace {

struct FaultArguments
{
    std::string card;
    std::string operation;
    std::optional<std::string> status;
    std::optional<uint32_t> codeState;
    bool verified = false;
    int64_t delay = 0;
    bool removesCard = false;
    uint32_t count = 1;
    bool clear = false;
    bool asJson = false;
};

// A number, or the name of a status.
CardStatus ParseStatus(const std::string& text)
{
    CardStatus number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec == std::errc() && parsed.ptr == end) {
        return number;
    }
    if (const auto status = CardStatusNamed(text)) {
        return *status;
    }
    throw StoreError(StoreFailure::badArgument,
                     "There is no status \"" + text + "\". It is a number, or a name such as eCardCommErr.");
}

Fault MakeFault(const FaultArguments& arguments)
{
    const auto& known = FaultableOperations();
    if (arguments.operation != anyOperation &&
        std::find(known.begin(), known.end(), arguments.operation) == known.end()) {
        throw StoreError(StoreFailure::badArgument,
                         "There is no operation \"" + arguments.operation +
                             "\". \"tavrik-card fault --help\" tells what there is.");
    }
    Fault fault;
    fault.operation = arguments.operation;
    fault.codeState = arguments.codeState;
    fault.verified = arguments.verified;
    fault.delay = std::chrono::milliseconds(arguments.delay);
    fault.removesCard = arguments.removesCard;
    fault.count = arguments.count;
    if (arguments.status) {
        fault.status = ParseStatus(*arguments.status);
    }
    if ((fault.codeState || fault.verified) && !(fault.status && IsVerification(fault.operation))) {
        throw StoreError(StoreFailure::badArgument,
                         "--code-state and --verified go with the --status of a verification.");
    }
    if (!fault.status && !fault.removesCard && arguments.delay == 0) {
        throw StoreError(StoreFailure::badArgument, "A fault needs --status, --delay or --remove.");
    }
    return fault;
}

// One line for each, its fields separated by tabs: operation, status or "-", delay, "remove" or "-", count,
// the code's state or "-", "verified" or "-".
void PrintFaults(const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults) {
        std::cout << Printable(fault.operation) << '\t'
                  << (fault.status ? std::to_string(*fault.status) : "-") << '\t' << fault.delay.count()
                  << '\t' << (fault.removesCard ? "remove" : "-") << '\t' << fault.count << '\t'
                  << (fault.codeState ? std::to_string(*fault.codeState) : "-") << '\t'
                  << (fault.verified ? "verified" : "-") << '\n';
    }
}

void RunFault(const FaultArguments& arguments)
{
    const std::filesystem::path folder = RequireCardFolder(arguments.card);
    const auto fault =
        arguments.operation.empty() ? std::nullopt : std::optional<Fault>(MakeFault(arguments));
    if (arguments.clear) {
        ClearFaults(folder);
    }
    if (fault) {
        AddFault(folder, *fault);
    } else if (arguments.asJson) {
        PrintJsonText(FaultsToJson(folder));
    } else if (!arguments.clear) {
        PrintFaults(ReadFaults(folder));
    }
}

std::vector<std::string> OperationNames()
{
    std::vector<std::string> names{anyOperation};
    names.insert(names.end(), FaultableOperations().begin(), FaultableOperations().end());
    return names;
}

constexpr const char* statusNames = ""
#define CARD_STATUS(name, number) #name " "
#include "src/card/statuses.inc"
    ;

} // namespace

void AddFaultCommand(CLI::App& app)
{
    auto arguments = std::make_shared<FaultArguments>();
    CLI::App* fault = app.add_subcommand(
        "fault",
        "Order a fault for the next calls of an operation; without an operation, list what is ordered");
    AddCardName(*fault, arguments->card);
    fault->add_option("OPERATION", arguments->operation, command_line::Join(OperationNames(), ", "))
        ->check(command_line::Offer(command_line::Join(OperationNames(), " ")));
    fault->add_option("--status", arguments->status, "What the call answers, a number or a status's name")
        ->check(command_line::Offer(statusNames));
    AddNumber(*fault, "--code-state", arguments->codeState, {0, std::numeric_limits<uint32_t>::max()},
              "The code's state that a verification tells with the status, 0 by default");
    fault->add_flag("--verified", arguments->verified,
                    "Have a verification say with the status that the code was accepted");
    AddNumber(*fault, "--delay", arguments->delay, {0, longestFaultDelay},
              "Milliseconds that the call takes longer");
    fault->add_flag("--remove", arguments->removesCard, "Take the card out in the middle of the call");
    AddNumber(*fault, "--count", arguments->count, {1, std::numeric_limits<uint32_t>::max()},
              "How many calls it happens to, 1 by default");
    fault->add_flag("--clear", arguments->clear, "Forget what was ordered before");
    fault->add_flag("--json", arguments->asJson, "List as JSON");
    fault->callback([arguments] { RunFault(*arguments); });
}

} // namespace softcard
