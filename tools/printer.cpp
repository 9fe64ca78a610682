#include "printer.h"

#include <algorithm>
#include <string_view>

#include <nlohmann/json.hpp>

namespace logtool {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view dim = "\x1b[2m";
constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view yellow = "\x1b[33m";
constexpr std::string_view plain = "\x1b[0m";
constexpr size_t narrowestText = 20; // a description is not broken into less
constexpr std::array<size_t, 5> firstWidths = {4, 0, 10, 0, 0};

std::string Dump(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

bool ContinuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

size_t CharacterCount(std::string_view text)
{
    return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), ContinuesCharacter));
}

// The bytes of the first `count` characters.
size_t BytesOf(std::string_view text, size_t count)
{
    size_t bytes = 0;
    while (bytes < text.size() && (count > 0 || ContinuesCharacter(text[bytes]))) {
        count -= ContinuesCharacter(text[bytes]) ? 0 : 1;
        ++bytes;
    }
    return bytes;
}

std::string Broken(std::string_view text, size_t indent, size_t width)
{
    if (width < indent + narrowestText) {
        return std::string(text);
    }
    std::string lines;
    while (CharacterCount(text) > width - indent) {
        const size_t bytes = BytesOf(text, width - indent);
        lines.append(text.substr(0, bytes)).append("\n").append(indent, ' ');
        text.remove_prefix(bytes);
    }
    return lines.append(text);
}

std::string_view ColourOf(Level level)
{
    switch (level) {
    case Level::error:
        return red;
    case Level::warning:
        return yellow;
    case Level::debug:
        return dim;
    default:
        return "";
    }
}

std::string LevelText(Level level)
{
    constexpr std::array<const char*, 5> texts = {"ERR", "WARN", "INFO", "DBG", "?"};
    return texts.at(static_cast<size_t>(level));
}

Json TimeJson(const LineTime& time, Json value)
{
    value["time"] = time.date ? Json(IsoTime(*time.date)) : Json();
    value["counter"] = time.counter ? Json(*time.counter) : Json();
    return value;
}

std::string LineJson(const LogLine& line)
{
    if (!line.framed) {
        return Dump({{"text", line.text}});
    }
    Json value = TimeJson(line.time, {{"level", LevelName(line.level)}});
    value["module"] = line.module;
    value["description"] = line.description;
    value["thread"] = line.thread;
    value["function"] = line.function;
    value["verbose"] = line.verbose;
    value["cut"] = line.cut;
    return Dump(value);
}

std::string CallJson(const Call& call)
{
    Json value = TimeJson(call.entering.time, {{"function", call.entering.function}});
    value["thread"] = call.entering.thread;
    value["duration"] = call.unit == Unit::none ? Json() : Json(call.duration);
    value["unit"] = call.unit == Unit::none ? Json() : Json(call.unit == Unit::seconds ? "s" : "ms");
    value["result"] = call.result.empty() ? Json() : Json(call.result);
    return Dump(value);
}

} // namespace

std::string Printable(const std::string& text)
{
    // The JSON writer is asked to replace the bad bytes, and its reader to undo the quoting.
    std::string valid = Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
    std::replace_if(
        valid.begin(), valid.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7f'; }, '?');
    return valid;
}

std::string Printer::Pad(size_t column, const std::string& text)
{
    size_t& width = columns.at(column);
    const size_t length = CharacterCount(text);
    width = std::max({width, firstWidths.at(column), length});
    return width == 0 ? "" : text + std::string(width - length + 2, ' ');
}

std::string Printer::Line(const LogLine& line)
{
    if (choice.json) {
        return LineJson(line);
    }
    if (!line.framed) {
        const std::string text = Broken(Printable(line.text), 0, choice.width);
        return choice.colour && !text.empty() ? std::string(dim) + text + std::string(plain) + '\n'
                                              : text + '\n';
    }
    std::string front = Pad(0, LevelText(line.level)) + Pad(1, line.time.text) +
                        Pad(2, Printable(line.module)) + Pad(3, Printable(line.thread)) +
                        Pad(4, Printable(line.function));
    std::string text = Printable(line.description);
    if (!line.verbose.empty()) {
        text += " | " + Printable(line.verbose);
    }
    if (line.cut) {
        text += " [cut]";
    }
    text = front + Broken(text, CharacterCount(front), choice.width);
    const std::string_view colour = choice.colour ? ColourOf(line.level) : "";
    return colour.empty() ? text + '\n' : std::string(colour) + text + std::string(plain) + '\n';
}

std::string DurationText(const Call& call)
{
    switch (call.unit) {
    case Unit::milliseconds:
        return std::to_string(call.duration) + " ms";
    case Unit::seconds:
        return std::to_string(call.duration) + " s";
    case Unit::none:
        break;
    }
    return "-";
}

std::string Printer::OneCall(const Call& call)
{
    if (choice.json) {
        return CallJson(call);
    }
    constexpr size_t durationWidth = 10;
    const std::string duration = DurationText(call);
    const std::string blanks(durationWidth > duration.size() ? durationWidth - duration.size() : 0, ' ');
    const std::string result = call.result.empty() ? "no leaving line" : Printable(call.result);
    std::string text = blanks + duration + "  " + Pad(1, call.entering.time.text) +
                       Pad(3, Printable(call.entering.thread)) + Pad(4, Printable(call.entering.function)) +
                       result;
    const bool failed = !call.result.empty() && !call.result.starts_with("0 ");
    return choice.colour && failed ? std::string(red) + text + std::string(plain) + '\n' : text + '\n';
}

} // namespace logtool
