#include "program.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

using namespace softcard::test;

namespace {

TEST(Exports, AreTheBoundaryAndNothingElse)
{
    std::set<std::string> expected = {"_ZN5Zelmo6Crypto12HashFunction4HashEPKhm"};
    for (const char* function :
         {"GetAppDataDir",       "GetUserDataDir",     "Initialize",      "Finalize",
          "GetReaderList",       "OpenSession",        "CloseSession",    "StartTransaction",
          "StopTransaction",     "GetTokenInfo",       "GetSessionFlags", "WaitForReaderEvent",
          "QES_GetCertificates", "ES_GetCertificates", "QES_GetKeyInfo",  "ES_GetKeyInfo",
          "QES_SignData",        "ES_SignData",        "ES_DecryptData",  "Passwords_VerifyBOK",
          "QES_VerifyPin"}) {
        expected.insert(std::string("CardAPI_") + function);
    }
    for (const char* name : {"4SHA1", "6SHA224", "6SHA256", "6SHA384", "6SHA512"}) {
        expected.insert(std::string("_ZN5Zelmo6Crypto") + name + "C1Ev");
        expected.insert(std::string("_ZN5Zelmo6Crypto") + name + "C2Ev");
    }
    const Finished listed = RunProgram({"nm", "-D", "--defined-only", "--format=just-symbols", CARD_LIBRARY});
    ASSERT_EQ(listed.exitCode, 0) << listed.errors;
    std::istringstream lines(listed.output);
    std::set<std::string> found;
    for (std::string line; std::getline(lines, line);) {
        found.insert(line);
    }
    EXPECT_EQ(found, expected);
}

} // namespace
