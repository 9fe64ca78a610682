// tavrik-scripted-pinentry: a pinentry whose user is a file, for tests and demonstrations.
//
// TAVRIK_PINENTRY_ANSWERS names a file; each GETPIN takes its first line away and answers with it. The line
// CANCEL, a file without a line and a missing file answer as a user who cancels. TAVRIK_PINENTRY_LOG names a
// file that the texts are appended to.
#include "files.h"

#include <assuan.h>
#include <gpg-error.h>

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include <unistd.h>

namespace {

gpg_error_t Cancelled()
{
    return gpg_err_make(GPG_ERR_SOURCE_PINENTRY, GPG_ERR_CANCELED);
}

std::string Unescape(const std::string& text)
{
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            plain.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
            i += 2;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

gpg_error_t LogText(assuan_context_t context, char* text)
{
    const char* path = std::getenv("TAVRIK_PINENTRY_LOG");
    if (path != nullptr) {
        std::ofstream(path, std::ios::app)
            << assuan_get_command_name(context) << ' ' << Unescape(text) << '\n';
    }
    return 0;
}

gpg_error_t AcceptOption(assuan_context_t /*context*/, const char* /*name*/, const char* /*value*/)
{
    return 0;
}

// The first line of the file, which loses it. Answers of several processes are handed out one by one.
std::string TakeAnswer(const std::string& path)
{
    const softcard::FileLock lock(path + ".lock");
    const std::string content = softcard::ReadFile(path);
    const size_t end = content.find('\n');
    const std::string rest = end == std::string::npos ? std::string() : content.substr(end + 1);
    softcard::WriteFileAtomically(path, rest);
    return content.substr(0, end);
}

gpg_error_t GetPin(assuan_context_t context, char* /*text*/)
{
    const char* path = std::getenv("TAVRIK_PINENTRY_ANSWERS");
    if (path == nullptr) {
        return Cancelled();
    }
    try {
        const std::string answer = TakeAnswer(path);
        if (answer.empty() || answer == "CANCEL") {
            return Cancelled();
        }
        return assuan_send_data(context, answer.data(), answer.size());
    } catch (const std::exception&) {
        return Cancelled();
    }
}

bool Serve(assuan_context_t context)
{
    assuan_fd_t files[] = {STDIN_FILENO, STDOUT_FILENO};
    if (assuan_init_pipe_server(context, files) != 0 ||
        assuan_set_hello_line(context, "Pleased to meet you") != 0 ||
        assuan_register_option_handler(context, AcceptOption) != 0 ||
        assuan_register_command(context, "SETDESC", LogText, nullptr) != 0 ||
        assuan_register_command(context, "SETPROMPT", LogText, nullptr) != 0 ||
        assuan_register_command(context, "GETPIN", GetPin, nullptr) != 0) {
        return false;
    }
    while (assuan_accept(context) == 0) {
        assuan_process(context);
    }
    return true;
}

} // namespace

int main()
{
    assuan_context_t context = nullptr;
    if (assuan_new(&context) != 0) {
        std::cerr << "tavrik-scripted-pinentry: the protocol cannot be started.\n";
        return EXIT_FAILURE;
    }
    const bool served = Serve(context);
    assuan_release(context);
    return served ? EXIT_SUCCESS : EXIT_FAILURE;
}
