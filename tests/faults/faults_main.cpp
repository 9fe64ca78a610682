// Tries faults, one at a time, at the calls of the card layer, the allocations, the threads and the descriptors of the
// library and of the front, and what is missing around them. Without an option, a few of each kind, chosen by a seed that
// is printed; with --all, all of them; with --only=TEXT, those whose name has the text.
#include "tests/faults/allocations.h"
#include "tests/faults/faults.h"
#include "tests/faults/points.h"
#include "tests/faults/surroundings.h"
#include "tests/support/script.h"
#include "tests/support/seed.h"

#include "tavrik/cryptoki.h"

#include <iostream>
#include <optional>
#include <string>

namespace faults {
namespace {

using Load = std::unique_ptr<Module> (*)(const std::filesystem::path&);

ScriptedCard& Script()
{
    static ScriptedCard& script = *blackbox::Script();
    return script;
}

void LoadScript()
{
    ScriptedCard& script = Script();
    script.OnPassage(LeaveModule);
    script.SetLongestWait(std::chrono::milliseconds(1));
    PutCardIn(script);
}

// A child's view of one scenario: its module, and how the scenario goes without a fault.
class ScenarioTrial
{
public:
    ScenarioTrial(Load itsLoad, const Scenario& itsScenario) : load(itsLoad), scenario(itsScenario) {}

    // In a child process, first. Without `measured`, the module has not run before the first point.
    void Begin(bool measured)
    {
        module = load(blackbox::ScriptedFolder());
        if (!measured) {
            faultless.assign(longestScenario, {"", CKR_OK});
            return;
        }
        Measure(); // what is made once in a process is there
        Measure();
        faultless = steps;
    }

    [[nodiscard]] const Reach& Reached() const { return reach; }

    PointResult Try(const Fault& fault)
    {
        PrepareReader();
        Run run(*module, Script());
        scenario.prepare(run);
        FaultMaker maker(fault, Script());
        scenario.body(run);
        const auto step = maker.Step();
        maker.Remove();
        for (const auto& wrong : Judge(fault, step, run, faultless)) {
            Tell(wrong);
        }
        if (!step.has_value() && fault.kind != Kind::allocation && fault.function != "WaitForReaderEvent") {
            Tell("the fault was not reached");
        }
        const bool good = Recover(fault);
        return !good ? PointResult::last : step.has_value() ? PointResult::tried : PointResult::missed;
    }

    void Measure()
    {
        PrepareReader();
        Run run(*module, Script());
        scenario.prepare(run);
        reach = {};
        reach.firstStep = run.steps.size();
        Script().ForgetCalls();
        Countdown::OfAllocations().Arm(0, nullptr);
        Countdown::OfThreads().Arm(0, nullptr);
        scenario.body(run);
        reach.allocations = Countdown::OfAllocations().Disarm();
        reach.threads = Countdown::OfThreads().Disarm();
        for (const auto& call : Script().AllCalls()) {
            ++reach.cardCalls[call.function];
        }
        reach.steps = run.steps.size();
        steps = run.steps;
        for (const auto& wrong : run.wrong) {
            Tell(wrong + ", without a fault");
        }
        if (!run.complete) {
            Tell("the lists are not complete, without a fault");
        }
        for (const Step& step : run.steps) {
            if (!IsUsual(step)) {
                Tell(step.name + " answers " + AnswerName(step.answer) + ", without a fault");
            }
        }
        static_cast<void>(Recover({}));
    }

private:
    // Without a fault: a second login to a card, a session of a card that went, a signature of another key, and an operation
    // of the library, which does not end by itself.
    static bool IsUsual(const Step& step)
    {
        switch (step.answer) {
        case CKR_OK:
            return true;
        case CKR_USER_ALREADY_LOGGED_IN:
            return step.name == "C_Login";
        case CKR_SESSION_HANDLE_INVALID:
            return step.name == "C_GetSessionInfo";
        case CKR_SIGNATURE_INVALID:
        case CKR_FUNCTION_FAILED:
            return step.name == "C_Verify";
        default:
            return step.answer == CKR_OPERATION_ACTIVE && step.name == "C_DecryptInit";
        }
    }

    static void PrepareReader()
    {
        Script().Reset();
        PutCardIn(Script());
    }

    static void Tell(const std::string& what) { Progress::Shared().Tell(what); }

    // Ends the module, which must then start and sign again, and hold nothing. False when this process cannot go on: the
    // card layer's end failed.
    bool Recover(const Fault& fault)
    {
        const bool endFailed = fault.kind == Kind::exception && fault.function == "Finalize";
        bool stopped = false;
        for (int time = 0; time < 3 && !stopped; ++time) {
            const Number ended = module->Finalize();
            stopped = ended == CKR_OK || ended == CKR_CRYPTOKI_NOT_INITIALIZED;
        }
        if (!stopped && !(endFailed && module->LetsExceptionsOut())) {
            Tell("the module does not end any more");
        }
        const CardSession before = LastCardSession();
        PutCardBack();
        Run run(*module, Script());
        if (const Number started = stopped ? module->Initialize() : success; started != CKR_OK) {
            Tell("it does not start again: " + AnswerName(started));
            return false;
        }
        SignWithBothKeys(run);
        for (const auto& wrong : run.wrong) {
            Tell("once the fault is gone, " + wrong);
        }
        if (endFailed || !stopped) {
            return false;
        }
        if (const Number ended = module->Finalize(); ended != CKR_OK) {
            Tell("it does not end again: " + AnswerName(ended));
        }
        CheckLedger(fault, before);
        return true;
    }

    static CardSession LastCardSession()
    {
        const auto ledger = Script().Ledger();
        return ledger.empty() ? 0 : ledger.back().session;
    }

    static void PutCardBack()
    {
        Script().ForgetAnswersAndEvents();
        Script().ForgetReaders();
        PutCardIn(Script());
    }

    static void CheckLedger(const Fault& fault, CardSession before)
    {
        // A start or a stop that throws leaves open what the card holds.
        const bool unclear = fault.kind == Kind::exception && fault.function.ends_with("Transaction");
        for (const auto& entry : Script().Ledger()) {
            const std::string name =
                "card session " + std::to_string(entry.session) + " of " + std::to_string(before);
            if (entry.closes != (entry.session <= before ? 1 : 0)) {
                Tell(name + " is closed " + std::to_string(entry.closes) + " times");
            }
            const int difference = entry.transactionStarts - entry.transactionStops;
            if (difference != 0 && !(unclear && (difference == 1 || difference == -1))) {
                Tell(name + " starts " + std::to_string(entry.transactionStarts) +
                     " transactions and stops " + std::to_string(entry.transactionStops));
            }
        }
        for (const auto& violation : Script().Violations()) {
            Tell(violation);
        }
    }

    static constexpr std::size_t longestScenario = 64; // steps

    Load load;
    const Scenario& scenario;
    std::unique_ptr<Module> module;
    Reach reach;
    std::vector<Step> steps;
    std::vector<Step> faultless;
};

const std::vector<Kind> kinds{Kind::status,     Kind::exception, Kind::delay,      Kind::cardOut,
                              Kind::allocation, Kind::thread,    Kind::descriptors};

constexpr std::size_t fewSurroundings = 2;
constexpr std::size_t fewFirstAllocations = 2;

// How many points of a kind, in one scenario and one module, are tried without --all.
std::size_t Few(Kind kind)
{
    return kind == Kind::status || kind == Kind::allocation ? 3 : 1;
}

// The faults of these kinds in one scenario; without --all, a few of each.
Points PointsOf(const std::string& name, Load load, const Scenario& scenario, const std::vector<Kind>& tried,
                const Choice& choice)
{
    struct State
    {
        std::optional<ScenarioTrial> trial;
        std::vector<Fault> faults;
    };
    const auto state = std::make_shared<State>();
    Points points;
    points.name = name;
    points.begin = [=, &scenario] {
        state->trial.emplace(load, scenario);
        state->trial->Begin(true);
        for (const Kind kind : tried) {
            const auto faults = FaultsOf(kind, state->trial->Reached());
            for (const std::size_t index : Spread(faults.size(), choice.all ? 0 : Few(kind), choice.seed)) {
                state->faults.push_back(faults[index]);
            }
        }
        return state->faults.size();
    };
    points.text = [state](std::size_t index) { return state->faults.at(index).Text(); };
    points.attempt = [state](std::size_t index) { return state->trial->Try(state->faults.at(index)); };
    return points;
}

// Faults of the first start in a process, in which more is made than in later ones: each in a process of its own.
Points FirstAllocations(const std::string& moduleName, Load load)
{
    constexpr std::size_t more = 400; // than any first start makes
    const auto fault = [](std::size_t index) { return Fault{.kind = Kind::allocation, .n = index + 1}; };
    Points points;
    points.name = moduleName + ", first start, allocation";
    points.begin = [] { return more; };
    points.text = [fault](std::size_t index) { return fault(index).Text(); };
    points.attempt = [=](std::size_t index) {
        ScenarioTrial trial(load, Scenarios().front());
        trial.Begin(false);
        return trial.Try(fault(index));
    };
    points.inOneProcess = 1;
    return points;
}

class Report
{
public:
    void Add(const std::string& name, const Tally& tally)
    {
        if (tally.tried + tally.missed + tally.findings == 0) {
            return;
        }
        std::cout << name << ": " << tally.tried << " points tried";
        if (tally.missed > 0) {
            std::cout << ", " << tally.missed << " not reached";
        }
        std::cout << ", " << tally.findings << " findings" << std::endl;
        sum.tried += tally.tried;
        sum.missed += tally.missed;
        sum.findings += tally.findings;
    }
    [[nodiscard]] const Tally& Sum() const { return sum; }

private:
    Tally sum;
};

using Modules = std::vector<std::pair<std::string, Load>>;

// In this process there must be no card-access library yet.
void TrySurroundings(const Modules& modules, Choice choice, Report& report)
{
    choice.most = choice.all ? 0 : fewSurroundings;
    for (const auto& [name, load] : modules) {
        for (const Points& points : {CardLibraryPoints(name), LogFolderPoints(name)}) {
            report.Add(points.name, TryPoints(points, choice));
        }
    }
}

// With --all, each kind by itself, with a sum over the scenarios; else all of a scenario in one process.
void TryScenarios(const Modules& modules, const Choice& choice, Report& report)
{
    for (const auto& [name, load] : modules) {
        for (const Kind kind : choice.all ? kinds : std::vector<Kind>{}) {
            Report ofKind;
            for (const Scenario& scenario : Scenarios()) {
                const std::string pointName = name + ", " + scenario.name + ", " + KindName(kind);
                ofKind.Add(pointName, TryPoints(PointsOf(pointName, load, scenario, {kind}, choice), choice));
            }
            report.Add(name + ": " + KindName(kind) + " faults", ofKind.Sum());
        }
        for (const Scenario& scenario : choice.all ? std::vector<Scenario>{} : Scenarios()) {
            const std::string pointName = name + ", " + scenario.name;
            report.Add(pointName, TryPoints(PointsOf(pointName, load, scenario, kinds, choice), choice));
        }
    }
}

void TryFirstAllocations(const Modules& modules, Choice choice, Report& report)
{
    choice.most = choice.all ? 0 : fewFirstAllocations;
    for (const auto& [name, load] : modules) {
        const Points points = FirstAllocations(name, load);
        report.Add(points.name, TryPoints(points, choice));
    }
}

int TryAll(const Choice& choice)
{
    const Modules modules{{"library", LoadLibrary}, {"front", LoadFront}};
    Report report;
    TrySurroundings(modules, choice, report);
    LoadScript();
    TryScenarios(modules, choice, report);
    TryFirstAllocations(modules, choice, report);
    const Tally& sum = report.Sum();
    std::cout << "All: " << sum.tried << " points tried, " << sum.findings << " findings" << std::endl;
    return sum.findings == 0 && sum.tried > 0 ? 0 : 1;
}

} // namespace
} // namespace faults

int main(int count, char** arguments)
{
    constexpr std::string_view onlyOption = "--only=";
    faults::BeginTesting();
    faults::Choice choice;
    for (int index = 1; index < count; ++index) {
        const std::string option = arguments[index];
        if (option == "--all") {
            choice.all = true;
        } else if (option.starts_with(onlyOption)) {
            choice.all = true;
            choice.only = option.substr(onlyOption.size());
        } else {
            std::cerr << "Usage: faults_test [--all] [--only=TEXT]\n";
            return 2;
        }
    }
    choice.seed = blackbox::TestSeed();
    static_cast<void>(faults::Message()); // makes the keys, once for all children
    faults::LeaveCommandsOut();
    return faults::TryAll(choice);
}
