// The folder that bench/prepare makes: modules, and cards and tokens for them.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {

// Named by TAVRIK_BENCH_FOLDER.
inline std::filesystem::path Folder()
{
    const char* folder = std::getenv("TAVRIK_BENCH_FOLDER");
    if (folder == nullptr) {
        throw std::runtime_error("TAVRIK_BENCH_FOLDER is not set; bench/run sets it");
    }
    return folder;
}

// The next module that starts has its cards, its configuration and its log in this subfolder of "homes".
inline void UseHome(const char* home)
{
    setenv("TAVRIK_HOME", (Folder() / "homes" / home).c_str(), 1);
}

// Each module has a card-access library of its own, so that several can be started in one process.
inline std::filesystem::path LibraryFile()
{
    return Folder() / "library/libpkcs11_x64.so";
}
inline std::filesystem::path FrontFile()
{
    return Folder() / "front/tavrik-pkcs11.so";
}
inline std::filesystem::path CardFile()
{
    return Folder() / "card/libCardAPI.so";
}
inline std::filesystem::path SoftHsmFile()
{
    return "/usr/lib/softhsm/libsofthsm2.so";
}

} // namespace bench
