#include "softcard/card/fault.h"

#include "softcard/base/store_error.h"
#include "softcard/card/card_store.h"
#include "softcard/card/json_file.h"
#include "softcard/card/reader_directory.h"
#include "softcard/system/files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* mendFaults = "Forget the faults with \"tavrik-card fault NAME --clear\".";

std::filesystem::path FileOf(const std::filesystem::path& cardFolder)
{
    return cardFolder / "faults.json";
}

Json FaultToJson(const Fault& fault)
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

Fault FaultFromJson(const nlohmann::json& json)
{
    Fault fault;
    json.at("operation").get_to(fault.operation);
    fault.delay = std::chrono::milliseconds(NumberIn(json, "delay", 0, longestFaultDelay));
    json.at("removesCard").get_to(fault.removesCard);
    fault.count = NumberIn(json, "count", 1);
    if (json.contains("status")) {
        fault.status = json.at("status").get<CardStatus>();
    }
    if (json.contains("codeState")) {
        fault.codeState = NumberIn(json, "codeState", 0);
    }
    fault.verified = json.value("verified", false);
    return fault;
}

void WriteFaults(const std::filesystem::path& cardFolder, const std::vector<Fault>& faults)
{
    Json json = Json::array();
    std::transform(faults.begin(), faults.end(), std::back_inserter(json), FaultToJson);
    const std::string text = json.dump(4) + "\n";
    if (text.size() > longestFile) {
        throw StoreError(StoreFailure::badArgument, "There are too many faults at the card already.");
    }
    WriteFileAtomically(FileOf(cardFolder), text);
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
    onCard,
    byName,
    never
};

struct Operation
{
    const char* name;
    FaultGroup group;
};

constexpr Operation operationsOfTheBoundary[] = {
#define CARD_FUNCTION(type, name, parameters, arguments, fault) {#name, FaultGroup::fault},
#include "src/card/functions.inc"
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
        return; // another process has removed it
    }
}

} // namespace

const std::vector<std::string>& OperationsOnACard()
{
    static const std::vector<std::string> operations = OperationsOfGroup(FaultGroup::onCard);
    return operations;
}

const std::vector<std::string>& FaultableOperations()
{
    static const std::vector<std::string> operations = [] {
        std::vector<std::string> all = OperationsOnACard();
        const std::vector<std::string> byName = OperationsOfGroup(FaultGroup::byName);
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
    if (!std::filesystem::exists(FileOf(cardFolder))) {
        return {};
    }
    return ReadJsonFile(FileOf(cardFolder), mendFaults, [](const nlohmann::json& json) {
        std::vector<Fault> faults;
        std::transform(json.begin(), json.end(), std::back_inserter(faults), FaultFromJson);
        return faults;
    });
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

void MeetOrderedFault(const Directories& directories, const std::string& card, const std::string& operation)
{
    try {
        MeetFault(directories, card, operation);
    } catch (const CardError&) {
        throw;
    } catch (const std::exception&) {
        return; // the card is broken, and its own operations say so
    }
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
        throw OrderedFailure(fault->status.value_or(eStatusREMOVED_CARD), *fault);
    }
    return true;
}

} // namespace softcard
