// A PKCS#11 module under measurement, reached through its function list as an application does, in the form of Cryptoki
// that it speaks.
#pragma once

#include "front/abi/forms.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <string>

namespace bench {

using Packed = front::PackedForm;
using Natural = front::NaturalForm;

// Throws std::runtime_error with the call's name unless it answered CKR_OK.
inline void Require(unsigned long result, const char* call)
{
    if (result != CKR_OK) {
        throw std::runtime_error(std::string(call) + " answered " + std::to_string(result));
    }
}

// Throws std::runtime_error with the loader's reason.
inline void* SymbolOf(const std::filesystem::path& file, const char* name)
{
    void* loaded = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* symbol = loaded == nullptr ? nullptr : dlsym(loaded, name);
    if (symbol == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return symbol;
}

template <class Form>
typename Form::FunctionList* LoadModule(const std::filesystem::path& file)
{
    typename Form::FunctionList* functions = nullptr;
    Require(
        reinterpret_cast<typename Form::GetFunctionList*>(SymbolOf(file, "C_GetFunctionList"))(&functions),
        "C_GetFunctionList");
    return functions;
}

// Starts a module as a host with several threads has to. The library locks with the host's callbacks only; the others
// are given the choice and take the system's mutexes.
template <class Form>
typename Form::Ulong Start(typename Form::FunctionList* functions)
{
    using Ulong = typename Form::Ulong;
    typename Form::InitializeArguments arguments{};
    arguments.CreateMutex = [](void** mutex) -> Ulong {
        *mutex = new std::mutex;
        return CKR_OK;
    };
    arguments.DestroyMutex = [](void* mutex) -> Ulong {
        delete static_cast<std::mutex*>(mutex);
        return CKR_OK;
    };
    // The library, once ended, goes on calling these without a mutex.
    arguments.LockMutex = [](void* mutex) -> Ulong {
        if (mutex != nullptr) {
            static_cast<std::mutex*>(mutex)->lock();
        }
        return CKR_OK;
    };
    arguments.UnlockMutex = [](void* mutex) -> Ulong {
        if (mutex != nullptr) {
            static_cast<std::mutex*>(mutex)->unlock();
        }
        return CKR_OK;
    };
    arguments.flags = CKF_OS_LOCKING_OK;
    return functions->C_Initialize(&arguments);
}

} // namespace bench
