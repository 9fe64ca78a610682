#include "src/pkcs11/function_list.h"

CK_FUNCTION_LIST& FunctionList()
{
    static CK_FUNCTION_LIST list = {
        {2, 20},
#define CRYPTOKI_WORKS(name, parameters) name,
#define CRYPTOKI_REFUSES(name, parameters, answer) name,
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    return list;
}
