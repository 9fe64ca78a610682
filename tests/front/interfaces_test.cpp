// How hosts get the function lists, what these have, and the functions of version 3.0 that have no test of their own.
#include "tests/front/front_test.h"
#include "tests/support/call_with.h"
#include "tests/support/system.h"

#include <array>
#include <functional>
#include <string>
#include <utility>

namespace front_test {
namespace {

class InterfacesTest : public FrontTest
{
protected:
    // The list of version 2.40, which has the form of the one that C_GetFunctionList gives.
    CK_FUNCTION_LIST* Functions240()
    {
        CK_VERSION version{2, 40};
        CK_INTERFACE* found = nullptr;
        EXPECT_EQ(f3->C_GetInterface(nullptr, &version, &found, 0), CKR_OK);
        return static_cast<CK_FUNCTION_LIST*>(found->pFunctionList);
    }
};

constexpr std::size_t interfaceCount = 2;

std::string NameOf(const CK_INTERFACE& interface)
{
    return reinterpret_cast<const char*>(interface.pInterfaceName);
}

std::pair<int, int> VersionOf(const CK_INTERFACE& interface)
{
    const auto* version = static_cast<const CK_VERSION*>(interface.pFunctionList);
    return {version->major, version->minor};
}

TEST_F(InterfacesTest, ListHasBothVersionsBeforeTheStart)
{
    CK_ULONG count = untouched;
    ASSERT_EQ(f3->C_GetInterfaceList(nullptr, &count), CKR_OK);
    ASSERT_EQ(count, interfaceCount);
    std::array<CK_INTERFACE, interfaceCount + 1> list{};
    count = Length(list);
    ASSERT_EQ(f3->C_GetInterfaceList(list.data(), &count), CKR_OK);
    ASSERT_EQ(count, interfaceCount);
    EXPECT_EQ(VersionOf(list[0]), std::pair(3, 0));
    EXPECT_EQ(VersionOf(list[1]), std::pair(2, 40));
    for (std::size_t i = 0; i < interfaceCount; ++i) {
        EXPECT_EQ(NameOf(list.at(i)), "PKCS 11");
        EXPECT_EQ(list.at(i).flags, 0U);
    }
    EXPECT_EQ(list[0].pFunctionList, f3);
    EXPECT_EQ(list[1].pFunctionList, Functions240());
    EXPECT_EQ(list[2].pInterfaceName, nullptr);
}

TEST_F(InterfacesTest, ListThatDoesNotFitIsNotWritten)
{
    for (const CK_ULONG room : {0U, 1U}) {
        CK_INTERFACE list[1] = {};
        CK_ULONG count = room;
        EXPECT_EQ(f3->C_GetInterfaceList(list, &count), CKR_BUFFER_TOO_SMALL);
        EXPECT_EQ(count, interfaceCount);
        EXPECT_EQ(list[0].pInterfaceName, nullptr);
    }
    CK_INTERFACE list[interfaceCount] = {};
    EXPECT_EQ(f3->C_GetInterfaceList(list, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f3->C_GetInterfaceList(nullptr, nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(InterfacesTest, InterfaceIsFoundByAllThatIsAskedFor)
{
    struct Wanted
    {
        const char* name;
        std::pair<int, int> version; // 0, 0 for none
        CK_FLAGS flags;
        const void* list; // null when there is no such interface
    };
    const CK_FUNCTION_LIST* const f240 = Functions240();
    const Wanted all[] = {
        {nullptr, {0, 0}, 0, f3},
        {"PKCS 11", {0, 0}, 0, f3},
        {nullptr, {3, 0}, 0, f3},
        {"PKCS 11", {3, 0}, 0, f3},
        {nullptr, {2, 40}, 0, f240},
        {"PKCS 11", {2, 40}, 0, f240},
        {"PKCS 11", {2, 20}, 0, nullptr},
        {"PKCS 11", {3, 1}, 0, nullptr},
        {"PKCS 11", {3, 40}, 0, nullptr},
        {nullptr, {4, 0}, 0, nullptr},
        {"PKCS 1", {0, 0}, 0, nullptr},
        {"PKCS 11 ", {0, 0}, 0, nullptr},
        {"pkcs 11", {0, 0}, 0, nullptr},
        {"", {0, 0}, 0, nullptr},
        {"Vendor", {3, 0}, 0, nullptr},
        {nullptr, {0, 0}, CKF_INTERFACE_FORK_SAFE, nullptr},
        {"PKCS 11", {3, 0}, CKF_INTERFACE_FORK_SAFE, nullptr},
        {nullptr, {0, 0}, highestBit, nullptr},
    };
    for (const Wanted& wanted : all) {
        std::string name = wanted.name == nullptr ? "" : wanted.name;
        CK_VERSION version{static_cast<CK_BYTE>(wanted.version.first),
                           static_cast<CK_BYTE>(wanted.version.second)};
        CK_INTERFACE* found = nullptr;
        const CK_RV answer =
            f3->C_GetInterface(wanted.name == nullptr ? nullptr : reinterpret_cast<CK_UTF8CHAR*>(name.data()),
                               wanted.version.first == 0 ? nullptr : &version, &found, wanted.flags);
        EXPECT_EQ(answer, wanted.list == nullptr ? CKR_ARGUMENTS_BAD : CKR_OK)
            << name << " " << wanted.version.first << "." << wanted.version.second << " " << wanted.flags;
        EXPECT_EQ(found == nullptr ? nullptr : found->pFunctionList, wanted.list);
    }
    EXPECT_EQ(f3->C_GetInterface(nullptr, nullptr, nullptr, 0), CKR_ARGUMENTS_BAD);
}

TEST_F(InterfacesTest, ListsHaveTheExportedFunctionsInTheirPlaces)
{
    const CK_FUNCTION_LIST* const f240 = Functions240();
    int all = 0;
    int later = 0;
    const auto symbol = [this](const char* name) { return blackbox::SymbolOf(loadedFront, name); };
#define CRYPTOKI_WORKS(name, parameters)                                                                     \
    {                                                                                                        \
        const bool isShared = std::string(#name) != "C_GetInfo";                                             \
        EXPECT_EQ(reinterpret_cast<void*>(f->name), symbol(#name)) << #name;                                 \
        EXPECT_EQ(f240->name == f->name, isShared) << #name;                                                 \
        EXPECT_EQ(f3->name == f->name, isShared) << #name;                                                   \
        ++all;                                                                                               \
    }
#define CRYPTOKI_REFUSES(name, parameters, answer) CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_3_WORKS(name, parameters)                                                                   \
    EXPECT_EQ(reinterpret_cast<void*>(f3->name), symbol(#name)) << #name;                                    \
    ++later;
#define CRYPTOKI_3_REFUSES(name, parameters, answer) CRYPTOKI_3_WORKS(name, parameters)
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    EXPECT_EQ(all, 68);
    EXPECT_EQ(later, 24);
}

TEST_F(InterfacesTest, InfoTellsTheVersionOfItsList)
{
    CK_INFO info{};
    const CK_FUNCTION_LIST* const f240 = Functions240();
    EXPECT_EQ(f3->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f240->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    Start();
    CK_INFO plain{};
    ASSERT_EQ(f->C_GetInfo(&plain), CKR_OK);
    for (const auto& [getInfo, version] : {std::pair(f->C_GetInfo, f->version),
                                           {f240->C_GetInfo, f240->version},
                                           {f3->C_GetInfo, f3->version}}) {
        EXPECT_EQ(getInfo(nullptr), CKR_ARGUMENTS_BAD);
        ASSERT_EQ(getInfo(&info), CKR_OK);
        EXPECT_EQ(info.cryptokiVersion.major, version.major);
        EXPECT_EQ(info.cryptokiVersion.minor, version.minor);
        EXPECT_EQ(Bytes(std::begin(info.manufacturerID), std::end(info.manufacturerID)),
                  Bytes(std::begin(plain.manufacturerID), std::end(plain.manufacturerID)));
        EXPECT_EQ(Bytes(std::begin(info.libraryDescription), std::end(info.libraryDescription)),
                  Bytes(std::begin(plain.libraryDescription), std::end(plain.libraryDescription)));
        EXPECT_EQ(info.libraryVersion.major, plain.libraryVersion.major);
    }
}

TEST_F(InterfacesTest, FunctionsOfMessagesAreRefusedOnceStarted)
{
    struct Refused
    {
        const char* name;
        CK_RV (*call)(CK_FUNCTION_LIST_3_0* list, uintptr_t value);
    };
    const Refused functions[] = {
#define CRYPTOKI_WORKS(name, parameters)
#define CRYPTOKI_REFUSES(name, parameters, answer)
#define CRYPTOKI_3_REFUSES(name, parameters, answer)                                                         \
    {#name,                                                                                                  \
     [](CK_FUNCTION_LIST_3_0* list, uintptr_t value) { return blackbox::CallWith(list->name, value); }},
#include "tavrik/functions.inc" // NOLINT(readability-duplicate-include): once for each use of the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    EXPECT_EQ(std::size(functions), 20U);
    for (const CK_RV answer : {CKR_CRYPTOKI_NOT_INITIALIZED, CKR_FUNCTION_NOT_SUPPORTED}) {
        for (const Refused& function : functions) {
            for (const uintptr_t value : {uintptr_t{0}, uintptr_t{1}, ~uintptr_t{0}}) {
                EXPECT_EQ(function.call(f3, value), answer) << function.name;
            }
        }
        if (answer == CKR_CRYPTOKI_NOT_INITIALIZED) {
            Start();
        }
    }
}

TEST_F(InterfacesTest, LoginWithoutANameIsAnOrdinaryOne)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    const auto login = [&](CK_USER_TYPE user, const std::string& code) {
        std::string given = code; // with an address, also when it is empty
        CK_UTF8CHAR name = 0;
        return f3->C_LoginUser(session, user, reinterpret_cast<CK_UTF8CHAR*>(given.data()), Length(given),
                               &name, 0);
    };
    EXPECT_EQ(f3->C_LoginUser(session + 1, CKU_USER, nullptr, 0, nullptr, 0), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(login(CKU_USER, ""), CKR_PIN_LEN_RANGE);
    EXPECT_EQ(login(7, "123456"), CKR_USER_TYPE_INVALID);
    EXPECT_EQ(login(CKU_SO, "123456"), CKR_SESSION_READ_ONLY_EXISTS);
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    EXPECT_EQ(login(CKU_USER, "000000"), CKR_PIN_INCORRECT);
    ASSERT_EQ(login(CKU_USER, "123456"), CKR_OK);
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(login(CKU_USER, "123456"), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(login(CKU_CONTEXT_SPECIFIC, "654321"), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(login(CKU_CONTEXT_SPECIFIC, "654321"), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 1U);
}

TEST_F(InterfacesTest, LoginWithANameAsksNoCard)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    std::string code = "123456";
    std::string name = "anna";
    auto* const codeBytes = reinterpret_cast<CK_UTF8CHAR*>(code.data());
    auto* const nameBytes = reinterpret_cast<CK_UTF8CHAR*>(name.data());
    for (auto* given : {nameBytes, static_cast<CK_UTF8CHAR*>(nullptr)}) {
        for (const CK_USER_TYPE user : {CKU_USER, CKU_SO, CKU_CONTEXT_SPECIFIC}) {
            EXPECT_EQ(f3->C_LoginUser(session, user, codeBytes, Length(code), given, Length(name)),
                      CKR_ARGUMENTS_BAD);
        }
        EXPECT_EQ(f3->C_LoginUser(session, CKU_USER, nullptr, 0, given, Length(name)), CKR_ARGUMENTS_BAD);
    }
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
}

} // namespace
} // namespace front_test
