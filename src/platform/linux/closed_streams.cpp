#include "src/platform/closed_streams.h"

#include "src/platform/linux/descriptor_place.h"

#include <algorithm>

// The lowest place that is free is the one that is given out.
ClosedStreamsFilled::ClosedStreamsFilled()
{
    fillers.reserve(firstOwnDescriptor);
    int filler = open("/dev/null", O_RDWR | O_CLOEXEC);
    while (filler >= 0 && filler < firstOwnDescriptor) {
        fillers.push_back(filler);
        filler = open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (filler >= 0) {
        close(filler);
    }
}

ClosedStreamsFilled::~ClosedStreamsFilled()
{
    std::for_each(fillers.begin(), fillers.end(), close);
}
