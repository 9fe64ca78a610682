// Any lines in a log, as tavrik-log reads and prints them. The first two bytes choose the printing and the filter, what
// follows are the lines.
#include "tests/fuzz/rules.h"
#include "tools/tavrik-log/call_list.h"
#include "tools/tavrik-log/line_filter.h"
#include "tools/tavrik-log/printer.h"
#include "tools/tavrik-log/utf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using fuzz::Require;
using nlohmann::json;
using namespace logtool;

constexpr size_t widestTerminal = 255;
constexpr std::string_view controlText = "A text has no control characters.";

// What the library for JSON takes for well-formed UTF-8.
bool IsUtf8(std::string_view text)
{
    return json(text).dump(-1, ' ', false, json::error_handler_t::ignore) ==
           json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

bool SameTime(const LineTime& a, const LineTime& b)
{
    return a.text == b.text && a.date == b.date && a.counter == b.counter;
}

bool Same(const LogLine& a, const LogLine& b)
{
    if (a.framed != b.framed || a.text != b.text || a.cut != b.cut) {
        return false;
    }
    return !a.framed || (a.level == b.level && SameTime(a.time, b.time) && a.module == b.module &&
                         a.description == b.description && a.thread == b.thread && a.function == b.function &&
                         a.verbose == b.verbose);
}

// Without the colours, which stand at the begin and at the end of a line alone.
std::string WithoutColours(std::string text)
{
    for (const std::string_view colour : {"\x1b[2m", "\x1b[31m", "\x1b[33m"}) {
        if (text.starts_with(colour) && text.ends_with("\x1b[0m\n")) {
            text = text.substr(colour.size(), text.size() - colour.size() - 5) + "\n";
            break;
        }
    }
    return text;
}

bool IsControl(char32_t code)
{
    return code < 0x20 || code == 0x7f;
}

// One line of text for the chosen output; it may be broken into several where the output has a width.
void RequireShowable(const std::string& text, const PrintChoice& choice)
{
    Require(text.ends_with('\n'), "A line has an end.");
    Require(IsUtf8(text), "The output is UTF-8.");
    const std::string plain = choice.json ? text : WithoutColours(text);
    std::string_view rest(plain.data(), plain.size() - 1);
    while (!rest.empty()) {
        const Utf8Character character = FirstCharacter(rest);
        const bool isBreak = character.code == '\n' && choice.width > 0 && !choice.json;
        Require(isBreak ||
                    (!IsControl(character.code) && !(choice.terminal && CommandsTerminal(character.code))) ||
                    (choice.json && !choice.terminal && character.code == 0x7f),
                controlText);
        rest.remove_prefix(character.bytes);
    }
}

void RequireSameText(const json& member, const std::string& text)
{
    Require(!IsUtf8(text) || member == text, "The same text comes back.");
}

void RequireJson(const std::string& text, const LogLine& line)
{
    const json parsed = json::parse(text, nullptr, false);
    Require(parsed.is_object(), "A line is a JSON object.");
    if (!line.framed) {
        RequireSameText(parsed.at("text"), line.text);
        return;
    }
    RequireSameText(parsed.at("module"), line.module);
    RequireSameText(parsed.at("description"), line.description);
    RequireSameText(parsed.at("thread"), line.thread);
    RequireSameText(parsed.at("function"), line.function);
    RequireSameText(parsed.at("verbose"), line.verbose);
    Require(parsed.at("level") == LevelName(line.level) && parsed.at("cut") == line.cut,
            "Level and mark are told.");
    Require(parsed.at("time").is_null() != line.time.date.has_value() &&
                parsed.at("counter").is_null() != line.time.counter.has_value(),
            "The parts of the time are told.");
}

// A line is not longer than what stands in it, its columns and, on a terminal, the blanks that it is broken with.
void RequireBound(const std::string& text, size_t lineSize, const PrintChoice& choice)
{
    constexpr size_t longestEscape = 6; // of a byte
    const size_t columns = choice.json ? 200 : 5 * (longestLibraryLine + 2) + 40;
    const size_t whole = longestEscape * lineSize + columns;
    Require(text.size() <= (choice.width > 0 ? whole * (2 + choice.width / 20) : whole),
            "A line is bounded.");
}

// A line that the library would compose of these parts is taken apart into them.
void RequireParts(const std::string& part, Level level)
{
    const auto clean = [&part](size_t begin, size_t end) {
        std::string text = part.substr(std::min(part.size(), begin), end - begin);
        std::replace(text.begin(), text.end(), ';', ',');
        return text;
    };
    constexpr size_t partSize = 12;
    const std::string description = clean(0, partSize);
    const std::string function = clean(partSize, 2 * partSize);
    const std::string verbose = clean(2 * partSize, part.size());
    static constexpr std::string_view levels[] = {" ERR", "WARN", "INFO", " DBG"};
    std::string text(levels[static_cast<size_t>(level) % 4]);
    text += "; Thu Nov 12 12:10:02 2026 00000123;      pkcs11_x64; " + description +
            "; ThID: 0x1f3c; VERB: " + function + ";  " + verbose;
    const LogLine line = ParseLine(text);
    Require(line.framed && line.level == static_cast<Level>(static_cast<size_t>(level) % 4) &&
                line.time.counter == 123 && line.module == "pkcs11_x64" && line.description == description &&
                line.thread == "0x1f3c" && line.function == function &&
                line.verbose == verbose.substr(std::min(verbose.find_first_not_of(' '), verbose.size())),
            "A line of the library is taken apart into its parts.");
}

PrintChoice ChoiceOf(uint8_t byte, uint8_t width)
{
    PrintChoice choice;
    choice.json = (byte & 1U) != 0;
    choice.colour = (byte & 2U) != 0;
    choice.terminal = (byte & 4U) != 0;
    choice.width = (byte & 8U) != 0 ? std::min<size_t>(width, widestTerminal) : 0;
    return choice;
}

FilterChoice FilterOf(uint8_t byte)
{
    FilterChoice choice;
    if ((byte & 16U) != 0) {
        choice.level = Level::warning;
    }
    if ((byte & 32U) != 0) {
        choice.functions = {"C_Sign*", "C_Login"};
    }
    if ((byte & 64U) != 0) {
        choice.since = 1794485000;
    }
    if ((byte & 128U) != 0) {
        choice.until = 1794486000;
    }
    return choice;
}

// All that is kept from one line to the next.
class Reading
{
public:
    Reading(uint8_t byte, uint8_t width)
        : choice(ChoiceOf(byte, width)), filterChoice(FilterOf(byte)), filter(filterChoice), printer(choice)
    {
    }

    void Take(std::string_view text)
    {
        const LogLine& line = reader.Read(text);
        Require(Same(line, ParseLine(text)), "A line means the same whatever stood before it.");
        const std::string& printed = printer.Line(line);
        RequireShowable(printed, choice);
        RequireBound(printed, text.size(), choice);
        if (choice.json) {
            RequireJson(printed, line);
        }
        const bool shown = filter.Shows(1, line);
        Require(!shown || !filterChoice.level || line.level <= *filterChoice.level,
                "Only lines of the level are shown.");
        Require(!shown || filterChoice.functions.empty() || line.function.starts_with("C_"),
                "Only lines of the functions are shown.");
        entered += line.framed && line.description == "PKCS11_FUNCTION_ENTERING" ? 1U : 0U;
        for (const Call& call : calls.Take(shown, line)) {
            TakeCall(call);
        }
    }

    void End()
    {
        for (const Call& call : calls.TakeOpen()) {
            TakeCall(call);
        }
        Require(ended <= entered, "A call begins with a line.");
        static_cast<void>(filter.Notes());
    }

private:
    void TakeCall(const Call& call)
    {
        ++ended;
        Require(!call.entering.function.empty() && !call.entering.thread.empty(),
                "A call has a function and a thread.");
        const std::string& printed = printer.OneCall(call);
        RequireShowable(printed, choice);
        RequireBound(printed, call.entering.text.size() + call.result.size() + 60, choice);
        Require(!choice.json || json::parse(printed, nullptr, false).is_object(), "A call is a JSON object.");
    }

    PrintChoice choice;
    FilterChoice filterChoice;
    LineReader reader;
    LineFilter filter;
    Printer printer;
    CallList calls;
    size_t entered = 0;
    size_t ended = 0;
};

} // namespace

// In a zone without summer time a date has one meaning.
int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    setenv("TZ", "UTC", 1);
    tzset();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    Reading reading(data[0], data[1]);
    for (size_t begin = 0, end = 0; begin <= text.size(); begin = end + 1) {
        end = std::min(text.find('\n', begin), text.size());
        reading.Take(std::string_view(text).substr(begin, end - begin));
    }
    reading.End();
    RequireParts(text, static_cast<Level>(data[0] % 4));
    static_cast<void>(ParseTimeArgument(text, 1794485402));
    return 0;
}
