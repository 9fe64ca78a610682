// Prints what sessions and certificates take of memory: `bench_memory library|front|card`. The card layer is there with
// the other two, and is asked by itself for what it keeps.
// Lines are a name, a tab and a number.
#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/works.h"

#include <malloc.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace bench {
namespace {

constexpr std::size_t sessions = 100000;

double BytesInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

template <class Form>
Bytes CertificateOf(const Token<Form>& token)
{
    Bytes value(longestValue);
    typename Form::Attribute record{CKA_VALUE, value.data(), static_cast<typename Form::Ulong>(value.size())};
    Require(token.f->C_GetAttributeValue(token.session, token.certificate, &record, 1),
            "C_GetAttributeValue");
    value.resize(record.ulValueLen);
    return value;
}

// Freed memory may hold bytes of before.
void OverwriteFreedMemory()
{
    constexpr std::size_t shortest = 16;
    constexpr std::size_t longest = 16384;
    constexpr int ofEach = 16;
    std::vector<Bytes> blocks;
    for (std::size_t length = shortest; length <= longest; length += shortest) {
        blocks.insert(blocks.end(), ofEach, Bytes(length));
    }
}

// How often the bytes stand in what this process can write to, but for the given copy of them.
int CopiesInMemory(const Bytes& wanted)
{
    OverwriteFreedMemory();
    int copies = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::size_t begin = 0;
        std::size_t end = 0;
        char dash = 0;
        std::string rights;
        fields >> std::hex >> begin >> dash >> end >> rights;
        if (!rights.starts_with("rw") || line.find("[stack]") != std::string::npos) {
            continue;
        }
        const auto* place = reinterpret_cast<const uint8_t*>(begin);
        const auto* last = reinterpret_cast<const uint8_t*>(end);
        while ((place = static_cast<const uint8_t*>(memmem(place, static_cast<std::size_t>(last - place),
                                                           wanted.data(), wanted.size()))) != nullptr) {
            copies += place == wanted.data() ? 0 : 1;
            ++place;
        }
    }
    return copies;
}

template <class Form>
double BytesAfterLogin(const std::filesystem::path& module, const char* home)
{
    UseHome(home);
    const Token<Form> token(module);
    malloc_trim(0);
    return BytesInUse();
}

template <class Form>
void Report(const std::string& name, const std::filesystem::path& module, const char* home)
{
    // Before the token whose copies are counted, so that nothing of it is left in freed memory.
    const double oneCertificate = BytesAfterLogin<Form>(module, home);
    const double eightCertificates = BytesAfterLogin<Form>(module, "8-certificates");
    constexpr int more = 7;
    std::cout << "memory per certificate/" << name << '\t' << (eightCertificates - oneCertificate) / more
              << '\n';

    UseHome(home);
    Token<Form> token(module);
    const Bytes certificate = CertificateOf(token);
    std::cout << "length of the certificate/" << name << '\t' << certificate.size() << '\n';
    std::cout << "copies of the certificate/" << name << '\t' << CopiesInMemory(certificate) << '\n';
    const double before = BytesInUse();
    std::vector<typename Form::Ulong> opened(sessions);
    const double own = BytesInUse() - before;
    for (auto& session : opened) {
        session = token.Open(token.slot);
    }
    std::cout << "memory per session/" << name << '\t' << (BytesInUse() - before - own) / sessions << '\n';
    std::cout.flush();
    _exit(0); // closing them is not what is measured
}

void ReportCardLayer()
{
    UseHome("card");
    const CardLayer card;
    std::ifstream file(Folder() / "homes/card/state/cards/card1/es-1.der", std::ios::binary);
    const Bytes certificate{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    file.close();
    std::cout << "copies of the certificate/card layer\t" << CopiesInMemory(certificate) << '\n';
}

} // namespace
} // namespace bench

int main(int count, char** arguments)
{
    return bench::Guarded([&] {
        const std::string subject = count > 1 ? arguments[1] : "";
        if (subject == "card") {
            bench::ReportCardLayer();
        } else if (subject == "front") {
            bench::Report<bench::Natural>("front", bench::FrontFile(), "front");
        } else {
            bench::Report<bench::Packed>("library", bench::LibraryFile(), "library");
        }
    });
}
