// A file that names the card's folder: making a symbolic link takes a privilege.
#include "softcard/system/card_link.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "softcard/system/windows/handle.h"

#include <algorithm>
#include <system_error>

namespace softcard {
namespace {

namespace fs = std::filesystem;

constexpr DWORD shareWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr uintmax_t longestLink = 65536; // bytes: the longest path of Windows in UTF-16
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view wideByteOrderMark = "\xFF\xFE";
constexpr int64_t ticksUntil1970 = 116444736000000000; // since 1601
using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10000000>>;

struct FileFacts
{
    std::string identity; // no other file or folder has it as long as this one lives
    int64_t changed = 0;  // in ticks since 1601
};

std::optional<FileFacts> Examine(const fs::path& path)
{
    const Handle file = Own(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, shareWithAll, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION facts{};
    FILE_BASIC_INFO times{};
    if (!file || GetFileInformationByHandle(file.get(), &facts) == FALSE ||
        GetFileInformationByHandleEx(file.get(), FileBasicInfo, &times, sizeof times) == FALSE) {
        return std::nullopt;
    }
    return FileFacts{std::to_string(facts.dwVolumeSerialNumber) + ":" + std::to_string(facts.nFileIndexHigh) +
                         "." + std::to_string(facts.nFileIndexLow),
                     std::max(times.ChangeTime.QuadPart, times.LastWriteTime.QuadPart)};
}

// As editors and command interpreters write it: UTF-8, or UTF-16 with its mark.
std::optional<fs::path> DecodePath(std::string_view content)
{
    std::u16string text;
    if (content.starts_with(wideByteOrderMark)) {
        for (size_t i = wideByteOrderMark.size(); i + 1 < content.size(); i += 2) {
            text.push_back(static_cast<char16_t>(static_cast<uint8_t>(content[i]) |
                                                 static_cast<uint8_t>(content[i + 1]) << 8));
        }
    } else {
        content.remove_prefix(content.starts_with(byteOrderMark) ? byteOrderMark.size() : 0);
        if (!DecodeUtf8(content)) {
            return std::nullopt;
        }
        text = ToUtf16(content);
    }
    text.resize(std::min(text.size(), text.find_first_of(u"\r\n")));
    text.erase(text.find_last_not_of(u" \t") + 1);
    return text.empty() ? std::nullopt : std::optional(fs::path(text));
}

// Where the file says that the card lies, whether anything is there or not. Nothing when it says nothing.
std::optional<fs::path> TargetOf(const fs::path& link)
{
    std::error_code error;
    if (!IsCardLink(link) || fs::file_size(link, error) > longestLink || error) {
        return std::nullopt;
    }
    try {
        const auto written = DecodePath(ReadFile(link));
        if (!written) {
            return std::nullopt;
        }
        const fs::path target = (link.parent_path() / *written).lexically_normal();
        return target.has_filename() ? target : target.parent_path();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

} // namespace

bool IsCardLink(const fs::path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::string CardBehind(const fs::path& link, const fs::path& cards)
{
    const auto target = TargetOf(link);
    if (!target || !IsFolder(*target)) {
        return {};
    }
    const auto parent = Examine(target->parent_path());
    const auto store = Examine(cards);
    WIN32_FIND_DATAW found{};
    HANDLE search = parent && store && parent->identity == store->identity
                        ? FindFirstFileW(target->c_str(), &found)
                        : INVALID_HANDLE_VALUE;
    if (search == INVALID_HANDLE_VALUE) {
        return {};
    }
    FindClose(search);
    return Utf8Of(found.cFileName); // the name as it is, however the path had it
}

std::optional<Insertion> DescribeInsertion(const fs::path& link)
{
    const auto target = TargetOf(link);
    const auto reader = Examine(link.parent_path());
    const auto file = Examine(link);
    const auto card = target ? Examine(*target) : std::nullopt;
    if (!reader || !file || !card) {
        return std::nullopt;
    }
    return Insertion{reader->identity + " " + file->identity + " " + std::to_string(file->changed) + " " +
                         card->identity,
                     card->identity, Ticks(file->changed - ticksUntil1970)};
}

void MakeCardLink(const fs::path& cardFolder, const fs::path& link)
{
    WriteFileAtomically(link, Utf8Of(cardFolder.lexically_relative(link.parent_path())) + "\r\n");
}

} // namespace softcard
