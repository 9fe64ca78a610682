#include "tools/tavrik-setup/doctor/front_look.h"

#include "front/abi/cryptoki.h"
#include "softcard/base/text.h"
#include "src/platform/platform.h"
#include "tools/tavrik-setup/doctor/loaded_files.h"
#include "tools/tavrik-setup/doctor/system/shared_library.h"

#include <string>
#include <vector>

namespace setup {
namespace {

using nlohmann::json;

// A text field of a record, which is padded with blanks.
template <std::size_t width>
std::string FieldText(const front::CK_UTF8CHAR (&field)[width])
{
    std::string text(reinterpret_cast<const char*>(field), width);
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

json ListSlots(const front::CK_FUNCTION_LIST& functions)
{
    json slots = json::array();
    front::CK_ULONG count = 0;
    functions.C_GetSlotList(CK_TRUE, nullptr, &count);
    std::vector<front::CK_SLOT_ID> ids(count);
    if (functions.C_GetSlotList(CK_TRUE, ids.data(), &count) != CKR_OK) {
        return slots;
    }
    ids.resize(count);
    for (const front::CK_SLOT_ID id : ids) {
        front::CK_SLOT_INFO slot{};
        front::CK_TOKEN_INFO token{};
        if (functions.C_GetSlotInfo(id, &slot) == CKR_OK && functions.C_GetTokenInfo(id, &token) == CKR_OK) {
            slots.push_back(
                {{"description", FieldText(slot.slotDescription)}, {"label", FieldText(token.label)}});
        }
    }
    return slots;
}

json LookWith(const front::CK_FUNCTION_LIST& functions)
{
    json seen;
    const front::CK_RV result = functions.C_Initialize(nullptr);
    seen["result"] = result;
    const json files = LoadedFiles();
    for (const auto& [key, stem] : {std::pair("library", "pkcs11_x64"), std::pair("cardLayer", "CardAPI")}) {
        const std::string name = Platform::LibraryFileName(stem);
        if (files.contains(name)) {
            seen[key] = files[name];
        }
    }
    if (result != CKR_OK) {
        return seen;
    }
    front::CK_INFO info{};
    functions.C_GetInfo(&info);
    seen["version"] =
        std::to_string(info.libraryVersion.major) + "." + std::to_string(info.libraryVersion.minor);
    seen["slots"] = ListSlots(functions);
    functions.C_Finalize(nullptr);
    return seen;
}

} // namespace

json LookAtFront(const std::filesystem::path& module)
{
    std::string reason;
    void* loaded = LoadByPath(module, reason);
    if (loaded == nullptr) {
        return {{"error", reason}};
    }
    const auto getFunctionList = reinterpret_cast<front::CK_RV (*)(front::CK_FUNCTION_LIST_PTR_PTR)>(
        FindFunction(loaded, "C_GetFunctionList"));
    front::CK_FUNCTION_LIST_PTR functions = nullptr;
    if (getFunctionList == nullptr || getFunctionList(&functions) != CKR_OK) {
        return {{"error", softcard::Utf8Of(module) + " is no PKCS#11 module"}};
    }
    return LookWith(*functions);
}

} // namespace setup
