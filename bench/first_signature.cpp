// A program that makes one signature and is gone: `bench_first_signature library|front|softhsm|"card layer"`. The end of a
// module is not measured with it.
#include "bench/card_layer.h"
#include "bench/folder.h"
#include "bench/guarded.h"
#include "bench/works.h"

#include <unistd.h>

namespace bench {
namespace {

const Bytes someHash(32, 0x55);

template <class Form>
void SignWith(const std::filesystem::path& module)
{
    Token<Form> token(module);
    token.signedData.data = someHash;
    Works<Form>::Sign(token);
    _exit(0);
}

// What the modules ask of the card until then.
void SignWithCard()
{
    CardLayer card;
    card.Login();
    card.ReadCertificates();
    card.Sign(someHash);
    _exit(0);
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
