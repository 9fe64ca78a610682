// The example as a person runs it, against the software card.
#pragma once

#include "tests/softcard/environment.h"
#include "tests/support/program.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// A store of its own, with the card "anna" in it and in no reader. The keyboard types the lines that a test
// gives it.
class SignDocument : public testing::Test
{
protected:
    SignDocument()
    {
        softcard::test::SetVariable("TAVRIK_HOME", folder.Path());
        softcard::test::SetVariable("TAVRIK_PINENTRY", std::filesystem::absolute(SCRIPTED_PINENTRY));
        softcard::test::SetVariable("TAVRIK_PINENTRY_ANSWERS", Answers());
        std::ofstream(Document()) << "one hundred and twelve euros";
    }

    std::filesystem::path Answers() const { return folder.Path() / "answers"; }
    std::filesystem::path Document() const { return folder.Path() / "document.txt"; }
    std::filesystem::path Output() const { return folder.Path() / "signed"; }

    void MakeCard(const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> command = {CARD_TOOL, "new", "anna", "--bok", "123456", "--pin", "654321"};
        command.insert(command.end(), options.begin(), options.end());
        ASSERT_EQ(softcard::test::RunProgram(command).exitCode, 0);
        ASSERT_EQ(softcard::test::RunProgram({CARD_TOOL, "insert", "anna"}).exitCode, 0);
    }

    softcard::test::Finished Sign(const std::string& typed, std::vector<std::string> options = {}) const
    {
        std::ofstream(Answers(), std::ios::binary) << typed << std::flush;
        options.insert(options.begin(), SIGN_DOCUMENT);
        options.insert(options.end(), {Document().string(), Output().string()});
        return softcard::test::RunProgram(options);
    }

    TemporaryFolder folder{"tavrik-"};
};
