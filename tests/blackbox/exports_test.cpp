// What the library shows to the loader.
#include "tests/support/black_box_test.h"
#include "tests/support/function_calls.h"
#include "tests/support/system.h"

#include <set>

namespace blackbox {
namespace {

std::filesystem::path LibraryFile()
{
    return ScriptedFolder() / LibraryFileName("pkcs11_x64");
}

// How the types of the exported members read.
const std::string stringType =
    "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
const std::string bytes = "std::vector<unsigned char, std::allocator<unsigned char> >";
const std::string guardedBytes = "std::vector<unsigned char, Botan::secure_allocator<unsigned char> >";
const std::string space = "Zelmo::Crypto::";
const std::string privateKey = space + "RSAPrivKey*";
const std::string publicKey = space + "RSAPubKey*";
const std::string hex = "HexBinary const*";

struct ExportedClass
{
    std::string name;
    Texts constructors; // the arguments of each
    Texts others;
    bool moves = false;
};

const std::vector<ExportedClass> cryptoClasses{
    {"HashFunction", {}, {}, true},
    {"SHA1", {}, {}, true},
    {"SHA224", {}, {}, true},
    {"SHA256", {}, {}, true},
    {"SHA384", {}, {}, true},
    {"SHA512", {}, {}, true},
    {"RSA",
     {privateKey + ", " + stringType, publicKey + ", " + stringType},
     {"Sign(" + hex + ")", "Verify(" + hex + ", " + hex + ")", "GetSignerMode(" + stringType + ")"}},
    {"RSAPrivKey",
     {"", "int", hex + ", " + hex + ", " + hex},
     {"GetBotanPrivateKey() const", "GetPublicKey() const", "SetPublicKey(" + publicKey + ")",
      "Get_P() const", "Get_Q() const", "Get_D() const", "Get_DP() const", "Get_DQ() const"}},
    {"RSAPubKey",
     {"", "Botan::AlgorithmIdentifier const*, " + bytes, bytes + ", " + bytes},
     {"GetBotanPublicKey() const", "Get_N() const", "Get_E() const", "SetModulus(" + hex + ")"}},
    {"RsaSigner", {privateKey + ", " + stringType}, {"Sign(" + hex + ")"}},
    {"RsaVerifier",
     {privateKey + ", " + stringType, publicKey + ", " + stringType},
     {"Verify(" + bytes + ", " + bytes + ")"}},
    {"RsaEncryptor",
     {privateKey + ", " + stringType, publicKey + ", " + stringType},
     {"Encrypt(" + bytes + ")"}},
    {"RsaDecryptor", {privateKey + ", " + stringType}, {"Decrypt(" + hex + ")"}}};

// "prefix" + "name(arguments)".
std::string Call(const std::string& prefix, const std::string& name, const std::string& arguments)
{
    std::string call = prefix;
    call.append(name).append("(").append(arguments).append(")");
    return call;
}

void AddMembers(const ExportedClass& exported, std::set<std::string>& names)
{
    const std::string qualified = space + exported.name;
    const std::string prefix = qualified + "::";
    Texts copied{qualified + " const&"};
    if (exported.moves) {
        copied.push_back(qualified + "&&");
    }
    for (const std::string& source : copied) {
        names.insert(Call(prefix, exported.name, source));
        names.insert(Call(prefix, "operator=", source));
    }
    names.insert(Call(prefix, "~" + std::string(exported.name), ""));
    for (const std::string& arguments : exported.constructors) {
        names.insert(Call(prefix, exported.name, arguments));
    }
    for (const std::string& member : exported.others) {
        names.insert(prefix + member);
    }
}

std::set<std::string> ClassSymbols()
{
    std::set<std::string> names{"vtable for HexBinary", "typeinfo for HexBinary",
                                "typeinfo name for HexBinary"};
    for (const std::string& member : Texts{
             "HexBinary(int)", "HexBinary(unsigned char const*, int, bool)", "HexBinary(" + stringType + ")",
             "~HexBinary()", "ToHexString[abi:cxx11]() const", "Append(" + hex + ")",
             "ToByteVector(" + bytes + "&) const", "ToByteVector(" + guardedBytes + "&) const",
             "FromByteVector(" + bytes + "&)", "Compare(HexBinary const*, HexBinary const*)"}) {
        names.insert("HexBinary::" + member);
    }
    for (const ExportedClass& exported : cryptoClasses) {
        AddMembers(exported, names);
    }
    return names;
}

TEST(ExportsTest, ExportsTheFunctionsTheDataSymbolTheClassesAndNothingElse)
{
    std::set<std::string> expected = ClassSymbols();
    expected.insert("g_unitTestHlp");
    for (const FunctionCall& function : FunctionCalls()) {
        expected.insert(function.name);
    }
    EXPECT_EQ(FunctionCalls().size(), 68U);
    EXPECT_EQ(ExportedSymbols(LibraryFile()), expected);
}

TEST(ExportsTest, HashingIsNotExportedButTheCardAccessLibrarys)
{
    const auto symbols = ExportedSymbols(LibraryFile());
    EXPECT_EQ(symbols.count(space + "SHA1::SHA1()"), 0U);
    EXPECT_EQ(symbols.count(space + "SHA1::SHA1(" + space + "SHA1 const&)"), 1U);
    for (const std::string& symbol : symbols) {
        EXPECT_EQ(symbol.find("HashFunction::Hash("), std::string::npos) << symbol;
    }
}

TEST(ExportsTest, DataSymbolIsANullPointerToChar)
{
    auto* const symbol = static_cast<char**>(LibrarySymbol("g_unitTestHlp"));
    EXPECT_EQ(*symbol, nullptr);
}

TEST(ExportsTest, NeedsNoCardAccessLibrary)
{
    const Texts needed = NeededLibraries(LibraryFile());
    EXPECT_FALSE(needed.empty());
    for (const std::string& library : needed) {
        EXPECT_EQ(library.find("CardAPI"), std::string::npos) << library;
    }
}

TEST(ExportsTest, ImportsNoCardFunction)
{
    const Texts imported = ImportedSymbols(LibraryFile());
    EXPECT_FALSE(imported.empty());
    for (const std::string& symbol : imported) {
        EXPECT_EQ(symbol.find("CardAPI"), std::string::npos) << symbol;
        EXPECT_EQ(symbol.find("Zelmo"), std::string::npos) << symbol;
    }
}

} // namespace
} // namespace blackbox
