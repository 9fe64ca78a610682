// A host that ends, or forks, while the library or the front is at work with the software card.
//
//     exit_host library|front FILE WORK END
//
// WORK: sign, decrypt, verify, encrypt or digest, over and over in a thread of its own. END: how the process
// ends while that thread goes on ("exit", "quick_exit", "return"); or "fork", with which a child ends by
// exit() after one turn of the work, and so does the process after the child; or "handler", with which there
// is no thread, and a handler of the host, which runs after those of the module, closes the session and ends
// the module. Ends with 0; 3 when the work fails.
#include "front/abi/cryptoki.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int workFailed = 3;
constexpr int turnsBeforeTheEnd = 3;

void Require(bool condition, const char* text)
{
    if (!condition) {
        throw std::runtime_error(text);
    }
}

std::function<void()> endModule; // what the handler of the host calls

// What a client does with the ordinary key of the card, in the layout of the library or of the front.
template <typename List, typename Number, typename Mechanism, typename Attribute>
class Client
{
public:
    explicit Client(void* module)
    {
        using GetFunctionList = unsigned long(List**);
        auto* const getFunctionList = reinterpret_cast<GetFunctionList*>(dlsym(module, "C_GetFunctionList"));
        Require(getFunctionList != nullptr, "no C_GetFunctionList");
        static_cast<void>(getFunctionList(&f));
        Require(f->C_Initialize(nullptr) == CKR_OK, "C_Initialize");
        std::vector<Number> slots(4);
        auto count = static_cast<Number>(slots.size());
        Require(f->C_GetSlotList(1, slots.data(), &count) == CKR_OK && count == 2, "C_GetSlotList");
        Require(f->C_OpenSession(slots[1], CKF_SERIAL_SESSION, nullptr, nullptr, &session) == CKR_OK,
                "C_OpenSession");
        std::string code = "123456";
        Require(f->C_Login(session, CKU_USER, reinterpret_cast<unsigned char*>(code.data()),
                           static_cast<Number>(code.size())) == CKR_OK,
                "C_Login");
        privateKey = Find(CKO_PRIVATE_KEY);
        // The library makes no public keys of its own.
        publicKey = sizeof(Number) == 4 ? MakePublicKey() : Find(CKO_PUBLIC_KEY);
        Encrypt();
        Sign();
        endModule = [this] {
            static_cast<void>(f->C_CloseSession(session));
            static_cast<void>(f->C_Finalize(nullptr));
        };
    }

    void Sign()
    {
        Mechanism mechanism{CKM_SHA256_RSA_PKCS, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        if constexpr (sizeof(Number) == 4) {
            mechanism.mechanism = CKM_RSA_PKCS;
        }
        Require(f->C_SignInit(session, &mechanism, privateKey) == CKR_OK, "C_SignInit");
        Require(f->C_Sign(session, Data(), DataLength(), output.data(), &length) == CKR_OK, "C_Sign");
        signature.assign(output.data(), output.data() + length);
    }

    void Verify()
    {
        Mechanism mechanism{CKM_SHA256_RSA_PKCS, nullptr, 0};
        if constexpr (sizeof(Number) == 4) {
            mechanism.mechanism = CKM_RSA_PKCS;
        }
        Begin(f->C_VerifyInit(session, &mechanism, publicKey), "C_VerifyInit");
        Require(f->C_Verify(session, Data(), DataLength(), signature.data(),
                            static_cast<Number>(signature.size())) == CKR_OK,
                "C_Verify");
    }

    void Encrypt()
    {
        Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Begin(f->C_EncryptInit(session, &mechanism, publicKey), "C_EncryptInit");
        Require(f->C_Encrypt(session, Data(), 16, output.data(), &length) == CKR_OK, "C_Encrypt");
        encrypted.assign(output.data(), output.data() + length);
    }

    void Decrypt()
    {
        Mechanism mechanism{CKM_RSA_PKCS, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Begin(f->C_DecryptInit(session, &mechanism, privateKey), "C_DecryptInit");
        Require(f->C_Decrypt(session, encrypted.data(), static_cast<Number>(encrypted.size()), output.data(),
                             &length) == CKR_OK,
                "C_Decrypt");
    }

    void Digest()
    {
        Mechanism mechanism{CKM_SHA256, nullptr, 0};
        auto length = static_cast<Number>(output.size());
        Begin(f->C_DigestInit(session, &mechanism), "C_DigestInit");
        Require(f->C_Digest(session, Data(), DataLength(), output.data(), &length) == CKR_OK, "C_Digest");
    }

private:
    // The library's operations with public keys don't end by themselves.
    static void Begin(unsigned long begun, const char* call)
    {
        Require(begun == CKR_OK || begun == CKR_OPERATION_ACTIVE, call);
    }

    Number Find(unsigned objectClass)
    {
        Number wanted = objectClass;
        Attribute record{CKA_CLASS, &wanted, sizeof wanted};
        Number object = 0;
        Number count = 0;
        Require(f->C_FindObjectsInit(session, &record, 1) == CKR_OK &&
                    f->C_FindObjects(session, &object, 1, &count) == CKR_OK && count == 1 &&
                    f->C_FindObjectsFinal(session) == CKR_OK,
                "C_FindObjects");
        return object;
    }

    std::vector<unsigned char> Read(unsigned type)
    {
        std::vector<unsigned char> value(1024);
        Attribute record{static_cast<Number>(type), value.data(), static_cast<Number>(value.size())};
        Require(f->C_GetAttributeValue(session, privateKey, &record, 1) == CKR_OK, "C_GetAttributeValue");
        value.resize(record.ulValueLen);
        return value;
    }

    Number MakePublicKey()
    {
        Number objectClass = CKO_PUBLIC_KEY;
        Number type = CKK_RSA;
        unsigned char yes = 1;
        auto modulus = Read(CKA_MODULUS);
        auto exponent = Read(CKA_PUBLIC_EXPONENT);
        auto bits = static_cast<Number>(modulus.size() * 8);
        std::vector<Attribute> records{
            {CKA_CLASS, &objectClass, sizeof objectClass},
            {CKA_KEY_TYPE, &type, sizeof type},
            {CKA_ENCRYPT, &yes, sizeof yes},
            {CKA_VERIFY, &yes, sizeof yes},
            {CKA_MODULUS_BITS, &bits, sizeof bits},
            {CKA_MODULUS, modulus.data(), static_cast<Number>(modulus.size())},
            {CKA_PUBLIC_EXPONENT, exponent.data(), static_cast<Number>(exponent.size())}};
        Number key = 0;
        Require(f->C_CreateObject(session, records.data(), static_cast<Number>(records.size()), &key) ==
                    CKR_OK,
                "C_CreateObject");
        return key;
    }

    // A DigestInfo of SHA-256, which both can sign.
    unsigned char* Data() { return digestInfo.data(); }
    Number DataLength() const { return static_cast<Number>(digestInfo.size()); }

    List* f = nullptr;
    Number session = 0;
    Number privateKey = 0;
    Number publicKey = 0;
    std::vector<unsigned char> digestInfo = [] {
        std::vector<unsigned char> bytes{0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                         0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
        bytes.resize(bytes.size() + 32, 0x5A);
        return bytes;
    }();
    std::vector<unsigned char> output = std::vector<unsigned char>(2048);
    std::vector<unsigned char> signature;
    std::vector<unsigned char> encrypted;
};

template <typename ItsClient>
std::function<void()> WorkOf(void* module, const std::string& name)
{
    auto& client = *new ItsClient(module); // never destroyed
    if (name == "sign") {
        return [&client] { client.Sign(); };
    }
    if (name == "decrypt") {
        return [&client] { client.Decrypt(); };
    }
    if (name == "verify") {
        return [&client] { client.Verify(); };
    }
    if (name == "encrypt") {
        return [&client] { client.Encrypt(); };
    }
    Require(name == "digest", "no such work");
    return [&client] { client.Digest(); };
}

using LibraryClient =
    Client<packed::CK_FUNCTION_LIST, packed::CK_ULONG, packed::CK_MECHANISM, packed::CK_ATTRIBUTE>;
using FrontClient =
    Client<front::CK_FUNCTION_LIST, front::CK_ULONG, front::CK_MECHANISM, front::CK_ATTRIBUTE>;

// The thread goes on until the process has ended. That the work fails is nothing any more once the end has
// begun.
std::atomic<int> turns{0};
std::atomic<bool> ending{false};

void WorkForEver(const std::function<void()>& work)
{
    while (true) {
        try {
            work();
        } catch (const std::exception& error) {
            if (!ending) {
                static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
                _exit(workFailed);
            }
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
        ++turns;
    }
}

int ForkAfter(const std::function<void()>& work)
{
    work();
    const pid_t child = fork();
    if (child == 0) {
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

// What is thrown ends the process, which is what the test is told.
int main(int argc, char** argv) // NOLINT(bugprone-exception-escape)
{
    Require(argc == 5, "usage: exit_host library|front FILE WORK END");
    const std::string end = argv[4];
    if (end == "handler") {
        Require(std::atexit([] { endModule(); }) == 0,
                "atexit"); // before the module's own: it runs after them
    }
    void* const module = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
    Require(module != nullptr, "the module is not loaded");
    const auto work = std::string(argv[1]) == "front" ? WorkOf<FrontClient>(module, argv[3])
                                                      : WorkOf<LibraryClient>(module, argv[3]);
    if (end == "fork") {
        return ForkAfter(work);
    }
    if (end == "handler") {
        work();
        return 0;
    }
    std::thread(WorkForEver, work).detach();
    while (turns < turnsBeforeTheEnd) {
        std::this_thread::yield();
    }
    ending = true;
    if (end == "quick_exit") {
        std::quick_exit(0);
    }
    if (end == "exit") {
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    }
    return 0;
}
