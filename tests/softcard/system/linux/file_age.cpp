#include "tests/softcard/file_age.h"

namespace softcard::test {

void SetAge(const std::filesystem::path& path, std::chrono::hours age)
{
    std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - age);
}

} // namespace softcard::test
