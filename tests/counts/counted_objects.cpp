// Makes a thousand objects of cards' slots, in slots with few and with many, and shows them to the front once more, between
// two marks for callgrind, which writes a file of each with its name. Run by check_counts; takes no arguments.
#include "front/model/objects.h"

#include <valgrind/callgrind.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace front {
namespace {

constexpr std::size_t certificatesMade = 1000;
constexpr std::array<std::size_t, 2> sizes{10, certificatesMade}; // of slots, in certificates
constexpr CK_SLOT_ID slot = 1;

Bytes NumberedBytes(std::size_t number)
{
    return NumberValue(static_cast<CK_ULONG>(number));
}

// Certificates, and then their keys, as the library has them. None of them can be parsed, which saves what does not depend
// on their number.
LibraryObjects MakeSlot(std::size_t certificates)
{
    LibraryObjects read;
    for (const CK_OBJECT_CLASS kind : {CKO_CERTIFICATE, CKO_PRIVATE_KEY}) {
        for (std::size_t i = 0; i < certificates; ++i) {
            const auto handle = static_cast<packed::CK_OBJECT_HANDLE>(read.size() + 1);
            read.emplace_back(
                handle, Attributes{{CKA_CLASS, NumberValue(kind)},
                                   {CKA_ID, NumberedBytes(i)},
                                   {CKA_SUBJECT, NumberedBytes(i)},
                                   {kind == CKO_CERTIFICATE ? CKA_VALUE : CKA_MODULUS, NumberedBytes(i)}});
        }
    }
    return read;
}

void Count(const std::string& name, std::size_t size, const std::function<void()>& work)
{
    work(); // the first one may have things to make
    CALLGRIND_START_INSTRUMENTATION;
    for (std::size_t i = 0; i < certificatesMade / size; ++i) {
        work();
    }
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string beside = name + "/" + std::to_string(size); // read after the macro's first statement
    CALLGRIND_DUMP_STATS_AT(beside.c_str());
}

void CountBeside(std::size_t size)
{
    const LibraryObjects read = MakeSlot(size);
    Count("1000 certificates with their keys", size, [&read] { ObjectsOfCard(read); });
    Objects objects;
    const std::vector<Object> made = ObjectsOfCard(read);
    Count("the same 1000 once more", size, [&objects, &made] { objects.Replace(slot, made); });
}

} // namespace
} // namespace front

int main()
{
    for (const std::size_t size : front::sizes) {
        front::CountBeside(size);
    }
    return 0;
}
