#include "card/card_status.h"

#include <iterator>

namespace {

// The card-access library's own, from 0.
constexpr const char* libraryNames[] = {
    "eStatusOk",
    "eInvalidParam",
    "eLibraryNotInitialized",
    "eInvalidSession",
    "eFunctionNotImplemented",
    "eFunctionNotSupported",
    "eInsuficientBuffer",
    "eCardCommErr",
    "eUnknownCardType",
    "eInvalidDataDecoded",
    "eInternalError",
    "eInvalidCardProfile",
    "eUnknownCardProfile",
    "eCardProfileError",
    "eCardProfileNotInitialized",
    "eIncorrectCode",
    "eCodesDontMatch",
    "eInvalidCodeState",
    "eUserInputError",
    "eInvalidResponse",
    "eInvalidOsType",
    "eUnknownPrivKey",
    "eStatusInvalidContext",
    "eStatusNotConnected",
    "eCertNotLoaded",
    "eNoCertWasReaded",
    "eQSCDNotValid",
    "eSmNotInitialized",
    "eReaderError",
    "eOpenSslError",
    "eOpenPaceError",
};

// Conditions of the reader layer.
constexpr CardStatus firstReaderStatus = 64;
constexpr const char* readerNames[] = {
    "eStatusINTERNAL_ERROR",     "eStatusCANCELLED",
    "eStatusINVALID_HANDLE",     "eStatusINVALID_PARAMETER",
    "eStatusINVALID_TARGET",     "eStatusNO_MEMORY",
    "eStatusWAITED_TOO_LONG",    "eStatusINSUFFICIENT_BUFFER",
    "eStatusUNKNOWN_READER",     "eStatusTIMEOUT",
    "eStatusSHARING_VIOLATION",  "eStatusNO_SMARTCARD",
    "eStatusUNKNOWN_CARD",       "eStatusCANT_DISPOSE",
    "eStatusPROTO_MISMATCH",     "eStatusNOT_READY",
    "eStatusINVALID_VALUE",      "eStatusSYSTEM_CANCELLED",
    "eStatusCOMM_ERROR",         "eStatusUNKNOWN_ERROR",
    "eStatusNOT_TRANSACTED",     "eStatusREADER_UNAVAILABLE",
    "eStatusSystemSHUTDOWN",     "eStatusPCI_TOO_SMALL",
    "eStatusREADER_UNSUPPORTED", "eStatusNO_SERVICE",
    "eStatusSERVICE_STOPPED",    "eStatusUNEXPECTED",
    "eStatusREMOVED_CARD",       "eStatusERROR_IO_DEVICE",
    "eStatusUNRESPONSIVE_CARD",  "eStatusUNSPECIFIED_ERROR",
};

} // namespace

const char* CardStatusName(CardStatus status)
{
    constexpr auto libraryCount = static_cast<CardStatus>(std::size(libraryNames));
    constexpr auto readerCount = static_cast<CardStatus>(std::size(readerNames));
    if (status >= 0 && status < libraryCount) {
        return libraryNames[status];
    }
    if (status >= firstReaderStatus && status < firstReaderStatus + readerCount) {
        return readerNames[status - firstReaderStatus];
    }
    return "";
}
