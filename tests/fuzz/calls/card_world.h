// The cards and readers of the call fuzzers, by way of the scripted card-access library.
#pragma once

#include "tests/fuzz/calls/call_text.h"
#include "tests/support/scripted_card/scripted_card.h"
#include "tests/support/temporary_folder.h"

#include <mutex>
#include <set>
#include <string>

namespace fuzz {

class CardWorld
{
public:
    // One reader has a card. With `logs`, every line of the log is made, and goes to standard output; else none is.
    explicit CardWorld(bool logs);

    // Puts the first card in.
    void Begin();
    // Takes out every card and forgets every answer, and checks that each card session was ended as it must be.
    void End();

    // Both return when the library has seen it.
    void Insert(CallText& text);
    void Remove(CallText& text);

    // What the card layer answers to a call to come: which function, status, outputs, lengths, or an exception.
    void TakeAnswer(CallText& text);
    // A change of a card that is in: its flags, texts, key records, certificates.
    void ChangeCard(CallText& text);
    // An event of any kind, with any reader, session and status.
    void TellEvent(CallText& text);
    // What CardAPI_GetReaderList says from now on, which the library asks when it starts and at an insertion without a
    // session.
    void SetReaderList(CallText& text);

    // The card layer may have thrown.
    [[nodiscard]] bool Throws() const { return throws; }
    // The card layer has told events of cards that did not come or go.
    [[nodiscard]] bool TellsWildEvents() const { return tellsWildEvents; }

    // Bytes of any kind: "n" a null pointer (none), "e" none, and so on; see seeds/CALLS.md.
    std::optional<Bytes> TakeBytes(CallText& text) const;
    // What the last call of this thread gave back, for the calls that follow.
    static void SetLastOutput(const Bytes& output);

private:
    static std::u16string ReaderName(CallText& text);
    void ReadKey(CallText& text, CardKeyInfo& key) const;
    void RemoveAll();
    void Settle();
    void CheckLedger();

    std::mutex mutex; // of what follows; inputs of several threads insert and remove
    const TemporaryFolder folder{"tavrik-fuzz-"}; // of config.json
    ScriptedCard* script;
    const scripted::Card certified;
    std::set<std::u16string> told; // readers of events that have told of more than their own card
    std::set<std::u16string> filled;
    bool throws = false;
    bool tellsWildEvents = false;
    bool hasStray = false; // card sessions that were made without being handed over
};

} // namespace fuzz
