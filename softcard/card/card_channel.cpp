#include "softcard/card/card_channel.h"

#include "softcard/card/card_store.h"
#include "softcard/system/files.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>

#include <system_error>
#include <vector>

namespace softcard {
namespace {

constexpr const char* channelFile = "channel";
constexpr size_t markLength = 16;

} // namespace

std::string ReadChannelMark(const std::filesystem::path& cardFolder)
{
    std::error_code ignored;
    if (std::filesystem::symlink_status(cardFolder / channelFile, ignored).type() ==
        std::filesystem::file_type::not_found) {
        return {}; // as nearly always, and an exception takes far longer
    }
    try {
        return ReadFile(cardFolder / channelFile);
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            throw;
        }
        return {};
    }
}

void BreakChannel(const std::filesystem::path& cardFolder)
{
    const FileLock lock = LockCard(cardFolder);
    std::vector<uint8_t> mark(markLength);
    Botan::AutoSeeded_RNG().randomize(mark.data(), mark.size());
    WriteFileAtomically(cardFolder / channelFile, Botan::hex_encode(mark, false));
}

} // namespace softcard
