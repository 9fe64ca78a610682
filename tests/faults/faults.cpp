#include "tests/faults/faults.h"

#include "tests/faults/allocations.h"
#include "tests/faults/descriptors.h"

#include "src/card/card_status.h"
#include "tavrik/cryptoki.h"

#include <algorithm>
#include <atomic>
#include <set>
#include <stdexcept>
#include <thread>

namespace faults {
namespace {

struct ForeignError
{
    int number;
};

constexpr CardStatus allStatuses[] = {
#define CARD_STATUS(name, number) name,
#include "src/card/statuses.inc"
};

std::atomic<int> stepOfFault{-1};

void NoteFault()
{
    stepOfFault = Run::CurrentStep();
}

bool HasStatus(const std::string& function)
{
    static const std::set<std::string> without{"GetAppDataDir", "GetUserDataDir", "Initialize", "Finalize",
                                               "Hash"};
    return !without.contains(function);
}

// Card functions whose statuses mean nothing to the module.
bool IsPassedOver(const std::string& function)
{
    static const std::set<std::string> passedOver{"StartTransaction", "StopTransaction", "CloseSession",
                                                  "WaitForReaderEvent"};
    return passedOver.contains(function);
}

// What the function answers without a fault, where that is not the scripted card's own doing.
scripted::Answer UsualAnswer(const std::string& function)
{
    scripted::Answer answer;
    if (function == "ES_DecryptData") {
        answer.output = Message();
    }
    return answer;
}

// Answers that a call may give once something before it has failed, or while its card goes.
bool IsPlausible(Number answer)
{
    static const std::set<Number> plausible{CKR_OK,
                                            CKR_FUNCTION_FAILED,
                                            CKR_DEVICE_ERROR,
                                            CKR_SLOT_ID_INVALID,
                                            CKR_TOKEN_NOT_PRESENT,
                                            CKR_DEVICE_REMOVED,
                                            CKR_SESSION_HANDLE_INVALID,
                                            CKR_OBJECT_HANDLE_INVALID,
                                            CKR_KEY_HANDLE_INVALID,
                                            CKR_OPERATION_ACTIVE,
                                            CKR_OPERATION_NOT_INITIALIZED,
                                            CKR_USER_NOT_LOGGED_IN,
                                            CKR_USER_ALREADY_LOGGED_IN,
                                            CKR_SIGNATURE_INVALID,
                                            CKR_MECHANISM_INVALID,
                                            CKR_CRYPTOKI_NOT_INITIALIZED,
                                            CKR_CRYPTOKI_ALREADY_INITIALIZED};
    return plausible.contains(answer);
}

Number LoginAnswer(CardStatus status)
{
    switch (status) {
    case eIncorrectCode:
        return CKR_PIN_INCORRECT;
    case eUserInputError:
        return CKR_FUNCTION_CANCELED;
    default:
        return CKR_FUNCTION_FAILED;
    }
}

// The keyboard comes up again after a wrong code, and the scripted card then accepts the next one.
Number KeyboardAnswer(CardStatus status)
{
    switch (status) {
    case eIncorrectCode:
        return CKR_OK;
    case eUserInputError:
        return CKR_FUNCTION_CANCELED;
    default:
        return CKR_TOKEN_NOT_RECOGNIZED; // the record of the result is as it was handed over
    }
}

// What the call may answer in which a card function answers a status.
std::set<Number> AnswersToStatus(const Fault& fault, const std::string& call, Number usual, bool front)
{
    if (fault.function == "Passwords_VerifyBOK" && front) {
        const Number answer = LoginAnswer(fault.status);
        return {answer == CKR_FUNCTION_FAILED ? Number{CKR_DEVICE_ERROR} : answer};
    }
    if (fault.function == "Passwords_VerifyBOK" || (fault.function == "QES_VerifyPin" && call == "C_Login")) {
        return {LoginAnswer(fault.status)};
    }
    if (fault.function == "QES_VerifyPin" && front) {
        return {LoginAnswer(fault.status), usual}; // the front logs in for the signature, and asks again
    }
    if (fault.function == "QES_VerifyPin") {
        return {KeyboardAnswer(fault.status)};
    }
    if (fault.function.ends_with("_SignData") || fault.function == "ES_DecryptData") {
        return {CKR_FUNCTION_FAILED};
    }
    if (fault.function == "GetSessionFlags" && call == "C_Login") {
        return {usual, CKR_OK}; // the channel counts as lost, and the card is asked again
    }
    return {usual};
}

std::set<Number> AnswersToException(const Fault& fault, const std::string& call, Number usual, bool front)
{
    if (front) {
        return {CKR_FUNCTION_FAILED, usual};
    }
    if (call == "C_Initialize" || call == "C_Finalize") {
        return {CKR_FUNCTION_FAILED};
    }
    if (call == "removal" || call == "insertion" || fault.function == "WaitForReaderEvent") {
        return {usual}; // on the thread that watches the readers
    }
    return {fault.foreign ? threwForeign : threwStandard};
}

// Of a module that is short of memory, threads or descriptors.
std::set<Number> AnswersToShortage(const std::string& call, Number usual, bool front)
{
    if (front) {
        return {usual, CKR_HOST_MEMORY, CKR_FUNCTION_FAILED, CKR_GENERAL_ERROR, CKR_DEVICE_REMOVED};
    }
    if (call == "C_Initialize" || call == "C_Finalize") {
        return {usual, CKR_FUNCTION_FAILED};
    }
    return {usual, CKR_FUNCTION_FAILED, threwNoMemory, threwStandard};
}

bool IsAllowedAtFault(const Fault& fault, const Step& step, Number usual, bool front)
{
    switch (fault.kind) {
    case Kind::status:
        return AnswersToStatus(fault, step.name, usual, front).contains(step.answer);
    case Kind::exception:
        return AnswersToException(fault, step.name, usual, front).contains(step.answer);
    case Kind::delay:
        return step.answer == usual;
    case Kind::cardOut:
        return IsPlausible(step.answer);
    default:
        return AnswersToShortage(step.name, usual, front).contains(step.answer);
    }
}

// What follows a fault that the module does not care for is as without it.
bool IsWithoutConsequence(const Fault& fault)
{
    return fault.kind == Kind::delay || (fault.kind == Kind::status && IsPassedOver(fault.function));
}

void AddCardFaults(Kind kind, const std::string& function, uint64_t n, std::vector<Fault>& faults)
{
    Fault fault{.kind = kind, .n = n, .function = function};
    switch (kind) {
    case Kind::status:
        for (const CardStatus status : allStatuses) {
            if (status != eStatusOk && HasStatus(function)) {
                fault.status = status;
                faults.push_back(fault);
            }
        }
        break;
    case Kind::exception:
        for (const bool foreign : {false, true}) {
            fault.foreign = foreign;
            faults.push_back(fault);
        }
        break;
    default:
        fault.second = n == 1;
        faults.push_back(fault);
    }
}

// Runs inside the card function.
void TakeCardOut(ScriptedCard& script, std::thread::id host)
{
    script.RemoveCard(reader);
    if (std::this_thread::get_id() != host || script.CallsOf("WaitForReaderEvent").empty()) {
        return; // the thread that would see the removal is this one, or none
    }
    static_cast<void>(script.WaitUntilEventsProcessed(std::chrono::milliseconds(200)));
}

} // namespace

const char* KindName(Kind kind)
{
    switch (kind) {
    case Kind::status:
        return "card status";
    case Kind::exception:
        return "card exception";
    case Kind::delay:
        return "card delay";
    case Kind::cardOut:
        return "card taken out";
    case Kind::allocation:
        return "allocation";
    case Kind::thread:
        return "thread";
    default:
        return "descriptor";
    }
}

std::string Fault::Text() const
{
    const std::string number = std::to_string(n);
    switch (kind) {
    case Kind::status:
        return function + " " + number + " answers " + CardStatusName(status);
    case Kind::exception:
        return function + " " + number + " throws " + (foreign ? "a foreign type" : "std::exception");
    case Kind::delay:
        return function + " " + number + " takes its time";
    case Kind::cardOut:
        return function + " " + number + " loses the card";
    case Kind::allocation:
        return "allocation " + number;
    case Kind::thread:
        return "thread " + number;
    default:
        return "no descriptors from step " + number + (lasting ? " on" : " to the next");
    }
}

FaultMaker::FaultMaker(Fault itsFault, ScriptedCard& itsScript)
    : fault(std::move(itsFault)), script(itsScript)
{
    stepOfFault = -1;
    switch (fault.kind) {
    case Kind::allocation:
        Countdown::OfAllocations().Arm(fault.n, NoteFault);
        break;
    case Kind::thread:
        Countdown::OfThreads().Arm(fault.n, NoteFault);
        break;
    case Kind::descriptors:
        Run::BeforeStep([this, begin = fault.n](int step) {
            if (static_cast<uint64_t>(step) == begin) {
                NoteFault();
                LimitDescriptors();
            } else if (!fault.lasting || static_cast<uint64_t>(step) < begin) {
                ReleaseDescriptors();
            }
        });
        break;
    default:
        InstallCardFault();
    }
}

FaultMaker::~FaultMaker()
{
    Remove();
}

void FaultMaker::Remove()
{
    if (std::exchange(removed, true)) {
        return;
    }
    Countdown::OfAllocations().Disarm();
    Countdown::OfThreads().Disarm();
    Run::BeforeStep(nullptr);
    ReleaseDescriptors();
    script.ForgetAnswersAndEvents();
}

std::optional<std::size_t> FaultMaker::Step() const
{
    return stepOfFault < 0 ? std::nullopt : std::optional<std::size_t>(stepOfFault);
}

void FaultMaker::InstallCardFault()
{
    for (uint64_t before = 1; before < fault.n; ++before) {
        script.Next(fault.function, UsualAnswer(fault.function));
    }
    scripted::Answer answer = UsualAnswer(fault.function);
    answer.status = fault.status;
    answer.hook = NoteFault;
    if (fault.kind == Kind::exception && fault.foreign) {
        answer.hook = [] {
            NoteFault();
            throw ForeignError{1};
        };
    } else if (fault.kind == Kind::exception) {
        answer.hook = [] {
            NoteFault();
            throw std::runtime_error("the card layer fails");
        };
    } else if (fault.kind == Kind::delay) {
        answer.delay = fault.second ? std::chrono::milliseconds(1000) : std::chrono::milliseconds(5);
    } else if (fault.kind == Kind::cardOut) {
        answer.hook = [this, host = std::this_thread::get_id()] {
            NoteFault();
            TakeCardOut(script, host);
        };
    }
    script.Next(fault.function, answer);
}

std::vector<Fault> FaultsOf(Kind kind, const Reach& reach)
{
    std::vector<Fault> faults;
    if (kind == Kind::allocation || kind == Kind::thread) {
        const uint64_t count = kind == Kind::thread ? reach.threads : reach.allocations;
        for (uint64_t n = 1; n <= count; ++n) {
            faults.push_back({.kind = kind, .n = n});
        }
    } else if (kind == Kind::descriptors) {
        for (std::size_t step = reach.firstStep; step < reach.steps; ++step) {
            faults.push_back({.kind = kind, .n = step});
            faults.push_back({.kind = kind, .n = step, .lasting = true});
        }
    } else {
        for (const auto& [function, count] : reach.cardCalls) {
            // How often the thread that watches the readers waits is a matter of time.
            const uint64_t last = function == "WaitForReaderEvent" ? 1 : count;
            for (uint64_t n = 1; n <= last; ++n) {
                AddCardFaults(kind, function, n, faults);
            }
        }
    }
    return faults;
}

std::vector<std::string> Judge(const Fault& fault, std::optional<std::size_t> step, const Run& run,
                               const std::vector<Step>& usual)
{
    std::vector<std::string> wrong = run.wrong;
    const bool front = !run.m.LetsExceptionsOut();
    for (std::size_t index = 0; index < run.steps.size(); ++index) {
        const Step& made = run.steps[index];
        const Number expected = usual.at(index).answer;
        const bool before = !step.has_value() || index < *step;
        const bool during = step.has_value() && (index == *step || (fault.lasting && index > *step));
        const bool right = during ? IsAllowedAtFault(fault, made, expected, front)
                           : before || IsWithoutConsequence(fault) ? made.answer == expected
                                                                   : IsPlausible(made.answer);
        if (!right) {
            wrong.push_back("step " + std::to_string(index) + ", " + made.name + ": " +
                            AnswerName(made.answer) + " instead of " + AnswerName(expected) +
                            (during   ? ", at the fault"
                             : before ? ", before the fault"
                                      : ", after the fault"));
        }
    }
    return wrong;
}

} // namespace faults
