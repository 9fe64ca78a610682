#include "tools/tavrik-card/messages.h"

#include "softcard/base/store_error.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <string_view>
#include <utility>

namespace softcard {
namespace {

constexpr size_t mostDifferences = 2; // of a word that is near

[[noreturn]] void RefuseArguments(const std::string& sentence)
{
    throw StoreError(StoreFailure::badArgument, sentence);
}

std::string Quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

// How many letters have to be put in, taken out, changed, or swapped with their neighbour.
size_t DifferencesBetween(std::string_view a, std::string_view b)
{
    std::vector<size_t> beforeLast(b.size() + 1);
    std::vector<size_t> last(b.size() + 1);
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        beforeLast = std::exchange(last, row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
            const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (isSwapped) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

std::vector<std::string> CommandNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> OptionNames(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        if (!option->get_positional()) {
            names.push_back(option->get_name());
        }
    }
    return names;
}

// The command that the arguments name, or the program itself.
const CLI::App& CommandOf(const CLI::App& app)
{
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : *commands.front();
}

std::string HelpOf(const CLI::App& app)
{
    const CLI::App& command = CommandOf(app);
    const std::string name = &command == &app ? "" : " " + command.get_name();
    return "\"" + app.get_name() + name + " --help\" tells what there is.";
}

std::string SuggestionFor(const std::string& word, const std::vector<std::string>& candidates)
{
    const std::string nearest = NearestOf(word, candidates);
    return nearest.empty() ? ". " : "; did you mean " + Quoted(nearest) + "? ";
}

std::string DescribeExtra(const CLI::App& app, const std::string& extra)
{
    const CLI::App& command = CommandOf(app);
    if (!extra.starts_with('-')) {
        return Quoted(command.get_name()) + " does not take " + Quoted(extra) + " as well. " + HelpOf(app);
    }
    const std::string option = extra.substr(0, extra.find('='));
    return Quoted(command.get_name()) + " has no option " + Quoted(option) +
           SuggestionFor(option, OptionNames(command)) + HelpOf(app);
}

// The name that the parser's text begins with.
std::string NameIn(std::string_view text)
{
    return std::string(text.substr(0, text.find_first_of(": ")));
}

std::string LastWordOf(std::string_view text)
{
    return std::string(text.substr(text.rfind(' ') + 1));
}

} // namespace

void RequireKnownCommand(const CLI::App& app, const std::vector<std::string>& arguments)
{
    if (arguments.empty()) {
        RefuseArguments("A command is missing. " + HelpOf(app));
    }
    const std::string& word = arguments.front();
    const std::vector<std::string> names = CommandNames(app);
    if (!word.starts_with('-') && std::find(names.begin(), names.end(), word) == names.end()) {
        RefuseArguments("There is no command " + Quoted(word) + SuggestionFor(word, names) + HelpOf(app));
    }
}

std::string DescribeParseError(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<std::string> extras = app.remaining(true);
    if (!extras.empty()) {
        return DescribeExtra(app, extras.front());
    }
    const std::string kind = error.get_name();
    const std::string name = NameIn(error.what());
    if (kind == "RequiredError" && app.get_subcommands().empty()) {
        return "A command is missing. " + HelpOf(app);
    }
    if (kind == "RequiredError") {
        return Quoted(CommandOf(app).get_name()) + " wants " + name + ". " + HelpOf(app);
    }
    if (kind == "ArgumentMismatch") {
        return Quoted(name) + " wants one value, given once.";
    }
    if (kind == "ExcludesError") {
        return Quoted(name) + " and " + Quoted(LastWordOf(error.what())) + " do not go together.";
    }
    return "The arguments cannot be understood. " + HelpOf(app);
}

int64_t ParseNumber(const std::string& option, const std::string& text, NumberRange range)
{
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end || number < range.least || number > range.most) {
        RefuseArguments(Quoted(option) + " wants a number from " + std::to_string(range.least) + " to " +
                        std::to_string(range.most) + ", not " + Quoted(text) + ".");
    }
    return number;
}

std::string NearestOf(const std::string& word, const std::vector<std::string>& candidates)
{
    std::string nearest;
    size_t fewest = std::max(mostDifferences, word.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        const size_t differences = DifferencesBetween(word, candidate);
        if (differences < fewest && differences < candidate.size()) {
            fewest = differences;
            nearest = candidate;
        }
    }
    return nearest;
}

} // namespace softcard
