#include "tests/softcard/judge.h"

#include "tests/softcard/card_home.h"

#include <utility>

namespace softcard::test {
namespace {

Finished RunOpenssl(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "openssl");
    return RunProgram(arguments);
}

void ExpectDone(const Finished& finished)
{
    EXPECT_EQ(finished.exitCode, 0) << finished.errors;
}

} // namespace

Judge::Judge(std::filesystem::path itsFolder, const std::vector<uint8_t>& certificate)
    : folder(std::move(itsFolder))
{
    WriteBytes(folder / "certificate.der", certificate);
    const std::string file = (folder / "public.pem").string();
    ExpectDone(RunOpenssl({"x509", "-inform", "DER", "-in", (folder / "certificate.der").string(), "-noout",
                           "-pubkey", "-out", file}));
    publicKey = ReadBytes(file);
}

bool Judge::Accepts(const std::string& text, const std::string& hash,
                    const std::vector<uint8_t>& signature) const
{
    WriteText(folder / "text", text);
    WriteBytes(folder / "signature", signature);
    WriteBytes(folder / "public.pem", publicKey);
    return RunOpenssl({"dgst", "-" + hash, "-verify", (folder / "public.pem").string(), "-signature",
                       (folder / "signature").string(), (folder / "text").string()})
               .exitCode == 0;
}

std::vector<uint8_t> Judge::Recover(const std::vector<uint8_t>& signature) const
{
    WriteBytes(folder / "signature", signature);
    WriteBytes(folder / "public.pem", publicKey);
    ExpectDone(RunOpenssl({"pkeyutl", "-verifyrecover", "-pubin", "-inkey", (folder / "public.pem").string(),
                           "-in", (folder / "signature").string(), "-out", (folder / "recovered").string(),
                           "-pkeyopt", "rsa_padding_mode:none"})); // OpenSSL 3.5 recovers no empty content
    return ContentOfBlock(ReadBytes(folder / "recovered"));
}

std::vector<uint8_t> Judge::Encrypt(const std::string& text) const
{
    WriteText(folder / "text", text);
    WriteBytes(folder / "public.pem", publicKey);
    ExpectDone(RunOpenssl({"pkeyutl", "-encrypt", "-pubin", "-inkey", (folder / "public.pem").string(), "-in",
                           (folder / "text").string(), "-out", (folder / "secret").string()}));
    return ReadBytes(folder / "secret");
}

std::string Judge::Modulus() const
{
    WriteBytes(folder / "public.pem", publicKey);
    const std::string said =
        RunOpenssl({"rsa", "-pubin", "-in", (folder / "public.pem").string(), "-noout", "-modulus"}).output;
    const std::string name = "Modulus=";
    EXPECT_TRUE(said.starts_with(name) && said.ends_with('\n')) << said;
    return said.size() > name.size() ? said.substr(name.size(), said.size() - name.size() - 1) : said;
}

std::vector<uint8_t> HashByJudge(const std::filesystem::path& folder, const std::string& text,
                                 const std::string& hash)
{
    WriteText(folder / "text", text);
    ExpectDone(RunOpenssl(
        {"dgst", "-" + hash, "-binary", "-out", (folder / "hash").string(), (folder / "text").string()}));
    return ReadBytes(folder / "hash");
}

} // namespace softcard::test
