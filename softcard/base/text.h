// Texts on their way between the store, which is UTF-8, the boundary, which is UTF-16, and the system's
// paths.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace softcard {

// The characters of a UTF-8 text, or nothing when it is not well-formed.
std::optional<std::u32string> DecodeUtf8(std::string_view text);

// What is not well-formed becomes one replacement character for each byte.
std::u16string ToUtf16(std::string_view text);

// Nothing when the text has a surrogate without its partner.
std::optional<std::string> ToUtf8(std::u16string_view text);

// For a terminal: each control character, each character that turns the direction of writing, and each byte
// that is not well-formed UTF-8 is replaced by one replacement character.
std::string Printable(std::string_view text);

// The same characters as escapes, in a text that is well-formed JSON already; line feeds stay.
std::string EscapeForJson(std::string_view text);

// Throws std::exception where paths are Unicode and the text is not well-formed.
std::filesystem::path PathOf(std::string_view text);

// Empty where paths are Unicode and this one is not well-formed.
std::string Utf8Of(const std::filesystem::path& path);

// Copies the text and a terminator. When they do not fit, an empty text is written instead.
void CopyToBuffer(std::u16string_view text, char16_t* buffer, uint32_t capacity);

} // namespace softcard
