// tavrik-log: shows the library's log files.
//
// Exit codes: 0 done, 1 there is no log or it cannot be read, 2 bad arguments. Every failure is told in one
// sentence on the standard error.
#include "softcard/base/text.h"
#include "softcard/system/environment.h"
#include "tools/command_line/description.h"
#include "tools/command_line/system/program_start.h"
#include "tools/tavrik-log/call_list.h"
#include "tools/tavrik-log/line_filter.h"
#include "tools/tavrik-log/log_folder.h"
#include "tools/tavrik-log/log_source.h"
#include "tools/tavrik-log/printer.h"
#include "tools/tavrik-log/system/interruption.h"
#include "tools/tavrik-log/system/log_file.h"
#include "tools/tavrik-log/system/output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <ctime>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace logtool;

constexpr int exitNoLog = 1;
constexpr int exitBadArguments = 2;
constexpr int pollMilliseconds = 50;
constexpr std::array levels{Level::error, Level::warning, Level::info, Level::debug};
constexpr size_t blockSize = 65536; // what is gathered before it is written

// One sentence on the standard error. Names in it may hold any characters.
void Tell(const std::string& text)
{
    std::cerr << "tavrik-log: " << Printable(text, true) << '\n';
}

struct Arguments
{
    std::string path;
    std::string stem = "Pkcs11";
    std::string colour = "auto";
    std::string level;
    std::string since;
    std::string until;
    bool follow = false;
    bool json = false;
    bool calls = false;
    FilterChoice filter;
};

std::vector<std::string> LevelNames()
{
    std::vector<std::string> names;
    names.reserve(levels.size());
    for (const Level level : levels) {
        names.emplace_back(LevelName(level));
    }
    return names;
}

void AddOptions(CLI::App& app, Arguments& arguments)
{
    const std::vector<std::string> colours{"auto", "always", "never"};
    app.add_option("PATH", arguments.path, "The folder of the log files, or one file")
        ->check(command_line::Offer("<file>"));
    app.add_option("--name", arguments.stem, "How the files' names begin")->capture_default_str();
    app.add_option("--level", arguments.level,
                   "Only lines of this level or more severe: error, warning, info or debug")
        ->check(command_line::Offer(command_line::Join(LevelNames(), " ")));
    app.add_option("--function", arguments.filter.functions, "Only this function; * and ? stand for any text")
        ->allow_extra_args(false);
    app.add_option("--since", arguments.since,
                   "Only what is not earlier: a date, a time of today, or 10m, 2h");
    app.add_option("--until", arguments.until, "Only what is not later");
    app.add_flag("--follow,-f", arguments.follow, "Go on with what is written from now on");
    app.add_flag("--json", arguments.json, "One JSON object per line");
    app.add_option("--color,--colour", arguments.colour, "auto, always or never")
        ->check(CLI::IsMember(colours), command_line::Join(colours, " "));
    app.add_subcommand("calls", "How long each call took")->fallthrough()->callback([&arguments] {
        arguments.calls = true;
    });
}

std::optional<Level> LevelArgument(const std::string& text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    for (const Level level : levels) {
        if (LevelName(level) == text) {
            return level;
        }
    }
    throw CLI::ValidationError("--level",
                               "\"" + text + "\" is none of " + command_line::Join(LevelNames(), ", "));
}

std::optional<std::time_t> TimeArgument(const char* option, const std::string& text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    const auto time = ParseTimeArgument(text, std::time(nullptr));
    if (!time) {
        throw CLI::ValidationError(option, "\"" + text + "\" is no time");
    }
    return time;
}

void Parse(CLI::App& app, Arguments& arguments, std::vector<std::string> words)
{
    std::reverse(words.begin(), words.end()); // as the parser wants them
    app.parse(std::move(words));
    arguments.filter.level = LevelArgument(arguments.level);
    arguments.filter.since = TimeArgument("--since", arguments.since);
    arguments.filter.until = TimeArgument("--until", arguments.until);
    if (arguments.calls && arguments.filter.level) {
        throw CLI::ValidationError("--level", "calls have no level");
    }
}

PrintChoice ChoosePrint(const Arguments& arguments, const Terminal& terminal)
{
    PrintChoice choice;
    choice.json = arguments.json;
    choice.terminal = terminal.IsThere();
    const bool wanted = terminal.TakesColours() && softcard::PathFromEnvironment("NO_COLOR").empty();
    choice.colour = arguments.colour == "always" || (arguments.colour == "auto" && wanted);
    choice.width = terminal.Width();
    return choice;
}

// What comes out for the lines that go in.
class View
{
public:
    explicit View(const Arguments& arguments)
        : calls(arguments.calls), filter(arguments.filter), printer(ChoosePrint(arguments, terminal))
    {
    }

    void Take(int file, std::string_view text)
    {
        const LogLine& line = reader.Read(text);
        if (calls) {
            const bool shown = filter.ShowsTime(file, line);
            for (const Call& call : callList.Take(shown, line)) {
                Show(call);
            }
        } else if (filter.Shows(file, line)) {
            Put(printer.Line(line));
        }
    }

    void End()
    {
        for (const Call& call : callList.TakeOpen()) {
            Show(call);
        }
        Flush();
        for (const std::string& note : filter.Notes()) {
            Tell(note);
        }
        if (callList.SawUnnamed()) {
            Tell("Some lines name no function, so their calls are not listed. \"extensive\" in config.json "
                 "makes the "
                 "library write it.");
        }
    }

    void Flush()
    {
        WriteOut(gathered);
        gathered.clear();
    }

private:
    void Show(const Call& call)
    {
        if (call.shown && filter.ShowsFunction(call.entering.function)) {
            Put(printer.OneCall(call));
        }
    }

    void Put(const std::string& text)
    {
        gathered += text;
        if (gathered.size() >= blockSize) {
            Flush();
        }
    }

    Terminal terminal;
    bool calls;
    LineReader reader;
    LineFilter filter;
    Printer printer;
    CallList callList;
    std::string gathered;
};

// "-" is the standard input. A folder's path may end with a separator, as shells complete it.
std::filesystem::path PathOfLog(const std::string& argument)
{
    if (argument.empty()) {
        return DefaultFolder();
    }
    if (argument == "-") {
        return StandardInputPath();
    }
    const std::filesystem::path path = softcard::PathOf(argument);
    return path.has_filename() ? path : path.parent_path();
}

int Run(const Arguments& arguments)
{
    const std::filesystem::path path = PathOfLog(arguments.path);
    LogSource source(path, arguments.stem);
    View view(arguments);
    const auto take = [&view](int file, std::string_view line) { view.Take(file, line); };
    if (arguments.follow) {
        TakeInterruptions(); // an interrupt is how following ends, and not a failure
    }
    source.Poll(take);
    while (arguments.follow && !IsInterrupted()) {
        view.Flush();
        WaitForReader(pollMilliseconds);
        source.Poll(take);
    }
    for (const std::filesystem::path& other : source.LeftOut()) {
        Tell(softcard::Utf8Of(other) + " is no regular file and is left out.");
    }
    if (!source.FoundFiles()) {
        Tell("There is no log in " + softcard::Utf8Of(path) + ".");
        return exitNoLog;
    }
    source.Finish(take);
    view.End();
    return 0;
}

int ParseAndRun(std::vector<std::string> words)
{
    CLI::App app("Shows the library's log files, the oldest lines first", "tavrik-log");
    Arguments arguments;
    AddOptions(app, arguments);
    if (command_line::DescribeOnRequest(app, words)) {
        return 0;
    }
    try {
        Parse(app, arguments, std::move(words));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        Tell(error.what());
        return exitBadArguments;
    }
    return Run(arguments);
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    LetWritesFail(); // which is told apart from other failures
    try {
        return ParseAndRun(command_line::StartProgram(argumentCount, argumentValues));
    } catch (const ReaderGone&) {
        return 0;
    } catch (const std::filesystem::filesystem_error& error) {
        Tell(softcard::Utf8Of(error.path1()) + ": " + error.code().message());
        return exitNoLog;
    } catch (const std::exception& error) {
        Tell(error.what());
        return exitNoLog;
    }
}
