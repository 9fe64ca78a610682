// The exported functions of the card-access library; each hands its call to the script.
#include "tests/support/scripted_card/scripted_card_core.h"

using scripted::Core;

void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity)
{
    const Core::Passage inside;
    Core::Instance().WriteDirectory("GetAppDataDir", buffer, capacity);
}

void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity)
{
    const Core::Passage inside;
    Core::Instance().WriteDirectory("GetUserDataDir", buffer, capacity);
}

void CardAPI_Initialize(const void* logger)
{
    const Core::Passage inside;
    Core::Instance().InitializeLogger(logger);
}

void CardAPI_Finalize(void)
{
    const Core::Passage inside;
    scripted::CardCall call;
    call.function = "Finalize";
    static_cast<void>(Core::Instance().Enter(std::move(call)));
}

int32_t CardAPI_GetReaderList(char16_t* buffer, uint32_t capacity)
{
    const Core::Passage inside;
    return Core::Instance().ReaderList(buffer, capacity);
}

CardStatus CardAPI_OpenSession(const char16_t* readerName, CardSession* session)
{
    const Core::Passage inside;
    return Core::Instance().Open(readerName, session);
}

CardStatus CardAPI_CloseSession(CardSession session)
{
    const Core::Passage inside;
    return Core::Instance().OnSession("CloseSession", session);
}

CardStatus CardAPI_StartTransaction(CardSession session)
{
    const Core::Passage inside;
    return Core::Instance().OnSession("StartTransaction", session);
}

CardStatus CardAPI_StopTransaction(CardSession session)
{
    const Core::Passage inside;
    return Core::Instance().OnSession("StopTransaction", session);
}

CardStatus CardAPI_GetTokenInfo(CardSession session, CardTokenInfo* info, char* text, uint32_t* capacity)
{
    const Core::Passage inside;
    return Core::Instance().TokenInfo(session, info, text, capacity);
}

CardStatus CardAPI_GetSessionFlags(CardSession session, uint32_t* flags)
{
    const Core::Passage inside;
    return Core::Instance().SessionFlags(session, flags);
}

CardStatus CardAPI_WaitForReaderEvent(uint32_t milliseconds, ReaderCallback callback)
{
    const Core::Passage inside;
    return Core::Instance().Wait(milliseconds, callback);
}

CardStatus CardAPI_QES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                       CardKeyInfo* keys)
{
    const Core::Passage inside;
    return Core::Instance().Certificates(true, session, certificates, count, keys);
}

CardStatus CardAPI_ES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                      CardKeyInfo* keys)
{
    const Core::Passage inside;
    return Core::Instance().Certificates(false, session, certificates, count, keys);
}

CardStatus CardAPI_QES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    const Core::Passage inside;
    return Core::Instance().KeyInfo(true, session, zero, key, yes);
}

CardStatus CardAPI_ES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes)
{
    const Core::Passage inside;
    return Core::Instance().KeyInfo(false, session, zero, key, yes);
}

CardStatus CardAPI_QES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                uint32_t* outputLength, uint32_t zero)
{
    const Core::Passage inside;
    return Core::Instance().Sign("QES_SignData", session, data, length, output, outputLength, zero);
}

CardStatus CardAPI_ES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                               uint32_t* outputLength, uint32_t zero)
{
    const Core::Passage inside;
    return Core::Instance().Sign("ES_SignData", session, data, length, output, outputLength, zero);
}

CardStatus CardAPI_ES_DecryptData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                  uint32_t* outputLength, uint32_t certificateIndex)
{
    const Core::Passage inside;
    return Core::Instance().Sign("ES_DecryptData", session, data, length, output, outputLength,
                                 certificateIndex);
}

CardStatus CardAPI_Passwords_VerifyBOK(CardSession session, const char* code, VerifyResult* result,
                                       void* null, uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    const Core::Passage inside;
    return Core::Instance().Verify("Passwords_VerifyBOK", session, code, result, null,
                                   {fifth, sixth, seventh});
}

CardStatus CardAPI_QES_VerifyPin(CardSession session, const char* code, VerifyResult* result, void* null,
                                 uint32_t fifth, uint32_t sixth, uint32_t seventh)
{
    const Core::Passage inside;
    return Core::Instance().Verify("QES_VerifyPin", session, code, result, null, {fifth, sixth, seventh});
}
