// Makes each call so many times between two marks for callgrind, which writes a file of each with the call's name:
// `counted_calls library|front FOLDER TIMES`. Run by check_counts.
#include "bench/works.h"
#include "tests/counts/made_signature.h"
#include "tests/support/script.h"

#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace counts {
namespace {

constexpr std::array<std::size_t, 2> sizes{10, 100000};
constexpr std::array<const char*, 9> named{"session info",   "slot list",          "token info",
                                           "open and close", "find a certificate", "ten attributes",
                                           "digest 64 B",    "verify RSA-2048",    "encrypt RSA-2048"};

template <class Form>
void Count(const bench::NamedWork<Form>& work, bench::Token<Form>& token, int times,
           const std::string& beside)
{
    work.call(token); // the first one may have things to make
    work.call(token);
    CALLGRIND_START_INSTRUMENTATION;
    for (int i = 0; i < times; ++i) {
        work.call(token);
    }
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string name = work.name + beside; // read after the statement that the macro begins with
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

template <class Form>
void CountBeside(bench::Beside beside, bench::Token<Form>& token, int times, std::size_t size)
{
    for (const auto& work : bench::works<Form>) {
        if (work.beside == beside) {
            Count(work, token, times, "/" + std::to_string(size));
        }
    }
}

bench::Bytes ReadFile(const char* name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A certificate and a key in each slot; they need not fit together.
scripted::Card MakeCard()
{
    const bench::SignedData made = MadeSignature();
    CardKeyInfo key{};
    key.keyReference = 1;
    key.modulusBits = 2048;
    key.modulusLength = made.modulus.size();
    std::reverse_copy(made.modulus.begin(), made.modulus.end(), key.modulus);
    key.publicExponentLength = made.exponent.size();
    std::copy(made.exponent.begin(), made.exponent.end(), key.publicExponent);
    scripted::Card card;
    card.qes.push_back({ReadFile(CERTIFICATE), key});
    card.es.push_back({ReadFile(CERTIFICATE), key});
    card.qesKeyInfo = key;
    card.esKeyInfo = key;
    return card;
}

template <class Form>
void CountAll(const char* module, int times)
{
    bench::Token<Form> token(blackbox::ScriptedFolder() / module);
    token.UseKey(MadeSignature());
    for (const auto& work : bench::works<Form>) {
        if (std::count(named.begin(), named.end(), std::string(work.name)) != 0) {
            Count(work, token, times, "");
        }
    }
    for (const std::size_t size : sizes) {
        token.SetSessions(size);
        CountBeside(bench::Beside::sessions, token, times, size);
    }
    for (const std::size_t size : sizes) {
        token.SetObjects(size);
        CountBeside(bench::Beside::objects, token, times, size);
    }
    _exit(0); // to close everything would take as long again
}

} // namespace
} // namespace counts

int main(int count, char** arguments)
{
    try {
        const std::vector<std::string> given(arguments + 1, arguments + count);
        const std::filesystem::path folder = given.at(1);
        const int times = std::stoi(given.at(2));
        std::ofstream(folder / "config.json") << R"({"log": {"logFromLevel": "LogLevel_Error"}})";
        ScriptedCard* script = blackbox::Script();
        const std::u16string place = folder.u16string() + u"/";
        script->SetDirectories(place, place);
        script->SetRecording(false);
        script->SetLongestWait(std::chrono::seconds(1));
        script->AddReader(u"Reader A", counts::MakeCard());
        if (given.front() == "front") {
            counts::CountAll<bench::Natural>("tavrik-pkcs11.so", times);
        } else {
            counts::CountAll<bench::Packed>("libpkcs11_x64.so", times);
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
