// PKCS#12 files that others made, and what the tool says of them.
#pragma once

#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <filesystem>
#include <string>

namespace softcard::test {

// The sentence that the tool says where its system does not tell this reason from others; else the same.
std::string AsSystemTells(const std::string& sentence);

class BundleImport : public CardTest
{
protected:
    // In Windows' own form, where a slash at the begin looks like an option.
    static std::string Bundle(const std::string& name)
    {
        return std::filesystem::absolute(std::filesystem::path(BUNDLES) / (name + ".p12"))
            .make_preferred()
            .string();
    }

    static Finished Import(const std::string& name, const std::string& password = "geheim")
    {
        return RunTool({"import", "ref2", "es", Bundle(name), "--password", password, "--code", bok});
    }

    // The sentence stands behind the file's name.
    static void ExpectRefusal(const Finished& refused, const std::string& sentence)
    {
        EXPECT_EQ(refused.exitCode, exitNotImportable);
        EXPECT_TRUE(refused.errors.ends_with(": " + sentence + "\n")) << refused.errors;
    }
};

} // namespace softcard::test
