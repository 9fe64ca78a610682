#include "tests/softcard/bundle_import.h"

namespace softcard::test {

std::string AsSystemTells(const std::string& sentence)
{
    return sentence; // OpenSSL tells all reasons apart
}

} // namespace softcard::test
