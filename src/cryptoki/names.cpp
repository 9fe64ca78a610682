#include "src/cryptoki/names.h"

#include <cstdio>

namespace {

// The text of the last number without a name. Per thread, so that a text is never changed under the log line
// that prints it.
thread_local char fallback[1024];

const char* UnnamedNumber(const char* format, CK_ULONG number)
{
    static_cast<void>(std::snprintf(fallback, sizeof(fallback), format, number));
    return fallback;
}

} // namespace

const char* ResultName(CK_RV result)
{
    switch (result) {
#define RESULT(name)                                                                                         \
    case name:                                                                                               \
        return #name;
#include "src/cryptoki/results.inc"
    default:
        return UnnamedNumber("[%08Xh] Unknown CKR result", result);
    }
}

const char* AttributeName(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
#define ATTRIBUTE(name, ...)                                                                                 \
    case name:                                                                                               \
        return #name;
#define OTHER(name, ...)                                                                                     \
    case name:                                                                                               \
        return #name;
#include "src/cryptoki/attributes.inc"
    default:
        return UnnamedNumber("[%08Xh] UNKNOWN ATTRIBUTE", type);
    }
}
