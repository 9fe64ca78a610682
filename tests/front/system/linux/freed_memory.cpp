#include "tests/front/system/freed_memory.h"

#include <malloc.h>

void front_test::OverwriteFreedMemory()
{
    mallopt(M_PERTURB, 0xA5);
}
