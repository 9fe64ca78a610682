#include "tools/tavrik-setup/doctor/doctor.h"

#include "front/abi/cryptoki.h"
#include "softcard/base/text.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/doctor/configuration_check.h"
#include "tools/tavrik-setup/doctor/loaded_files.h"
#include "tools/tavrik-setup/doctor/look.h"
#include "tools/tavrik-setup/doctor/pinentry_check.h"
#include "tools/tavrik-setup/doctor/software_card.h"
#include "tools/tavrik-setup/doctor/system/advice.h"

#include <chrono>
#include <iomanip>
#include <sstream>
#include <system_error>

namespace setup {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr std::chrono::seconds longestLook{60};
constexpr std::chrono::days daysOfWarning{30};

std::string LibraryFile()
{
    return Platform::LibraryFileName("pkcs11_x64");
}

void Add(Findings& findings, const Findings& more)
{
    findings.insert(findings.end(), more.begin(), more.end());
}

// In the folder of the front's path, or of the file that a link there leads to.
fs::path LibraryFolder(const fs::path& module)
{
    std::error_code error;
    for (const fs::path& folder : {module.parent_path(), fs::canonical(module, error).parent_path()}) {
        if (!folder.empty() && fs::exists(folder / LibraryFile(), error)) {
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

Findings JudgeFront(const LookAnswer& answer, const fs::path& module)
{
    const std::string file = softcard::Utf8Of(module);
    if (answer.value.is_null()) {
        return {{Severity::fault, "front", file + " " + answer.trouble + ".",
                 "Look at the log with tavrik-log, and take readers out one by one."}};
    }
    if (answer.value.contains("error")) {
        return {{Severity::fault, "front",
                 "The front cannot be loaded: " + answer.value["error"].get<std::string>() + ".",
                 SystemAdvice().installFront}};
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

// Such as 2030-01-31, in the time of Greenwich.
std::string DayOf(std::chrono::sys_seconds time)
{
    const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(time));
    std::ostringstream text;
    text << std::setfill('0') << std::setw(4) << static_cast<int>(day.year()) << '-' << std::setw(2)
         << static_cast<unsigned>(day.month()) << '-' << std::setw(2) << static_cast<unsigned>(day.day());
    return text.str();
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
    const std::chrono::sys_seconds end{std::chrono::seconds(certificate["end"].get<int64_t>())};
    const std::string who = label + " of " + certificate.value("subject", "") + " in " + reader;
    const auto left = end - std::chrono::system_clock::now();
    const std::string renew = "Have the certificate renewed where the card was issued.";
    if (left.count() < 0) {
        return {{Severity::fault, "certificate", who + " ended on " + DayOf(end) + ".", renew}};
    }
    if (left < daysOfWarning) {
        return {{Severity::warning, "certificate",
                 who + " ends on " + DayOf(end) + ", in " +
                     std::to_string(std::chrono::floor<std::chrono::days>(left).count()) + " days.",
                 renew}};
    }
    return {{Severity::fine, "certificate", who + " is valid until " + DayOf(end) + ".", ""}};
}

Finding JudgeHold(const std::string& reader, const std::string& cardLayer)
{
    std::string names;
    for (const std::string& program : ProgramsWith(softcard::PathOf(cardLayer))) {
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

Findings JudgeCards(const LookAnswer& answer)
{
    const std::string cardLayer = "card layer";
    if (answer.value.is_null()) {
        return {{Severity::fault, cardLayer, "The card layer " + answer.trouble + ".",
                 "Take the cards out and put them in one by one, and install the card's software again."}};
    }
    if (answer.value.contains("error")) {
        return {{Severity::fault, cardLayer,
                 "The card layer cannot be used: " + answer.value["error"].get<std::string>() + ".",
                 SystemAdvice().installCardLayer}};
    }
    const std::string file = answer.value["file"].get<std::string>();
    Findings findings{{Severity::fine, cardLayer, "The card layer is " + file + ".", ""}};
    Add(findings, CheckConfiguration(softcard::PathOf(answer.value["configFolder"].get<std::string>())));
    Add(findings, CheckLogFolder(softcard::PathOf(answer.value["logFolder"].get<std::string>())));
    if (answer.value["readersError"].get<bool>()) {
        findings.push_back(
            {Severity::fault, "reader", "The card layer cannot list the readers.", SystemAdvice().readers});
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
    Findings findings = JudgeFront(TakeLook(Look::front, module, longestLook), module);
    const fs::path folder = LibraryFolder(module);
    if (folder.empty()) {
        findings.push_back(
            {Severity::fault, "library",
             LibraryFile() + " does not lie beside the front " + softcard::Utf8Of(module) + ".",
             SystemAdvice().installFront});
    }
    const LookAnswer cards = TakeLook(Look::cards, folder, longestLook);
    Add(findings, JudgeCards(cards));
    if (cards.value.is_object() && IsSoftwareCard(cards.value)) {
        Add(findings, CheckSoftwareCard(cards.value, folder));
        Add(findings, CheckCodes());
        Add(findings, CheckPinentry(softcard::PathOf(cards.value["configFolder"].get<std::string>())));
    }
    return findings;
}

} // namespace setup
