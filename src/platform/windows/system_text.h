// Texts between UTF-16 as we have it, as Windows has it, and the code page.
#pragma once

#include <string>
#include <string_view>

std::wstring SystemText(std::u16string_view text);
std::u16string TextOf(std::wstring_view systemText);

// What Windows says about one of its error numbers, without a line end; the number when it says nothing.
std::string ErrorText(unsigned long error);
