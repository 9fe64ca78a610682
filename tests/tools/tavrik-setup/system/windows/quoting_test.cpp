#include "tools/tavrik-setup/programs/system/quoting.h"

#include <gtest/gtest.h>

using namespace setup;

TEST(Quoting, SuitsEachKindOfFile)
{
    const std::filesystem::path path = L"C:\\Program Files (x86)\\Tavrik\\tavrik-pkcs11.dll";
    EXPECT_EQ(InProviderFile(path), R"("C:/Program Files (x86)/Tavrik/tavrik-pkcs11.dll")");
    EXPECT_EQ(InOpenVpn(path), R"("C:\\Program Files (x86)\\Tavrik\\tavrik-pkcs11.dll")");
    EXPECT_EQ(InOpenSsl(path), "C:/Program Files (x86)/Tavrik/tavrik-pkcs11.dll");
    EXPECT_EQ(InCommandLine(path), R"("C:\Program Files (x86)\Tavrik\tavrik-pkcs11.dll")");
}
