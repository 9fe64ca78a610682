// Texts of any bytes on their way between UTF-8, UTF-16, paths, terminals and JSON, and as names of readers.
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/directories.h"
#include "softcard/card/reader_directory.h"
#include "src/card/card_api.h"
#include "src/card/card_status.h"
#include "src/platform/platform.h"
#include "tests/fuzz/rules.h"
#include "tools/tavrik-log/utf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using fuzz::Require;
using nlohmann::json;
namespace sc = softcard;

constexpr size_t longestReaderName = 100;

bool IsControl(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

// What tavrik-log takes for well-formed.
bool IsValidForLogs(std::string_view text)
{
    while (!text.empty()) {
        const logtool::Utf8Character character = logtool::FirstCharacter(text);
        if (!character.valid) {
            return false;
        }
        text.remove_prefix(character.bytes);
    }
    return true;
}

void RequireConversions(const std::string& text)
{
    const bool isValid = sc::DecodeUtf8(text).has_value();
    Require(isValid == IsValidForLogs(text), "The library and tavrik-log know the same UTF-8.");
    const std::u16string wide = sc::ToUtf16(text);
    const auto back = sc::ToUtf8(wide);
    Require(back.has_value(), "What was made UTF-16 can be made UTF-8.");
    Require((*back == text) == isValid, "The same text comes back.");
    Require(wide.size() <= text.size(), "UTF-16 has no more units than the bytes were.");
}

void RequireUtf16(const uint8_t* data, size_t size)
{
    std::u16string wide(size / 2, u'\0');
    for (size_t index = 0; index < wide.size(); ++index) {
        wide[index] = static_cast<char16_t>(data[2 * index] << 8U | data[2 * index + 1]);
    }
    if (const auto text = sc::ToUtf8(wide)) {
        Require(sc::ToUtf16(*text) == wide && sc::DecodeUtf8(*text).has_value(),
                "The same UTF-16 comes back.");
    }
    std::array<char16_t, 20> buffer{};
    buffer.fill(u'#');
    const auto capacity = static_cast<uint32_t>(size % 18);
    sc::CopyToBuffer(wide, buffer.data(), capacity);
    Require(std::all_of(buffer.begin() + capacity, buffer.end(), [](char16_t c) { return c == u'#'; }),
            "Nothing is written behind a buffer.");
    const std::u16string_view expected =
        wide.size() < capacity ? std::u16string_view(wide) : std::u16string_view();
    Require(capacity == 0 || (std::equal(expected.begin(), expected.end(), buffer.begin()) &&
                              buffer.at(expected.size()) == u'\0'),
            "A buffer has the text or an empty one.");
}

void RequirePrintable(const std::string& text)
{
    const std::string printable = sc::Printable(text);
    const auto characters = sc::DecodeUtf8(printable);
    Require(characters && std::none_of(characters->begin(), characters->end(), IsControl),
            "A terminal gets no commands.");
    Require(sc::Printable(printable) == printable, "What is printable stays.");
    const std::string dumped = json(text).dump(4, ' ', false, json::error_handler_t::replace);
    Require(json::parse(sc::EscapeForJson(dumped)) == json::parse(dumped), "Escaped JSON says the same.");
}

void RequirePaths(const std::string& text, size_t limit)
{
    std::string name = text;
    std::erase(name, '\0');
    const std::string narrow = Platform::NarrowPath(name, limit);
    Require(narrow.size() <= limit && name.starts_with(narrow), "A path is cut to the limit.");
    const bool isValid = sc::DecodeUtf8(name).has_value();
    Require(!isValid || sc::DecodeUtf8(narrow).has_value(), "No character is cut apart.");
    const std::string printable = Platform::PrintablePath(name, limit);
    Require(printable.size() <= limit, "A printable path is no longer.");
    const auto characters = sc::DecodeUtf8(printable);
    Require(!characters || std::none_of(characters->begin(), characters->end(), IsControl),
            "A log gets no control characters.");
    const std::u16string wide = Platform::WideText(name);
    Require(isValid ? wide == sc::ToUtf16(name) : wide.empty(), "A name is a text or none.");
    Require(!isValid || Platform::PathOf(wide).native() == name, "The same name comes back.");
}

// A reader with such a name, if there can be one, is listed and known under its name.
void RequireReader(const std::string& name)
{
    const sc::ReaderDirectory readers(sc::FindDirectories());
    try {
        sc::RequireReaderName(name);
    } catch (const sc::StoreError&) {
        return;
    }
    Require(!name.empty() && name.size() <= longestReaderName && sc::DecodeUtf8(name).has_value(),
            "A name has its form.");
    readers.Plug(name);
    std::array<char16_t, longestReaderName + 2> listed{};
    const int32_t used = CardAPI_GetReaderList(listed.data(), listed.size() - 1);
    const std::u16string wide = sc::ToUtf16(name);
    Require(used == static_cast<int32_t>(wide.size()) + 1 && listed.data() == wide, "The reader is listed.");
    Require(listed.back() == u'\0', "Nothing is written behind the list.");
    CardSession session = 0;
    Require(CardAPI_OpenSession(wide.c_str(), &session) == eStatusNO_SMARTCARD,
            "The reader is known under its name.");
    readers.Unplug(name);
}

} // namespace

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    static const auto* const home = new fuzz::Folder();
    setenv("TAVRIK_HOME", home->Path().c_str(), 1);
    CardAPI_Initialize(nullptr);
    static_cast<void>(std::atexit([] { std::filesystem::remove_all(home->Path()); }));
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    RequireConversions(text);
    RequireUtf16(data, size);
    RequirePrintable(text);
    RequirePaths(text, size == 0 ? 0 : data[0]);
    RequireReader(text);
    return 0;
}
