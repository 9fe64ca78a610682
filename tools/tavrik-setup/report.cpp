#include "tools/tavrik-setup/report.h"

#include "softcard/base/text.h"

#include <algorithm>
#include <sstream>

namespace setup {
namespace {

using nlohmann::ordered_json;

constexpr int indentation = 4;
constexpr size_t columnGap = 2;

struct UseNames
{
    const char* word; // for machines
    const char* text;
};

UseNames NamesOf(Use use)
{
    switch (use) {
    case Use::no:
        return {"no", "does not use the card"};
    case Use::partly:
        return {"partly", "is set up in part"};
    case Use::yes:
        return {"yes", "uses the card"};
    case Use::byHand:
        return {"byHand", "is set up by hand"};
    case Use::unknown:
        break;
    }
    return {"unknown", "has a file that cannot be read"};
}

std::string SeverityAsWord(Severity severity)
{
    switch (severity) {
    case Severity::fine:
        return "fine";
    case Severity::warning:
        return "warning";
    case Severity::fault:
        break;
    }
    return "fault";
}

std::string SeverityAsMark(Severity severity)
{
    return severity == Severity::fine ? "" : SeverityAsWord(severity) + ": ";
}

std::string Indented(const std::string& text)
{
    std::istringstream stream(text);
    std::string indented;
    for (std::string line; std::getline(stream, line);) {
        indented += "    " + line + "\n";
    }
    return indented;
}

// "change" becomes "changed", and "make" "made".
std::string Done(const std::string& action)
{
    return action == "make" ? "made" : action + "d";
}

std::string LeftAsText(const Left& left)
{
    std::string text = left.file.empty() ? "" : softcard::Utf8Of(left.file) + " is left as it is. ";
    text += left.reason + "\n";
    if (!left.toAdd.empty()) {
        text += "  Add by hand:\n" + Indented(left.toAdd);
    }
    return text;
}

} // namespace

std::string StatesAsText(const std::vector<ProgramState>& states)
{
    size_t width = 0;
    for (const ProgramState& state : states) {
        width = std::max(width, state.program->name.size());
    }
    std::string text;
    for (const ProgramState& state : states) {
        const std::string& name = state.program->name;
        text += name + std::string(width + columnGap - name.size(), ' ') +
                (state.isInstalled ? NamesOf(state.use).text : "not installed") + "\n";
    }
    return text;
}

ordered_json StatesAsJson(const std::vector<ProgramState>& states)
{
    ordered_json list = ordered_json::array();
    for (const ProgramState& state : states) {
        list.push_back({{"program", state.program->name},
                        {"title", state.program->title},
                        {"installed", state.isInstalled},
                        {"usesCard", NamesOf(state.use).word}});
    }
    return list;
}

std::string PlanAsText(const ProgramPlan& planned, bool isDone, bool isUndo)
{
    const Plan& plan = planned.plan;
    std::string text;
    for (const Step& step : plan.steps) {
        text += planned.program->name + ": " + (isDone ? Done(step.action) : "would " + step.action) + " " +
                softcard::Utf8Of(step.file) + "\n" + (isDone ? "" : Indented(step.difference));
    }
    for (const Left& left : plan.left) {
        text += planned.program->name + ": " + LeftAsText(left);
    }
    if (plan.steps.empty() && plan.left.empty()) {
        text += planned.program->name + (isUndo ? ": there is nothing to undo.\n" : ": is set up already.\n");
    } else if (isDone && !isUndo && !plan.steps.empty() && plan.left.empty()) {
        text += planned.program->name + ": " + planned.program->advice + "\n";
    }
    return text;
}

ordered_json PlanAsJson(const ProgramPlan& planned, bool isDone)
{
    ordered_json changes = ordered_json::array();
    for (const Step& step : planned.plan.steps) {
        changes.push_back({{"action", step.action},
                           {"file", softcard::Utf8Of(step.file)},
                           {"difference", step.difference}});
    }
    ordered_json left = ordered_json::array();
    for (const Left& one : planned.plan.left) {
        left.push_back({{"file", softcard::Utf8Of(one.file)}, {"reason", one.reason}, {"toAdd", one.toAdd}});
    }
    return {{"program", planned.program->name},
            {"done", isDone},
            {"changes", changes},
            {"left", left},
            {"advice", planned.program->advice}};
}

std::string FindingsAsText(const Findings& findings)
{
    std::string text;
    for (const Finding& finding : findings) {
        text += SeverityAsMark(finding.severity) + finding.area + ": " + finding.text + "\n";
        if (!finding.advice.empty()) {
            text += Indented(finding.advice);
        }
    }
    return text;
}

ordered_json FindingsAsJson(const Findings& findings)
{
    ordered_json list = ordered_json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"area", finding.area},
                        {"severity", SeverityAsWord(finding.severity)},
                        {"text", finding.text},
                        {"advice", finding.advice}});
    }
    return list;
}

std::string PrintableLines(const std::string& text)
{
    std::istringstream stream(text);
    std::string printable;
    for (std::string line; std::getline(stream, line);) {
        std::replace(line.begin(), line.end(), '\t', ' ');
        printable += softcard::Printable(line) + "\n";
    }
    return printable;
}

std::string JsonLines(const ordered_json& json)
{
    return softcard::EscapeForJson(
               json.dump(indentation, ' ', false, ordered_json::error_handler_t::replace)) +
           "\n";
}

} // namespace setup
