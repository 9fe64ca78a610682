#include "tests/softcard/shared_library.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

TEST(Exports, AreTheBoundaryAndNothingElse)
{
    std::set<std::string> expected = {HASH_METHOD};
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
    const std::vector<std::string> listed = ExportsOf(CARD_LIBRARY);
    const std::set<std::string> found(listed.begin(), listed.end());
    EXPECT_EQ(found, expected);
}

} // namespace
