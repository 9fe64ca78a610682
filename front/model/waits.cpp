#include "front/model/waits.h"

#include "src/platform/process_end.h"

namespace front {

void Waits::Until(Time time)
{
    const PauseOfWork pause;
    MutexLock lock(mutex);
    while (!over && ending.wait_until(lock.Native(), time) == std::cv_status::no_timeout) {
    }
}

void Waits::End()
{
    {
        const MutexLock lock(mutex);
        over = true;
    }
    ending.notify_all();
}

bool Waits::AreOver() const
{
    const MutexLock lock(mutex);
    return over;
}

} // namespace front
