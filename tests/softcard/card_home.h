// A store of its own for each test, and what the tests do with cards.
#pragma once

#include "tests/softcard/card_library.h"
#include "tests/support/program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

namespace softcard::test {

// TAVRIK_HOME is an empty temporary folder, removed with the object.
class TemporaryHome
{
public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;
    TemporaryHome(TemporaryHome&&) = delete;
    TemporaryHome& operator=(TemporaryHome&&) = delete;

    [[nodiscard]] const std::filesystem::path& Folder() const { return folder; }

private:
    std::filesystem::path folder;
};

// The tool with these arguments and an empty standard input. On Linux it is a program, like StartTool's. On Windows its
// commands run in this process and environment, because the start of a program takes long under Wine.
Finished RunTool(std::vector<std::string> arguments);

// The tool as a program of its own.
Finished StartTool(std::vector<std::string> arguments);

// The test has a store with cards in no reader, and the library is started on it. The cards are made once for
// all tests:
//   ref1, ref2, ref3, ref4  with that key reference in both families; ref4 has keys of 3072 bits
//   blank                   with neither code initialised
class CardTest : public testing::Test
{
protected:
    CardTest();
    ~CardTest() override;

    [[nodiscard]] const std::filesystem::path& Home() const { return home.Folder(); }
    [[nodiscard]] std::filesystem::path State() const { return Home() / "state"; }
    [[nodiscard]] std::filesystem::path Scratch(const std::string& name) const { return Home() / name; }

    // By the tool, which must succeed.
    void Insert(const std::string& card, const std::string& reader = "Reader 0");
    void Remove(const std::string& card);

    // A fault at the card, by the tool, which must succeed.
    static void Order(const std::string& card, std::vector<std::string> arguments);

    static CardSession Open(const char16_t* reader = u"Reader 0");
    CardSession InsertAndOpen(const std::string& card);

private:
    TemporaryHome home;
};

void WriteText(const std::filesystem::path& path, const std::string& text);
std::vector<uint8_t> ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);

// Empty when the variable is not set.
std::string FromEnvironment(const char* variable);

uint32_t FlagsOf(CardSession session);

} // namespace softcard::test
