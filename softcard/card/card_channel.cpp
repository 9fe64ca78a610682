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
