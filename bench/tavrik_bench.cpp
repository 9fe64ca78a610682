// How long the paths take that every call of an application goes through.
#include "src/crypto/asn1_object.h"
#include "src/log/logger.h"
#include "src/objects/attribute_template.h"
#include "src/operations/session_operations.h"
#include "src/operations/verify_manager.h"
#include "src/store/internal_cache.h"
#include "tavrik/rsa.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

namespace {

// A session in the middle of so many.
void LookUpSession(benchmark::State& state)
{
    auto& cache = InternalCache::GetInstance();
    const auto count = static_cast<CK_SESSION_HANDLE>(state.range(0));
    const CK_SESSION_HANDLE first = cache.sessionHandleCounter;
    for (CK_SESSION_HANDLE i = 0; i < count; ++i) {
        cache.AddSession(MakeSession(cache.sessionHandleCounter++, CK_SLOT_ID{1}));
    }
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(cache.GetSession(first + count / 2));
    }
    cache.Clear();
}
BENCHMARK(LookUpSession)->Arg(10)->Arg(10000);

// A line that is composed and handed to a file sink that is not open.
void LogLineLetThrough(benchmark::State& state)
{
    auto& settings = Logger::Instance().Settings();
    settings.extensive = state.range(0) != 0;
    settings.timeFormat = LogTimeFormat_DateTimeMillisec;
    while (state.KeepRunning()) {
        LOG_LINE(LogLevel_Error, "C_OpenSession", "Session opened VERB:slotID %lu session handle 0x%lx", 1UL,
                 5UL);
    }
}
BENCHMARK(LogLineLetThrough)->ArgName("extensive")->Arg(0)->Arg(1);

void LogLineSuppressed(benchmark::State& state)
{
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    unsigned long number = 0;
    while (state.KeepRunning()) {
        LOG_LINE(LogLevel_Debug, "C_OpenSession", "Session opened VERB:slotID %lu", number);
        benchmark::DoNotOptimize(++number);
    }
}
BENCHMARK(LogLineSuppressed);

void ParseDigestInfo(benchmark::State& state)
{
    constexpr uint8_t octetStringTag = 4;
    const HexBinary digestInfo("3031300D060960864801650304020105000420" + std::string(64, '5'));
    while (state.KeepRunning()) {
        ASN1Object root;
        root.Parse(&digestInfo);
        benchmark::DoNotOptimize(root.FindChild(octetStringTag)->GetValue());
    }
}
BENCHMARK(ParseDigestInfo);

// Two attributes of a key of twenty; they stand at the end.
void MatchFilter(benchmark::State& state)
{
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    AttributeTemplate attributes;
    for (CK_ATTRIBUTE_TYPE type = 0; type < 18; ++type) {
        attributes.AddNumber(type, type);
    }
    attributes.AddBoolean(CKA_SIGN, true).AddText(CKA_ID, "Sig_ZEP_0");
    PkcsObject key(privateKeyKind, 1, 1);
    key.SetAttributes(attributes.Records(), attributes.Count());

    PkcsAttributes filter;
    filter.reserve(2);
    for (CK_ULONG i = attributes.Count() - 2; i < attributes.Count(); ++i) {
        const CK_ATTRIBUTE& record = attributes.Records()[i];
        filter.push_back(std::make_unique<PkcsAttribute>(record.type, CopyValue(record).get()));
    }
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(key.FilterMatches(filter));
    }
}
BENCHMARK(MatchFilter);

// A signature of a key with as many bits.
struct SignedMessage
{
    explicit SignedMessage(int bits) : key(bits)
    {
        Zelmo::Crypto::RsaSigner signer(&key, "EMSA3(Raw)");
        signature.reset(signer.Sign(&message));
        modulus.reset(key.GetPublicKey()->Get_N());
        exponent.reset(key.GetPublicKey()->Get_E());
    }

    Zelmo::Crypto::RSAPrivKey key;
    HexBinary message = HexBinary("3031300D060960864801650304020105000420" + std::string(64, '5'));
    std::unique_ptr<HexBinary> signature;
    std::unique_ptr<HexBinary> modulus;
    std::unique_ptr<HexBinary> exponent;
};

std::unique_ptr<HexBinary> CopyOf(const HexBinary& value)
{
    return std::make_unique<HexBinary>(value.data, value.length, true);
}

std::shared_ptr<PkcsObject> MakePublicKey(const SignedMessage& message)
{
    AttributeTemplate attributes;
    attributes.AddBytes(CKA_MODULUS, message.modulus->data, static_cast<std::size_t>(message.modulus->length))
        .AddBytes(CKA_PUBLIC_EXPONENT, message.exponent->data,
                  static_cast<std::size_t>(message.exponent->length));
    auto key = std::make_shared<PkcsObject>(publicKeyKind, 1, 1);
    key->SetAttributes(attributes.Records(), attributes.Count());
    return key;
}

void CheckSignature(VerifyManager& manager, const SignedMessage& message)
{
    bool matches = false;
    manager.SetData(CopyOf(*message.signature), CopyOf(message.message));
    manager.Verify(matches);
    if (!matches) {
        std::abort();
    }
}

// The first check of a session, which makes the key and the verifier, ...
void VerifyFirst(benchmark::State& state)
{
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    const SignedMessage message(static_cast<int>(state.range(0)));
    const auto key = MakePublicKey(message);
    while (state.KeepRunning()) {
        VerifyManager manager;
        manager.operation.keyObject = key;
        CheckSignature(manager, message);
    }
}
BENCHMARK(VerifyFirst)->Arg(1024)->Arg(2048)->Arg(4096);

// ... each check after it, ...
void VerifyAgain(benchmark::State& state)
{
    Logger::Instance().Settings().logFromLevel = LogLevel_Error;
    const SignedMessage message(static_cast<int>(state.range(0)));
    VerifyManager manager;
    manager.operation.keyObject = MakePublicKey(message);
    while (state.KeepRunning()) {
        CheckSignature(manager, message);
    }
}
BENCHMARK(VerifyAgain)->Arg(1024)->Arg(2048)->Arg(4096);

// ... and the RSA operation alone.
void VerifyBare(benchmark::State& state)
{
    SignedMessage message(static_cast<int>(state.range(0)));
    Zelmo::Crypto::RsaVerifier verifier(&message.key, "EMSA3(Raw)");
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> signature;
    message.message.ToByteVector(bytes);
    message.signature->ToByteVector(signature);
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(verifier.Verify(bytes, signature));
    }
}
BENCHMARK(VerifyBare)->Arg(1024)->Arg(2048)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
