#include "tools/tavrik-setup/doctor/card_look.h"

#include "softcard/base/text.h"
#include "src/card/card_status.h"
#include "src/log/log_settings.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/doctor/system/shared_library.h"

#include <botan/data_src.h>
#include <botan/x509cert.h>

#include <array>
#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace setup {
namespace {

using nlohmann::json;

constexpr const char* cardLayerStem = "CardAPI";
constexpr uint32_t longestFolder = 4096;
constexpr uint32_t longestReaderList = 65536;

// The functions of the card-access library.
struct CardFunctions
{
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member
#define CARD_FUNCTION(type, name, parameters, arguments, fault) decltype(&CardAPI_##name) name = nullptr;
#include "src/card/functions.inc"
};

// Returns the names of those that are missing.
std::string Bind(void* library, CardFunctions& functions)
{
    std::string missing;
    const auto find = [&missing, library](const char* name, auto& function) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(FindFunction(library, name));
        if (function == nullptr) {
            missing += std::string(" ") + name;
        }
    };
#define CARD_FUNCTION(type, name, parameters, arguments, fault) find("CardAPI_" #name, functions.name);
#include "src/card/functions.inc"
    return missing;
}

// Its name, or its number where it has none.
std::string NameOf(CardStatus status)
{
    const std::string name = CardStatusName(status);
    return name.empty() ? "status " + std::to_string(status) : name;
}

std::string TextOf(const char16_t* text)
{
    return softcard::ToUtf8(text).value_or("");
}

template <typename Function>
std::string FolderFrom(Function function)
{
    std::vector<char16_t> buffer(longestFolder + 1);
    function(buffer.data(), longestFolder);
    return TextOf(buffer.data());
}

json CertificateFacts(const CardCertificate& certificate, const char* label)
{
    json facts{{"label", label}};
    try {
        Botan::DataSource_Memory source(certificate.data,
                                        std::min<size_t>(certificate.length, sizeof(certificate.data)));
        const Botan::X509_Certificate parsed(source);
        const auto names = parsed.subject_info("X520.CommonName");
        facts["subject"] = names.empty() ? std::string() : names.front();
        facts["end"] = std::chrono::duration_cast<std::chrono::seconds>(
                           parsed.not_after().to_std_timepoint().time_since_epoch())
                           .count();
    } catch (const std::exception& error) {
        facts["error"] = error.what();
    }
    return facts;
}

template <typename Function>
void AddCertificates(json& list, Function function, CardSession session, const char* label)
{
    const auto certificates = std::make_unique<std::array<CardCertificate, maxCertificates>>();
    const auto keys = std::make_unique<std::array<CardKeyInfo, maxCertificates>>();
    uint32_t count = 0;
    const CardStatus status = function(session, certificates->data(), &count, keys->data());
    if (status != eStatusOk) {
        list.push_back({{"label", label}, {"error", NameOf(status)}});
    }
    for (uint32_t i = 0; status == eStatusOk && i < std::min(count, maxCertificates); ++i) {
        list.push_back(CertificateFacts((*certificates)[i], label));
    }
}

json LookAtReader(const CardFunctions& functions, const std::u16string& name)
{
    CardSession session = 0;
    const CardStatus status = functions.OpenSession(name.c_str(), &session);
    json facts{{"name", TextOf(name.c_str())}, {"status", status}, {"statusName", NameOf(status)}};
    if (session == 0) {
        return facts;
    }
    json certificates = json::array();
    AddCertificates(certificates, functions.QES_GetCertificates, session, "Sig_ZEP");
    AddCertificates(certificates, functions.ES_GetCertificates, session, "Sig_EP");
    facts["certificates"] = certificates;
    const CardStatus begun = functions.StartTransaction(session);
    facts["isHeld"] = begun == eStatusSHARING_VIOLATION;
    if (begun == eStatusOk) {
        functions.StopTransaction(session);
    }
    functions.CloseSession(session);
    return facts;
}

// Each name ends with a zero.
std::vector<std::u16string> ReaderNames(const char16_t* list, size_t length)
{
    std::vector<std::u16string> names;
    std::u16string name;
    for (size_t i = 0; i < length; ++i) {
        if (list[i] != 0) {
            name += list[i];
        } else if (!name.empty()) {
            names.push_back(std::move(name));
            name.clear();
        }
    }
    return names;
}

void LookAtReaders(const CardFunctions& functions, json& seen)
{
    std::vector<char16_t> list(longestReaderList);
    const int32_t length = functions.GetReaderList(list.data(), longestReaderList);
    seen["readersError"] = length < 0;
    seen["readers"] = json::array();
    const size_t valid = std::min<size_t>(length < 0 ? 0 : static_cast<size_t>(length), longestReaderList);
    for (const std::u16string& name : ReaderNames(list.data(), valid)) {
        seen["readers"].push_back(LookAtReader(functions, name));
    }
}

// Null when there is none.
void* LoadElsewhere(const std::string& name)
{
    try {
        return Platform::LoadSharedLibrary(name);
    } catch (const std::runtime_error&) {
        return nullptr; // the reason that counts is why it is not the one beside the library
    }
}

} // namespace

json LookAtCards(const std::filesystem::path& libraryFolder)
{
    const std::string name = Platform::LibraryFileName(cardLayerStem);
    std::string besideReason;
    Platform::SearchLibrariesIn(libraryFolder);
    void* library = libraryFolder.empty() ? nullptr : LoadByPath(libraryFolder / name, besideReason);
    library = library == nullptr ? LoadElsewhere(name) : library;
    if (library == nullptr) {
        return {{"error", besideReason.empty() ? name + " is not there" : besideReason}};
    }
    CardFunctions functions;
    json seen{{"file", FileOf(library)}};
    const std::string missing = Bind(library, functions);
    if (!missing.empty()) {
        seen["error"] = "it lacks" + missing;
        return seen;
    }
    seen["configFolder"] = FolderFrom(functions.GetAppDataDir);
    seen["logFolder"] = FolderFrom(functions.GetUserDataDir);
    LogSettings silent;
    silent.logToFile = false;
    functions.Initialize(&silent);
    LookAtReaders(functions, seen);
    functions.Finalize();
    return seen;
}

} // namespace setup
