// The places of the standard streams in a host that has closed them.
#pragma once

#include <vector>

// As long as this lives, nothing that is opened gets the place of a closed standard stream: for code that is not ours
// and that keeps a file open. Does nothing on systems where a file takes no stream's place.
class ClosedStreamsFilled
{
public:
    ClosedStreamsFilled();
    ~ClosedStreamsFilled();
    ClosedStreamsFilled(const ClosedStreamsFilled&) = delete;
    ClosedStreamsFilled& operator=(const ClosedStreamsFilled&) = delete;

private:
    std::vector<int> fillers; // descriptors
};
