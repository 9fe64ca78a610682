// By OpenSSL's numbers, which are several times as fast as Botan's. Nothing else of OpenSSL is used: the numbers need no
// start, no configuration, no generator and no memory of a thread, and nothing of them ends with the process, so that a
// host that uses OpenSSL too notices nothing. They put an entry into the list of errors that OpenSSL keeps for a thread
// when they refuse a number, so none is given to them that they refuse.
#include "softcard/cardapi/system/private_power.h"

#include "softcard/base/released_by.h"
#include "src/botan/big_int_bytes.h"
#include "src/platform/mutex.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>

#include <openssl/bn.h>

#include <new>
#include <vector>

namespace softcard {
namespace {

using Number = std::unique_ptr<BIGNUM, ReleasedBy<BN_clear_free>>;
using Workspace = std::unique_ptr<BN_CTX, ReleasedBy<BN_CTX_free>>; // which wipes what it had
using Montgomery = std::unique_ptr<BN_MONT_CTX, ReleasedBy<BN_MONT_CTX_free>>;

constexpr int usesOfABlinding = 64;
constexpr size_t mostBlindings = 8; // that are kept for later

// What OpenSSL's functions answer, which fail here for want of memory only.
void RequireMemory(int answer)
{
    if (answer != 1) {
        throw std::bad_alloc();
    }
}

template <typename Owned>
Owned RequireMade(Owned made)
{
    if (!made) {
        throw std::bad_alloc();
    }
    return made;
}

Number NewNumber()
{
    return RequireMade(Number(BN_new()));
}

Number NumberOf(std::span<const uint8_t> bytes)
{
    return RequireMade(Number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr)));
}

Number PublicNumber(const Botan::BigInt& number)
{
    return NumberOf(BigIntBytes<Botan::secure_vector<uint8_t>>(number));
}

// One that computations take the same time for whatever its value is.
Number SecretNumber(const Botan::BigInt& number)
{
    Number made = PublicNumber(number);
    BN_set_flags(made.get(), BN_FLG_CONSTTIME);
    return made;
}

Workspace NewWorkspace()
{
    return RequireMade(Workspace(BN_CTX_new()));
}

// Of a modulus of a key that Botan has taken, which is odd and at least 3.
Montgomery MontgomeryOf(const Number& modulus, BN_CTX* workspace)
{
    Montgomery made = RequireMade(Montgomery(BN_MONT_CTX_new()));
    RequireMemory(BN_MONT_CTX_set(made.get(), modulus.get(), workspace));
    return made;
}

// A random number's power and its inverse, which keep the numbers of a computation from being those of its caller. As
// Montgomery multiplication takes them.
struct Blinding
{
    Number power = NewNumber();
    Number inverse = NewNumber();
    int uses = 0;
};

// A prime, and the exponents that its half of a computation has: of the key, and of the inverse.
struct Half
{
    Half(const Botan::BigInt& itsPrime, const Botan::BigInt& itsExponent, BN_CTX* workspace)
        : prime(SecretNumber(itsPrime)), exponent(SecretNumber(itsExponent)),
          inverting(SecretNumber(itsPrime - 2)), montgomery(MontgomeryOf(prime, workspace))
    {
    }

    Number prime;
    Number exponent;
    Number inverting;
    Montgomery montgomery;
};

} // namespace

class PrivatePower::Numbers
{
public:
    explicit Numbers(const Botan::RSA_PrivateKey& key, const Workspace& workspace = NewWorkspace())
        : n(PublicNumber(key.get_n())), e(PublicNumber(key.get_e())), coefficient(SecretNumber(key.get_c())),
          montgomery(MontgomeryOf(n, workspace.get())), p(key.get_p(), key.get_d1(), workspace.get()),
          q(key.get_q(), key.get_d2(), workspace.get())
    {
        blindings.reserve(mostBlindings);
    }

    [[nodiscard]] size_t Bits() const { return static_cast<size_t>(BN_num_bits(n.get())); }

    [[nodiscard]] bool HasRoomFor(const Number& number) const { return BN_cmp(number.get(), n.get()) < 0; }

    // Nothing when the result is wrong, which would tell the primes.
    [[nodiscard]] Number Raise(const Number& number) const
    {
        const Workspace workspace = NewWorkspace();
        auto blinding = TakeBlinding(workspace.get());
        const Number blinded = NewNumber();
        Multiply(blinded, number, blinding->power, workspace.get());
        Number result = ByHalves(blinded, p.exponent, q.exponent, workspace.get());
        Multiply(result, result, blinding->inverse, workspace.get());
        GiveBack(std::move(blinding), workspace.get());
        const Number check = PublicPower(result, workspace.get());
        return BN_cmp(check.get(), number.get()) == 0 ? std::move(result) : nullptr;
    }

private:
    // Montgomery's product: one factor has the form for it, the result has the form of the other.
    void Multiply(const Number& result, const Number& factor, const Number& inForm, BN_CTX* workspace) const
    {
        RequireMemory(
            BN_mod_mul_montgomery(result.get(), factor.get(), inForm.get(), montgomery.get(), workspace));
    }

    // x^e mod n
    [[nodiscard]] Number PublicPower(const Number& x, BN_CTX* workspace) const
    {
        Number result = NewNumber();
        RequireMemory(BN_mod_exp_mont(result.get(), x.get(), e.get(), n.get(), workspace, montgomery.get()));
        return result;
    }

    // The number below n that is x to the one power mod p, and to the other mod q.
    [[nodiscard]] Number ByHalves(const Number& x, const Number& exponentOfP, const Number& exponentOfQ,
                                  BN_CTX* workspace) const
    {
        const Number ofP = NewNumber();
        const Number ofQ = NewNumber();
        RequireMemory(BN_mod(ofP.get(), x.get(), p.prime.get(), workspace));
        RequireMemory(BN_mod(ofQ.get(), x.get(), q.prime.get(), workspace));
        RequireMemory(BN_mod_exp_mont_consttime_x2(
            ofP.get(), ofP.get(), exponentOfP.get(), p.prime.get(), p.montgomery.get(), ofQ.get(), ofQ.get(),
            exponentOfQ.get(), q.prime.get(), q.montgomery.get(), workspace));
        Number result = NewNumber();
        RequireMemory(BN_mod_sub(result.get(), ofP.get(), ofQ.get(), p.prime.get(), workspace));
        RequireMemory(BN_mod_mul(result.get(), result.get(), coefficient.get(), p.prime.get(), workspace));
        RequireMemory(BN_mul(result.get(), result.get(), q.prime.get(), workspace));
        RequireMemory(BN_add(result.get(), result.get(), ofQ.get()));
        return result;
    }

    [[nodiscard]] std::unique_ptr<Blinding> NewBlinding(BN_CTX* workspace) const
    {
        const auto random = Botan::AutoSeeded_RNG().random_vec(static_cast<size_t>(BN_num_bytes(n.get())));
        const Number x = NumberOf(random);
        if (Bits() > 1) {
            static_cast<void>(
                BN_mask_bits(x.get(), static_cast<int>(Bits()) - 1)); // fails for what is shorter
        }
        auto made = std::make_unique<Blinding>();
        const Number power = PublicPower(x, workspace);
        const Number inverse = ByHalves(x, p.inverting, q.inverting, workspace);
        RequireMemory(BN_to_montgomery(made->power.get(), power.get(), montgomery.get(), workspace));
        RequireMemory(BN_to_montgomery(made->inverse.get(), inverse.get(), montgomery.get(), workspace));
        return made;
    }

    // One that no other thread has. Waits for none: a forked child may have the lock without the thread that held it.
    [[nodiscard]] std::unique_ptr<Blinding> TakeBlinding(BN_CTX* workspace) const
    {
        if (mutex.TryLock()) {
            std::unique_ptr<Blinding> taken;
            if (!blindings.empty()) {
                taken = std::move(blindings.back());
                blindings.pop_back();
            }
            mutex.Unlock();
            if (taken) {
                return taken;
            }
        }
        return NewBlinding(workspace);
    }

    // For another computation, with other numbers, for so many times.
    void GiveBack(std::unique_ptr<Blinding> blinding, BN_CTX* workspace) const
    {
        if (++blinding->uses == usesOfABlinding) {
            return;
        }
        Multiply(blinding->power, blinding->power, blinding->power, workspace);
        Multiply(blinding->inverse, blinding->inverse, blinding->inverse, workspace);
        if (mutex.TryLock()) {
            if (blindings.size() < mostBlindings) {
                blindings.push_back(std::move(blinding));
            }
            mutex.Unlock();
        }
    }

    const Number n;
    const Number e;
    const Number coefficient;
    const Montgomery montgomery;
    const Half p;
    const Half q;
    mutable Mutex mutex;
    mutable std::vector<std::unique_ptr<Blinding>> blindings GUARDED_BY(mutex);
};

PrivatePower::PrivatePower(const Botan::RSA_PrivateKey& key) : numbers(std::make_unique<const Numbers>(key))
{
}

PrivatePower::~PrivatePower() = default;

size_t PrivatePower::Bits() const
{
    return numbers->Bits();
}

Botan::secure_vector<uint8_t> PrivatePower::Of(std::span<const uint8_t> number) const
{
    const Number x = NumberOf(number);
    if (!numbers->HasRoomFor(x)) {
        throw Botan::Invalid_Argument("The number is too large for the key.");
    }
    const Number result = numbers->Raise(x);
    if (!result) {
        throw Botan::Internal_Error("The computation with the private key went wrong.");
    }
    Botan::secure_vector<uint8_t> bytes(Bytes());
    if (BN_bn2binpad(result.get(), bytes.data(), static_cast<int>(bytes.size())) < 0) {
        throw Botan::Internal_Error("The result is longer than the key.");
    }
    return bytes;
}

} // namespace softcard
