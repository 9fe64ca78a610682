#include "tests/support/scripted_card/call_text.h"

#include <array>
#include <cstdio>

namespace scripted {
namespace {

std::string HexText(const Bytes& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        std::array<char, 3> digits{};
        static_cast<void>(std::snprintf(digits.data(), digits.size(), "%02x", byte));
        text += digits.data();
    }
    return text;
}

bool IsVerification(const CardCall& call)
{
    return call.function == "Passwords_VerifyBOK" || call.function == "QES_VerifyPin";
}

bool HasData(const CardCall& call)
{
    return call.function.ends_with("SignData") || call.function == "ES_DecryptData" ||
           call.function == "Hash";
}

bool HasCapacity(const CardCall& call)
{
    return call.function.ends_with("DataDir") || call.function == "GetReaderList" ||
           call.function == "GetTokenInfo" || call.function.ends_with("SignData") ||
           call.function == "ES_DecryptData";
}

std::string JoinArguments(const std::vector<std::string>& arguments)
{
    std::string text;
    for (const std::string& argument : arguments) {
        text += text.empty() ? argument : ", " + argument;
    }
    return text;
}

} // namespace

std::string NarrowText(const std::u16string& text)
{
    std::string narrow;
    for (const char16_t character : text) {
        if (character <= 126) {
            narrow += static_cast<char>(character);
            continue;
        }
        std::array<char, 8> escaped{};
        static_cast<void>(std::snprintf(escaped.data(), escaped.size(), "\\u%04X", character));
        narrow += escaped.data();
    }
    return narrow;
}

std::string DescribeCall(const CardCall& call)
{
    if (call.function == "Initialize" || call.function == "Finalize") {
        return call.function;
    }
    std::vector<std::string> arguments;
    if (call.function == "OpenSession") {
        arguments.push_back(NarrowText(call.reader));
    }
    if (call.session != 0) {
        arguments.push_back(std::to_string(call.session));
    }
    if (IsVerification(call)) {
        arguments.push_back(call.code ? "\"" + *call.code + "\"" : "null");
        arguments.emplace_back(call.pointer == nullptr ? "null" : "pointer");
    }
    if (HasData(call)) {
        arguments.push_back(HexText(call.data));
    }
    if (HasCapacity(call)) {
        arguments.push_back(std::to_string(call.capacity));
    }
    for (const uint32_t constant : call.constants) {
        arguments.push_back(std::to_string(constant));
    }
    if (call.function.ends_with("GetKeyInfo")) {
        arguments.emplace_back(call.flag ? "true" : "false");
    }
    return call.function + "(" + JoinArguments(arguments) + ")";
}

} // namespace scripted
