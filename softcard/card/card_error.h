// The statuses that the software card answers with, and the exception that carries one inside it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace softcard {

inline constexpr int32_t statusOk = 0;
inline constexpr int32_t statusInvalidParameter = 1;
inline constexpr int32_t statusNotInitialized = 2;
inline constexpr int32_t statusInvalidSession = 3;
inline constexpr int32_t statusInsufficientBuffer = 6;
inline constexpr int32_t statusUnknownCardType = 8;
inline constexpr int32_t statusInvalidData = 9;
inline constexpr int32_t statusInternalError = 10;
inline constexpr int32_t statusIncorrectCode = 15;
inline constexpr int32_t statusInvalidCodeState = 17;
inline constexpr int32_t statusUserInputError = 18;
inline constexpr int32_t statusUnknownPrivateKey = 21;
inline constexpr int32_t statusCertificateNotLoaded = 24;
inline constexpr int32_t statusSecureMessagingMissing = 27;
inline constexpr int32_t statusUnknownReader = 72;
inline constexpr int32_t statusSharingViolation = 74;
inline constexpr int32_t statusNoCard = 75;
inline constexpr int32_t statusNotTransacted = 84;
inline constexpr int32_t statusRemovedCard = 92;

class CardError : public std::runtime_error
{
public:
    CardError(int32_t cardStatus, const std::string& what) : std::runtime_error(what), status(cardStatus) {}

    [[nodiscard]] int32_t Status() const { return status; }

private:
    int32_t status;
};

} // namespace softcard
