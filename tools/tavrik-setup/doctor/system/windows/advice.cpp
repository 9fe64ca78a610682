#include "tools/tavrik-setup/doctor/system/advice.h"

namespace setup {

const Advice& SystemAdvice()
{
    static constexpr Advice advice{
        "Install Tavrik again.",
        "Install the software of the card, whose CardAPI.dll lies beside the library or in a folder of PATH.",
        "See whether the service \"Smart Card\" (SCardSvr) runs.",
        "Give yourself the right to write there, in the folder's properties, or make room on the disk."};
    return advice;
}

} // namespace setup
