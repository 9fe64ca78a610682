// Lets a child that a test forks use its scripted card: another thread, such as the library's own, may be inside the script
// at that moment.
#include "tests/support/scripted_card/scripted_card_core.h"

#include <pthread.h>

namespace {

// At load, before what calls the card: the last to be held at a fork are then the locks down here.
[[gnu::constructor]] void Loaded()
{
    pthread_atfork([] { scripted::Core::Instance().HoldForFork(); },
                   [] { scripted::Core::Instance().ReleaseAfterFork(); },
                   [] { scripted::Core::Instance().ReleaseInChild(); });
}

} // namespace
