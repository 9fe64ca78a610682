// The library's code with a door to what it finds out when it is loaded, which nothing else shows.
#include "src/pkcs11/lifecycle.h"

extern "C" int LoadFactsProbe_JavaLauncherHost()
{
    return FactsOfLoad().javaLauncherHost;
}
