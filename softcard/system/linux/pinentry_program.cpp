// Any pinentry program, spoken to by libassuan.
#include "system/pinentry_program.h"

#include "assuan_text.h"

#include <assuan.h>
#include <gpg-error.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

#include <unistd.h>

namespace softcard {
namespace {

constexpr const char* defaultProgram = "pinentry";

// Empty when there is no such program.
std::string FindProgram(const std::string& name)
{
    if (name.find('/') != std::string::npos) {
        return access(name.c_str(), X_OK) == 0 ? name : std::string();
    }
    const char* variable = std::getenv("PATH");
    std::string_view path = variable == nullptr ? "/usr/bin:/bin" : variable;
    while (!path.empty()) {
        const std::string_view folder = path.substr(0, path.find(':'));
        std::string candidate = std::string(folder) + "/" + name;
        if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        path.remove_prefix(std::min(path.size(), folder.size() + 1));
    }
    return {};
}

sigset_t BrokenPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
}

// A program that dies while it is spoken to must not take the host with it, and the host's signal handling is
// its own.
class BrokenPipeBlock
{
public:
    BrokenPipeBlock()
    {
        const sigset_t signals = BrokenPipeSignal();
        pthread_sigmask(SIG_BLOCK, &signals, &before_);
    }

    ~BrokenPipeBlock()
    {
        if (sigismember(&before_, SIGPIPE) == 0) {
            const sigset_t signals = BrokenPipeSignal();
            const timespec noTime{};
            sigtimedwait(&signals, nullptr, &noTime);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    BrokenPipeBlock(const BrokenPipeBlock&) = delete;
    BrokenPipeBlock& operator=(const BrokenPipeBlock&) = delete;
    BrokenPipeBlock(BrokenPipeBlock&&) = delete;
    BrokenPipeBlock& operator=(BrokenPipeBlock&&) = delete;

private:
    sigset_t before_{};
};

// Runs in the child, where the block is not wanted.
void UnblockBrokenPipe(void* /*unused*/, int /*unused*/)
{
    const sigset_t signals = BrokenPipeSignal();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

gpg_error_t CollectData(void* collected, const void* data, size_t length)
{
    const auto* characters = static_cast<const char*>(data);
    auto* text = static_cast<SecretText*>(collected);
    text->insert(text->end(), characters, characters + length);
    return 0;
}

struct ReleaseContext
{
    void operator()(assuan_context_t context) const { assuan_release(context); }
};
using Context = std::unique_ptr<assuan_context_s, ReleaseContext>;

bool Send(const Context& context, const std::string& command)
{
    return assuan_transact(context.get(), command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr) == 0;
}

// Releasing the context ends the program and waits for it. Null when the program cannot be spoken to.
Context Start(const std::string& program)
{
    assuan_context_t raw = nullptr;
    if (program.empty() || assuan_new(&raw) != 0) {
        return nullptr;
    }
    Context context(raw);
    assuan_set_flag(raw, ASSUAN_NO_FIXSIGNALS, 1);
    assuan_set_flag(raw, ASSUAN_NO_LOGGING, 1);
    std::array<const char*, 2> arguments{program.c_str(), nullptr};
    const gpg_error_t error =
        assuan_pipe_connect(raw, program.c_str(), arguments.data(), nullptr, UnblockBrokenPipe, nullptr, 0);
    return error == 0 ? std::move(context) : nullptr;
}

// The terminal and the language, for the programs that want to know. One that does not understand an option
// says so, and that is no reason not to ask.
void SendOptions(const Context& context)
{
    const auto send = [&context](const std::string& name, const char* value) {
        if (value != nullptr && *value != '\0') {
            Send(context, "OPTION " + name + "=" + value);
        }
    };
    std::array<char, 256> terminal{};
    const char* named = std::getenv("GPG_TTY");
    const bool found = named == nullptr && ttyname_r(STDIN_FILENO, terminal.data(), terminal.size()) == 0;
    send("ttyname", found ? terminal.data() : named);
    send("ttytype", std::getenv("TERM"));
    const char* everything = std::getenv("LC_ALL");
    send("lc-ctype", everything != nullptr ? everything : std::getenv("LC_CTYPE"));
}

} // namespace

std::optional<SecretText> AskThroughProgram(const std::filesystem::path& program, const Question& question)
{
    const BrokenPipeBlock block;
    const Context context = Start(FindProgram(program.string()));
    if (!context) {
        return std::nullopt;
    }
    SendOptions(context);
    const bool described = Send(context, "SETDESC " + EscapeForAssuan(question.description)) &&
                           Send(context, "SETPROMPT " + EscapeForAssuan(question.prompt));
    SecretText code;
    assuan_begin_confidential(context.get());
    const bool answered = described && assuan_transact(context.get(), "GETPIN", CollectData, &code, nullptr,
                                                       nullptr, nullptr, nullptr) == 0;
    assuan_end_confidential(context.get());
    return answered ? std::optional(std::move(code)) : std::nullopt;
}

std::optional<SecretText> AskWithoutChoice(const Question& question)
{
    return AskThroughProgram(defaultProgram, question);
}

} // namespace softcard
