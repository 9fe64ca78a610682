#include "softcard/card/card_maker.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/authority.h"
#include "softcard/card/card_store.h"
#include "softcard/card/code_change.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <system_error>

namespace softcard {
namespace {

constexpr uint32_t leastBits = 2048;
constexpr uint32_t mostBits = 4096;
constexpr uint32_t bitsStep = 8; // the boundary counts a modulus in bytes
constexpr size_t longestManufacturer = 32;
constexpr size_t longestModel = 16;
constexpr size_t longestCommonName = 64;
constexpr size_t serialNumberLength = 8;

void RequireOptionalCode(const std::optional<SecretText>& code)
{
    if (code) {
        RequireCode(*code);
    }
}

void RequireOrder(const FamilyOrder& order)
{
    RequireReference(order.reference);
    if (order.bits < leastBits || order.bits > mostBits || order.bits % bitsStep != 0) {
        throw StoreError(StoreFailure::badArgument, "A key has 2048 to 4096 bits, a multiple of 8.");
    }
    if (order.certificates > mostKeys) {
        throw StoreError(StoreFailure::badArgument, "A family has 0 to 8 certificates.");
    }
}

void RequireField(const std::string& name, const std::string& text, size_t longest)
{
    if (text.empty() || text.size() > longest || !DecodeUtf8(text) ||
        std::any_of(text.begin(), text.end(), [](char byte) { return byte >= 0 && byte < ' '; })) {
        throw StoreError(StoreFailure::badArgument, "A " + name + " has 1 to " + std::to_string(longest) +
                                                        " bytes of UTF-8 without control characters.");
    }
}

void RequireSubject(const std::string& subject)
{
    const auto characters = DecodeUtf8(subject);
    const bool valid = characters && characters->size() <= longestCommonName &&
                       std::none_of(characters->begin(), characters->end(),
                                    [](char32_t character) { return character < U' ' || character == 0x7F; });
    if (!valid) {
        throw StoreError(StoreFailure::badArgument,
                         "A subject is at most 64 characters of UTF-8 without control characters.");
    }
}

void RequireNewName(const CardStore& store, const std::string& name)
{
    if (store.Contains(name)) {
        throw StoreError(StoreFailure::nameTaken, "There is already a card named \"" + name + "\".");
    }
}

void RequireMakeable(const CardStore& store, const NewCard& request)
{
    RequireCardName(request.name);
    RequireSubject(request.subject);
    RequireOptionalCode(request.bok);
    RequireOptionalCode(request.pin);
    RequireCode(request.puk);
    RequireOrder(request.qualified);
    RequireOrder(request.ordinary);
    RequireField("manufacturer", request.manufacturer, longestManufacturer);
    RequireField("model", request.model, longestModel);
    RequireNewName(store, request.name);
}

constexpr std::string_view workshopName = ".new-";
constexpr std::chrono::hours longestWork{24}; // far longer than any card takes

// A card that is being made, or one that is being deleted.
bool IsUnfinished(const std::string& name)
{
    return name.starts_with(workshopName) || (name.starts_with('.') && name.ends_with(deletedEnding));
}

// Removes what killed programs left behind. What cannot be examined or removed is kept.
void ClearUnfinishedCards(const std::filesystem::path& cards)
{
    const auto oldest = std::filesystem::file_time_type::clock::now() - longestWork;
    for (const auto& entry : std::filesystem::directory_iterator(cards)) {
        std::error_code error;
        if (IsUnfinished(Utf8Of(entry.path().filename())) && IsFolder(entry.path()) &&
            entry.last_write_time(error) < oldest && !error) {
            std::filesystem::remove_all(entry.path(), error);
        }
    }
}

// The folder that a card grows in, cleared away unless the card took its place in the store.
class Workshop
{
public:
    explicit Workshop(const std::filesystem::path& cards)
    {
        EnsurePrivateFolder(cards);
        ClearUnfinishedCards(cards);
        folder = MakeUniqueFolder(cards / workshopName);
    }

    ~Workshop()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;
    Workshop(Workshop&&) = delete;
    Workshop& operator=(Workshop&&) = delete;

    [[nodiscard]] const std::filesystem::path& Folder() const { return folder; }

    void MoveTo(const std::filesystem::path& place, const std::string& name)
    {
        if (!MoveFolder(folder, place)) {
            throw StoreError(StoreFailure::nameTaken, "There is already a card named \"" + name + "\".");
        }
    }

private:
    std::filesystem::path folder;
};

void MakeKeys(Card& card, const Authority& authority, KeyFamily family, const NewCard& request,
              const SecretBytes& secret)
{
    const bool isQualified = family == KeyFamily::qualified;
    const FamilyOrder& order = isQualified ? request.qualified : request.ordinary;
    Botan::AutoSeeded_RNG random;
    for (uint32_t i = 1; i <= order.certificates; ++i) {
        if (request.onStep) {
            request.onStep("Generating " + std::string(isQualified ? "qualified" : "ordinary") + " key " +
                           std::to_string(i) + " of " + std::to_string(order.certificates) + " (" +
                           std::to_string(order.bits) + " bits)");
        }
        const Botan::RSA_PrivateKey key(random, order.bits);
        const auto certificate = authority.Issue(key, {card.subject, card.serialNumber}, family);
        AddKey(card, family, {key, certificate.BER_encode(), order.reference}, secret);
    }
}

std::string MakeSerialNumber()
{
    std::vector<uint8_t> bytes(serialNumberLength);
    Botan::AutoSeeded_RNG().randomize(bytes.data(), bytes.size());
    return Botan::hex_encode(bytes);
}

} // namespace

void RequireReference(uint32_t reference)
{
    if (reference < 1 || reference > 4) {
        throw StoreError(StoreFailure::badArgument, "A key reference is 1, 2, 3 or 4.");
    }
}

void MakeCard(const Directories& directories, const NewCard& request)
{
    const CardStore store(directories);
    RequireMakeable(store, request);
    const Authority authority(directories);
    Workshop workshop(directories.Cards());
    Card card;
    card.name = request.name;
    card.serialNumber = MakeSerialNumber();
    card.subject = request.subject.empty() ? request.name : request.subject;
    card.folder = workshop.Folder();
    card.manufacturer = request.manufacturer;
    card.model = request.model;
    card.versions = request.versions;
    const CardSecrets secrets = MakeCodes({request.bok, request.pin, request.puk});
    MakeKeys(card, authority, KeyFamily::qualified, request, secrets.qualified);
    MakeKeys(card, authority, KeyFamily::ordinary, request, secrets.ordinary);
    WriteCodeRecords(card.folder, secrets.records);
    WriteCardDescription(card);
    RequireNewName(store, request.name);
    if (request.beforeUse) {
        request.beforeUse();
    }
    workshop.MoveTo(store.FolderOf(request.name), request.name);
}

} // namespace softcard
