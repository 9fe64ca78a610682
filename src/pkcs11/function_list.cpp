#include "pkcs11/function_list.h"

CK_FUNCTION_LIST& FunctionList()
{
    static CK_FUNCTION_LIST list = {
        {2, 20},
#define CRYPTOKI_WORKS(name, parameters) name,
#define CRYPTOKI_REFUSES(name, parameters, answer) name,
#include "pkcs11/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
    };
    return list;
}
