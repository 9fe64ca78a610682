// Locales that a host may have set, and that must make no difference to the library.
#pragma once

#include <clocale>
#include <cstdlib>
#include <locale>
#include <stdexcept>
#include <string>

// Numbers with a comma between any two digits.
class GroupedDigits : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return ','; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
};

// As long as it lives, the process has a C++ global locale that groups digits, and the Turkish one of the C
// library, in which "I" is no capital of "i" and a comma stands before the fraction of a number.
class HostLocale
{
public:
    // Throws std::runtime_error when the C library has no Turkish locale.
    HostLocale()
        : savedName(std::setlocale(LC_ALL, nullptr)),
          saved(std::locale::global(std::locale(std::locale::classic(), new GroupedDigits)))
    {
        setenv("LOCPATH", TAVRIK_TEST_LOCALES, 1); // NOLINT(concurrency-mt-unsafe): no other thread runs yet
        if (std::setlocale(LC_ALL, "tr_TR.UTF-8") == nullptr) {
            std::locale::global(saved);
            throw std::runtime_error("no Turkish locale in " TAVRIK_TEST_LOCALES);
        }
    }
    ~HostLocale()
    {
        std::locale::global(saved);
        static_cast<void>(std::setlocale(LC_ALL, savedName.c_str()));
        unsetenv("LOCPATH"); // NOLINT(concurrency-mt-unsafe): no other thread runs any more
    }
    HostLocale(const HostLocale&) = delete;
    HostLocale& operator=(const HostLocale&) = delete;

private:
    std::string savedName;
    std::locale saved;
};
