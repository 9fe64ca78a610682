// Signs a document with both keys of a card and writes the signatures and the certificates to files: of the
// first card, or of every card that is inserted.
#include "card_watch.h"
#include "digest_info.h"
#include "example_program.h"
#include "pkcs11_client.h"

#include <botan/data_src.h>
#include <botan/pem.h>
#include <botan/pkix_types.h>
#include <botan/x509cert.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>
#include <vector>

namespace {

constexpr char usage[] =
    "Usage: sign_document [--module LIBRARY] [--code LOGIN-CODE] [--hash SHA-256|SHA-384|SHA-512] DOCUMENT "
    "FOLDER\n"
    "       sign_document --watch [--count N] [the same options] DOCUMENT FOLDER\n"
    "Signs DOCUMENT with both keys of the first card and writes signatures and certificates into FOLDER.\n"
    "Without --code, the card's software asks for the login code.\n"
    "With --watch, waits for cards and signs with each one that is inserted, into FOLDER/1, FOLDER/2, ..., "
    "until "
    "interrupted or until N cards have signed.\n";

constexpr std::chrono::milliseconds watchPause{100};
volatile std::sig_atomic_t interrupted = 0;

struct Options
{
    std::filesystem::path module;
    std::optional<std::string> code;
    std::string hash = "SHA-256";
    std::filesystem::path document;
    std::filesystem::path folder;
    bool watch = false;
    unsigned long count = 0; // of cards that sign, 0 for no end
};

// Nothing when the command line makes no sense.
std::optional<Options> ReadOptions(const std::vector<std::string>& words)
{
    const CommandLine line =
        SplitCommandLine(words, {"--module", "--code", "--hash", "--count"}, {"--watch"});
    Options options;
    options.module = PathOf(line.Value("--module").value_or(TextOf(LibraryBesideProgram())));
    options.code = line.Value("--code");
    options.hash = line.Value("--hash").value_or(options.hash);
    options.watch = line.flags.contains("--watch");
    options.count = std::strtoul(line.Value("--count").value_or("0").c_str(), nullptr, 10);
    const bool counted = options.count == 0 || options.watch;
    if (line.files.size() != 2 || !counted || line.files[0].starts_with("--")) {
        return std::nullopt;
    }
    options.document = PathOf(line.files[0]);
    options.folder = PathOf(line.files[1]);
    return options;
}

std::string Date(const std::string& ckDate)
{
    return ckDate.substr(0, 4) + "-" + ckDate.substr(4, 2) + "-" + ckDate.substr(6, 2);
}

std::string SubjectName(const Bytes& certificate)
{
    const Botan::X509_Certificate parsed(certificate);
    return parsed.subject_dn().get_first_attribute("X520.CommonName");
}

void WriteFile(const std::filesystem::path& file, const std::string& content)
{
    std::ofstream output(file, std::ios::binary);
    output << content << std::flush;
    if (!output) {
        throw std::runtime_error("The file " + TextOf(file) + " cannot be written.");
    }
    std::cout << "    wrote " << TextOf(file) << "\n";
}

void SignWithSlot(const Pkcs11Client& client, const SlotDescription& slot, const Options& options,
                  const Bytes& digestInfo)
{
    std::cout << "Signing with \"" << slot.label << "\" of " << slot.description << "\n";
    const CK_SESSION_HANDLE session = client.OpenSession(slot.id);
    client.Login(session, options.code);
    const SigningKey key = client.FindSigningKey(session);
    std::cout << "    certificate of " << SubjectName(key.certificate) << "\n"
              << "    valid from " << Date(key.validFrom) << " to " << Date(key.validTo) << "\n"
              << "    key handle 0x" << std::hex << key.key << std::dec << "\n";

    const Bytes signature = client.Sign(session, key.key, digestInfo);
    std::cout << "    signature of " << signature.size() << " bytes\n";
    WriteFile(options.folder / (slot.label + ".sig"), {signature.begin(), signature.end()});
    WriteFile(options.folder / (slot.label + ".pem"),
              Botan::PEM_Code::encode(key.certificate, "CERTIFICATE"));
}

void SignDocument(const Options& options)
{
    const Bytes digestInfo = DigestInfoOfFile(options.document, options.hash);
    std::filesystem::create_directories(options.folder);

    const Pkcs11Client client(options.module);
    const auto slots = client.Slots();
    if (slots.size() < 2) {
        throw std::runtime_error("There is no card in any reader.");
    }
    std::cout << "Slots:\n";
    for (const auto& slot : slots) {
        std::cout << "    " << slot.id << "  " << slot.description << "  (token \"" << slot.label << "\", "
                  << slot.manufacturer << " " << slot.model << ")\n";
    }
    std::cout << options.hash << " of " << TextOf(options.document) << " in a DigestInfo of "
              << digestInfo.size() << " bytes\n";
    // The two slots of a card stand side by side.
    SignWithSlot(client, slots[0], options, digestInfo);
    SignWithSlot(client, slots[1], options, digestInfo);
}

// Both keys, into the folder. False, after one sentence about it, when the card does not sign.
bool SignWithCard(const Pkcs11Client& client, const WatchedCard& card, const Options& options,
                  const Bytes& digestInfo)
{
    bool signedBoth = false;
    try {
        std::filesystem::create_directories(options.folder);
        SignWithSlot(client, card.qualified, options, digestInfo);
        SignWithSlot(client, card.ordinary, options, digestInfo);
        std::cout << "Signed with the card in \"" << card.reader << "\".\n";
        signedBoth = true;
    } catch (const Pkcs11Error& error) {
        std::cout << "Not signed with the card in \"" << card.reader << "\": " << error.what() << "\n";
    }
    // Other programs shall have the card while this one waits.
    client.CloseSessions(card.qualified.id);
    client.CloseSessions(card.ordinary.id);
    return signedBoth;
}

void Interrupt(int /*signal*/)
{
    interrupted = 1;
}

void WatchCards(const Options& options)
{
    (void)std::signal(SIGINT, Interrupt);
    (void)std::signal(SIGTERM, Interrupt);
    const Bytes digestInfo = DigestInfoOfFile(options.document, options.hash);
    const Pkcs11Client client(options.module);
    CardWatch watch(client);
    std::cout << "Waiting for cards ...\n" << std::flush;
    unsigned long signatures = 0;
    while (interrupted == 0 && (options.count == 0 || signatures < options.count)) {
        const CardChanges changes = watch.Look();
        for (const std::string& reader : changes.removed) {
            std::cout << "A card was removed from \"" << reader << "\".\n";
        }
        for (const WatchedCard& card : changes.inserted) {
            if (options.count != 0 && signatures == options.count) {
                break;
            }
            std::cout << "A card was inserted into \"" << card.reader << "\".\n" << std::flush;
            Options ofCard = options;
            ofCard.folder = options.folder / std::to_string(signatures + 1);
            signatures += SignWithCard(client, card, ofCard, digestInfo) ? 1 : 0;
        }
        std::cout << std::flush;
        std::this_thread::sleep_for(watchPause);
    }
    std::cout << "Signed with " << signatures << (signatures == 1 ? " card.\n" : " cards.\n");
}

} // namespace

int main(int count, char** words)
{
    return RunProgram(
        "sign_document", usage, [&] { return ReadOptions(WordsOf(count, words)); },
        [](const Options& options) { (options.watch ? WatchCards : SignDocument)(options); });
}
