// The readers of a load test, with cards that sign for real, each signature once, and that come and go.
#pragma once

#include "tests/support/scripted_card/scripted_card.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace load {

using Bytes = std::vector<uint8_t>;

// What is to be signed carries its number.
Bytes DigestInfo(uint64_t number);

// Whether this is the PKCS#1 signature of that number, made with the key of all cards. From any thread.
bool IsSignatureOf(uint64_t number, const Bytes& signature);

class CardBox
{
public:
    // Takes the script's readers over; at first every reader has a card.
    CardBox(ScriptedCard& script, unsigned readers);

    // Takes the card out of a reader at random, or puts one in when it has none, and waits until that has been told.
    // Throws std::runtime_error when it never is.
    void ChangeOneCard(std::mt19937& random);
    // Every reader has a card again.
    void PutAllIn();

    // How often the cards have signed each number since this was last asked.
    std::map<uint64_t, unsigned> TakeSignatures();

    [[nodiscard]] std::size_t Changes() const { return changes; }

private:
    Bytes Sign(const Bytes& data);
    void Change(std::size_t reader);

    ScriptedCard& script;
    scripted::Card card;
    std::vector<bool> present;
    std::size_t changes = 0;
    std::mutex mutex;
    std::map<uint64_t, unsigned> made; // guarded by it
};

} // namespace load
