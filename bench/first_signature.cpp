// A program that makes one signature, writes a byte and is gone: `bench_first_signature
// library|front|softhsm|"card layer"`. What comes after the byte, the end of a module, is not measured.
#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/works.h"

#include <unistd.h>

namespace bench {
namespace {

const Bytes someHash(32, 0x55);

[[noreturn]] void TellAndLeave()
{
    _exit(write(STDOUT_FILENO, ".", 1) == 1 ? 0 : 1);
}

template <class Form>
void SignWith(const std::filesystem::path& module)
{
    Token<Form> token(module);
    token.signedData.data = someHash;
    Works<Form>::Sign(token);
    TellAndLeave();
}

// What the modules ask of the card until then.
void SignWithCard()
{
    CardLayer card;
    card.Login();
    card.ReadCertificates();
    card.Sign(someHash);
    TellAndLeave();
}

void Sign(const std::string& subject)
{
    if (subject == "library") {
        SignWith<Packed>(LibraryFile());
    } else if (subject == "front") {
        SignWith<Natural>(FrontFile());
    } else if (subject == "softhsm") {
        SignWith<Natural>(SoftHsmFile());
    } else {
        SignWithCard();
    }
}

} // namespace
} // namespace bench

int main(int count, char** arguments)
{
    return bench::Guarded([&] { bench::Sign(count > 1 ? arguments[1] : ""); });
}
