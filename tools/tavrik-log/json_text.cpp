#include "tools/tavrik-log/json_text.h"

#include "tools/tavrik-log/utf8.h"

#include <algorithm>
#include <array>
#include <utility>

namespace logtool {
namespace {

void AppendNumbered(std::string& text, char32_t code)
{
    constexpr std::string_view digits = "0123456789abcdef";
    text += "\\u";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) {
        text += digits[code >> shift & 0xFU];
    }
}

// The character must be quoted, or is one that is quoted for a terminal.
void AppendQuoted(std::string& text, char32_t code)
{
    constexpr std::array<std::pair<char32_t, char>, 7> letters = {
        {{'"', '"'}, {'\\', '\\'}, {'\b', 'b'}, {'\t', 't'}, {'\n', 'n'}, {'\f', 'f'}, {'\r', 'r'}}};
    const auto* const found = std::find_if(letters.begin(), letters.end(),
                                           [code](const auto& entry) { return entry.first == code; });
    if (found == letters.end()) {
        AppendNumbered(text, code);
    } else {
        text += '\\';
        text += found->second;
    }
}

} // namespace

void JsonObject::Begin(std::string_view name)
{
    text += std::exchange(before, ',');
    text += '"';
    text += name;
    text += "\":";
}

void JsonObject::AddQuotedText(std::string_view value)
{
    text += '"';
    if (IsPlainAscii(value) && value.find('"') == std::string_view::npos &&
        value.find('\\') == std::string_view::npos) {
        text += value;
        value = {};
    }
    while (!value.empty()) {
        const Utf8Character character = FirstCharacter(value);
        const char32_t code = character.code;
        if (code < 0x20 || code == '"' || code == '\\' || (terminal && CommandsTerminal(code))) {
            AppendQuoted(text, code);
        } else {
            text += character.valid ? value.substr(0, character.bytes) : replacementCharacter;
        }
        value.remove_prefix(character.bytes);
    }
    text += '"';
}

void JsonObject::AddText(std::string_view name, std::string_view value)
{
    Begin(name);
    AddQuotedText(value);
}

void JsonObject::AddNumber(std::string_view name, uint64_t value)
{
    Begin(name);
    text += std::to_string(value);
}

void JsonObject::AddTruth(std::string_view name, bool value)
{
    Begin(name);
    text += value ? "true" : "false";
}

void JsonObject::AddNull(std::string_view name)
{
    Begin(name);
    text += "null";
}

void JsonObject::End()
{
    text += '}';
}

} // namespace logtool
