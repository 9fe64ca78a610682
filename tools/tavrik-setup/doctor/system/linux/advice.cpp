#include "tools/tavrik-setup/doctor/system/advice.h"

namespace setup {

const Advice& SystemAdvice()
{
    static constexpr Advice advice{
        "Install tavrik-pkcs11 again.",
        "Install the software of the card, or tavrik-softcard, which has libCardAPI.so.",
        "See whether the reader service (pcscd) runs.",
        "Give the folder back to yourself with chown and chmod, or make room on the disk."};
    return advice;
}

} // namespace setup
