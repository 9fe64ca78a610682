// Makes the calls that a text tells of, on the library or on the front. seeds/CALLS.md explains the text.
#pragma once

#include "tests/fuzz/calls/call_pool.h"
#include "tests/fuzz/calls/call_record.h"
#include "tests/fuzz/calls/card_world.h"
#include "tests/fuzz/calls/check.h"
#include "tests/fuzz/calls/guarded_buffer.h"
#include "tests/support/module_types.h"

#include <array>
#include <functional>
#include <string_view>

namespace fuzz {

using blackbox::FrontTypes;
using blackbox::LibraryTypes;

// What a text may do.
struct Powers
{
    bool cards = false;   // insert and remove
    bool answers = false; // say what the card layer answers
    // End the library and start it again. Only a text whose length is a multiple of 8 does so.
    bool restarts = false;
    // Of every buffer at least, in bytes, for calls whose length another thread can change meanwhile.
    std::size_t room = 0;
    std::string_view operations{}; // these alone, when there are any
};

template <typename Types>
class CallDecoder
{
public:
    using Ulong = typename Types::Ulong;
    using FunctionList = typename Types::FunctionList;

    // The later functions are those of the front, and null for the library.
    CallDecoder(FunctionList* itsFunctions, front::CK_FUNCTION_LIST_3_0* itsLaterFunctions, CallPool& itsPool,
                CardWorld& itsWorld, Judge& itsJudge, Powers itsPowers)
        : f(itsFunctions), f3(itsLaterFunctions), pool(itsPool), world(itsWorld), judge(itsJudge),
          powers(itsPowers)
    {
    }

    void Play(CallText& text);
    void LookAtSlots();

private:
    using Bytes = fuzz::Bytes;

    struct Template
    {
        std::vector<std::optional<Bytes>> values;
        std::vector<typename Types::Attribute> records;
        typename Types::Attribute* data = nullptr;
        Ulong count = 0;
    };

    // A call that ends in the judge's hands.
    void Make(CallRecord& record, const std::function<Ulong()>& call);

    void PlayOperation(char operation, CallText& text);
    bool PlayCardOperation(char operation, CallText& text);
    bool PlayGeneralOperation(char operation, CallText& text);
    bool PlayObjectOperation(char operation, CallText& text);
    bool PlayCryptoOperation(char operation, CallText& text);
    // Those of version 3.0; nothing for the library.
    bool PlayLaterOperation(char operation, CallText& text);

    template <typename Info>
    void AskForInfo(CallRecord record, CallText& text, const std::function<Ulong(Info*)>& call);
    void AskForList(CallRecord record, CallText& text, const std::function<Ulong(Ulong*, Ulong*)>& call);
    void OpenSession(CallText& text);
    void Login(CallText& text);
    void CreateObject(CallText& text);
    void CopyObject(CallText& text);
    void ReadAttributes(CallText& text);
    void BeginSearch(CallText& text);
    void ContinueSearch(CallText& text);
    void GenerateRandom(CallText& text);
    void Refuse(CallText& text);
    void Restart();
    void LoginWithName(CallText& text);
    void CancelOperations(CallText& text);
    void ListInterfaces(CallText& text);
    void GetInterface(CallText& text);
    void RefuseMessage(CallText& text);

    struct Begin
    {
        Function function;
        Operation operation;
        Ulong (*call)(Ulong, typename Types::Mechanism*, Ulong);
    };
    void BeginOperation(const Begin& begin, CallText& text);
    struct Work
    {
        Function function;
        Operation operation;
        Step step;
    };
    // Calls that give back bytes. The data are there when the call has any.
    using WorkCall =
        std::function<Ulong(Ulong session, uint8_t* data, Ulong length, uint8_t* out, Ulong* outLength)>;
    void DoWork(const Work& work, CallText& text, const WorkCall& call);
    void Feed(const Work& work, CallText& text, Ulong (*call)(Ulong, uint8_t*, Ulong));

    Ulong Session(CallText& text) { return static_cast<Ulong>(pool.sessions.Take(text)); }
    Ulong Slot(CallText& text) { return static_cast<Ulong>(pool.slots.Take(text)); }
    Ulong Object(CallText& text) { return static_cast<Ulong>(pool.objects.Take(text)); }
    // Null, in the front, when the text says so.
    typename Types::Mechanism* TakeMechanism(CallText& text);
    Template TakeTemplate(CallText& text);
    std::optional<Bytes> TakeInput(CallText& text);

    FunctionList* f;
    front::CK_FUNCTION_LIST_3_0* f3;
    CallPool& pool;
    CardWorld& world;
    Judge& judge;
    Powers powers;

    typename Types::Mechanism mechanism{};
    std::optional<Bytes> parameter;
    bool mayRestart = false;
};

// In later_calls.cpp.
template <>
bool CallDecoder<LibraryTypes>::PlayLaterOperation(char operation, CallText& text);
template <>
bool CallDecoder<FrontTypes>::PlayLaterOperation(char operation, CallText& text);
template <>
void CallDecoder<FrontTypes>::LoginWithName(CallText& text);
template <>
void CallDecoder<FrontTypes>::CancelOperations(CallText& text);
template <>
void CallDecoder<FrontTypes>::ListInterfaces(CallText& text);
template <>
void CallDecoder<FrontTypes>::GetInterface(CallText& text);
template <>
void CallDecoder<FrontTypes>::RefuseMessage(CallText& text);

} // namespace fuzz
