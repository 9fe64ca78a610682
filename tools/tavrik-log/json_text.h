// JSON objects of one line, written as they are put together.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace logtool {

// Appends an object to a text. What it writes is valid JSON in UTF-8 whatever the bytes of the values are:
// those that are no UTF-8 become U+FFFD. For a terminal, control characters that JSON lets stand are written
// as \u and their number, which says the same.
class JsonObject
{
public:
    JsonObject(std::string& target, bool forTerminal) : text(target), terminal(forTerminal) {}

    // Names are ASCII and need no quoting.
    void AddText(std::string_view name, std::string_view value);
    void AddNumber(std::string_view name, uint64_t value);
    void AddTruth(std::string_view name, bool value);
    void AddNull(std::string_view name);

    // The closing brace.
    void End();

private:
    void Begin(std::string_view name);
    void AddQuotedText(std::string_view value);

    std::string& text;
    bool terminal;
    char before = '{';
};

} // namespace logtool
