/*
 * A host in plain C, built with another compiler than the library: from LoadLibrary to a signature of the
 * card in the first reader, which the library then verifies.
 *
 *     c_host LIBRARY BOK finalize|unload|exit [FILE]
 *
 * LIBRARY is pkcs11_x64.dll or its front, tavrik-pkcs11.dll, whose records are the same.
 * The third word is how it parts from the library, which watches the readers on a thread of its own until
 * then: as it should, or by FreeLibrary alone, or by ending. With FILE it makes that file first, waits until somebody
 * has removed it, and signs once more. Says each step on the standard output. The exit code is 0 when all of
 * them worked.
 */
#include "tavrik/cryptoki.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#define LONGEST_ATTRIBUTE 512
#define HASH_LENGTH 32

typedef CK_RV (*GetFunctionList)(CK_FUNCTION_LIST_PTR_PTR);

/* The DigestInfo of SHA-256, up to the hash. */
static const CK_BYTE digestInfoStart[] = {0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                          0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};

typedef struct
{
    CK_BYTE bytes[LONGEST_ATTRIBUTE];
    CK_ULONG length;
} Value;

static HMODULE library;
static CK_FUNCTION_LIST_PTR functions;

static void Demand(int holds, const char* step)
{
    if (!holds) {
        printf("failed: %s\n", step);
        exit(EXIT_FAILURE);
    }
    printf("%s\n", step);
}

static void Check(CK_RV result, const char* step)
{
    if (result != CKR_OK) {
        printf("failed with %#x: %s\n", (unsigned)result, step);
        exit(EXIT_FAILURE);
    }
    printf("%s\n", step);
}

static void Load(const char* file)
{
    library = LoadLibraryA(file);
    Demand(library != NULL, "LoadLibrary");
    GetFunctionList getFunctionList = (GetFunctionList)(void*)GetProcAddress(library, "C_GetFunctionList");
    Demand(getFunctionList != NULL, "GetProcAddress");
    Check(getFunctionList(&functions), "C_GetFunctionList");
    Demand(functions->version.major == 2 && functions->version.minor == 20, "version 2.20");
    Check(functions->C_Initialize(NULL), "C_Initialize");
}

/* The slot of the ordinary key, which signs without asking. */
static CK_SLOT_ID FindSlot(void)
{
    CK_ULONG count = 0;
    Check(functions->C_GetSlotList(CK_TRUE, NULL, &count), "C_GetSlotList");
    Demand(count == 2, "two slots for the card");
    CK_SLOT_ID slots[2];
    Check(functions->C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList with room");
    CK_TOKEN_INFO token;
    Check(functions->C_GetTokenInfo(slots[1], &token), "C_GetTokenInfo");
    Demand(memcmp(token.label, "Sig_EP ", strlen("Sig_EP ")) == 0, "the second is \"Sig_EP\"");
    return slots[1];
}

static CK_SESSION_HANDLE LogIn(CK_SLOT_ID slot, char* code)
{
    CK_SESSION_HANDLE session = 0;
    Check(functions->C_OpenSession(slot, CKF_SERIAL_SESSION, NULL, NULL, &session), "C_OpenSession");
    Check(functions->C_Login(session, CKU_USER, (CK_UTF8CHAR_PTR)code, (CK_ULONG)strlen(code)), "C_Login");
    return session;
}

static CK_OBJECT_HANDLE FindKey(CK_SESSION_HANDLE session)
{
    CK_OBJECT_CLASS keyClass = CKO_PRIVATE_KEY;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE wanted[] = {{CKA_CLASS, &keyClass, sizeof keyClass}, {CKA_SIGN, &yes, sizeof yes}};
    CK_OBJECT_HANDLE key = 0;
    CK_ULONG count = 0;
    Check(functions->C_FindObjectsInit(session, wanted, 2), "C_FindObjectsInit");
    Check(functions->C_FindObjects(session, &key, 1, &count), "C_FindObjects");
    Check(functions->C_FindObjectsFinal(session), "C_FindObjectsFinal");
    Demand(count == 1, "a key that signs");
    return key;
}

static Value Read(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type)
{
    Value value;
    CK_ATTRIBUTE asked = {type, value.bytes, sizeof value.bytes};
    Check(functions->C_GetAttributeValue(session, object, &asked, 1), "C_GetAttributeValue");
    value.length = asked.ulValueLen;
    return value;
}

static CK_OBJECT_HANDLE MakePublicKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    Value modulus = Read(session, key, CKA_MODULUS);
    Value exponent = Read(session, key, CKA_PUBLIC_EXPONENT);
    CK_BBOOL yes = CK_TRUE;
    CK_ULONG class = CKO_PUBLIC_KEY;
    CK_ULONG type = CKK_RSA;
    CK_ATTRIBUTE parts[] = {{CKA_CLASS, &class, sizeof class},
                            {CKA_KEY_TYPE, &type, sizeof type},
                            {CKA_MODULUS, modulus.bytes, modulus.length},
                            {CKA_PUBLIC_EXPONENT, exponent.bytes, exponent.length},
                            {CKA_VERIFY, &yes, sizeof yes}};
    CK_OBJECT_HANDLE publicKey = 0;
    Check(functions->C_CreateObject(session, parts, sizeof parts / sizeof *parts, &publicKey),
          "C_CreateObject");
    return publicKey;
}

static Value DigestInfoOf(CK_SESSION_HANDLE session, char* text)
{
    Value info;
    memcpy(info.bytes, digestInfoStart, sizeof digestInfoStart);
    CK_MECHANISM mechanism = {CKM_SHA256, NULL, 0};
    CK_ULONG length = HASH_LENGTH;
    Check(functions->C_DigestInit(session, &mechanism), "C_DigestInit");
    Check(functions->C_Digest(session, (CK_BYTE_PTR)text, (CK_ULONG)strlen(text),
                              info.bytes + sizeof digestInfoStart, &length),
          "C_Digest");
    Demand(length == HASH_LENGTH, "a hash of 32 bytes");
    info.length = (CK_ULONG)sizeof digestInfoStart + length;
    return info;
}

static Value Sign(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, Value* data)
{
    Value signature = {{0}, LONGEST_ATTRIBUTE};
    CK_MECHANISM mechanism = {CKM_RSA_PKCS, NULL, 0};
    Check(functions->C_SignInit(session, &mechanism, key), "C_SignInit");
    Check(functions->C_Sign(session, data->bytes, data->length, signature.bytes, &signature.length),
          "C_Sign");
    return signature;
}

/* Whether the library is the front, by the name of its file. */
static int IsFront(const char* file)
{
    return strstr(file, "tavrik-pkcs11") != NULL;
}

static void BeginVerifying(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
{
    CK_MECHANISM mechanism = {CKM_RSA_PKCS, NULL, 0};
    Check(functions->C_VerifyInit(session, &mechanism, key), "C_VerifyInit");
}

/* The library itself takes no signature that begins with a zero; without it, the number is the same. */
static CK_RV Verify(CK_SESSION_HANDLE session, Value* data, Value* signature, int front)
{
    CK_ULONG zeros = 0;
    while (!front && zeros < signature->length && signature->bytes[zeros] == 0) {
        ++zeros;
    }
    return functions->C_Verify(session, data->bytes, data->length, signature->bytes + zeros,
                               signature->length - zeros);
}

static void Part(const char* way)
{
    if (strcmp(way, "finalize") == 0) {
        Check(functions->C_Finalize(NULL), "C_Finalize");
    } else if (strcmp(way, "unload") == 0) {
        Demand(FreeLibrary(library), "FreeLibrary");
        Demand(GetModuleHandleA("pkcs11_x64.dll") == NULL && GetModuleHandleA("tavrik-pkcs11.dll") == NULL,
               "the library is gone");
    } else {
        Demand(strcmp(way, "exit") == 0, "the end without a word");
    }
}

static void WaitWhileThereIs(const char* file)
{
    FILE* made = fopen(file, "w");
    Demand(made != NULL, "a file that tells that the library is loaded");
    fclose(made);
    while (GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES) {
        Sleep(20);
    }
    printf("the file is gone\n");
}

int main(int count, char** words)
{
    Demand(count == 4 || count == 5, "LIBRARY, BOK, how to part, and a file to wait for");
    Load(words[1]);
    CK_SESSION_HANDLE session = LogIn(FindSlot(), words[2]);
    CK_OBJECT_HANDLE key = FindKey(session);
    CK_OBJECT_HANDLE publicKey = MakePublicKey(session, key);
    Value data = DigestInfoOf(session, "a text");
    Value signature = Sign(session, key, &data);
    Demand(signature.length == 256, "a signature of 256 bytes");
    int front = IsFront(words[1]);
    BeginVerifying(session, publicKey);
    Check(Verify(session, &data, &signature, front), "C_Verify");
    if (front) { /* where the operation has ended with that */
        BeginVerifying(session, publicKey);
    }
    data.bytes[data.length - 1] ^= 1U;
    CK_RV refusal = front ? CKR_SIGNATURE_INVALID : CKR_FUNCTION_FAILED;
    Demand(Verify(session, &data, &signature, front) == refusal, "C_Verify refuses another text");
    if (count == 5) {
        WaitWhileThereIs(words[4]);
        data.bytes[data.length - 1] ^= 1U;
        Demand(memcmp(Sign(session, key, &data).bytes, signature.bytes, signature.length) == 0,
               "the same signature again");
    }
    Part(words[3]);
    printf("done\n");
    return EXIT_SUCCESS;
}
