// A host of the library for tests that need a process with a name and a standard output of its own.
//
//     log_host SCRIPTED_FOLDER DIRECTORY CALLS [list|leave]
//
// starts the library of that folder with the directory as that of its files, calls C_GetInfo so many times
// and ends the library. With "list" it takes the function list between its start and its calls; with "leave"
// it doesn't end the library.
#include "tavrik/cryptoki.h"
#include "tests/support/scripted_card/scripted_card.h"
#include "tests/support/system.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

template <typename Function>
Function* Take(void* library, const char* name)
{
    return reinterpret_cast<Function*>(blackbox::SymbolOf(library, name));
}

void Require(CK_RV answer)
{
    if (answer != CKR_OK) {
        throw std::runtime_error("answer " + std::to_string(answer));
    }
}

void Run(const std::filesystem::path& scripted, const std::filesystem::path& directory, int calls,
         const std::string& option)
{
    void* library = blackbox::Load(scripted / blackbox::LibraryFileName("pkcs11_x64"));
    auto* script = Take<ScriptedCard*()>(blackbox::Load(scripted / blackbox::LibraryFileName("CardAPI")),
                                         "ScriptedCard_Instance")();
    const std::u16string files = directory.u16string() + u"/";
    script->SetDirectories(files, files);
    Require(Take<decltype(C_Initialize)>(library, "C_Initialize")(nullptr));
    if (option == "list") {
        CK_FUNCTION_LIST* list = nullptr;
        Require(Take<decltype(C_GetFunctionList)>(library, "C_GetFunctionList")(&list));
    }
    for (int call = 0; call < calls; ++call) {
        CK_INFO info{};
        Require(Take<decltype(C_GetInfo)>(library, "C_GetInfo")(&info));
    }
    if (option != "leave") {
        Require(Take<decltype(C_Finalize)>(library, "C_Finalize")(nullptr));
    }
}

} // namespace

int main(int count, char** arguments)
{
    try {
        blackbox::LeaveLineEndsAlone();
        blackbox::SetLocaleOfTheHost();
        const std::string option = count == 5 ? arguments[4] : "";
        if (count < 4 || count > 5) {
            throw std::runtime_error("usage: log_host SCRIPTED_FOLDER DIRECTORY CALLS [list|leave]");
        }
        Run(arguments[1], arguments[2], std::stoi(arguments[3]), option);
        return 0;
    } catch (const std::exception& exception) {
        std::cerr << "log_host: " << exception.what() << '\n';
        return 1;
    }
}
