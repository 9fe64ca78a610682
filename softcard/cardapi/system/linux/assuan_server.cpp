#include "softcard/cardapi/system/assuan_server.h"

#include "softcard/cardapi/assuan_text.h"

#include <assuan.h>
#include <gpg-error.h>

#include <memory>

#include <unistd.h>

namespace softcard {
namespace {

struct ReleaseContext
{
    void operator()(assuan_context_t context) const { assuan_release(context); }
};

const PinentryBehaviour& BehaviourOf(assuan_context_t context)
{
    return *static_cast<const PinentryBehaviour*>(assuan_get_pointer(context));
}

gpg_error_t HearText(assuan_context_t context, char* text)
{
    BehaviourOf(context).hear(assuan_get_command_name(context), UnescapeFromAssuan(text));
    return 0;
}

gpg_error_t AcceptOption(assuan_context_t /*context*/, const char* /*name*/, const char* /*value*/)
{
    return 0;
}

gpg_error_t GetPin(assuan_context_t context, char* /*text*/)
{
    const auto answer = BehaviourOf(context).answer();
    return answer ? assuan_send_data(context, answer->data(), answer->size())
                  : gpg_err_make(GPG_ERR_SOURCE_PINENTRY, GPG_ERR_CANCELED);
}

} // namespace

bool ServeAsPinentry(const PinentryBehaviour& behaviour)
{
    assuan_context_t context = nullptr;
    if (assuan_new(&context) != 0) {
        return false;
    }
    const std::unique_ptr<assuan_context_s, ReleaseContext> owner(context);
    auto handled = behaviour;
    assuan_set_pointer(context, &handled);
    assuan_fd_t files[] = {STDIN_FILENO, STDOUT_FILENO};
    if (assuan_init_pipe_server(context, files) != 0 ||
        assuan_set_hello_line(context, "Pleased to meet you") != 0 ||
        assuan_register_option_handler(context, AcceptOption) != 0 ||
        assuan_register_command(context, "SETDESC", HearText, nullptr) != 0 ||
        assuan_register_command(context, "SETPROMPT", HearText, nullptr) != 0 ||
        assuan_register_command(context, "MESSAGE", HearText, nullptr) != 0 ||
        assuan_register_command(context, "GETPIN", GetPin, nullptr) != 0) {
        return false;
    }
    while (assuan_accept(context) == 0) {
        assuan_process(context);
    }
    return true;
}

} // namespace softcard
