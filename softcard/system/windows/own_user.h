#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <windows.h>

namespace softcard {

// The user that the process runs as.
class OwnUser
{
public:
    // Nothing when Windows does not tell; its last error says why then.
    static std::optional<OwnUser> Find();

    ~OwnUser() = default;
    OwnUser(const OwnUser&) = delete;
    OwnUser& operator=(const OwnUser&) = delete;
    OwnUser(OwnUser&&) = default;
    OwnUser& operator=(OwnUser&&) = default;

    // Valid as long as the object.
    [[nodiscard]] PSID Id() const { return reinterpret_cast<const TOKEN_USER*>(memory.data())->User.Sid; }

private:
    explicit OwnUser(std::size_t size) : memory(size / sizeof(std::max_align_t) + 1) {}

    std::vector<std::max_align_t> memory; // a TOKEN_USER, and behind it what it refers to
};

} // namespace softcard
