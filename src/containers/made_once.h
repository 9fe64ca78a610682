// A value that whoever asks for it first makes.
#pragma once

#include "src/platform/mutex.h"

#include <memory>
#include <utility>

template <typename Value>
class MadeOnce
{
public:
    // The value; the same one from then on. While there is none, `make` is called, without a lock, and gives a pointer that
    // a std::shared_ptr<Value> can be made of. What it throws goes on to the caller, and a null pointer is handed out, and
    // neither is kept. Several threads may ask: when they do so at the same time, each makes a value, and one is kept.
    template <typename Make>
    std::shared_ptr<Value> Get(Make make) EXCLUDES(mutex)
    {
        if (auto kept = Kept()) {
            return kept;
        }
        std::shared_ptr<Value> made = make();
        const MutexLock lock(mutex);
        if (value == nullptr) {
            value = std::move(made);
        }
        return value;
    }

private:
    std::shared_ptr<Value> Kept() EXCLUDES(mutex)
    {
        const MutexLock lock(mutex);
        return value;
    }

    Mutex mutex; // held for moments
    std::shared_ptr<Value> value GUARDED_BY(mutex);
};
