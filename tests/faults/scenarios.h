// What an application does with a card, in scenarios: each prepares what it needs, and then makes the calls that faults are
// tried in.
#pragma once

#include "tests/faults/module.h"
#include "tests/support/scripted_card/scripted_card.h"

#include <functional>
#include <string>
#include <vector>

namespace faults {

// Too long a name for a text that takes no memory.
inline constexpr const char16_t* reader = u"Reader A of the scenarios";

// One call of the application, or another event in its life, and what came of it.
struct Step
{
    std::string name;
    Number answer = success;
};

// One run of a scenario.
class Run
{
public:
    Run(Module& itsModule, ScriptedCard& itsScript) : m(itsModule), script(itsScript) {}

    template <typename Call>
    Number Do(const char* name, Call&& call)
    {
        BeginStep(name);
        const Number answer = call();
        steps.back().answer = answer;
        return answer;
    }
    // What a call that answered CKR_OK handed out.
    void Expect(bool right, const std::string& what);

    Module& m;
    ScriptedCard& script;
    std::vector<Step> steps;
    std::vector<std::string> wrong; // outputs of calls that answered CKR_OK
    bool complete = true;           // every list had what the card has

    Number qualifiedSlot = noSlot;
    Number ordinarySlot = noSlot;
    Number ordinary = 0; // sessions
    Number qualified = 0;
    Number ordinaryKey = 0;
    Number qualifiedKey = 0;
    Number publicKey = 0;

    static constexpr Number noSlot = 99;

    // The number of the step at work, for what finds out where it is; of any thread.
    static int CurrentStep();
    // Is called with the number of each step before it begins; null for no more.
    static void BeforeStep(std::function<void(int step)> hook);

private:
    void BeginStep(const char* name);
};

struct Scenario
{
    const char* name;
    void (*prepare)(Run& run);
    void (*body)(Run& run);
};

const std::vector<Scenario>& Scenarios();

// What the card decrypts, whatever it is given.
const Bytes& Message();

// The card in the reader, and how it signs. Also makes what the scenarios need, at the first call.
void PutCardIn(ScriptedCard& script);

// Every call that needs a function of the card layer, from a start to the start after the next.
void UseEverything(Run& run);

// Opens sessions, logs in, and signs with both keys. Everything answers CKR_OK, or else `run.wrong` tells of it.
void SignWithBothKeys(Run& run);

} // namespace faults
