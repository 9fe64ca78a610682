#include "tests/fuzz/calls/card_world.h"

#include "src/botan/big_int_bytes.h"
#include "tests/fuzz/calls/check.h"
#include "tests/support/script.h"
#include "tests/support/test_certificates.h"

#include <array>
#include <fstream>

#include <stdexcept>

#include <sys/personality.h>

namespace fuzz {
namespace {

using scripted::Answer;
using scripted::Outputs;

thread_local Bytes lastOutput;

constexpr const char16_t* firstReader = u"Reader A";

// The first two are those of well-behaved inputs.
const std::array<std::u16string, 6>& ReaderNames()
{
    static const std::array<std::u16string, 6> names{
        firstReader,     u"Reader B", u"", u"\u010C\xD800 %s%n VERB: x\r\n", std::u16string(300, u'R'),
        u"\u0141\u0152",
    };
    return names;
}

constexpr std::array answeringFunctions = {
    "StartTransaction",    "StopTransaction",    "GetTokenInfo",   "GetSessionFlags",
    "QES_GetCertificates", "ES_GetCertificates", "QES_GetKeyInfo", "ES_GetKeyInfo",
    "QES_SignData",        "ES_SignData",        "ES_DecryptData", "Passwords_VerifyBOK",
    "QES_VerifyPin",       "OpenSession",        "CloseSession",   "Hash"};

scripted::Bytes SignatureOfCard(const std::string& function, const scripted::Bytes& data)
{
    constexpr std::size_t longest = 128 - 11; // bytes that a block of the test keys holds
    if (data.size() > longest) {
        return {};
    }
    if (function != "QES_SignData") {
        return blackbox::TestSignature(1, data);
    }
    const scripted::Bytes digestInfo = blackbox::Sha256DigestInfo(data);
    return digestInfo.size() > longest ? scripted::Bytes() : blackbox::TestSignature(0, digestInfo);
}

Bytes ModulusOf(unsigned key)
{
    const Botan::BigInt& modulus = blackbox::TestKey(key).get_n();
    return BigIntBytes(modulus);
}

Bytes NumberBytes(uint64_t number, std::size_t width)
{
    Bytes bytes;
    for (std::size_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<uint8_t>(number >> (8 * i)));
    }
    return bytes;
}

Bytes DigestInfo()
{
    return blackbox::Sha256DigestInfo(scripted::Bytes(32, 0x11));
}

} // namespace

CardWorld::CardWorld(bool logs) : script(blackbox::Script()), certified(blackbox::CertifiedCard())
{
    script->SetRecording(false);
    script->SignWith(SignatureOfCard);
    script->SetLogSwitches(scripted::LogSwitches{.toConsole = logs});
    // Each start has a command find out about the system, which takes longer than a thousand calls. It is not asked of a
    // kernel that says it is an old one.
    static_cast<void>(personality(UNAME26));
    std::ofstream(folder.Path() / "config.json") << R"({"log": {"logToFile": false}})";
    const std::u16string path = folder.Path().u16string() + u"/";
    script->SetDirectories(path, path);
    script->AddReader(firstReader);
}

void CardWorld::Begin()
{
    lastOutput.clear(); // of this thread; the others of an input have ended
    script->ForceReaderList(u"", -1);
    script->InsertCard(firstReader, certified);
    filled.insert(firstReader);
    Settle();
}

void CardWorld::End()
{
    RemoveAll();
    CheckLedger();
    throws = false;
    tellsWildEvents = false;
    hasStray = false;
}

void CardWorld::RemoveAll()
{
    script->ForgetAnswers();
    for (const std::u16string& reader : filled) {
        script->RemoveCard(reader);
    }
    filled.clear();
    for (const std::u16string& reader : told) {
        script->PushEvent(cardRemovedEvent, reader, 1);
    }
    told.clear();
    Settle();
}

void CardWorld::SetLastOutput(const Bytes& output)
{
    lastOutput = output;
}

void CardWorld::Settle()
{
    Check(script->WaitUntilEventsProcessed(std::chrono::seconds(20)), "CardAPI_WaitForReaderEvent",
          "the library takes events");
}

void CardWorld::CheckLedger()
{
    for (const scripted::LedgerEntry& entry : script->Ledger()) {
        Check(entry.closes == 1 || (hasStray && entry.closes == 0), "CardAPI_CloseSession",
              "each card session is closed once", static_cast<unsigned long>(entry.closes));
        Check(throws || entry.transactionStarts == entry.transactionStops, "CardAPI_StopTransaction",
              "each transaction is ended");
    }
    Check(script->Violations().empty(), "CardAPI", "no call on a card session that is not open");
    script->ForgetLedger();
}

std::u16string CardWorld::ReaderName(CallText& text)
{
    return ReaderNames().at(text.Choice(ReaderNames().size()));
}

void CardWorld::Insert(CallText& text)
{
    const std::u16string reader = ReaderName(text);
    const std::lock_guard lock(mutex);
    if (filled.insert(reader).second) {
        script->InsertCard(reader, certified);
        Settle();
    }
}

void CardWorld::Remove(CallText& text)
{
    const std::u16string reader = ReaderName(text);
    const std::lock_guard lock(mutex);
    if (filled.erase(reader) != 0) {
        script->RemoveCard(reader);
        Settle();
    }
}

void CardWorld::TakeAnswer(CallText& text)
{
    const std::string function = answeringFunctions.at(text.Choice(answeringFunctions.size()));
    Answer answer;
    answer.status = static_cast<CardStatus>(text.Number());
    while (true) {
        switch (text.Letter()) {
        case 'o':
            answer.outputs = static_cast<Outputs>(text.Choice(3));
            break;
        case 'v':
            answer.verify.emplace();
            answer.verify->status = static_cast<uint32_t>(text.Number());
            answer.verify->verified = static_cast<uint8_t>(text.Number());
            break;
        case 'b':
            answer.output = TakeBytes(text).value_or(Bytes());
            break;
        case 'c':
            answer.count = static_cast<uint32_t>(text.Number());
            break;
        case 'l':
            answer.length = static_cast<uint32_t>(text.Number());
            break;
        case 'T':
            throws = true;
            answer.hook = [] { throw std::runtime_error("card"); };
            break;
        default:
            script->Next(function, answer);
            return;
        }
    }
}

void CardWorld::ReadKey(CallText& text, CardKeyInfo& key) const
{
    while (true) {
        switch (text.Letter()) {
        case 'r':
            key.keyReference = static_cast<uint32_t>(text.Number());
            break;
        case 'b':
            key.modulusBits = static_cast<uint32_t>(text.Number());
            break;
        case 'm': {
            const Bytes modulus = TakeBytes(text).value_or(Bytes());
            key.modulusLength = std::min(modulus.size(), sizeof(key.modulus));
            std::copy_n(modulus.begin(), key.modulusLength, key.modulus);
            break;
        }
        case 'M':
            key.modulusLength = text.Number();
            break;
        case 'e': {
            const Bytes exponent = TakeBytes(text).value_or(Bytes());
            key.publicExponentLength = std::min(exponent.size(), sizeof(key.publicExponent));
            std::copy_n(exponent.begin(), key.publicExponentLength, key.publicExponent);
            break;
        }
        case 'E':
            key.publicExponentLength = text.Number();
            break;
        default:
            return;
        }
    }
}

void CardWorld::ChangeCard(CallText& text)
{
    const std::u16string reader = ReaderName(text);
    if (!filled.contains(reader)) {
        return;
    }
    script->ChangeCard(reader, [&](scripted::Card& card) {
        while (true) {
            switch (text.Letter()) {
            case 'f':
                card.flags = static_cast<uint32_t>(text.Number());
                break;
            case 'a':
                card.verifyActivatesMessaging = text.Choice(2) != 0;
                break;
            case 'M':
                card.manufacturer.assign(40, static_cast<char>(text.Letter()));
                break;
            case 'N': {
                const Bytes model = TakeBytes(text).value_or(Bytes());
                card.model.assign(model.begin(), model.end());
                break;
            }
            case 'K':
                ReadKey(text, card.qesKeyInfo);
                break;
            case 'k':
                ReadKey(text, card.esKeyInfo);
                break;
            case 'C':
            case 'c': {
                auto& keys = text.Choice(2) == 0 ? card.qes : card.es;
                scripted::CertifiedKey key{TakeBytes(text).value_or(Bytes()), certified.es.front().key, {}};
                ReadKey(text, key.key);
                if (text.Take('l')) {
                    key.reportedLength = static_cast<uint32_t>(text.Number());
                }
                keys.resize(std::min<std::size_t>(keys.size(), 8));
                keys.insert(text.Take('0') ? keys.begin() : keys.end(), key);
                break;
            }
            case 'd':
                (text.Choice(2) == 0 ? card.qes : card.es).clear();
                break;
            default:
                return;
            }
        }
    });
}

void CardWorld::TellEvent(CallText& text)
{
    const auto event = static_cast<uint32_t>(text.Number());
    const std::u16string reader = ReaderName(text);
    CardSession session = 0;
    switch (text.Letter()) {
    case 'm':
        if (filled.contains(reader)) {
            session = script->MakeSession(reader);
            hasStray = true;
        }
        break;
    case 'f': // of the card in the first reader
        if (filled.contains(firstReader)) {
            session = script->MakeSession(firstReader);
            hasStray = true;
        }
        break;
    case '1':
        session = event == cardRemovedEvent ? 1 : 0; // nobody calls the card with it
        break;
    default:
        break;
    }
    tellsWildEvents = true;
    told.insert(reader);
    // Without a session the library goes through all readers of the list.
    told.insert(ReaderNames().begin(), ReaderNames().end());
    script->PushEvent(event, reader, session, static_cast<CardStatus>(text.Number()));
    Settle();
}

void CardWorld::SetReaderList(CallText& text)
{
    constexpr std::size_t longest = 1023;
    std::u16string content;
    while (content.size() < longest && !text.Take('.') && !text.Rest().empty()) {
        content += ReaderName(text);
        content.append(text.Take('+') ? 0 : 1, u'\0');
    }
    content.resize(std::min(content.size(), longest));
    const int32_t result =
        text.Take('=') ? static_cast<int32_t>(text.Number()) : static_cast<int32_t>(content.size());
    script->ForceReaderList(content, result);
}

std::optional<Bytes> CardWorld::TakeBytes(CallText& text) const
{
    Bytes bytes;
    switch (text.Letter()) {
    case 'n':
        return std::nullopt;
    case 'h':
        bytes.assign(32, 0x11);
        break;
    case 'd':
        bytes = DigestInfo();
        break;
    case 'l':
        bytes = lastOutput;
        break;
    case 'c':
        bytes = certified.qes.front().certificate;
        break;
    case 'C':
        bytes = certified.es.front().certificate;
        break;
    case 'b':
        bytes.assign(text.Number() % 5000, 0x81);
        break;
    case 'x':
        bytes = text.HexBytes();
        break;
    case '"':
        bytes = text.QuotedBytes();
        break;
    case 'u':
        bytes = NumberBytes(text.Number(), 8);
        break;
    case 'U':
        bytes = NumberBytes(text.Number(), 4);
        break;
    case 'f':
        bytes = NumberBytes(text.Number(), 1);
        break;
    case 'm':
        bytes = ModulusOf(static_cast<unsigned>(text.Choice(2)));
        break;
    case 'o':
        bytes = {1, 0, 1};
        break;
    case 'r':
        bytes.assign(text.Rest().begin(), text.Rest().end());
        break;
    default:
        break;
    }
    while (text.Take('~')) { // changes of single bytes
        const uint64_t at = text.Number();
        const auto value = static_cast<uint8_t>(text.Number());
        if (!bytes.empty()) {
            bytes[at % bytes.size()] = value;
        }
    }
    if (text.Take('/')) { // cut
        bytes.resize(std::min<std::size_t>(bytes.size(), text.Number()));
    }
    return bytes;
}

} // namespace fuzz
