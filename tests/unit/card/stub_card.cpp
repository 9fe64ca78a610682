#include "tests/unit/card/stub_card.h"

#include "src/platform/platform.h"

#include <algorithm>

StubCardState& StubCard()
{
    using StateOf = StubCardState* (*)();
    static const auto stateOf = reinterpret_cast<StateOf>(
        Platform::FindSymbol(Platform::LoadSharedLibrary("libCardAPI.so"), "StubCard_State"));
    return *stateOf();
}

int CallsOf(const std::string& call)
{
    auto& state = StubCard();
    const std::lock_guard<std::mutex> guard(state.lock);
    return static_cast<int>(std::count(state.calls.begin(), state.calls.end(), call));
}

void ResetStubCard()
{
    using Reset = void (*)();
    static const auto reset = reinterpret_cast<Reset>(
        Platform::FindSymbol(Platform::LoadSharedLibrary("libCardAPI.so"), "StubCard_Reset"));
    reset();
}
