#include "tests/crosscheck/card_fixture.h"

#include "tests/support/system.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace crosscheck {
namespace {

std::string RequiredSuffix(const std::string& text, const std::string& prefix)
{
    if (!text.starts_with(prefix)) {
        throw std::runtime_error("unexpected answer of openssl: " + text);
    }
    return text.substr(prefix.size());
}

using InitFunction = CK_RV (*)(CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE);
using OutputFunction = CK_RV (*)(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR, CK_ULONG_PTR);

void Begin(InitFunction function, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(function(session, &mechanism, key), CKR_OK);
}

// Asks for the length, then for the bytes.
Bytes Produce(OutputFunction function, CK_SESSION_HANDLE session, Bytes data)
{
    CK_ULONG length = 0;
    EXPECT_EQ(function(session, nullptr, 0, nullptr, &length), CKR_OK);
    Bytes output(length);
    EXPECT_EQ(function(session, data.data(), static_cast<CK_ULONG>(data.size()), output.data(), &length),
              CKR_OK);
    output.resize(length);
    return output;
}

const std::string tool = std::string("'") + CARD_TOOL + "' ";

// Held by one process at a time, from its making to its end.
class FileLock
{
public:
    explicit FileLock(const std::filesystem::path& path)
    {
        std::filesystem::create_directories(path.parent_path());
        constexpr mode_t ownerOnly = 0600;
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, ownerOnly);
        if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) {
            throw std::system_error(errno, std::generic_category(), path.string());
        }
    }
    ~FileLock() { close(descriptor); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int descriptor;
};

// Copies a file or folder of this name, which the command makes in the place that it finds in $MADE. Keys take seconds
// to make, so it is made once, until the tool or the tests change.
void CopyMade(const std::string& name, const std::string& command, const std::filesystem::path& to)
{
    namespace fs = std::filesystem;
    const FileLock lock(fs::path(MADE_KEYS) / "lock");
    const fs::path made = fs::path(MADE_KEYS) / name;
    const fs::path stamp = made.string() + ".made";
    const auto changed = std::max(fs::last_write_time(CARD_TOOL), fs::last_write_time("/proc/self/exe"));
    if (!fs::exists(stamp) || fs::last_write_time(stamp) < changed) {
        fs::remove_all(made);
        blackbox::OutputOf("MADE='" + made.string() + "'; " + command);
        std::ofstream(stamp) << "made\n";
    }
    fs::copy(made, to, fs::copy_options::recursive);
}

} // namespace

const std::vector<Hash> hashes{{"sha1", CKM_SHA_1, "3021300906052b0e03021a05000414"},
                               {"sha224", CKM_SHA224, "302d300d06096086480165030402040500041c"},
                               {"sha256", CKM_SHA256, "3031300d060960864801650304020105000420"},
                               {"sha384", CKM_SHA384, "3041300d060960864801650304020205000430"},
                               {"sha512", CKM_SHA512, "3051300d060960864801650304020305000440"}};

Bytes FromHex(const std::string& hex)
{
    constexpr int hexBase = 16;
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, hexBase)));
    }
    return bytes;
}

Bytes TextBytes(const std::string& text)
{
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

CardFixture::CardFixture()
{
    setenv("TAVRIK_HOME", File("home").c_str(), 1);
    setenv("TAVRIK_PINENTRY", "/nowhere/pinentry", 1); // a code that isn't given is nobody's
}

CardFixture::~CardFixture()
{
    if (f != nullptr) {
        EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    }
}

void CardFixture::LoadLibrary()
{
    void* symbol = blackbox::SymbolOf(blackbox::Load(LIBRARY), "C_GetFunctionList");
    ASSERT_EQ(reinterpret_cast<CK_RV (*)(CK_FUNCTION_LIST_PTR_PTR)>(symbol)(&f), CKR_OK);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
}

void CardFixture::StartWithCard(unsigned bits)
{
    CopyMade(std::to_string(bits),
             "TAVRIK_HOME=\"$MADE\" " + tool + "new card --es-reference 1 --bits " + std::to_string(bits),
             File("home"));
    blackbox::OutputOf(tool + "insert card");
    LoadLibrary();
    session = OpenSession(ordinarySlot);
    std::string code = "123456";
    ASSERT_EQ(f->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR_PTR>(code.data()),
                         static_cast<CK_ULONG>(code.size())),
              CKR_OK);
}

void CardFixture::MakeOpenSslKey(const std::string& name, unsigned bits, unsigned exponent) const
{
    CopyMade(
        std::to_string(bits) + "e" + std::to_string(exponent) + ".pem",
        "openssl genpkey -algorithm RSA -out \"$MADE\" -pkeyopt rsa_keygen_bits:" + std::to_string(bits) +
            " -pkeyopt rsa_keygen_pubexp:" + std::to_string(exponent) + " 2>/dev/null",
        File(name));
}

void CardFixture::Write(const std::string& name, const Bytes& bytes) const
{
    std::ofstream file(File(name), std::ios::binary);
    file << std::string(bytes.begin(), bytes.end());
}

Bytes CardFixture::ReadFile(const std::string& name) const
{
    std::ifstream file(File(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string CardFixture::OpenSsl(const std::string& parameters) const
{
    return blackbox::OutputOf("cd '" + folder.Path().string() + "' && openssl " + parameters +
                              " 2>openssl.errors");
}

bool CardFixture::OpenSslAccepts(const std::string& parameters) const
{
    try {
        OpenSsl(parameters);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

PublicKey CardFixture::ReadPublicKey(const std::string& parameters) const
{
    std::istringstream lines(OpenSsl("rsa " + parameters + " -noout -modulus -text"));
    PublicKey key;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Modulus=")) {
            key.modulus = FromHex(RequiredSuffix(line, "Modulus="));
        }
        constexpr char prefix[] = "publicExponent: ";
        const auto position = line.find(line.starts_with("Exponent: ") ? "Exponent: " : prefix);
        if (position != std::string::npos) {
            const auto number = std::stoul(line.substr(line.find(": ") + 2));
            key.exponent = number == 3 ? Bytes{3} : Bytes{1, 0, 1};
            EXPECT_TRUE(number == 3 || number == 65537) << number;
        }
    }
    EXPECT_FALSE(key.modulus.empty() || key.exponent.empty());
    return key;
}

CK_OBJECT_HANDLE CardFixture::CreateKey(const PublicKey& key) const
{
    PublicKey copy = key;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE records[] = {
        {CKA_MODULUS, copy.modulus.data(), static_cast<CK_ULONG>(copy.modulus.size())},
        {CKA_PUBLIC_EXPONENT, copy.exponent.data(), static_cast<CK_ULONG>(copy.exponent.size())},
        {CKA_VERIFY, &yes, sizeof(yes)}};
    CK_OBJECT_HANDLE handle = 0;
    EXPECT_EQ(f->C_CreateObject(session, records, std::size(records), &handle), CKR_OK);
    return handle;
}

CK_OBJECT_HANDLE CardFixture::FindPrivateKey(CK_SESSION_HANDLE inSession) const
{
    CK_ULONG keyClass = CKO_PRIVATE_KEY;
    CK_ATTRIBUTE record{CKA_CLASS, &keyClass, sizeof(keyClass)};
    CK_OBJECT_HANDLE handle = 0;
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_FindObjectsInit(inSession, &record, 1), CKR_OK);
    EXPECT_EQ(f->C_FindObjects(inSession, &handle, 1, &count), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsFinal(inSession), CKR_OK);
    EXPECT_EQ(count, 1U);
    return handle;
}

Bytes CardFixture::Digest(CK_MECHANISM_TYPE type, const Bytes& data) const
{
    CK_MECHANISM mechanism{type, nullptr, 0};
    EXPECT_EQ(f->C_DigestInit(session, &mechanism), CKR_OK);
    return Produce(f->C_Digest, session, data);
}

Bytes CardFixture::DigestInfo(const Hash& hash, const Bytes& data) const
{
    return FromHex(hash.digestInfoPrefix) + Digest(hash.mechanism, data);
}

Bytes CardFixture::Sign(CK_SESSION_HANDLE inSession, CK_OBJECT_HANDLE key, Bytes data) const
{
    Begin(f->C_SignInit, inSession, key);
    return Produce(f->C_Sign, inSession, std::move(data));
}

Bytes CardFixture::Encrypt(CK_OBJECT_HANDLE key, Bytes data) const
{
    Begin(f->C_EncryptInit, session, key);
    return Produce(f->C_Encrypt, session, std::move(data));
}

Bytes CardFixture::Decrypt(CK_OBJECT_HANDLE key, Bytes data) const
{
    Begin(f->C_DecryptInit, session, key);
    return Produce(f->C_Decrypt, session, std::move(data));
}

CK_RV CardFixture::Verify(CK_OBJECT_HANDLE key, Bytes data, Bytes signature) const
{
    const CK_SESSION_HANDLE own = OpenSession(ordinarySlot);
    Begin(f->C_VerifyInit, own, key);
    const CK_RV result = f->C_Verify(own, data.data(), static_cast<CK_ULONG>(data.size()), signature.data(),
                                     static_cast<CK_ULONG>(signature.size()));
    EXPECT_EQ(f->C_CloseSession(own), CKR_OK);
    return result;
}

CK_SESSION_HANDLE CardFixture::OpenSession(CK_SLOT_ID slot) const
{
    CK_SESSION_HANDLE opened = 0;
    EXPECT_EQ(f->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &opened), CKR_OK);
    return opened;
}

} // namespace crosscheck
