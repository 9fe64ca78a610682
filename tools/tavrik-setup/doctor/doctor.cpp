#include "tools/tavrik-setup/doctor/doctor.h"

#include "front/abi/cryptoki.h"
#include "tools/tavrik-setup/doctor/card_look.h"
#include "tools/tavrik-setup/doctor/child.h"
#include "tools/tavrik-setup/doctor/configuration_check.h"
#include "tools/tavrik-setup/doctor/front_look.h"
#include "tools/tavrik-setup/doctor/loaded_files.h"
#include "tools/tavrik-setup/doctor/pinentry_check.h"
#include "tools/tavrik-setup/doctor/software_card.h"

#include <ctime>
#include <iomanip>
#include <sstream>
#include <system_error>

namespace setup {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr std::chrono::seconds longestLook{60};
constexpr const char* libraryFile = "libpkcs11_x64.so";
constexpr std::time_t secondsOfDay = 86400;
constexpr std::time_t daysOfWarning = 30;

void Add(Findings& findings, const Findings& more)
{
    findings.insert(findings.end(), more.begin(), more.end());
}

// In the folder of the front's path, or of the file that a link there leads to.
fs::path LibraryFolder(const fs::path& module)
{
    std::error_code error;
    for (const fs::path& folder : {module.parent_path(), fs::canonical(module, error).parent_path()}) {
        if (!folder.empty() && fs::exists(folder / libraryFile, error)) {
            return folder;
        }
    }
    return {};
}

std::string ListOfSlots(const json& slots)
{
    std::string text;
    for (const json& slot : slots) {
        text += (text.empty() ? "" : ", ") + slot.value("description", "");
    }
    return text;
}

Findings JudgeFront(const ChildAnswer& answer, const fs::path& module)
{
    const std::string file = module.string();
    if (answer.value.is_null()) {
        return {{Severity::fault, "front", file + " " + answer.trouble + ".",
                 "Look at the log with tavrik-log, and take readers out one by one."}};
    }
    if (answer.value.contains("error")) {
        return {{Severity::fault, "front",
                 "The front cannot be loaded: " + answer.value["error"].get<std::string>() + ".",
                 "Install tavrik-pkcs11 again."}};
    }
    Findings findings;
    if (answer.value.contains("library")) {
        findings.push_back({Severity::fine, "library",
                            "The front works with " + answer.value["library"].get<std::string>() + ".", ""});
    }
    const auto result = answer.value["result"].get<unsigned long>();
    if (result != CKR_OK) {
        findings.push_back({Severity::fault, "front",
                            file + " does not start: C_Initialize answers " + std::to_string(result) + ".",
                            "See what else is told here of the library and of the card layer."});
        return findings;
    }
    const json& slots = answer.value["slots"];
    findings.insert(findings.begin(),
                    {Severity::fine, "front",
                     file + ", version " + answer.value["version"].get<std::string>() + ", starts.", ""});
    findings.push_back(
        {Severity::fine, "front",
         slots.empty() ? "Applications see no card." : "Applications see " + ListOfSlots(slots) + ".", ""});
    return findings;
}

Findings JudgeCertificate(const json& certificate, const std::string& reader)
{
    const std::string label = certificate.value("label", "");
    if (certificate.contains("error")) {
        return {{Severity::fault, "certificate",
                 "A certificate of " + label + " in " + reader +
                     " cannot be read: " + certificate.value("error", "") + ".",
                 "Clean the card and put it in again; if that does not help, have it looked at where it was "
                 "issued."}};
    }
    const auto end = certificate["end"].get<std::time_t>();
    std::tm day{};
    gmtime_r(&end, &day);
    std::ostringstream text;
    text << std::put_time(&day, "%Y-%m-%d");
    const std::string who = label + " of " + certificate.value("subject", "") + " in " + reader;
    const std::time_t left = end - std::time(nullptr);
    const std::string renew = "Have the certificate renewed where the card was issued.";
    if (left < 0) {
        return {{Severity::fault, "certificate", who + " ended on " + text.str() + ".", renew}};
    }
    if (left < daysOfWarning * secondsOfDay) {
        return {{Severity::warning, "certificate",
                 who + " ends on " + text.str() + ", in " + std::to_string(left / secondsOfDay) + " days.",
                 renew}};
    }
    return {{Severity::fine, "certificate", who + " is valid until " + text.str() + ".", ""}};
}

Finding JudgeHold(const std::string& reader, const std::string& cardLayer)
{
    std::string names;
    for (const std::string& program : ProgramsWith(cardLayer)) {
        names += (names.empty() ? "" : ", ") + program;
    }
    return {Severity::warning, "card",
            "Another program holds the card in " + reader + "." +
                (names.empty() ? "" : " These have the card layer loaded: " + names + "."),
            "End the program that holds it, or log out there."};
}

Findings JudgeReader(const json& reader, const std::string& cardLayer)
{
    const std::string name = reader.value("name", "");
    if (!reader.contains("certificates")) {
        const auto status = reader.value("statusName", "");
        if (status == "eStatusNO_SMARTCARD" || reader.value("status", 0) == 0) {
            return {{Severity::fine, "reader", name + " has no card.", ""}};
        }
        return {{Severity::fault, "card", "The card in " + name + " cannot be opened: " + status + ".",
                 "Put it in again, the chip first; try another reader."}};
    }
    Findings findings{{Severity::fine, "reader", name + " has a card.", ""}};
    if (reader["certificates"].empty()) {
        findings.push_back({Severity::warning, "certificate", "The card in " + name + " has no certificates.",
                            "Have certificates issued for it."});
    }
    for (const json& certificate : reader["certificates"]) {
        Add(findings, JudgeCertificate(certificate, name));
    }
    if (reader.value("isHeld", false)) {
        findings.push_back(JudgeHold(name, cardLayer));
    }
    return findings;
}

Findings JudgeCards(const ChildAnswer& answer)
{
    const std::string cardLayer = "card layer";
    if (answer.value.is_null()) {
        return {{Severity::fault, cardLayer, "The card layer " + answer.trouble + ".",
                 "Take the cards out and put them in one by one, and install the card's software again."}};
    }
    if (answer.value.contains("error")) {
        return {{Severity::fault, cardLayer,
                 "The card layer cannot be used: " + answer.value["error"].get<std::string>() + ".",
                 "Install the software of the card, or tavrik-softcard, which has libCardAPI.so."}};
    }
    const std::string file = answer.value["file"].get<std::string>();
    Findings findings{{Severity::fine, cardLayer, "The card layer is " + file + ".", ""}};
    Add(findings, CheckConfiguration(answer.value["configFolder"].get<std::string>()));
    Add(findings, CheckLogFolder(answer.value["logFolder"].get<std::string>()));
    if (answer.value["readersError"].get<bool>()) {
        findings.push_back({Severity::fault, "reader", "The card layer cannot list the readers.",
                            "See whether the reader service (pcscd) runs."});
    } else if (answer.value["readers"].empty()) {
        findings.push_back({Severity::warning, "reader", "There is no reader.", "Plug one in."});
    }
    for (const json& reader : answer.value["readers"]) {
        Add(findings, JudgeReader(reader, file));
    }
    return findings;
}

} // namespace

Findings Diagnose(const fs::path& module)
{
    Findings findings = JudgeFront(AskChild(longestLook, [&module] { return LookAtFront(module); }), module);
    const fs::path folder = LibraryFolder(module);
    if (folder.empty()) {
        findings.push_back(
            {Severity::fault, "library",
             std::string(libraryFile) + " does not lie beside the front " + module.string() + ".",
             "Install tavrik-pkcs11 again."});
    }
    const ChildAnswer cards = AskChild(longestLook, [&folder] { return LookAtCards(folder); });
    Add(findings, JudgeCards(cards));
    if (cards.value.is_object() && IsSoftwareCard(cards.value)) {
        Add(findings, CheckCodes());
        Add(findings, CheckPinentry(cards.value["configFolder"].get<std::string>()));
    }
    return findings;
}

} // namespace setup
