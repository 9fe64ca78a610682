#include "src/platform/closed_streams.h"

ClosedStreamsFilled::ClosedStreamsFilled() = default;

ClosedStreamsFilled::~ClosedStreamsFilled() = default;
