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

// Gives the program what the user is to read. False when it does not take that.
bool Describe(Dialogue& dialogue, const Question& question)
{
    std::vector<std::string> texts = {"SETDESC " + EscapeForAssuan(question.description)};
    if (!question.prompt.empty()) {
        texts.push_back("SETPROMPT " + EscapeForAssuan(question.prompt));
    }
    return std::all_of(texts.begin(), texts.end(), [&dialogue](const std::string& text) {
        return dialogue.Transact(text) == Reply::success;
    });
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
    const std::string request = question.prompt.empty() ? "MESSAGE" : "GETPIN";
    const bool answered = Describe(dialogue, question) && dialogue.Transact(request, code) == Reply::success;
    (void)program.Write("BYE"); // it ends by itself then
    return answered ? std::optional(std::move(code)) : std::nullopt;
}

} // namespace softcard
