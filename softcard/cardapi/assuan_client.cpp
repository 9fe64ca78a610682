#include "softcard/cardapi/assuan_client.h"

#include "softcard/cardapi/assuan_text.h"

#include <algorithm>

namespace softcard {
namespace {

// Of what a program says to one command. A code has 64 bytes at most; the rest is room for comments.
constexpr size_t longestAnswer = 65536;

enum class Reply
{
    success,
    refusal,
    none // nothing more is to be expected of the program
};

class Dialogue
{
public:
    Dialogue(ProgramLines& asked, Deadline end) : program(asked), deadline(end) {}

    // What comes with the reply is added to the data.
    Reply Await(SecretText& data)
    {
        size_t said = 0;
        while (const auto line = program.Read(deadline)) {
            said += line->size() + 1;
            const std::string_view text(line->data(), line->size());
            if (BeginsWith(text, "OK")) {
                return Reply::success;
            }
            if (BeginsWith(text, "ERR")) {
                return Reply::refusal;
            }
            if (BeginsWith(text, "D")) {
                const SecretString plain(UnescapeFromAssuan(TextBehindWord(text)));
                data.insert(data.end(), plain.text.begin(), plain.text.end());
            }
            const bool goesOn = !BeginsWith(text, "INQUIRE") || program.Write("CAN");
            if (!goesOn || said > longestAnswer) {
                break;
            }
        }
        return Reply::none;
    }

    Reply Transact(const std::string& command, SecretText& data)
    {
        return program.Write(command) ? Await(data) : Reply::none;
    }

    Reply Transact(const std::string& command)
    {
        SecretText ignored;
        return Transact(command, ignored);
    }

private:
    ProgramLines& program;
    Deadline deadline;
};

bool AskForPin(Dialogue& dialogue, const Question& question, SecretText& code)
{
    return dialogue.Transact("SETPROMPT " + EscapeForAssuan(question.prompt)) == Reply::success &&
           dialogue.Transact("GETPIN", code) == Reply::success;
}

} // namespace

std::optional<SecretText> AskInAssuan(ProgramLines& program, const Question& question,
                                      const std::vector<std::string>& options)
{
    Dialogue dialogue(program, std::chrono::steady_clock::now() + question.longestWait);
    SecretText greeting;
    if (dialogue.Await(greeting) != Reply::success) {
        return std::nullopt;
    }
    std::vector<std::string> settings = {"SETTIMEOUT " + std::to_string(question.longestWait.count())};
    std::transform(options.begin(), options.end(), std::back_inserter(settings),
                   [](const std::string& option) { return "OPTION " + option; });
    for (const std::string& setting : settings) {
        if (dialogue.Transact(setting) == Reply::none) {
            return std::nullopt;
        }
    }
    SecretText code;
    const bool described =
        dialogue.Transact("SETDESC " + EscapeForAssuan(question.description)) == Reply::success;
    const bool answered =
        described && (question.prompt.empty() ? dialogue.Transact("MESSAGE") == Reply::success
                                              : AskForPin(dialogue, question, code));
    (void)program.Write("BYE"); // it ends by itself then
    return answered ? std::optional(std::move(code)) : std::nullopt;
}

} // namespace softcard
