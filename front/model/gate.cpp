#include "front/model/gate.h"

namespace front {

void Gate::Enter(Stay stay)
{
    std::unique_lock lock(mutex);
    left.wait(lock, [this] { return !taken; });
    taken = true;
    takenForLong = stay == Stay::mayBeLong;
    holder = std::this_thread::get_id();
}

bool Gate::EnterUnlessLong(Stay stay)
{
    std::unique_lock lock(mutex);
    left.wait(lock, [this] { return !taken || takenForLong; });
    if (taken) {
        return false;
    }
    taken = true;
    takenForLong = stay == Stay::mayBeLong;
    holder = std::this_thread::get_id();
    return true;
}

bool Gate::EnterForFork()
{
    {
        const std::lock_guard lock(mutex);
        if (taken && holder == std::this_thread::get_id()) {
            return false;
        }
    }
    return EnterUnlessLong();
}

void Gate::Leave()
{
    {
        const std::lock_guard lock(mutex);
        taken = false;
        takenForLong = false;
        holder = {};
    }
    left.notify_all();
}

} // namespace front
