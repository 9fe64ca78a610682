#include "softcard/cardapi/system/assuan_server.h"

#include "softcard/cardapi/assuan_text.h"
#include "softcard/cardapi/system/windows/line_channel.h"

#include <string_view>

namespace softcard {
namespace {

constexpr std::string_view cancelled = "ERR 83886179 Operation cancelled <Pinentry>";
constexpr std::string_view unknownCommand = "ERR 83886355 Unknown IPC command <Pinentry>";

bool AnswerGetPin(const LineChannel& channel, const PinentryBehaviour& behaviour)
{
    const auto answer = behaviour.answer();
    return answer ? channel.Write("D " + EscapeForAssuan(*answer)) && channel.Write("OK")
                  : channel.Write(cancelled);
}

bool Answer(const LineChannel& channel, std::string_view line, const PinentryBehaviour& behaviour)
{
    for (const char* command : {"SETDESC", "SETPROMPT", "MESSAGE"}) {
        if (BeginsWith(line, command)) {
            behaviour.hear(command, UnescapeFromAssuan(TextBehindWord(line)));
            return channel.Write("OK");
        }
    }
    if (BeginsWith(line, "GETPIN")) {
        return AnswerGetPin(channel, behaviour);
    }
    return channel.Write(BeginsWith(line, "OPTION") ? "OK" : unknownCommand);
}

} // namespace

bool ServeAsPinentry(const PinentryBehaviour& behaviour)
{
    const LineChannel channel(GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE));
    if (!channel.Write("OK Pleased to meet you")) {
        return false;
    }
    while (const auto line = channel.Read()) {
        const std::string_view text(line->data(), line->size());
        if (BeginsWith(text, "BYE")) {
            (void)channel.Write("OK closing connection");
            break;
        }
        if (!Answer(channel, text, behaviour)) {
            break;
        }
    }
    return true;
}

} // namespace softcard
