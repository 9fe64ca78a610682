// Holds the card in the first reader:
//
//     setup_hold_card LIBRARY CODE READY HOLD
//
// Logs in, makes the file READY, and goes on until the file HOLD is gone.
#include "softcard/base/text.h"
#include "tools/command_line/system/program_start.h"

#include "tavrik/cryptoki.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

namespace {

constexpr DWORD pause = 50; // milliseconds

void Require(CK_RV result, const char* step)
{
    if (result != CKR_OK) {
        throw std::runtime_error(std::string(step) + " answers " + std::to_string(result));
    }
}

CK_FUNCTION_LIST_PTR Load(const std::filesystem::path& file)
{
    using GetFunctionList = CK_RV (*)(CK_FUNCTION_LIST_PTR_PTR);
    HMODULE library = LoadLibraryW(file.c_str());
    if (library == nullptr) {
        throw std::runtime_error("the library cannot be loaded");
    }
    const auto getFunctionList = reinterpret_cast<GetFunctionList>(
        reinterpret_cast<void*>(GetProcAddress(library, "C_GetFunctionList")));
    CK_FUNCTION_LIST_PTR functions = nullptr;
    Require(getFunctionList(&functions), "C_GetFunctionList");
    return functions;
}

void LogIn(CK_FUNCTION_LIST_PTR functions, std::string code)
{
    CK_SLOT_ID slots[4];
    CK_ULONG count = 4;
    CK_SESSION_HANDLE session = 0;
    Require(functions->C_Initialize(nullptr), "C_Initialize");
    Require(functions->C_GetSlotList(CK_TRUE, slots, &count), "C_GetSlotList");
    Require(functions->C_OpenSession(slots[0], CKF_SERIAL_SESSION, nullptr, nullptr, &session),
            "C_OpenSession");
    Require(functions->C_Login(session, CKU_USER, reinterpret_cast<CK_UTF8CHAR_PTR>(code.data()),
                               static_cast<CK_ULONG>(code.size())),
            "C_Login");
}

} // namespace

int main(int count, char** values)
{
    try {
        const std::vector<std::string> arguments = command_line::StartProgram(count, values);
        CK_FUNCTION_LIST_PTR functions = Load(softcard::PathOf(arguments.at(0)));
        LogIn(functions, arguments.at(1));
        std::ofstream(softcard::PathOf(arguments.at(2))).close();
        while (std::filesystem::exists(softcard::PathOf(arguments.at(3)))) {
            Sleep(pause);
        }
        Require(functions->C_Finalize(nullptr), "C_Finalize");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
