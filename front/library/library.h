// The library behind the front, loaded privately from the front's own folder and called in its packed form.
// Every call but those of its start and end, and those about slots and what cards tell of themselves, is made by the
// one thread that has access (LibraryAccess). What the library throws goes on to the caller, unless a session is only
// closed.
#pragma once

#include "front/abi/attributes.h"
#include "front/abi/cryptoki.h"

#include <filesystem>
#include <optional>
#include <shared_mutex>
#include <vector>

namespace front {

// A slot of the library.
struct LibrarySlot
{
    packed::CK_SLOT_ID id = 0;
    packed::CK_SLOT_ID card = 0; // the same number for the two slots of a card
};

// What a card's slot shows of itself.
struct SlotFacts
{
    LibrarySlot librarySlot;
    CK_SLOT_INFO slot{};
    bool decrypts = false; // the key is of the family that also decrypts

    // What the card is asked for.
    CK_TOKEN_INFO token{};
    bool rsa = false;     // the key of the slot is an RSA key, or the card doesn't tell
    CK_ULONG keyBits = 0; // 0 when the card doesn't tell
};

class Library
{
public:
    // The one of the process; never destroyed.
    static Library& Instance();

    // Loads the library if need be and starts it. In a forked child what was inherited running is ended
    // first. Answers CKR_GENERAL_ERROR when it can't be loaded or is already in use by the host itself.
    CK_RV Start();
    // A library whose end fails is let go of, so that the next start has a fresh one, unless the process ends.
    CK_RV End();
    // Lets go of the loaded library, which ends it if it runs.
    void Unload();
    // Between the first two, no thread asks about slots. In a forked child, the library's mutex is made anew.
    void HoldForFork() { asking.lock(); }
    void GoOnAfterFork() { asking.unlock(); }
    void AfterFork();

    [[nodiscard]] CK_INFO Info() const;

    // Slots. None of these asks a card, and none waits while one is at work.
    // Whether the slots are others than these. Asks without the lines that a whole list leaves in the log.
    [[nodiscard]] bool HasOtherSlots(const std::vector<packed::CK_SLOT_ID>& known) const;
    [[nodiscard]] bool HasSlot(packed::CK_SLOT_ID slot) const;
    // How many are to be expected saves a question; 0 when it is not known.
    [[nodiscard]] std::vector<packed::CK_SLOT_ID> Slots(std::size_t expected = 0) const;
    // None when the card has gone meanwhile.
    [[nodiscard]] std::optional<CK_SLOT_INFO> SlotInfo(packed::CK_SLOT_ID slot) const;

    // Asks the slot's card, which may take its time; one thread at a time for each card. False when the card
    // has gone.
    bool Describe(SlotFacts& facts) const;

    // Refuses with CKR_DEVICE_REMOVED when the card has gone.
    [[nodiscard]] packed::CK_SESSION_HANDLE OpenSession(packed::CK_SLOT_ID slot) const;
    void CloseSession(packed::CK_SESSION_HANDLE session) const noexcept;
    // The code is handed on where it lies; a null one has the card side ask for it.
    CK_RV Login(packed::CK_SESSION_HANDLE session, CK_USER_TYPE user, const CK_UTF8CHAR* code,
                CK_ULONG length) const;
    void Logout(packed::CK_SESSION_HANDLE session) const;

    [[nodiscard]] std::vector<packed::CK_OBJECT_HANDLE> Objects(packed::CK_SESSION_HANDLE session) const;
    // All attributes that the object has a value for, in the form that applications read.
    [[nodiscard]] Attributes Read(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE object) const;

    // `output` is what came out.
    CK_RV Sign(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE key, const Bytes& data,
               Bytes& output) const;
    CK_RV Decrypt(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE key, const Bytes& data,
                  Bytes& output) const;

private:
    bool Load();
    [[nodiscard]] packed::CK_ULONG CountSlots() const;
    [[nodiscard]] bool Shows(packed::CK_SLOT_ID slot, packed::CK_SLOT_INFO& info) const;

    // Shared by all that ask about slots; a fork has it alone, so that no lock of the library's lists is held then.
    mutable std::shared_mutex asking;
    void* handle = nullptr;
    packed::CK_FUNCTION_LIST* functions = nullptr;
    bool running = false;
    bool toldOfEnd = false; // is to be told of the end of the process, since it was loaded
    bool inherited = false; // runs, but was started by the parent of this process
};

} // namespace front
