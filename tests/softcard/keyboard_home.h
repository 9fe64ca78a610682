#pragma once

#include "tests/softcard/card_home.h"

#include <functional>
#include <string>

namespace softcard::test {

// The scripted pinentry is the keyboard.
class KeyboardTest : public CardTest
{
protected:
    KeyboardTest();
    ~KeyboardTest() override;

    void Answer(const std::string& lines) const;
    [[nodiscard]] std::string AnswersLeft() const;
    [[nodiscard]] std::string Log() const;

    // Asks a user for the PIN who answers only once `meanwhile`, which runs when the question was put, is
    // done.
    Verified AskForPinDuring(CardSession session, const std::string& answer,
                             const std::function<void()>& meanwhile) const;

private:
    void UseSlowUser() const;
    void AwaitQuestion() const;
    void LetUserAnswer() const;
};

} // namespace softcard::test
