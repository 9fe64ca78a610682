#include "softcard/card/code_change.h"

#include "tests/softcard/card_home.h"
#include "tests/softcard/refusals.h"

using namespace softcard;
using namespace softcard::test;

namespace {

class CodeChangeTest : public CardTest
{
protected:
    [[nodiscard]] std::filesystem::path FolderOf(const char* card) const { return State() / "cards" / card; }
};

TEST_F(CodeChangeTest, CodeThatIsNotInitialisedCannotBeLockedOrGetTriesBack)
{
    const auto blank = FolderOf("blank");
    for (const CodeKind kind : {CodeKind::bok, CodeKind::pin}) {
        EXPECT_EQ(FailureOf([&] { LockCode(blank, kind); }), StoreFailure::codeUnusable);
        EXPECT_EQ(FailureOf([&] { UnblockCode(blank, kind, MakeSecretText(templatePuk), std::nullopt); }),
                  StoreFailure::codeUnusable);
        EXPECT_EQ(FailureOf([&] { OpenWithCode(blank, kind, MakeSecretText(bok)); }),
                  StoreFailure::codeUnusable);
    }
}

TEST_F(CodeChangeTest, LockedCodeIsOpenedByThePukAlone)
{
    const auto card = FolderOf("ref1");
    const SecretBytes secret = OpenWithCode(card, CodeKind::bok, MakeSecretText(bok));
    LockCode(card, CodeKind::bok);
    EXPECT_EQ(FailureOf([&] { OpenWithCode(card, CodeKind::bok, MakeSecretText(bok)); }),
              StoreFailure::codeUnusable);
    EXPECT_EQ(OpenWithPuk(card, CodeKind::bok, MakeSecretText(templatePuk)), secret);
    UnblockCode(card, CodeKind::bok, MakeSecretText(templatePuk), std::nullopt);
    EXPECT_EQ(OpenWithCode(card, CodeKind::bok, MakeSecretText(bok)), secret);
}

TEST_F(CodeChangeTest, LockedPukOpensNothing)
{
    const auto card = FolderOf("ref1");
    LockCode(card, CodeKind::puk);
    EXPECT_EQ(FailureOf([&] { OpenWithPuk(card, CodeKind::pin, MakeSecretText(templatePuk)); }),
              StoreFailure::codeUnusable);
}

} // namespace
