#include "fault.h"

#include "card_store.h"
#include "reader_directory.h"
#include "store_error.h"
#include "system/files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

std::filesystem::path FileOf(const std::filesystem::path& cardFolder)
{
    return cardFolder / "faults.json";
}

Json ToJson(const Fault& fault)
{
    Json json = {{"operation", fault.operation},
                 {"delay", fault.delay.count()},
                 {"removesCard", fault.removesCard},
                 {"count", fault.count}};
    if (fault.status) {
        json["status"] = *fault.status;
    }
    if (fault.codeState) {
        json["codeState"] = *fault.codeState;
    }
    if (fault.verified) {
        json["verified"] = true;
    }
    return json;
}

Fault FromJson(const Json& json)
{
    Fault fault;
    json.at("operation").get_to(fault.operation);
    fault.delay = std::chrono::milliseconds(json.at("delay").get<int64_t>());
    json.at("removesCard").get_to(fault.removesCard);
    json.at("count").get_to(fault.count);
    if (json.contains("status")) {
        fault.status = json.at("status").get<int32_t>();
    }
    if (json.contains("codeState")) {
        fault.codeState = json.at("codeState").get<uint32_t>();
    }
    fault.verified = json.value("verified", false);
    return fault;
}

void WriteFaults(const std::filesystem::path& cardFolder, const std::vector<Fault>& faults)
{
    Json json = Json::array();
    std::transform(faults.begin(), faults.end(), std::back_inserter(json), ToJson);
    WriteFileAtomically(FileOf(cardFolder), json.dump(4) + "\n");
}

bool IsMeant(const Fault& fault, const std::string& operation)
{
    const auto& onACard = OperationsOnACard();
    return fault.operation == operation ||
           (fault.operation == anyOperation &&
            std::find(onACard.begin(), onACard.end(), operation) != onACard.end());
}

// Counts it down. Nothing when no fault waits for the operation, which is nearly always.
std::optional<Fault> TakeFault(const std::filesystem::path& cardFolder, const std::string& operation)
{
    if (!std::filesystem::exists(FileOf(cardFolder))) {
        return std::nullopt;
    }
    const FileLock lock = LockCard(cardFolder);
    std::vector<Fault> faults = ReadFaults(cardFolder);
    const auto found = std::find_if(faults.begin(), faults.end(),
                                    [&](const Fault& fault) { return IsMeant(fault, operation); });
    if (found == faults.end()) {
        return std::nullopt;
    }
    Fault taken = *found;
    if (--found->count == 0) {
        faults.erase(found);
    }
    WriteFaults(cardFolder, faults);
    return taken;
}

enum class FaultGroup
{
    on_card,
    by_name,
    never
};

struct Operation
{
    const char* name;
    FaultGroup group;
};

constexpr Operation operationsOfTheBoundary[] = {
#define CARD_FUNCTION(type, name, parameters, arguments, fault) {#name, FaultGroup::fault},
#include "card/functions.inc"
};

std::vector<std::string> OperationsOfGroup(FaultGroup group)
{
    std::vector<std::string> names;
    for (const Operation& operation : operationsOfTheBoundary) {
        if (operation.group == group) {
            names.emplace_back(operation.name);
        }
    }
    return names;
}

void TakeCardOut(const Directories& directories, const std::string& card)
{
    try {
        ReaderDirectory(directories).Remove(card);
    } catch (const StoreError&) {
        return; // somebody was quicker
    }
}

} // namespace

const std::vector<std::string>& OperationsOnACard()
{
    static const std::vector<std::string> operations = OperationsOfGroup(FaultGroup::on_card);
    return operations;
}

const std::vector<std::string>& FaultableOperations()
{
    static const std::vector<std::string> operations = [] {
        std::vector<std::string> all = OperationsOnACard();
        const std::vector<std::string> byName = OperationsOfGroup(FaultGroup::by_name);
        all.insert(all.end(), byName.begin(), byName.end());
        return all;
    }();
    return operations;
}

bool IsVerification(const std::string& operation)
{
    return operation == "Passwords_VerifyBOK" || operation == "QES_VerifyPin";
}

std::vector<Fault> ReadFaults(const std::filesystem::path& cardFolder)
{
    std::vector<Fault> faults;
    if (std::filesystem::exists(FileOf(cardFolder))) {
        const Json json = Json::parse(ReadFile(FileOf(cardFolder)));
        std::transform(json.begin(), json.end(), std::back_inserter(faults), FromJson);
    }
    return faults;
}

void AddFault(const std::filesystem::path& cardFolder, const Fault& fault)
{
    const FileLock lock = LockCard(cardFolder);
    std::vector<Fault> faults = ReadFaults(cardFolder);
    faults.push_back(fault);
    WriteFaults(cardFolder, faults);
}

void ClearFaults(const std::filesystem::path& cardFolder)
{
    const FileLock lock = LockCard(cardFolder);
    std::filesystem::remove(FileOf(cardFolder));
}

bool MeetFault(const Directories& directories, const std::string& card, const std::string& operation)
{
    const auto fault = TakeFault(CardStore(directories).FolderOf(card), operation);
    if (!fault) {
        return false;
    }
    std::this_thread::sleep_for(fault->delay);
    if (fault->removesCard) {
        TakeCardOut(directories, card);
    }
    if (fault->status || fault->removesCard) {
        throw OrderedFailure(fault->status.value_or(statusRemovedCard), *fault);
    }
    return true;
}

} // namespace softcard
