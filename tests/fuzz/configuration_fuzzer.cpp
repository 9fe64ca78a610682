// config.json of any content: nothing is thrown, and nothing that a sanitizer sees is done.
#include "src/log/configuration.h"
#include "tests/support/temporary_folder.h"

#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const TemporaryFolder folder("tavrik-fuzz-");
    std::ofstream(folder.Path() / "config.json", std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    LogSettings settings;
    bool pinPadEnabled = false;
    std::string report;
    LoadConfiguration(&settings, &pinPadEnabled, (folder.Path().u16string() + u"/").c_str(), report);
    return 0;
}
