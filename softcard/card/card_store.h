// The cards on disk. A card is a folder `cards/NAME` with
//   card.json           its serial number, its subject and the list of its keys
//   state.json          its codes (see code_record.h)
//   qes-N.der, es-N.der the certificates
//   qes-N.key, es-N.key the private keys (see key_file.h)
//   channel             a mark that is new with each break of the secure channel
//   faults.json         what is to go wrong (see fault.h)
//   lock, transaction   files that carry the locks
#pragma once

#include "softcard/base/secret.h"
#include "softcard/base/text.h"
#include "softcard/card/code_record.h"
#include "softcard/card/directories.h"
#include "softcard/system/files.h"

#include <botan/rsa.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace softcard {

enum class KeyFamily
{
    qualified, // QES, behind the signature PIN
    ordinary   // ES, behind the login code
};

struct CardKey
{
    uint32_t reference = 0; // 1 to 4, decides what signing takes
    std::string certificateFile;
    std::string keyFile;
    std::vector<uint8_t> certificate; // DER
};

inline constexpr size_t mostKeys = 8; // of a family

// Of the folder that a deleted card is taken apart in, which begins with a dot and the name.
inline constexpr std::string_view deletedEnding = ".deleted";

struct Card
{
    std::string name;
    std::string serialNumber;
    std::string subject;
    std::string manufacturer = "Tavrik";
    std::string model = "Software card";
    std::array<uint8_t, 4> versions{1, 0, 1, 0}; // hardware major, minor, firmware major, minor
    std::vector<CardKey> qualifiedKeys;
    std::vector<CardKey> ordinaryKeys;
    std::filesystem::path folder;

    [[nodiscard]] std::vector<CardKey>& Keys(KeyFamily family)
    {
        return family == KeyFamily::qualified ? qualifiedKeys : ordinaryKeys;
    }
    [[nodiscard]] const std::vector<CardKey>& Keys(KeyFamily family) const
    {
        return family == KeyFamily::qualified ? qualifiedKeys : ordinaryKeys;
    }
};

using PrivateKeys = std::vector<std::shared_ptr<const Botan::RSA_PrivateKey>>;

class CardStore
{
public:
    explicit CardStore(const Directories& directories) : folder(directories.Cards()) {}

    [[nodiscard]] std::filesystem::path FolderOf(const std::string& name) const
    {
        return folder / PathOf(name);
    }
    [[nodiscard]] bool Contains(const std::string& name) const;

    // The names of all cards, sorted.
    [[nodiscard]] std::vector<std::string> Names() const;

    // Throws StoreError for a card that does not exist, and std::exception for one that cannot be read. The
    // certificates are taken as they stand: this can run while the process ends, when the cryptographic
    // library may be gone already.
    [[nodiscard]] Card Load(const std::string& name) const;

private:
    std::filesystem::path folder;
};

// Whether the folder is that of a card. One that cannot be looked at is none.
bool HasCardDescription(const std::filesystem::path& folder);

// Whether the name can stand for a card: letters, digits, '-', '_' and '.', with no leading '.'. A folder of
// another name is no card, whatever is in it.
bool IsCardName(std::string_view name);

// Throws StoreError unless it can.
void RequireCardName(std::string_view name);

struct NewKey
{
    const Botan::RSA_PrivateKey& key;
    std::vector<uint8_t> certificate; // DER
    uint32_t reference = 0;
};

// Writes card.json.
void WriteCardDescription(const Card& card);

// In the order of Card::Keys. Throws std::exception when a key cannot be read with the secret. Key files of
// the old form get the one of today (see key_file.h); the caller does not hold the card's lock.
PrivateKeys LoadPrivateKeys(const Card& card, KeyFamily family, const SecretBytes& secret);

// Writes the key, encrypted with the secret, and its certificate into the card's folder, and adds them to the
// card, whose description is not written. The family has fewer than `mostKeys`.
void AddKey(Card& card, KeyFamily family, const NewKey& key, const SecretBytes& secret);

// Takes the card out of the store at once, and then its files away. Throws StoreError, and std::system_error.
void DeleteCard(const CardStore& store, const std::string& name);

// Held around every change of a card's state.
FileLock LockCard(const std::filesystem::path& cardFolder);

} // namespace softcard
