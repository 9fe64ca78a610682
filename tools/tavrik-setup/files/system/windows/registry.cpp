#include "tools/tavrik-setup/files/system/windows/registry.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>

#include <windows.h>

namespace setup {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* machineRoot = L"HKEY_LOCAL_MACHINE";
constexpr const wchar_t* userRoot = L"HKEY_CURRENT_USER";
constexpr size_t longestName = 16384; // characters, of a value

struct CloseRegistryKey
{
    void operator()(HKEY key) const { RegCloseKey(key); }
};

using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseRegistryKey>;

[[noreturn]] void RefuseForError(const fs::path& path, LSTATUS error)
{
    const auto number = static_cast<unsigned long>(error);
    throw Refusal(softcard::Utf8Of(path) + ": " + ErrorText(number) + "." +
                  (IsLackOfRights(number) ? AdviceForRights() : ""));
}

HKEY RootOf(const fs::path& path)
{
    return path.begin()->native() == machineRoot ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

// Behind the root.
std::wstring KeyName(const fs::path& path)
{
    fs::path below;
    std::for_each(std::next(path.begin()), path.end(), [&below](const fs::path& part) { below /= part; });
    return below.native();
}

// What programs of 64 bits see. Null with the error when it cannot be opened.
std::pair<Key, LSTATUS> Open(const fs::path& key, REGSAM access)
{
    HKEY opened = nullptr;
    const LSTATUS error =
        RegOpenKeyExW(RootOf(key), KeyName(key).c_str(), 0, access | KEY_WOW64_64KEY, &opened);
    return {Key(error == ERROR_SUCCESS ? opened : nullptr), error};
}

Key OpenToWrite(const fs::path& key)
{
    auto [opened, error] = Open(key, KEY_QUERY_VALUE | KEY_SET_VALUE);
    if (!opened) {
        RefuseForError(key, error);
    }
    return std::move(opened);
}

bool IsMissing(LSTATUS error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// Without the zeros that a text may end with or not.
std::wstring TextIn(const std::vector<unsigned char>& data)
{
    std::wstring text(data.size() / sizeof(wchar_t), L'\0');
    std::copy_n(data.begin(), text.size() * sizeof(wchar_t), reinterpret_cast<unsigned char*>(text.data()));
    text.erase(text.find_last_not_of(L'\0') + 1);
    return text;
}

std::optional<std::string> ReadIn(const Key& key, const fs::path& value)
{
    const std::wstring name = value.filename().native();
    std::vector<unsigned char> data;
    DWORD type = REG_NONE;
    DWORD size = 0;
    LSTATUS error = RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, nullptr, &size);
    while ((error == ERROR_SUCCESS && data.size() < size) || error == ERROR_MORE_DATA) {
        if (size > softcard::longestFile) {
            throw Refusal(softcard::Utf8Of(value) + ": It is too large.");
        }
        data.resize(size);
        error = RegQueryValueExW(key.get(), name.c_str(), nullptr, &type, data.data(), &size);
    }
    if (IsMissing(error)) {
        return std::nullopt;
    }
    if (error != ERROR_SUCCESS) {
        RefuseForError(value, error);
    }
    data.resize(size);
    const auto text = softcard::Utf8Of(TextIn(data));
    if ((type != REG_SZ && type != REG_EXPAND_SZ) || (text.empty() && !TextIn(data).empty())) {
        throw Refusal(softcard::Utf8Of(value) + ": It is no text.");
    }
    return text + "\n";
}

void RequireUnchanged(const Key& key, const fs::path& value, const std::optional<std::string>& before)
{
    if (ReadIn(key, value) != before) {
        throw Refusal(softcard::Utf8Of(value) + " was changed meanwhile. Try again.");
    }
}

} // namespace

bool IsInRegistry(const fs::path& path)
{
    return !path.empty() && (path.begin()->native() == machineRoot || path.begin()->native() == userRoot);
}

std::optional<std::string> ReadValue(const fs::path& value)
{
    const auto [key, error] = Open(value.parent_path(), KEY_QUERY_VALUE);
    if (IsMissing(error)) {
        return std::nullopt;
    }
    if (!key) {
        RefuseForError(value, error);
    }
    return ReadIn(key, value);
}

void ReplaceValue(const fs::path& value, const std::optional<std::string>& before, const std::string& after)
{
    const Key key = OpenToWrite(value.parent_path());
    const std::wstring text =
        softcard::PathOf(after.substr(0, after.size() - (after.ends_with('\n') ? 1 : 0))).native();
    RequireUnchanged(key, value, before);
    const LSTATUS error = RegSetValueExW(key.get(), value.filename().c_str(), 0, REG_SZ,
                                         reinterpret_cast<const BYTE*>(text.c_str()),
                                         static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    if (error != ERROR_SUCCESS) {
        RefuseForError(value, error);
    }
}

void DeleteValue(const fs::path& value, const std::string& before)
{
    const Key key = OpenToWrite(value.parent_path());
    RequireUnchanged(key, value, before);
    const LSTATUS error = RegDeleteValueW(key.get(), value.filename().c_str());
    if (error != ERROR_SUCCESS) {
        RefuseForError(value, error);
    }
}

std::vector<fs::path> MakeKeys(const fs::path& key)
{
    if (Open(key, KEY_QUERY_VALUE).first) {
        return {};
    }
    std::vector<fs::path> made;
    if (std::distance(key.begin(), key.end()) > 2) {
        made = MakeKeys(key.parent_path());
    }
    HKEY created = nullptr;
    DWORD disposition = 0;
    const LSTATUS error =
        RegCreateKeyExW(RootOf(key), KeyName(key).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_QUERY_VALUE | KEY_WOW64_64KEY, nullptr, &created, &disposition);
    if (error != ERROR_SUCCESS) {
        std::for_each(made.rbegin(), made.rend(), DeleteEmptyKey);
        RefuseForError(key, error);
    }
    const Key owner(created);
    if (disposition == REG_CREATED_NEW_KEY) {
        made.push_back(key);
    }
    return made;
}

void RequireWritableValue(const fs::path& value)
{
    fs::path key = value.parent_path();
    LSTATUS error = Open(key, KEY_SET_VALUE | KEY_CREATE_SUB_KEY).second;
    while (IsMissing(error) && key.has_parent_path()) {
        key = key.parent_path();
        error = Open(key, KEY_SET_VALUE | KEY_CREATE_SUB_KEY).second;
    }
    if (error != ERROR_SUCCESS) {
        throw Refusal("You may not write to " + softcard::Utf8Of(key) + "." + AdviceForRights());
    }
}

bool IsKeyOrValue(const fs::path& path)
{
    if (Open(path, KEY_QUERY_VALUE).first) {
        return true;
    }
    const Key key = Open(path.parent_path(), KEY_QUERY_VALUE).first;
    return key && RegQueryValueExW(key.get(), path.filename().c_str(), nullptr, nullptr, nullptr, nullptr) ==
                      ERROR_SUCCESS;
}

void DeleteEmptyKey(const fs::path& key)
{
    DWORD keys = 0;
    DWORD values = 0;
    const Key opened = Open(key, KEY_QUERY_VALUE).first;
    if (opened &&
        RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                         nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
        keys == 0 && values == 0) {
        RegDeleteKeyExW(RootOf(key), KeyName(key).c_str(), KEY_WOW64_64KEY, 0);
    }
}

std::vector<std::string> ValuesOf(const fs::path& key)
{
    std::vector<std::string> names;
    const Key opened = Open(key, KEY_QUERY_VALUE).first;
    std::vector<wchar_t> name(longestName);
    auto length = static_cast<DWORD>(name.size());
    while (opened && RegEnumValueW(opened.get(), static_cast<DWORD>(names.size()), name.data(), &length,
                                   nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        names.push_back(softcard::Utf8Of(std::wstring(name.data(), length)));
        length = static_cast<DWORD>(name.size());
    }
    return names;
}

} // namespace setup
