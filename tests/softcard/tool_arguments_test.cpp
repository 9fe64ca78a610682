#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <algorithm>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class ToolArguments : public CardTest
{
protected:
    static void ExpectBadArguments(const std::vector<std::string>& arguments)
    {
        const Finished failed = RunTool(arguments);
        EXPECT_EQ(failed.exitCode, exitBadArguments) << arguments.back();
        EXPECT_TRUE(failed.errors.starts_with("tavrik-card: ")) << failed.errors;
        EXPECT_EQ(std::count(failed.errors.begin(), failed.errors.end(), '\n'), 1) << failed.errors;
    }
};

TEST_F(ToolArguments, AreRefusedWhenBad)
{
    const std::string longName(65, 'n');
    for (const std::string& name : {std::string(".hidden"), std::string("a/b"), std::string("a b"),
                                    std::string(""), std::string("ž"), longName}) {
        ExpectBadArguments({"new", name});
        ExpectBadArguments({"insert", name});
    }
    for (const char* option : {"--qes-reference", "--es-reference"}) {
        for (const char* reference : {"0", "5", "-1", "two"}) {
            ExpectBadArguments({"new", "card", option, reference});
        }
    }
    for (const char* bits : {"1024", "2047", "2052", "4104", "many"}) {
        ExpectBadArguments({"new", "card", "--bits", bits});
    }
    ExpectBadArguments({"new", "card", "--bok", ""});
    ExpectBadArguments({"new", "card", "--pin", std::string(65, '1')});
    ExpectBadArguments({"new", "card", "--subject", std::string(65, 'x')});
    ExpectBadArguments({"new", "card", "--subject", "\xFF"});
    for (const char* option : {"--qes-certificates", "--es-certificates"}) {
        for (const char* number : {"9", "-1", "many"}) {
            ExpectBadArguments({"new", "card", option, number});
        }
    }
    for (const char* version : {"1", "1.", "1.256", "a.b", "1.2.3", ""}) {
        ExpectBadArguments({"new", "card", "--hardware-version", version});
    }
    ExpectBadArguments({"new", "card", "--puk", ""});
    ExpectBadArguments({"new", "card", "--qes-bits", "1024"});
    ExpectBadArguments({"new", "card", "--model", "more than 16 bytes"});
    ExpectBadArguments({"new", "card", "--manufacturer", ""});
    ExpectBadArguments({"plug", ".hidden"});
    ExpectBadArguments({"new"});
    ExpectBadArguments({"frobnicate"});
    ExpectBadArguments({"insert", "ref2", ""});
    ExpectBadArguments({"insert", "ref2", "a/b"});
    ExpectBadArguments({"insert", "ref2", ".lock"});
    EXPECT_EQ(RunTool({"list"}).output.find("card\t"), std::string::npos);
}

} // namespace
