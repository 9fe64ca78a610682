// The front in its process: its start and end, the calls that are at work in it, and what a fork does to it.
#pragma once

#include "front/model/front.h"

#include "src/platform/process_end.h"

namespace front {

CK_RV StartFront();
// Returns when every call has left.
CK_RV EndFront();

// A call at work. Refuses with CKR_CRYPTOKI_NOT_INITIALIZED when the front has not been started.
class Call
{
public:
    Call();
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    [[nodiscard]] Front& Of() const { return *front; }

private:
    const WorkBeforeEnd work;
    Front* front;
};

} // namespace front
