#include "tests/faults/scenarios.h"

#include "tests/support/temporary_folder.h"
#include "tests/support/test_certificates.h"

#include "src/botan/big_int_bytes.h"
#include "tavrik/cryptoki.h"

#include <botan/hash.h>
#include <botan/numthry.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace faults {
namespace {

std::atomic<int> currentStep{0};
std::function<void(int)> beforeStep; // NOLINT(cert-err58-cpp): an empty function does not throw

// A certificate of the test key, made in a child process: Botan makes it with threads, which this process must not have
// when it forks.
Bytes CertificateMadeElsewhere(unsigned key, const std::string& name)
{
    static_cast<void>(blackbox::TestKey(key)); // the child's must be the same
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        const Bytes made = blackbox::TestCertificate(key, name);
        _exit(write(ends[1], made.data(), made.size()) == static_cast<ssize_t>(made.size()) ? 0 : 1);
    }
    close(ends[1]);
    Bytes certificate(4096);
    const ssize_t got = read(ends[0], certificate.data(), certificate.size());
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0 || got <= 0) {
        throw std::runtime_error("no certificate");
    }
    certificate.resize(static_cast<std::size_t>(got));
    return certificate;
}

scripted::CertifiedKey CertifiedKey(unsigned key, uint32_t keyReference, const std::string& name)
{
    return {CertificateMadeElsewhere(key, name), blackbox::TestKeyInfo(key, keyReference)};
}

// What the card has, and what it gives back.
struct Material
{
    scripted::Card card;
    Bytes message{'m', 'e', 's', 's', 'a', 'g', 'e', '0'};
    Bytes hash;
    Bytes digestInfo;
    Bytes qualifiedSignature;
    Bytes ordinarySignature;
    Bytes modulus = BigIntBytes(blackbox::TestKey(1).get_n());
    Bytes exponent = BigIntBytes(blackbox::TestKey(1).get_e());

    Material()
    {
        card.qes.push_back(CertifiedKey(0, 2, "Qualified"));
        card.es.push_back(CertifiedKey(1, 1, "Ordinary"));
        card.qesKeyInfo = card.qes.front().key;
        card.esKeyInfo = card.es.front().key;
        do { // the library verifies no signature that begins with a zero
            ++message.back();
            Sign();
        } while (qualifiedSignature.front() == 0 || ordinarySignature.front() == 0);
    }

private:
    void Sign()
    {
        const auto digest = Botan::HashFunction::create_or_throw("SHA-256")->process(message);
        hash.assign(digest.begin(), digest.end());
        digestInfo = blackbox::Sha256DigestInfo(hash);
        qualifiedSignature = blackbox::TestSignature(0, digestInfo);
        ordinarySignature = blackbox::TestSignature(1, digestInfo);
    }
};

const Material& CardMaterial()
{
    static const auto& material = *new Material;
    return material;
}

Bytes RawPrivateOperation(const Bytes& block)
{
    const auto& key = blackbox::TestKey(1);
    const auto result =
        BigIntBytes(Botan::power_mod(Botan::BigInt(block), key.get_d(), key.get_n()), key.get_n().bytes());
    return {result.begin(), result.end()};
}

Bytes SignatureOfCard(const std::string& function, const Bytes& data)
{
    const Material& material = CardMaterial();
    if (function == "QES_SignData") {
        return data == material.hash ? material.qualifiedSignature : Bytes(128, 0);
    }
    return data == material.digestInfo ? material.ordinarySignature : Bytes(128, 0);
}

// Made once, and gone with the process that made it.
const std::filesystem::path& LogFolder()
{
    static const TemporaryFolder folder("tavrik_faults_log_");
    return folder.Path();
}

bool EndsWith(const Bytes& bytes, const Bytes& end)
{
    return bytes.size() > end.size() && std::equal(end.rbegin(), end.rend(), bytes.rbegin());
}

void Start(Run& run)
{
    run.Do("C_Initialize", [&] { return run.m.Initialize(); });
}

void FindSlots(Run& run)
{
    Numbers slots;
    run.Do("C_GetSlotList", [&] { return run.m.SlotList(slots); });
    run.complete = run.complete && slots.size() == 2;
    slots.resize(2, Run::noSlot);
    for (const Number slot : slots) {
        std::string description;
        if (run.Do("C_GetSlotInfo", [&] { return run.m.SlotInfo(slot, description); }) == CKR_OK) {
            run.qualifiedSlot = description.find("Sig_ZEP") != std::string::npos ? slot : run.qualifiedSlot;
            run.ordinarySlot = description.find("Sig_EP") != std::string::npos ? slot : run.ordinarySlot;
        }
    }
}

void DescribeSlots(Run& run)
{
    for (const Number slot : {run.qualifiedSlot, run.ordinarySlot}) {
        run.Do("C_GetTokenInfo", [&] { return run.m.TokenInfo(slot); });
        Numbers mechanisms;
        run.Do("C_GetMechanismList", [&] { return run.m.MechanismList(slot, mechanisms); });
    }
}

void OpenSessions(Run& run)
{
    run.Do("C_OpenSession", [&] { return run.m.OpenSession(run.ordinarySlot, run.ordinary); });
    run.Do("C_OpenSession", [&] { return run.m.OpenSession(run.qualifiedSlot, run.qualified); });
}

// The library has one login for both slots of a card, the front one for each.
void LogIn(Run& run)
{
    run.Do("C_Login", [&] { return run.m.Login(run.ordinary, CKU_USER); });
    run.Do("C_Login", [&] { return run.m.Login(run.qualified, CKU_USER); });
    run.Do("C_GetSessionInfo", [&] { return run.m.SessionInfo(run.qualified); });
}

Number FindOne(Run& run, Number session, Number objectClass)
{
    Numbers objects;
    const Number begun = run.Do("C_FindObjectsInit", [&] { return run.m.FindInit(session, objectClass); });
    run.Do("C_FindObjects", [&] { return run.m.Find(session, objects); });
    run.Do("C_FindObjectsFinal", [&] { return run.m.FindFinal(session); });
    run.complete = run.complete && objects.size() == 1;
    // Without a search that has begun, the library lists all objects.
    return objects.empty() || begun != CKR_OK ? 0 : objects.front();
}

void FindKeys(Run& run)
{
    run.ordinaryKey = FindOne(run, run.ordinary, CKO_PRIVATE_KEY);
    run.qualifiedKey = FindOne(run, run.qualified, CKO_PRIVATE_KEY);
}

void Begin(Run& run)
{
    Start(run);
    FindSlots(run);
    OpenSessions(run);
}

void BeginLoggedIn(Run& run)
{
    Begin(run);
    LogIn(run);
    FindKeys(run);
}

void SignOnce(Run& run, Number session, Number key, const Bytes& expected)
{
    Number length = 0;
    Bytes signature;
    run.Do("C_SignInit", [&] { return run.m.SignInit(session, CKM_RSA_PKCS, key); });
    run.Do("C_Sign", [&] { return run.m.SignLength(session, length); });
    if (run.Do("C_Sign", [&] { return run.m.Sign(session, CardMaterial().digestInfo, signature); }) ==
        CKR_OK) {
        run.Expect(signature == expected, "the signature does not verify");
    }
}

void SignOrdinary(Run& run)
{
    SignOnce(run, run.ordinary, run.ordinaryKey, CardMaterial().ordinarySignature);
}

void SignQualified(Run& run)
{
    SignOnce(run, run.qualified, run.qualifiedKey, CardMaterial().qualifiedSignature);
}

void CreatePublicKey(Run& run)
{
    const Material& material = CardMaterial();
    const std::size_t width = run.m.NumberWidth();
    const Template content{{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY, width)},
                           {CKA_KEY_TYPE, NumberValue(CKK_RSA, width)},
                           {CKA_MODULUS, material.modulus},
                           {CKA_PUBLIC_EXPONENT, material.exponent},
                           {CKA_VERIFY, {CK_TRUE}}};
    run.Do("C_CreateObject", [&] { return run.m.CreateObject(run.ordinary, content, run.publicKey); });
}

void BeginWithPublicKey(Run& run)
{
    BeginLoggedIn(run);
    CreatePublicKey(run);
}

// The scenarios.

void StartWithCard(Run& run)
{
    Start(run);
    FindSlots(run);
    DescribeSlots(run);
}

void OpenAndLogIn(Run& run)
{
    OpenSessions(run);
    LogIn(run);
}

void StartAgain(Run& run)
{
    run.Do("C_Finalize", [&] { return run.m.Finalize(); });
    Start(run);
    FindSlots(run);
    run.Do("C_Finalize", [&] { return run.m.Finalize(); });
}

void ListAndRead(Run& run)
{
    FindKeys(run);
    const Number certificate = FindOne(run, run.ordinary, CKO_CERTIFICATE);
    Bytes value;
    if (run.Do("C_GetAttributeValue",
               [&] { return run.m.Attribute(run.ordinary, certificate, CKA_VALUE, value); }) == CKR_OK) {
        run.Expect(value == CardMaterial().card.es.front().certificate, "the certificate is another");
    }
    if (run.Do("C_GetAttributeValue", [&] {
            return run.m.Attribute(run.ordinary, run.ordinaryKey, CKA_MODULUS, value);
        }) == CKR_OK) {
        run.Expect(value == CardMaterial().modulus, "the modulus is another");
    }
    CreatePublicKey(run);
}

void SignWithKeys(Run& run)
{
    SignOrdinary(run);
    SignQualified(run); // the card's keyboard asks
    run.Do("C_SignInit", [&] { return run.m.SignInit(run.qualified, CKM_RSA_PKCS, run.qualifiedKey); });
    run.Do("C_Login", [&] { return run.m.Login(run.qualified, CKU_CONTEXT_SPECIFIC); });
    Bytes signature;
    if (run.Do("C_Sign", [&] { return run.m.Sign(run.qualified, CardMaterial().digestInfo, signature); }) ==
        CKR_OK) {
        run.Expect(signature == CardMaterial().qualifiedSignature, "the signature does not verify");
    }
    SignOrdinary(run); // after a fault, the same session again
}

void Decrypt(Run& run)
{
    Bytes plain;
    for (int time = 0; time < 2; ++time) {
        run.Do("C_DecryptInit",
               [&] { return run.m.DecryptInit(run.ordinary, CKM_RSA_PKCS, run.ordinaryKey); });
        if (run.Do("C_Decrypt", [&] { return run.m.Decrypt(run.ordinary, Bytes(128, 7), plain); }) ==
            CKR_OK) {
            // The library answers that it has decrypted nothing when the card has gone meanwhile.
            const bool isNothing = plain.empty() && run.m.LetsExceptionsOut() &&
                                   run.m.SessionInfo(run.ordinary) == CKR_SESSION_HANDLE_INVALID;
            run.Expect(isNothing || plain == CardMaterial().message, "the plain text is another");
        }
    }
}

void Verify(Run& run)
{
    const Material& material = CardMaterial();
    run.Do("C_VerifyInit", [&] { return run.m.VerifyInit(run.ordinary, CKM_RSA_PKCS, run.publicKey); });
    run.Do("C_Verify",
           [&] { return run.m.Verify(run.ordinary, material.digestInfo, material.ordinarySignature); });
    Number session = 0; // because an operation of the library does not end
    run.Do("C_OpenSession", [&] { return run.m.OpenSession(run.ordinarySlot, session); });
    run.Do("C_VerifyInit", [&] { return run.m.VerifyInit(session, CKM_RSA_PKCS, run.publicKey); });
    if (run.Do("C_Verify", [&] {
            return run.m.Verify(session, material.digestInfo, material.qualifiedSignature);
        }) == CKR_OK) {
        run.Expect(false, "the signature of another key verifies");
    }
}

void Encrypt(Run& run)
{
    Bytes encrypted;
    run.Do("C_EncryptInit", [&] { return run.m.EncryptInit(run.ordinary, CKM_RSA_PKCS, run.publicKey); });
    if (run.Do("C_Encrypt", [&] { return run.m.Encrypt(run.ordinary, CardMaterial().message, encrypted); }) ==
        CKR_OK) {
        run.Expect(EndsWith(RawPrivateOperation(encrypted), CardMaterial().message),
                   "the message does not come back");
    }
}

void Digest(Run& run)
{
    Bytes digest;
    for (int time = 0; time < 2; ++time) {
        run.Do("C_DigestInit", [&] { return run.m.DigestInit(run.ordinary, CKM_SHA256); });
        if (run.Do("C_Digest", [&] { return run.m.Digest(run.ordinary, CardMaterial().message, digest); }) ==
            CKR_OK) {
            run.Expect(digest == CardMaterial().hash, "the digest is another");
        }
    }
}

void ChangeCards(Run& run)
{
    run.Do("removal", [&] {
        run.script.RemoveCard(reader);
        run.Expect(run.script.WaitUntilEventsProcessed(), "the removal is not seen");
        return success;
    });
    run.Do("C_GetSessionInfo", [&] { return run.m.SessionInfo(run.ordinary); });
    run.Do("insertion", [&] {
        run.script.InsertCard(reader, CardMaterial().card);
        run.Expect(run.script.WaitUntilEventsProcessed(), "the insertion is not seen");
        return success;
    });
    FindSlots(run);
    OpenSessions(run);
    LogIn(run);
    FindKeys(run);
    SignOrdinary(run);
}

void LogOutAndClose(Run& run)
{
    run.Do("C_Logout", [&] { return run.m.Logout(run.ordinary); });
    run.Do("C_Login", [&] { return run.m.Login(run.ordinary, CKU_USER); });
    run.Do("C_Logout", [&] { return run.m.Logout(run.ordinary); });
    run.Do("C_CloseSession", [&] { return run.m.CloseSession(run.ordinary); });
    run.Do("C_CloseAllSessions", [&] { return run.m.CloseAllSessions(run.qualifiedSlot); });
}

void Nothing(Run& /*run*/) {}

void WriteALog(Run& run)
{
    const std::u16string folder = LogFolder().u16string() + u"/";
    std::filesystem::remove(LogFolder() / "Pkcs11.log");
    std::ofstream(LogFolder() / "config.json")
        << R"({"pinPadEnabled": false, "log": {"fileCount": 5, "other": [{"a": [1, 2]}, []]}, "c": {"log": {}}})";
    run.script.SetDirectories(folder, folder);
    // Not in the file: a fault in reading it would leave its switches as they were.
    run.script.SetLogSwitches(scripted::LogSwitches{.toConsole = false, .toFile = true});
}

void SignWithALog(Run& run)
{
    BeginLoggedIn(run);
    SignOrdinary(run);
    LogOutAndClose(run);
    run.Do("C_Finalize", [&] { return run.m.Finalize(); });
}

} // namespace

void Run::Expect(bool right, const std::string& what)
{
    if (!right) {
        wrong.push_back(steps.back().name + ": " + what);
    }
}

int Run::CurrentStep()
{
    return currentStep;
}

void Run::BeforeStep(std::function<void(int)> hook)
{
    beforeStep = std::move(hook);
}

void Run::BeginStep(const char* name)
{
    currentStep = static_cast<int>(steps.size());
    steps.push_back({name});
    if (beforeStep) {
        beforeStep(currentStep);
    }
}

const std::vector<Scenario>& Scenarios()
{
    static const std::vector<Scenario> scenarios{
        {"start", Nothing, StartWithCard},
        {"login",
         [](Run& run) {
             Start(run);
             FindSlots(run);
         },
         OpenAndLogIn},
        {"objects", BeginLoggedIn, ListAndRead},
        {"sign", BeginLoggedIn, SignWithKeys},
        {"decrypt", BeginLoggedIn, Decrypt},
        {"verify", BeginWithPublicKey, Verify},
        {"encrypt", BeginWithPublicKey, Encrypt},
        {"digest", Begin, Digest},
        {"card change", BeginLoggedIn, ChangeCards},
        {"logout", BeginLoggedIn, LogOutAndClose},
        {"finalize", BeginLoggedIn, StartAgain},
        {"log", WriteALog, SignWithALog},
    };
    return scenarios;
}

const Bytes& Message()
{
    return CardMaterial().message;
}

void PutCardIn(ScriptedCard& script)
{
    script.SetDirectories(u"/nowhere/", u"/nowhere/");
    script.AddReader(reader, CardMaterial().card);
    script.SignWith(SignatureOfCard);
    script.Always("ES_DecryptData", {.output = CardMaterial().message});
}

void UseEverything(Run& run)
{
    Start(run);
    FindSlots(run);
    DescribeSlots(run);
    OpenSessions(run);
    LogIn(run);
    FindKeys(run);
    SignWithKeys(run);
    Decrypt(run);
    for (const Number mechanism : {CKM_SHA_1, CKM_SHA224, CKM_SHA256, CKM_SHA384, CKM_SHA512}) {
        Bytes digest;
        run.Do("C_DigestInit", [&] { return run.m.DigestInit(run.ordinary, mechanism); });
        run.Do("C_Digest", [&] { return run.m.Digest(run.ordinary, CardMaterial().message, digest); });
    }
    LogOutAndClose(run);
    StartAgain(run);
}

void SignWithBothKeys(Run& run)
{
    FindSlots(run);
    OpenSessions(run);
    LogIn(run);
    FindKeys(run);
    SignOrdinary(run);
    SignQualified(run);
    for (const Step& step : run.steps) {
        run.Expect(step.answer == CKR_OK || step.answer == CKR_USER_ALREADY_LOGGED_IN,
                   step.name + " answered " + AnswerName(step.answer));
    }
    run.Expect(run.complete, "the lists are not complete");
    run.Do("C_CloseSession", [&] { return run.m.CloseSession(run.ordinary); });
    run.Do("C_CloseSession", [&] { return run.m.CloseSession(run.qualified); });
}

} // namespace faults
