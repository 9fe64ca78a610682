#include "tests/softcard/keyboard_home.h"

#include "softcard/system/files.h"
#include "tests/softcard/environment.h"

#include <chrono>
#include <thread>

namespace softcard::test {

KeyboardTest::KeyboardTest()
{
    SetVariable("TAVRIK_PINENTRY", SCRIPTED_PINENTRY);
    SetVariable("TAVRIK_PINENTRY_ANSWERS", Scratch("answers"));
    SetVariable("TAVRIK_PINENTRY_LOG", Scratch("log"));
}

KeyboardTest::~KeyboardTest()
{
    UnsetVariable("TAVRIK_PINENTRY_ANSWERS");
    UnsetVariable("TAVRIK_PINENTRY_LOG");
    UnsetVariable("SLOW_PINENTRY_ASKED");
    UnsetVariable("SLOW_PINENTRY_GO_ON");
}

void KeyboardTest::Answer(const std::string& lines) const
{
    WriteText(Scratch("answers"), lines);
}

std::string KeyboardTest::AnswersLeft() const
{
    return ReadFile(Scratch("answers"));
}

std::string KeyboardTest::Log() const
{
    return ReadFile(Scratch("log"));
}

Verified KeyboardTest::AskForPinDuring(CardSession session, const std::string& answer,
                                       const std::function<void()>& meanwhile) const
{
    UseSlowUser();
    Answer(answer + "\n");
    Verified verified{};
    std::thread asking([&] { verified = VerifyPin(session, nullptr); });
    AwaitQuestion();
    meanwhile();
    LetUserAnswer();
    asking.join();
    return verified;
}

void KeyboardTest::UseSlowUser() const
{
    SetVariable("SLOW_PINENTRY_ASKED", Scratch("asked"));
    SetVariable("SLOW_PINENTRY_GO_ON", Scratch("go on"));
    SetVariable("TAVRIK_PINENTRY", SLOW_PINENTRY);
}

void KeyboardTest::AwaitQuestion() const
{
    while (!std::filesystem::exists(Scratch("asked"))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void KeyboardTest::LetUserAnswer() const
{
    WriteText(Scratch("go on"), "");
}

} // namespace softcard::test
