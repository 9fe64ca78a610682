#include "bench/floors.h"

#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/module.h"
#include "bench/openssl_key.h"
#include "bench/registration.h"
#include "bench/threads.h"
#include "bench/works.h"

#include <benchmark/benchmark.h>
#include <botan/auto_rng.h>
#include <botan/data_src.h>
#include <botan/hash.h>
#include <botan/pkcs8.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>

#include <functional>
#include <memory>
#include <numeric>
#include <unordered_map>

namespace bench {
namespace {

constexpr char onThreads[] = "session info, threads";

using Body = std::function<void(benchmark::State&)>;

struct Floor
{
    const char* work;
    int64_t size;
    const char* name;
    Body body;
};

// Prepares an operation and gives the call that is repeated.
template <typename Prepare>
Body Repeated(Prepare prepare)
{
    return [prepare](benchmark::State& state) {
        auto call = prepare();
        for ([[maybe_unused]] auto ignored : state) {
            call();
        }
    };
}

void Demand(bool done)
{
    if (!done) {
        throw std::runtime_error("a bare operation failed");
    }
}

std::filesystem::path KeyFile(int bits)
{
    return Folder() / ("key-" + std::to_string(bits) + ".pem");
}

Body BotanVerify(int bits)
{
    return Repeated([bits] {
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(bits)));
        const auto key = std::make_shared<Botan::RSA_PublicKey>(Botan::BigInt(made->modulus),
                                                                Botan::BigInt(made->exponent));
        const auto verifier = std::make_shared<Botan::PK_Verifier>(*key, "EMSA3(Raw)");
        return [=] { Demand(verifier->verify_message(made->data, made->signature)); };
    });
}

Body BotanEncrypt()
{
    return Repeated([] {
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(2048)));
        const auto key = std::make_shared<Botan::RSA_PublicKey>(Botan::BigInt(made->modulus),
                                                                Botan::BigInt(made->exponent));
        const auto generator = std::make_shared<Botan::AutoSeeded_RNG>();
        const auto encryptor = std::make_shared<Botan::PK_Encryptor_EME>(*key, *generator, "PKCS1v15");
        return [=] { benchmark::DoNotOptimize(encryptor->encrypt(made->data, *generator)); };
    });
}

Body BotanSign()
{
    return Repeated([] {
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(2048)));
        Botan::DataSource_Stream file(KeyFile(2048).string());
        const std::shared_ptr<Botan::Private_Key> key = Botan::PKCS8::load_key(file);
        const auto generator = std::make_shared<Botan::AutoSeeded_RNG>();
        const auto signer = std::make_shared<Botan::PK_Signer>(*key, *generator, "EMSA3(Raw)");
        return [=] { benchmark::DoNotOptimize(signer->sign_message(made->data, *generator)); };
    });
}

Body BotanDigest(std::size_t size)
{
    return Repeated([size] {
        const auto data = std::make_shared<Bytes>(size, 'd');
        const std::shared_ptr<Botan::HashFunction> hash = Botan::HashFunction::create("SHA-256");
        return [=] { benchmark::DoNotOptimize(hash->process(*data)); };
    });
}

Body OpenSslVerify(int bits)
{
    return Repeated([bits] {
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(bits)));
        const std::shared_ptr<EVP_PKEY> key(ReadKey(KeyFile(bits)));
        const std::shared_ptr<EVP_PKEY_CTX> context(ContextFor(key.get(), EVP_PKEY_verify_init));
        return [=] {
            Demand(EVP_PKEY_verify(context.get(), made->signature.data(), made->signature.size(),
                                   made->data.data(), made->data.size()) == 1);
        };
    });
}

Body OpenSslSign()
{
    return Repeated([] {
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(2048)));
        const std::shared_ptr<EVP_PKEY> key(ReadKey(KeyFile(2048)));
        const std::shared_ptr<EVP_PKEY_CTX> context(ContextFor(key.get(), EVP_PKEY_sign_init));
        return [=] {
            std::size_t length = made->signature.size();
            Demand(EVP_PKEY_sign(context.get(), made->signature.data(), &length, made->data.data(),
                                 made->data.size()) == 1);
        };
    });
}

Body OpenSslDigest(std::size_t size)
{
    return Repeated([size] {
        const auto data = std::make_shared<Bytes>(size, 'd');
        const std::shared_ptr<EVP_MD> hash(EVP_MD_fetch(nullptr, "SHA256", nullptr), &EVP_MD_free);
        return [=] {
            std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
            Demand(EVP_Digest(data->data(), data->size(), digest.data(), nullptr, hash.get(), nullptr) == 1);
        };
    });
}

Body CardSign()
{
    return Repeated([] {
        const auto card = std::make_shared<CardLayer>();
        card->Login();
        const auto made = std::make_shared<SignedData>(SignWithKeyOf(KeyFile(2048)));
        return [=] { card->Sign(made->data); };
    });
}

// Of a record that is shared, by a handle by chance. Each look-up needs what the one before has read, because the processor
// would do several at a time otherwise, which locks keep it from doing across calls.
Body LookUp(std::size_t count)
{
    return Repeated([count] {
        struct Record
        {
            std::size_t number;
            std::array<char, 120> rest;
        };
        using Records = std::unordered_map<std::size_t, std::shared_ptr<Record>>;
        const auto records = std::make_shared<Records>();
        std::vector<std::size_t> handles(count);
        std::iota(handles.begin(), handles.end(), 1);
        for (const std::size_t handle : handles) {
            records->emplace(handle, std::make_shared<Record>(Record{handle, {}}));
        }
        Shuffle(handles);
        return [records, handles, next = std::size_t{0}]() mutable {
            constexpr unsigned alwaysZero = 63; // the highest bit of a number
            const std::shared_ptr<Record> found = records->find(handles[next])->second;
            std::size_t number = found->number;
            benchmark::DoNotOptimize(number);
            next = (next + 1 + (number >> alwaysZero)) % handles.size();
        };
    });
}

using Function = void();

// Of another library, which nobody else calls.
Function* FunctionOf(const char* name)
{
    return reinterpret_cast<Function*>(SymbolOf(Folder() / "empty/libbench_empty.so", name));
}

Body EmptyFunction()
{
    return Repeated([] { return FunctionOf("LockAndUnlock"); });
}

Body LocksAndCounts()
{
    return Repeated([] { return FunctionOf("LocksAndCounts"); });
}

// The lock is one for all threads, as the application's is.
Body EmptyFunctionOnThreads(std::size_t threads)
{
    return [threads](benchmark::State& state) {
        Function* const function = FunctionOf("LockAndUnlock");
        for ([[maybe_unused]] auto ignored : state) {
            state.SetIterationTime(TimeOfCall(threads, [function](std::size_t /*thread*/) { function(); }));
        }
    };
}

const std::vector<Floor>& AllFloors()
{
    static const std::vector<Floor> floors{
        {"session info", 0, "empty function", EmptyFunction()},
        {"session info", 0, "locks and counts", LocksAndCounts()},
        {onThreads, 1, "empty function", EmptyFunctionOnThreads(1)},
        {onThreads, 8, "empty function", EmptyFunctionOnThreads(8)},
        {onThreads, 64, "empty function", EmptyFunctionOnThreads(64)},
        {"session info, random handle", 10, "hash map", LookUp(10)},
        {"session info, random handle", 10000, "hash map", LookUp(10000)},
        {"session info, random handle", 100000, "hash map", LookUp(100000)},
        {"digest 64 B", 0, "botan", BotanDigest(shortData)},
        {"digest 64 B", 0, "openssl", OpenSslDigest(shortData)},
        {"digest 1 MiB", 0, "botan", BotanDigest(longData)},
        {"digest 1 MiB", 0, "openssl", OpenSslDigest(longData)},
        {"verify RSA-2048", 0, "openssl", OpenSslVerify(2048)},
        {"encrypt RSA-2048", 0, "botan", BotanEncrypt()},
        {"sign RSA-2048", 0, "botan", BotanSign()},
        {"sign RSA-2048", 0, "openssl", OpenSslSign()},
        {"sign RSA-2048", 0, "card layer", CardSign()},
        {"second verify RSA-2048", 0, "botan", BotanVerify(2048)},
        {"second verify RSA-4096", 0, "botan", BotanVerify(4096)},
        {"second verify RSA-4096", 0, "openssl", OpenSslVerify(4096)},
    };
    return floors;
}

} // namespace

void RegisterFloors(const std::string& work, int64_t size)
{
    for (const Floor& floor : AllFloors()) {
        if (floor.work == work && floor.size == size) {
            const std::string name = work + "/" + floor.name + (size == 0 ? "" : "/" + std::to_string(size));
            auto* const added = AddMeasurement(name, floor.body);
            if (work == onThreads) {
                added->UseManualTime()->Iterations(5);
            }
        }
    }
}

} // namespace bench
