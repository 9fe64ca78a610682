#include "tests/front/system/freed_memory.h"

void front_test::OverwriteFreedMemory() {}
