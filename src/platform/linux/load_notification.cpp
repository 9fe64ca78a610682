#include "src/platform/platform.h"

namespace {

[[gnu::constructor]] void Loaded()
{
    OnLibraryLoad();
}

} // namespace

void Platform::ArmUnloadNotification()
{
    // Objects end in the reverse order in which they were made, on dlclose too. One made at load would end
    // after those of libraries that were loaded later, while our thread may still be inside them.
    struct UnloadNotifier
    {
        ~UnloadNotifier() { OnLibraryUnload(OtherThreads::goOn); }
    };
    static const UnloadNotifier notifier;
}
