// The one place that knows how the card-access library is reached. Its functions stand here under their own
// names; each loads the library when it is the first, is resolved at its own first call, and then goes
// straight through.
#include "src/card/card_api.h"
#include "src/card/card_hash.h"
#include "src/log/logger.h"
#include "src/platform/platform.h"
#include "src/platform/process_end.h"

#include <bit>
#include <new>
#include <stdexcept>

namespace {

constexpr char logFunction[] = "CardAPI";
constexpr char libraryStem[] = "CardAPI";

// Loads the library from beside this one, or else wherever the loader finds it.
void* LoadCardLibrary()
{
    const std::string file = Platform::LibraryFileName(libraryStem);
    const auto& directory = Platform::ModuleDirectory();
    try {
        return Platform::LoadSharedLibrary(directory / file);
    } catch (const std::runtime_error& notBeside) {
        try {
            return Platform::LoadSharedLibrary(file);
        } catch (const std::runtime_error& notAnywhere) {
            throw std::runtime_error(std::string(notBeside.what()) + "; " + notAnywhere.what());
        }
    }
}

[[noreturn]] void ThrowUnbound(const char* symbol, const char* reason)
{
    const std::string message = "Cannot bind " + std::string(symbol) + " of " +
                                Platform::LibraryFileName(libraryStem) + ": " + reason;
    LOG_LINE(LogLevel_Error, logFunction, "%s", message.c_str());
    throw std::runtime_error(message);
}

// The address of a symbol of the card-access library. Throws std::runtime_error with a message that names the
// library and the symbol; the next call tries again.
void* FindCardSymbol(const char* symbol)
{
    try {
        static void* const library = LoadCardLibrary();
        return Platform::FindSymbol(library, symbol);
    } catch (const std::runtime_error& error) {
        ThrowUnbound(symbol, error.what());
    }
}

// The function of the card-access library with the name and the type of our own `function`. A call of it may
// be a dialog, for which the end of the process does not wait.
template <auto function>
auto Bound(const char* name)
{
    static const auto target = reinterpret_cast<decltype(function)>(FindCardSymbol(name));
    return [bound = target](auto... arguments) {
        const PauseOfWork pause;
        return bound(arguments...);
    };
}

} // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): the last is a list of arguments in its own parentheses
#define CARD_FUNCTION(type, name, parameters, arguments, fault)                                              \
    type CardAPI_##name parameters                                                                           \
    {                                                                                                        \
        return Bound<&CardAPI_##name>("CardAPI_" #name) arguments;                                           \
    }
#include "src/card/functions.inc"
// NOLINTEND(bugprone-macro-parentheses)

namespace Zelmo::Crypto {

namespace {

using HashMethod = std::vector<unsigned char> (HashFunction::*)(const unsigned char*, uint64_t);

// A pointer to a member function that isn't virtual, made of the function's address.
HashMethod MethodAt(void* address)
{
    struct
    {
        void* address;
        std::ptrdiff_t thisAdjustment;
    } const representation{address, 0};
    return std::bit_cast<HashMethod>(representation);
}

} // namespace

std::unique_ptr<HashFunction> MakeHash(const char* constructorSymbol)
{
    using Constructor = void (*)(void*);
    const auto construct = reinterpret_cast<Constructor>(FindCardSymbol(constructorSymbol));
    void* storage = ::operator new(sizeof(HashFunction));
    try {
        construct(storage);
    } catch (...) {
        ::operator delete(storage);
        throw;
    }
    return std::unique_ptr<HashFunction>(static_cast<HashFunction*>(storage));
}

std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    static const HashMethod method = MethodAt(FindCardSymbol(hashMethodSymbol));
    return (this->*method)(data, length);
}

} // namespace Zelmo::Crypto
