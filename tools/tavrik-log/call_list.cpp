#include "tools/tavrik-log/call_list.h"

#include <algorithm>

namespace logtool {
namespace {

constexpr std::string_view enteringText = "PKCS11_FUNCTION_ENTERING";
constexpr std::string_view leavingText = "PKCS11_FUNCTION_LEAVING, result ";

void Time(Call& call, const LineTime& leaving)
{
    const LineTime& entering = call.entering.time;
    if (entering.counter && leaving.counter && *leaving.counter >= *entering.counter) {
        call.unit = Unit::milliseconds;
        call.duration = *leaving.counter - *entering.counter;
    } else if (!entering.counter && entering.date && leaving.date && *leaving.date >= *entering.date) {
        call.unit = Unit::seconds;
        call.duration = static_cast<uint64_t>(*leaving.date - *entering.date);
    }
}

} // namespace

std::vector<Call> CallList::Take(bool shown, const LogLine& line)
{
    const bool entering = line.framed && line.description == enteringText;
    const bool leaving = line.framed && line.description.starts_with(leavingText);
    if (!entering && !leaving) {
        return {};
    }
    if (line.function.empty() || line.thread.empty()) {
        sawUnnamed = true;
        return {};
    }
    std::vector<Call> ended;
    const auto open = openCalls.find(line.thread);
    if (leaving) {
        if (open != openCalls.end() && open->second.call.entering.function == line.function) {
            open->second.call.result = line.description.substr(leavingText.size());
            Time(open->second.call, line.time);
            ended.push_back(std::move(open->second.call));
            openCalls.erase(open);
        }
        return ended;
    }
    if (open != openCalls.end()) {
        ended.push_back(std::move(open->second.call));
        openCalls.erase(open);
    }
    Call begun;
    begun.entering = line;
    begun.shown = shown;
    openCalls.emplace(line.thread, OpenCall{std::move(begun), nextNumber++});
    return ended;
}

std::vector<Call> CallList::TakeOpen()
{
    std::vector<OpenCall> open;
    for (auto& entry : openCalls) {
        open.push_back(std::move(entry.second));
    }
    openCalls.clear();
    std::sort(open.begin(), open.end(),
              [](const OpenCall& a, const OpenCall& b) { return a.number < b.number; });
    std::vector<Call> calls;
    calls.reserve(open.size());
    for (auto& entry : open) {
        calls.push_back(std::move(entry.call));
    }
    return calls;
}

} // namespace logtool
