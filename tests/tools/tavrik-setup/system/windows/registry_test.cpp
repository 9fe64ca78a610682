#include "tools/tavrik-setup/files/careful_file.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/registry.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include <windows.h>

using namespace setup;
namespace fs = std::filesystem;

namespace {

// In a key of the test's own, by the functions for files.
class Registry : public testing::Test
{
protected:
    Registry() : name(L"Software\\TavrikTest" + std::to_wstring(std::random_device()()))
    {
        key = fs::path("HKEY_CURRENT_USER") / name;
        made = MakeFolders(key, Readers::owner);
    }
    void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, name.c_str()); }

    void Set(const wchar_t* value, DWORD type, const void* data, size_t size)
    {
        const bool isSet = RegSetKeyValueW(HKEY_CURRENT_USER, name.c_str(), value, type, data,
                                           static_cast<DWORD>(size)) == ERROR_SUCCESS;
        ASSERT_TRUE(isSet);
    }

    std::wstring name;
    fs::path key;
    std::vector<fs::path> made;
};

} // namespace

TEST_F(Registry, HoldsTextsAsFilesDo)
{
    const fs::path value = key / "Name";
    EXPECT_EQ(ReadIfThere(value), std::nullopt);
    EXPECT_FALSE(IsThere(value));
    const std::string text = "C:\\\u010Eur\u010Dov\u00E1\\x.dll\n";
    ReplaceContent(value, std::nullopt, text, Readers::owner);
    EXPECT_EQ(ReadIfThere(value), text);
    EXPECT_TRUE(IsThere(value));
    ReplaceContent(value, text, "[\n  1\n]\n", Readers::owner);
    EXPECT_EQ(ReadIfThere(value), "[\n  1\n]\n");
    RemoveFile(value, "[\n  1\n]\n");
    EXPECT_FALSE(IsThere(value));
}

TEST_F(Registry, HasTheValueOfAKeyItself)
{
    Set(nullptr, REG_SZ, L"own", 4 * sizeof(wchar_t));
    EXPECT_EQ(ReadIfThere(key / ""), "own\n");
}

TEST_F(Registry, ReadsTextsWithoutTheirZero)
{
    Set(L"Short", REG_SZ, L"abc", 3 * sizeof(wchar_t));
    Set(L"Empty", REG_SZ, L"", 0);
    Set(L"Odd", REG_SZ, "ab", 1);
    Set(L"Expanded", REG_EXPAND_SZ, L"%x%", 4 * sizeof(wchar_t));
    EXPECT_EQ(ReadIfThere(key / "Short"), "abc\n");
    EXPECT_EQ(ReadIfThere(key / "Empty"), "\n");
    EXPECT_EQ(ReadIfThere(key / "Odd"), "\n");
    EXPECT_EQ(ReadIfThere(key / "Expanded"), "%x%\n");
}

TEST_F(Registry, RefusesWhatIsNoText)
{
    const DWORD number = 7;
    const wchar_t half = 0xD800;
    Set(L"Number", REG_DWORD, &number, sizeof number);
    Set(L"Bytes", REG_BINARY, "abcd", 4);
    Set(L"Half", REG_SZ, &half, sizeof half);
    for (const char* value : {"Number", "Bytes", "Half"}) {
        EXPECT_THROW(static_cast<void>(ReadIfThere(key / value)), Refusal) << value;
        EXPECT_THROW(ReplaceContent(key / value, std::nullopt, "x\n", Readers::owner), Refusal) << value;
        EXPECT_THROW(RemoveFile(key / value, "x\n"), Refusal) << value;
    }
}

TEST_F(Registry, RefusesWhatIsTooLarge)
{
    const std::wstring text(600000, L'x');
    Set(L"Large", REG_SZ, text.data(), text.size() * sizeof(wchar_t));
    EXPECT_THROW(static_cast<void>(ReadIfThere(key / "Large")), Refusal);
}

TEST_F(Registry, LeavesAValueThatHasChangedMeanwhile)
{
    Set(L"Name", REG_SZ, L"other", 6 * sizeof(wchar_t));
    EXPECT_THROW(ReplaceContent(key / "Name", "before\n", "after\n", Readers::owner), Refusal);
    EXPECT_THROW(ReplaceContent(key / "Name", std::nullopt, "after\n", Readers::owner), Refusal);
    EXPECT_THROW(RemoveFile(key / "Name", "before\n"), Refusal);
    EXPECT_EQ(ReadIfThere(key / "Name"), "other\n");
}

TEST_F(Registry, MakesKeysAndTakesThemAwayWhenTheyAreEmpty)
{
    EXPECT_EQ(made, std::vector{key}); // "Software" was there
    const fs::path deep = key / "a" / "b";
    const auto keys = MakeFolders(deep, Readers::owner);
    ASSERT_EQ(keys, (std::vector{deep.parent_path(), deep}));
    EXPECT_TRUE(MakeFolders(deep, Readers::owner).empty());
    ReplaceContent(deep.parent_path() / "Mine", std::nullopt, "x\n", Readers::owner);
    DeleteEmptyFolders(keys);
    EXPECT_FALSE(IsThere(deep));
    EXPECT_TRUE(IsThere(deep.parent_path()));
}

TEST_F(Registry, NamesItsValues)
{
    EXPECT_TRUE(ValuesOf(key).empty());
    EXPECT_TRUE(ValuesOf(key / "nowhere").empty());
    Set(L"One", REG_SZ, L"", 0);
    Set(L"\u010Ctyri", REG_DWORD, nullptr, 0);
    EXPECT_EQ(ValuesOf(key).size(), 2U);
    EXPECT_EQ(ValuesOf(key).front(), "One");
    EXPECT_EQ(ValuesOf(key).back(), "\u010Ctyri");
}

TEST_F(Registry, IsNotTakenForFiles)
{
    EXPECT_TRUE(IsInRegistry("HKEY_LOCAL_MACHINE\\Software"));
    EXPECT_FALSE(IsInRegistry("C:\\HKEY_LOCAL_MACHINE\\Software"));
    EXPECT_FALSE(IsInRegistry("HKEY_LOCAL_MACHINES\\Software"));
    EXPECT_FALSE(IsInRegistry(""));
}
