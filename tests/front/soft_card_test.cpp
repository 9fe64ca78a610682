// The front with the software card: what it leaves to other programs, and what the card does by itself.
#include "tests/front/front_test.h"

#include "softcard/system/files.h"
#include "tests/softcard/environment.h"
#include "tests/support/program.h"

#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace front_test {
namespace {

class SoftCardTest : public Client
{
protected:
    SoftCardTest()
    {
        softcard::test::SetVariable("TAVRIK_HOME", home.Path());
        Tool("new anna --bok 123456 --pin 654321");
        Tool("insert anna");
        f = LoadFront(LibraryFolder());
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_OK);
    }
    ~SoftCardTest() override { static_cast<void>(f->C_Finalize(nullptr)); }

    static void Tool(const std::string& arguments) { EXPECT_EQ(ExitCodeOfTool(arguments), 0) << arguments; }

    static int ExitCodeOfTool(const std::string& arguments)
    {
        std::istringstream words("card-tool " + arguments);
        std::vector<std::string> all{std::istream_iterator<std::string>(words), {}};
        all.front() = CARD_TOOL;
        return softcard::test::RunProgram(all).exitCode;
    }

    // For another program that needs the card for itself. The PIN plays no part in these tests.
    static bool IsFreeForOthers() { return ExitCodeOfTool("lock anna pin") == 0; }

    CK_RV SignAnew(CK_SESSION_HANDLE session)
    {
        Bytes signature;
        const Handles keys = Find(session, Records().Number(CKA_CLASS, CKO_PRIVATE_KEY));
        if (keys.empty()) {
            return CKR_USER_NOT_LOGGED_IN;
        }
        const CK_RV begun = SignInit(session, CKM_SHA256_RSA_PKCS, keys.front());
        return begun == CKR_OK ? Sign(session, Text("m"), signature) : begun;
    }

    [[nodiscard]] const std::filesystem::path& Home() const { return home.Path(); }

private:
    TemporaryFolder home{"tavrik_soft_card_"};
};

TEST_F(SoftCardTest, CardIsFreeForOtherProgramsAfterARefusedLogin)
{
    const CK_SESSION_HANDLE session = Open(ordinary);
    EXPECT_TRUE(IsFreeForOthers());
    EXPECT_EQ(Login(session, CKU_USER, "999999"), CKR_PIN_INCORRECT);
    EXPECT_TRUE(IsFreeForOthers());
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_FALSE(IsFreeForOthers());
    EXPECT_EQ(SignAnew(session), CKR_OK);
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_TRUE(IsFreeForOthers());
}

TEST_F(SoftCardTest, LoginToACardThatAnotherProgramHasIsAnErrorOfTheDevice)
{
    const CK_SESSION_HANDLE session = Open(ordinary);
    {
        const auto ofAnother =
            softcard::FileLock::Try(softcard::LockFileOf(Home() / "state/cards/anna", "transaction"));
        ASSERT_TRUE(ofAnother);
        EXPECT_EQ(Login(session), CKR_DEVICE_ERROR);
        EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    }
    EXPECT_EQ(Login(session), CKR_OK);
}

TEST_F(SoftCardTest, CardSignsAgainAfterABrokenChannelAndANewLogin)
{
    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignAnew(session), CKR_OK);
    Tool("break-channel anna");
    EXPECT_EQ(SignAnew(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_TRUE(IsFreeForOthers());
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(SignAnew(session), CKR_OK);

    Tool("break-channel anna");
    EXPECT_EQ(Login(session), CKR_OK) << "without a failure before";
    EXPECT_EQ(SignAnew(session), CKR_OK);
}

TEST_F(SoftCardTest, FailedSignatureKeepsTheLogin)
{
    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    Tool("fault anna ES_SignData --status eCardCommErr");
    EXPECT_EQ(SignAnew(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(SignAnew(session), CKR_OK);
}

} // namespace
} // namespace front_test
