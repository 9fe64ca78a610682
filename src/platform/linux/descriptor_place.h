// Where our files stand among the descriptors of the host.
#pragma once

#include <fcntl.h>
#include <unistd.h>

inline constexpr int firstOwnDescriptor = 3; // behind the three standard ones

// The same file behind the places of the standard streams. A host without these streams must not find our file in
// one of their places, nor hand it to a program that it starts. An invalid descriptor is given back as it is;
// -1 when there is no descriptor left.
inline int OutOfTheWay(int descriptor)
{
    if (descriptor < 0 || descriptor >= firstOwnDescriptor) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, firstOwnDescriptor);
    close(descriptor);
    return moved;
}
