// tavrik-setup: sets up the applications of this machine for the card, and looks for what is wrong.
//
// Exit codes: 0 done, or nothing wrong; 1 something is left undone, or wrong; 2 bad arguments. Every failure is told on the
// standard error.
#include "softcard/base/text.h"
#include "softcard/system/environment.h"
#include "tools/command_line/description.h"
#include "tools/command_line/system/program_start.h"
#include "tools/tavrik-setup/doctor/doctor.h"
#include "tools/tavrik-setup/doctor/look.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/report.h"
#include "tools/tavrik-setup/system/options.h"
#include "tools/tavrik-setup/system/process.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace setup;
namespace fs = std::filesystem;

constexpr int exitUndone = 1;
constexpr int exitBadArguments = 2;

struct Arguments
{
    std::vector<std::string> programs;
    bool undo = false;
    bool dryRun = false;
    bool json = false;
    bool check = false;
    std::string module;
    SystemArguments system;
};

void Tell(const std::string& text)
{
    std::cerr << PrintableLines("tavrik-setup: " + text);
}

std::vector<std::string> ProgramNames()
{
    std::vector<std::string> names;
    for (const Program& program : ListPrograms(Place())) {
        names.push_back(program.name);
    }
    return names;
}

void AddOptions(CLI::App& app, Arguments& arguments)
{
    const std::vector<std::string> names = ProgramNames();
    app.add_option("PROGRAM", arguments.programs, "The programs to set up")
        ->check(CLI::IsMember(names), command_line::Join(names, " "));
    app.add_flag("--undo", arguments.undo, "Take back what was set up");
    app.add_flag("--dry-run", arguments.dryRun, "Show what would be changed, and change nothing");
    app.add_flag("--json", arguments.json, "One JSON value");
    app.add_option("--module", arguments.module, "The front, where it is not the one that is installed")
        ->check(command_line::Offer("<file>"));
    AddSystemOptions(app, arguments.system);
    app.add_subcommand("check", "Look for what keeps applications from using the card")
        ->fallthrough()
        ->callback([&arguments] { arguments.check = true; });
}

void CheckArguments(const Arguments& arguments)
{
    const SystemArguments& system = arguments.system;
    const bool isAlone = arguments.programs.empty() && !arguments.undo && !arguments.dryRun &&
                         system.hosts.empty() && system.root.empty() && !system.forAllUsers;
    if (arguments.check && !isAlone) {
        throw CLI::ValidationError("check", "it goes with --json and --module alone");
    }
    if (arguments.programs.empty() && (arguments.undo || arguments.dryRun || !system.hosts.empty())) {
        throw CLI::ValidationError("PROGRAM", "which program is meant?");
    }
    for (const std::string* text : {&system.hosts, &arguments.module, &system.root}) {
        const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == 0x7F; };
        if (std::any_of(text->begin(), text->end(), isControl)) {
            throw CLI::ValidationError("\"" + *text + "\"", "control characters are for no file");
        }
    }
}

int List(const Planner& planner, const std::vector<Program>& programs, const Place& place, bool json)
{
    std::vector<ProgramState> states;
    states.reserve(programs.size());
    for (const Program& program : programs) {
        states.push_back({&program, IsInstalled(program, place), planner.UseOf(program)});
    }
    std::cout << (json ? JsonLines(StatesAsJson(states)) : PrintableLines(StatesAsText(states)));
    return 0;
}

// What fails is left, with the reason.
void Perform(Plan& plan)
{
    std::vector<Step> done;
    for (const Step& step : plan.steps) {
        try {
            step.perform();
            done.push_back(step);
        } catch (const Refusal& refusal) {
            plan.left.push_back({step.file, refusal.what(), ""});
        }
    }
    plan.steps = done;
}

bool ChangesIn(const fs::path& home, const Plan& plan)
{
    return !home.empty() && std::any_of(plan.steps.begin(), plan.steps.end(), [&home](const Step& step) {
        const auto end = std::mismatch(home.begin(), home.end(), step.file.begin(), step.file.end());
        return end.first == home.end() && end.second != step.file.end();
    });
}

int Change(const Planner& planner, const std::vector<Program>& programs, const Arguments& arguments,
           const fs::path& home)
{
    bool isLeft = false;
    bool isHome = false;
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Program& program : programs) {
        const auto& wanted = arguments.programs;
        if (std::find(wanted.begin(), wanted.end(), program.name) == wanted.end()) {
            continue;
        }
        ProgramPlan planned{&program, arguments.undo ? planner.Undo(program) : planner.Setup(program)};
        if (!arguments.dryRun) {
            Perform(planned.plan);
        }
        isHome = isHome || ChangesIn(home, planned.plan);
        isLeft = isLeft || !planned.plan.left.empty();
        if (arguments.json) {
            all.push_back(PlanAsJson(planned, !arguments.dryRun));
        } else {
            std::cout << PrintableLines(PlanAsText(planned, !arguments.dryRun, arguments.undo));
        }
    }
    if (arguments.json) {
        std::cout << JsonLines(all);
    }
    if (const std::string note = isHome ? NoteOnHome(home) : ""; !note.empty()) {
        Tell(note);
    }
    return isLeft ? exitUndone : 0;
}

int Check(const Place& place, bool json)
{
    const Findings findings = Diagnose(place.module);
    std::cout << (json ? JsonLines(FindingsAsJson(findings)) : PrintableLines(FindingsAsText(findings)));
    const bool isFaulty = std::any_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.severity == Severity::fault;
    });
    return isFaulty ? exitUndone : 0;
}

int Run(const Arguments& arguments)
{
    const SystemArguments& system = arguments.system;
    const Place place = FindPlace({softcard::PathOf(system.root), softcard::PathOf(arguments.module),
                                   system.hosts, system.forAllUsers});
    if (arguments.check) {
        return Check(place, arguments.json);
    }
    const Planner planner(place);
    const std::vector<Program> programs = ListPrograms(place);
    return arguments.programs.empty() ? List(planner, programs, place, arguments.json)
                                      : Change(planner, programs, arguments, place.home);
}

int ParseAndRun(std::vector<std::string> words)
{
    CLI::App app("Sets up applications for the card", "tavrik-setup");
    app.set_version_flag("--version", "tavrik-setup " TAVRIK_VERSION);
    Arguments arguments;
    AddOptions(app, arguments);
    if (command_line::DescribeOnRequest(app, words)) {
        return 0;
    }
    try {
        std::reverse(words.begin(), words.end()); // as the parser wants them
        app.parse(std::move(words));
        CheckArguments(arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        Tell(error.what());
        return exitBadArguments;
    }
    const int exitCode = Run(arguments);
    if (!std::cout.flush()) {
        throw Refusal("The standard output cannot be written.");
    }
    return exitCode;
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    const std::vector<std::string> arguments = command_line::StartProgram(argumentCount, argumentValues);
    OutliveReaders();
    if (softcard::HasBorrowedRights()) {
        Tell("This program changes files where its user's environment says, and so works with that user's "
             "rights only.");
        return exitUndone;
    }
    try {
        TakeLookOnRequest(arguments);
        return ParseAndRun(arguments);
    } catch (const std::exception& error) {
        Tell(error.what());
        return exitUndone;
    }
}
