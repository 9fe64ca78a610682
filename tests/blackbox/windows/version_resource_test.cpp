// What Windows shows of the library's file.
#include "tests/support/black_box_test.h"
#include "tests/support/system.h"

#include <windows.h>

#include <array>

namespace blackbox {
namespace {

// The version resource of a file.
class VersionResource
{
public:
    explicit VersionResource(const std::filesystem::path& file)
        : block(GetFileVersionInfoSizeW(file.c_str(), nullptr))
    {
        GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(block.size()), block.data());
    }

    std::string Text(const std::wstring& name)
    {
        void* text = nullptr;
        UINT length = 0; // with its zero
        const std::wstring path = L"\\StringFileInfo\\040904B0\\" + name;
        if (VerQueryValueW(block.data(), path.c_str(), &text, &length) == FALSE || length == 0) {
            return "none";
        }
        const std::wstring wide(static_cast<const wchar_t*>(text), length - 1);
        return {wide.begin(), wide.end()};
    }

    CK_VERSION Number()
    {
        void* found = nullptr;
        UINT length = 0;
        if (VerQueryValueW(block.data(), L"\\", &found, &length) == FALSE) {
            return {};
        }
        const DWORD number = static_cast<const VS_FIXEDFILEINFO*>(found)->dwFileVersionMS;
        return {static_cast<CK_BYTE>(HIWORD(number)), static_cast<CK_BYTE>(LOWORD(number))};
    }

private:
    std::vector<char> block;
};

template <size_t size>
std::string FieldText(const CK_UTF8CHAR (&field)[size])
{
    std::string text(std::begin(field), std::end(field));
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

using VersionResourceTest = BlackBoxTest;

TEST_F(VersionResourceTest, SaysWhatTheInfoOfTheLibrarySays)
{
    Initialize();
    CK_INFO info{};
    ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    VersionResource resource(ScriptedFolder() / LibraryFileName("pkcs11_x64"));
    EXPECT_EQ(resource.Text(L"CompanyName"), FieldText(info.manufacturerID));
    EXPECT_EQ(resource.Text(L"ProductName"), FieldText(info.libraryDescription));
    EXPECT_EQ(resource.Text(L"FileDescription"), FieldText(info.libraryDescription));
    EXPECT_EQ(resource.Text(L"OriginalFilename"), "pkcs11_x64.dll");
    const CK_VERSION number = resource.Number();
    EXPECT_EQ(number.major, info.libraryVersion.major);
    EXPECT_EQ(number.minor, info.libraryVersion.minor);
    const std::string text = std::to_string(number.major) + "." + std::to_string(number.minor);
    EXPECT_EQ(resource.Text(L"FileVersion"), text);
    EXPECT_EQ(resource.Text(L"ProductVersion"), text);
}

} // namespace
} // namespace blackbox
