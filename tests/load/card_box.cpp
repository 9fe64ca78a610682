#include "tests/load/card_box.h"

#include "tests/support/test_certificates.h"

#include <botan/numthry.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace load {
namespace {

constexpr unsigned keyOfAllCards = 0;
constexpr std::size_t digestLength = 32; // SHA-256
constexpr std::size_t numberLength = 8;

std::u16string ReaderName(std::size_t reader)
{
    return u"Reader " + std::u16string(1, static_cast<char16_t>(u'1' + reader));
}

// The number at the end of what a card is given to sign: a digest or a DigestInfo.
uint64_t NumberIn(const Bytes& data)
{
    if (data.size() < digestLength) {
        throw std::runtime_error("the card is to sign something else");
    }
    uint64_t number = 0;
    for (auto byte = data.end() - numberLength; byte != data.end(); ++byte) {
        number = (number << 8U) | *byte;
    }
    return number;
}

} // namespace

Bytes DigestInfo(uint64_t number)
{
    Bytes info = blackbox::Sha256DigestInfo({});
    info.resize(info.size() + digestLength - numberLength, 0xA5);
    for (unsigned shift = 64; shift > 0; shift -= 8) {
        info.push_back(static_cast<uint8_t>(number >> (shift - 8)));
    }
    return info;
}

bool IsSignatureOf(uint64_t number, const Bytes& signature)
{
    static const Botan::BigInt modulus = blackbox::TestKey(keyOfAllCards).get_n();
    static const Botan::BigInt exponent = blackbox::TestKey(keyOfAllCards).get_e();
    const Bytes info = DigestInfo(number);
    Bytes block(modulus.bytes(), 0xFF);
    block[0] = 0;
    block[1] = 1;
    block[block.size() - info.size() - 1] = 0;
    std::copy(info.rbegin(), info.rend(), block.rbegin());
    return signature.size() == block.size() &&
           Botan::power_mod(Botan::BigInt(signature), exponent, modulus) == Botan::BigInt(block);
}

CardBox::CardBox(ScriptedCard& itsScript, unsigned readers) : script(itsScript), present(readers, true)
{
    card.qes.push_back(blackbox::TestCertifiedKey(keyOfAllCards, 2, "Qualified"));
    card.es.push_back(blackbox::TestCertifiedKey(keyOfAllCards, 1, "Ordinary"));
    card.qesKeyInfo = card.qes.front().key;
    card.esKeyInfo = card.es.front().key;
    script.SetDirectories(u"/nowhere/", u"/nowhere/");
    script.SetRecording(false);
    script.SignWith([this](const std::string& /*function*/, const Bytes& data) { return Sign(data); });
    for (std::size_t reader = 0; reader < present.size(); ++reader) {
        script.AddReader(ReaderName(reader), card);
    }
}

void CardBox::ChangeOneCard(std::mt19937& random)
{
    Change(std::uniform_int_distribution<std::size_t>(0, present.size() - 1)(random));
}

void CardBox::PutAllIn()
{
    for (std::size_t reader = 0; reader < present.size(); ++reader) {
        if (!present[reader]) {
            Change(reader);
        }
    }
}

void CardBox::Change(std::size_t reader)
{
    if (present[reader]) {
        script.RemoveCard(ReaderName(reader));
    } else {
        script.InsertCard(ReaderName(reader), card);
    }
    present[reader] = !present[reader];
    ++changes;
    if (!script.WaitUntilEventsProcessed(std::chrono::minutes(2))) {
        throw std::runtime_error("an event of a reader is never taken");
    }
}

std::map<uint64_t, unsigned> CardBox::TakeSignatures()
{
    const std::lock_guard lock(mutex);
    return std::exchange(made, {});
}

// Of a DigestInfo, whatever the card is given: the card of a qualified key makes that by itself.
Bytes CardBox::Sign(const Bytes& data)
{
    const uint64_t number = NumberIn(data);
    {
        const std::lock_guard lock(mutex);
        ++made[number];
    }
    return blackbox::TestSignature(keyOfAllCards, DigestInfo(number));
}

} // namespace load
