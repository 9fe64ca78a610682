// An object for the rest of the process whose destructor never runs, since threads may still use it while the process ends.
// It has its place in the library and goes with it when that is unloaded; memory that it has allocated does not. A class whose
// constructor is private has this one as a friend.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

template <typename Object>
class NeverDestroyed
{
public:
    // Not inline, so that a function with such a static object has little to do once it is made.
    template <typename... Arguments>
    [[gnu::noinline]] explicit NeverDestroyed(Arguments&&... arguments)
    {
        new (place) Object(std::forward<Arguments>(arguments)...);
    }
    ~NeverDestroyed() = default;
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    Object& Get() { return *std::launder(reinterpret_cast<Object*>(place)); }

private:
    alignas(Object) std::byte place[sizeof(Object)]; // in which the constructor makes it
};
