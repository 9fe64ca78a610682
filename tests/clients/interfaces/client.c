/*
 * A host that is compiled with the headers of NSS, so that it has records, lists and numbers that others have written down:
 *
 *     client MODULE TOKEN interface|symbols SIGNATURE_FILE
 *
 * takes the functions from the list of version 3.0 that C_GetInterface gives, or each by its name, signs "message" with the
 * token's private key, and writes the signature to the file and the key's CKA_UNIQUE_ID to its output. The card's keyboard
 * asks for the codes.
 */
#include <pkcs11.h>

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CKA_UNIQUE_ID 4UL /* which NSS does not know yet */

static void* module;

static void Require(int holds, const char* what)
{
    if (!holds) {
        fprintf(stderr, "%s\n", what);
        exit(1);
    }
}

static void* Symbol(const char* name)
{
    void* symbol = dlsym(module, name);
    Require(symbol != NULL, name);
    return symbol;
}

static void FillFromSymbols(CK_FUNCTION_LIST_3_0* list)
{
#define CK_PKCS11_3_0 1
#define CK_PKCS11_FUNCTION_INFO(name) *(void**)&list->name = Symbol(#name);
#include <pkcs11f.h>
#undef CK_PKCS11_FUNCTION_INFO
}

/* Each function stands where NSS looks for it. What C_GetInfo tells depends on the list. */
static void CompareWithSymbols(CK_FUNCTION_LIST_3_0* list)
{
#define CK_PKCS11_FUNCTION_INFO(name)                                                                        \
    Require((*(void**)&list->name == Symbol(#name)) == (strcmp(#name, "C_GetInfo") != 0), #name);
#include <pkcs11f.h>
#undef CK_PKCS11_FUNCTION_INFO
}

static void* ListOf(CK_BYTE major, CK_BYTE minor)
{
    CK_C_GetInterface getInterface = (CK_C_GetInterface)Symbol("C_GetInterface");
    CK_VERSION version = {major, minor};
    CK_INTERFACE* found = NULL;
    Require(getInterface((CK_UTF8CHAR_PTR) "PKCS 11", &version, &found, 0) == CKR_OK, "C_GetInterface");
    Require(strcmp((const char*)found->pInterfaceName, "PKCS 11") == 0, "the interface's name");
    Require(getInterface(NULL, &version, &found, CKF_INTERFACE_FORK_SAFE) == CKR_ARGUMENTS_BAD,
            "safe in forks");
    return found->pFunctionList;
}

static void LookAtInterfaces(void)
{
    CK_C_GetInterfaceList getList = (CK_C_GetInterfaceList)Symbol("C_GetInterfaceList");
    CK_INTERFACE list[2];
    CK_ULONG count = 2;
    Require(getList(list, &count) == CKR_OK && count == 2, "C_GetInterfaceList");
    Require(list[0].pFunctionList == ListOf(3, 0) && list[1].pFunctionList == ListOf(2, 40), "the lists");
    CK_FUNCTION_LIST* functions = NULL;
    Require(((CK_C_GetFunctionList)Symbol("C_GetFunctionList"))(&functions) == CKR_OK, "C_GetFunctionList");
    Require(functions->version.major == 2 && functions->version.minor == 20,
            "the version of C_GetFunctionList");
    Require(functions->C_Sign == ((CK_FUNCTION_LIST*)list[1].pFunctionList)->C_Sign,
            "the functions of both lists");
}

static CK_SLOT_ID SlotOf(CK_FUNCTION_LIST_3_0* f, const char* token)
{
    CK_SLOT_ID slots[8];
    CK_ULONG count = 8;
    Require(f->C_GetSlotList(CK_TRUE, slots, &count) == CKR_OK, "C_GetSlotList");
    for (CK_ULONG i = 0; i < count; ++i) {
        CK_TOKEN_INFO info;
        Require(f->C_GetTokenInfo(slots[i], &info) == CKR_OK, "C_GetTokenInfo");
        if (strncmp((const char*)info.label, token, strlen(token)) == 0 && info.label[strlen(token)] == ' ') {
            return slots[i];
        }
    }
    Require(0, "no such token");
    return 0;
}

static CK_OBJECT_HANDLE PrivateKey(CK_FUNCTION_LIST_3_0* f, CK_SESSION_HANDLE session)
{
    CK_OBJECT_CLASS class = CKO_PRIVATE_KEY;
    CK_ATTRIBUTE wanted = {CKA_CLASS, &class, sizeof(class)};
    CK_OBJECT_HANDLE key = 0;
    CK_ULONG count = 0;
    Require(f->C_FindObjectsInit(session, &wanted, 1) == CKR_OK, "C_FindObjectsInit");
    Require(f->C_FindObjects(session, &key, 1, &count) == CKR_OK && count == 1, "C_FindObjects");
    Require(f->C_SessionCancel(session, CKF_FIND_OBJECTS) == CKR_OK, "C_SessionCancel of the search");
    Require(f->C_FindObjectsFinal(session) == CKR_OPERATION_NOT_INITIALIZED, "the search has ended");
    return key;
}

/* The key that has what the other one has. */
static CK_OBJECT_HANDLE SameKey(CK_FUNCTION_LIST_3_0* f, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    CK_BYTE id[100];
    CK_BYTE info[1000];
    CK_BBOOL destroyable = CK_TRUE;
    CK_ATTRIBUTE records[] = {{CKA_UNIQUE_ID, id, sizeof(id)},
                              {CKA_PUBLIC_KEY_INFO, info, sizeof(info)},
                              {CKA_DESTROYABLE, &destroyable, sizeof(destroyable)}};
    Require(f->C_GetAttributeValue(session, key, records, 3) == CKR_OK, "C_GetAttributeValue");
    Require(destroyable == CK_FALSE && f->C_DestroyObject(session, key) == CKR_ACTION_PROHIBITED,
            "C_DestroyObject");
    printf("%.*s\n", (int)records[0].ulValueLen, id);
    CK_OBJECT_HANDLE same = 0;
    CK_ULONG count = 0;
    Require(f->C_FindObjectsInit(session, records, 2) == CKR_OK, "C_FindObjectsInit by the unique id");
    Require(f->C_FindObjects(session, &same, 1, &count) == CKR_OK && count == 1,
            "C_FindObjects by the unique id");
    Require(f->C_FindObjectsFinal(session) == CKR_OK, "C_FindObjectsFinal");
    return same;
}

static void Sign(CK_FUNCTION_LIST_3_0* f, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const char* file)
{
    CK_BYTE message[] = "message";
    CK_BYTE signature[1024];
    CK_ULONG length = sizeof(signature);
    CK_MECHANISM mechanism = {CKM_SHA256_RSA_PKCS, NULL, 0};
    Require(f->C_MessageSignInit(session, &mechanism, key) == CKR_FUNCTION_NOT_SUPPORTED,
            "C_MessageSignInit");
    Require(f->C_SignInit(session, &mechanism, key) == CKR_OK, "C_SignInit");
    Require(f->C_SignUpdate(session, message, 3) == CKR_OK, "C_SignUpdate");
    Require(f->C_SessionCancel(session, CKF_SIGN | CKF_MESSAGE_SIGN) == CKR_OK, "C_SessionCancel");
    Require(f->C_SignInit(session, &mechanism, key) == CKR_OK, "C_SignInit after C_SessionCancel");
    Require(f->C_Sign(session, message, sizeof(message) - 1, signature, &length) == CKR_OK, "C_Sign");
    FILE* out = fopen(file, "wb");
    Require(out != NULL && fwrite(signature, 1, length, out) == length && fclose(out) == 0, file);
}

int main(int count, char** words)
{
    Require(count == 5, "client MODULE TOKEN interface|symbols SIGNATURE_FILE");
    module = dlopen(words[1], RTLD_NOW | RTLD_LOCAL);
    Require(module != NULL, "the module cannot be loaded");
    LookAtInterfaces();
    CK_FUNCTION_LIST_3_0 bySymbols;
    CK_FUNCTION_LIST_3_0* f = ListOf(3, 0);
    CompareWithSymbols(f);
    int takesSymbols = strcmp(words[3], "symbols") == 0;
    if (takesSymbols) {
        FillFromSymbols(&bySymbols);
        f = &bySymbols;
    }
    CK_INFO info;
    Require(f->C_Initialize(NULL) == CKR_OK && f->C_GetInfo(&info) == CKR_OK, "C_Initialize and C_GetInfo");
    Require(info.cryptokiVersion.major == (takesSymbols ? 2 : 3), "the version of the list");
    CK_SESSION_HANDLE session = 0;
    Require(f->C_OpenSession(SlotOf(f, words[2]), CKF_SERIAL_SESSION, NULL, NULL, &session) == CKR_OK,
            "C_OpenSession");
    CK_UTF8CHAR name[] = "anna";
    Require(f->C_LoginUser(session, CKU_USER, NULL, 0, name, 4) == CKR_ARGUMENTS_BAD,
            "C_LoginUser with a name");
    Require(f->C_LoginUser(session, CKU_USER, NULL, 0, NULL, 0) == CKR_OK, "C_LoginUser");
    CK_OBJECT_HANDLE key = PrivateKey(f, session);
    Require(SameKey(f, session, key) == key, "the unique id is of another key");
    Sign(f, session, key, words[4]);
    Require(f->C_Finalize(NULL) == CKR_OK, "C_Finalize");
    return 0;
}
