#pragma once

#include "card_home.h"

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

    // A user who answers only after OpenGate.
    void UseSlowUser() const;
    void AwaitQuestion() const;
    void OpenGate() const;
};

} // namespace softcard::test
