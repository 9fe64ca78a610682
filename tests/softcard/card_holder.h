// Another process that uses a card.
#pragma once

#include "tests/softcard/card_home.h"

#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <thread>

namespace softcard::test {

// Has a transaction on the card in "Reader 0" as long as the object lives. Makes the file `sign` once it has.
class CardHolder
{
public:
    explicit CardHolder(const std::filesystem::path& sign)
        : process(StartProgram({TRY_CODE, "hold", sign.string()}))
    {
        while (!std::filesystem::exists(sign)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    ~CardHolder()
    {
        try {
            KillProgram(process);
            AwaitProgram(process);
        } catch (const std::exception& failure) {
            ADD_FAILURE() << failure.what();
        }
    }

    [[nodiscard]] Process Number() const { return process; }

    CardHolder(const CardHolder&) = delete;
    CardHolder& operator=(const CardHolder&) = delete;
    CardHolder(CardHolder&&) = delete;
    CardHolder& operator=(CardHolder&&) = delete;

private:
    Process process;
};

} // namespace softcard::test
