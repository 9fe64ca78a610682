#include "tools/tavrik-log/printer.h"

#include "tools/tavrik-log/json_text.h"
#include "tools/tavrik-log/utf8.h"

#include <algorithm>

namespace logtool {
namespace {

constexpr std::string_view dim = "\x1b[2m";
constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view yellow = "\x1b[33m";
constexpr std::string_view plain = "\x1b[0m";
constexpr std::string_view cutMark = " [cut]";
constexpr size_t narrowestText = 20; // a description is not broken into less
constexpr std::array<size_t, 5> firstWidths = {4, 0, 10, 0, 0};

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

std::string_view LevelText(Level level)
{
    constexpr std::array<std::string_view, 5> texts = {"ERR", "WARN", "INFO", "DBG", "?"};
    return texts.at(static_cast<size_t>(level));
}

void AppendPrintable(std::string& target, std::string_view text, bool forTerminal)
{
    if (IsPlainAscii(text)) {
        target += text;
        return;
    }
    while (!text.empty()) {
        const Utf8Character character = FirstCharacter(text);
        const char32_t code = character.code;
        if (code < 0x20 || code == 0x7f || (forTerminal && CommandsTerminal(code))) {
            target += '?';
        } else {
            target += character.valid ? text.substr(0, character.bytes) : replacementCharacter;
        }
        text.remove_prefix(character.bytes);
    }
}

} // namespace

std::string Printable(std::string_view text, bool forTerminal)
{
    std::string printable;
    AppendPrintable(printable, text, forTerminal);
    return printable;
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

void Printer::Put(std::string_view text)
{
    AppendPrintable(output, text, choice.terminal);
}

void Printer::EndColumn(size_t column, size_t begin)
{
    const size_t length = CharacterCount(std::string_view(output).substr(begin));
    size_t& width = columns.at(column);
    width = std::max({width, firstWidths.at(column), length <= longestLibraryLine ? length : 0});
    if (width > 0 || length > 0) {
        output.append(std::max(width, length) - length + 2, ' ');
    }
}

void Printer::PutColumn(size_t column, std::string_view text)
{
    const size_t begin = output.size();
    Put(text);
    EndColumn(column, begin);
}

void Printer::Break(size_t begin, size_t indent)
{
    if (choice.width < indent + narrowestText) {
        return;
    }
    const size_t width = choice.width - indent;
    size_t left = CharacterCount(std::string_view(output).substr(begin));
    if (left <= width) {
        return;
    }
    const std::string whole = output.substr(begin);
    output.resize(begin);
    std::string_view rest = whole;
    for (; left > width; left -= width) {
        const size_t bytes = BytesOf(rest, width);
        output.append(rest.substr(0, bytes)).append("\n").append(indent, ' ');
        rest.remove_prefix(bytes);
    }
    output += rest;
}

const std::string& Printer::Iso(std::time_t time)
{
    if (isoTime != time) {
        isoText = IsoTime(time);
        isoTime = time;
    }
    return isoText;
}

void Printer::PutFramed(const LogLine& line)
{
    const std::string_view colour = choice.colour ? ColourOf(line.level) : "";
    output += colour;
    const size_t begin = output.size();
    PutColumn(0, LevelText(line.level));
    PutColumn(1, line.time.text);
    PutColumn(2, line.module);
    PutColumn(3, line.thread);
    PutColumn(4, line.function);
    const size_t text = output.size();
    Put(line.description);
    if (!line.verbose.empty()) {
        output += " | ";
        Put(line.verbose);
    }
    output += line.cut ? cutMark : "";
    if (choice.width > 0) {
        Break(text, CharacterCount(std::string_view(output).substr(begin, text - begin)));
    }
    output += colour.empty() ? "" : plain;
}

void Printer::PutUnframed(const LogLine& line)
{
    const bool coloured = choice.colour && !line.text.empty();
    output += coloured ? dim : "";
    const size_t begin = output.size();
    Put(line.text);
    output += line.cut ? cutMark : "";
    if (choice.width > 0) {
        Break(begin, 0);
    }
    output += coloured ? plain : "";
}

void Printer::PutJsonTime(JsonObject& json, const LineTime& time)
{
    if (time.date) {
        json.AddText("time", Iso(*time.date));
    } else {
        json.AddNull("time");
    }
    if (time.counter) {
        json.AddNumber("counter", *time.counter);
    } else {
        json.AddNull("counter");
    }
}

void Printer::PutJson(const LogLine& line)
{
    JsonObject json(output, choice.terminal);
    if (!line.framed) {
        json.AddText("text", line.text);
        if (line.cut) {
            json.AddTruth("cut", true);
        }
        json.End();
        return;
    }
    json.AddText("level", LevelName(line.level));
    PutJsonTime(json, line.time);
    json.AddText("module", line.module);
    json.AddText("description", line.description);
    json.AddText("thread", line.thread);
    json.AddText("function", line.function);
    json.AddText("verbose", line.verbose);
    json.AddTruth("cut", line.cut);
    json.End();
}

void Printer::PutJson(const Call& call)
{
    JsonObject json(output, choice.terminal);
    json.AddText("function", call.entering.function);
    PutJsonTime(json, call.entering.time);
    json.AddText("thread", call.entering.thread);
    if (call.unit == Unit::none) {
        json.AddNull("duration");
        json.AddNull("unit");
    } else {
        json.AddNumber("duration", call.duration);
        json.AddText("unit", call.unit == Unit::seconds ? "s" : "ms");
    }
    if (call.result.empty()) {
        json.AddNull("result");
    } else {
        json.AddText("result", call.result);
    }
    json.End();
}

void Printer::PutCall(const Call& call)
{
    constexpr size_t durationWidth = 10;
    const bool failed = !call.result.empty() && !call.result.starts_with("0 ");
    const std::string_view colour = choice.colour && failed ? red : "";
    output += colour;
    const std::string duration = DurationText(call);
    output.append(std::max(durationWidth, duration.size()) - duration.size(), ' ')
        .append(duration)
        .append("  ");
    PutColumn(1, call.entering.time.text);
    PutColumn(3, call.entering.thread);
    PutColumn(4, call.entering.function);
    Put(call.result.empty() ? "no leaving line" : call.result);
    output += colour.empty() ? "" : plain;
}

const std::string& Printer::Line(const LogLine& line)
{
    output.clear();
    if (choice.json) {
        PutJson(line);
    } else if (line.framed) {
        PutFramed(line);
    } else {
        PutUnframed(line);
    }
    return output += '\n';
}

const std::string& Printer::OneCall(const Call& call)
{
    output.clear();
    if (choice.json) {
        PutJson(call);
    } else {
        PutCall(call);
    }
    return output += '\n';
}

} // namespace logtool
