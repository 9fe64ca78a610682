// The card-access library of the unit tests: what it was asked, and what it shall answer.
#pragma once

#include "src/card/card_api.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// One verification of a code, as it arrived.
struct StubVerifyCall
{
    bool signaturePin;
    CardSession session;
    std::optional<std::string> code; // nothing for a null code
    VerifyResult resultBefore;
    bool fourthIsNull;
    uint32_t fifth;
    uint32_t sixth;
    uint32_t seventh;
};

// What a verification answers.
struct StubVerifyAnswer
{
    CardStatus status;
    uint32_t codeStatus;
    uint8_t verified;
};

// One signature or decryption, as it arrived.
struct StubSignCall
{
    std::string function;
    CardSession session;
    std::vector<uint8_t> data;
    uint32_t capacity;
    uint32_t lastArgument;
};

struct StubCardState
{
    std::mutex lock;                // of the calls list, for tests with several threads
    std::vector<std::string> calls; // "CloseSession 5": the function and its card session

    std::function<void(CardSession)> onCloseSession;
    CardStatus transactionStatus = 0;
    CardStatus closeStatus = 0;

    CardStatus flagsStatus = 0;
    uint32_t flags = 0;

    CardStatus tokenInfoStatus = 0;
    CardTokenInfo tokenInfo{};
    uint32_t tokenInfoCapacity = 0;

    int32_t readerCount = -1; // in characters
    std::u16string readers;   // with the terminators
    std::vector<std::u16string> openedReaders;
    CardSession nextSession = 0; // 0 for a reader that cannot be opened

    CardStatus certificateStatus = 0;
    std::vector<std::vector<uint8_t>> certificates;
    std::vector<CardKeyInfo> keys;
    uint32_t certificateCount = 0;

    CardStatus signStatus = 0;
    std::vector<uint8_t> signature;
    std::optional<uint32_t> announcedLength; // instead of the length of `signature`
    std::vector<StubSignCall> signCalls;

    std::vector<StubVerifyAnswer> verifyAnswers; // used up from the front
    std::vector<StubVerifyCall> verifyCalls;

    const void* logger = nullptr;
    uint32_t appDataCapacity = 0;
    uint32_t userDataCapacity = 0;
    std::vector<uint32_t> waits;
    std::function<void(ReaderCallback)> onWait;
};

// The state, and how often a call with this text was made. Loads the stub library when it is the first.
StubCardState& StubCard();
int CallsOf(const std::string& call);

// Forgets everything recorded and goes back to the answers of the start.
void ResetStubCard();
